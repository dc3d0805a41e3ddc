// SPDX-License-Identifier: Apache-2.0
// The SQA functions of libdpmgmt against a real dpservice: view calls that
// hold no handles, and the call displays agreeing with the call statistics.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "dpmgmt/sqa.h"
#include "platform/dev.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

class SqaLibrary : public ::testing::Test {
protected:
    void TearDown() override {
        SQA_DB_Fini();
        g_stSqaSipDbValue = SQA_SIP_DBVALUE_S{SQA_SIP_DEFAULT_PORT, 0, {0, 0, 0, 0}, 0, 0};
    }
    dptest::ServiceProcess service{{"--seed", "3", "--calls", "30"}};
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

TEST_F(SqaLibrary, ActiveCallsMatchTheBriefTables) {
    const uint16_t self = DEV_GetSelf();
    SQA_CALL_STATISTICS_S sip, h323;
    ASSERT_EQ(SQA_DUMP_PullStatistics(0, &sip), 0u);
    ASSERT_EQ(SQA_DUMP_PullStatistics(1, &h323), 0u);
    const std::string sipOut = dptest::capture_stdout([&] { EXPECT_EQ(SQA_DUMP_DisSipCallEntry(self), 0u); });
    const std::string h323Out = dptest::capture_stdout([&] { EXPECT_EQ(SQA_DUMP_DisH323CallEntry(self), 0u); });
    EXPECT_EQ(sip.ulActiveCalls, 30u);
    EXPECT_EQ(std::count(sipOut.begin(), sipOut.end(), '\n') - 1, long(sip.ulActiveCalls));  // less the header
    EXPECT_EQ(std::count(h323Out.begin(), h323Out.end(), '\n') - 1, long(h323.ulActiveCalls));
    EXPECT_EQ(sipOut.rfind("Caller                 Callee                 Call ID\n", 0), 0u);

    // A brief line's call has a verbose block.
    const size_t start = sipOut.find('\n') + 1;
    char id[SQA_CALLID_SIZE] = {};
    std::strncpy(id, sipOut.substr(start, sipOut.find('\n', start) - start).c_str() + 46, 64);
    const std::string block = dptest::capture_stdout([&] { SQA_DUMP_DisSipCallEntryVerbose(self, id, 1); });
    EXPECT_EQ(block.rfind(std::string("Call ID: ") + id + "\n", 0), 0u) << block;
    const std::string stats = dptest::capture_stdout([] { SQA_DUMP_DisSipCallEntryStatistics(); });
    EXPECT_NE(stats.find("(Active: 30)\n"), std::string::npos) << stats;
}

}  // namespace
