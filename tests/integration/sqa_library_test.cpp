// SPDX-License-Identifier: Apache-2.0
// The SQA view calls of libdpmgmt on the stand-in runtime's database hold no
// handles, however often they run.
#include <gtest/gtest.h>

#include "dpmgmt/sqa.h"
#include "support/service_process.h"

namespace {

class SqaLibrary : public ::testing::Test {
protected:
    void TearDown() override {
        SQA_DB_Fini();
        g_stSqaSipDbValue = SQA_SIP_DBVALUE_S{SQA_SIP_DEFAULT_PORT, 0, {0, 0, 0, 0}, 0, 0};
    }
    dptest::ServiceProcess service;
};

TEST_F(SqaLibrary, ViewCallsHoldNoMoreHandles) {
    ASSERT_EQ(SQA_DB_AddSqaView(), 0u);
    const int before = dptest::open_fd_count();
    for (int i = 0; i < 3000; ++i) {
        if (i % 3 == 0)
            EXPECT_EQ(SQA_DB_AddSqaView(), 0u);
        else if (i % 3 == 1)
            (void)SQA_DB_ChkSqaViewExist();
        else
            (void)SQA_DB_DelSqaView();
    }
    EXPECT_EQ(dptest::open_fd_count(), before);
}

}  // namespace
