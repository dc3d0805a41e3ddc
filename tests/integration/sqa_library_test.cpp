// SPDX-License-Identifier: Apache-2.0
// The SQA functions of libdpmgmt against a real dpservice: settings that
// come back as set, view calls that hold no handles, and the call displays
// agreeing with the call statistics.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "dpmgmt/sqa.h"
#include "platform/dev.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

constexpr uint32_t kSip = 0;
constexpr uint32_t kH323 = 1;

class SqaLibrary : public ::testing::Test {
protected:
    void TearDown() override {
        SQA_DB_Fini();
        g_stSqaSipDbValue = SQA_SIP_DBVALUE_S{SQA_SIP_DEFAULT_PORT, 0, {0, 0, 0, 0}, 0, 0};
    }
    dptest::ServiceProcess service{{"--seed", "3", "--calls", "30"}};
};

TEST_F(SqaLibrary, SettingsComeBackAsSet) {
    SQA_SWITCH_QUERY_S q{kSip, 0, {0x12, 0x34}};
    EXPECT_EQ(SQA_IPC_SetSipEnable(1), 0u);
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), 0u);
    EXPECT_EQ(q.uiProtocol, kSip);
    EXPECT_EQ(q.usValue, 1u);
    EXPECT_EQ(q.aucReserved[0], 0x12);  // echoed as sent
    q = {kH323, 9, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), 0u);
    EXPECT_EQ(q.usValue, 0u);

    EXPECT_EQ(SQA_IPC_SetSipPort(5080), 0u);
    EXPECT_EQ(SQA_IPC_SetH225Port(1730), 0u);
    q = {kH323, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetListeningPort(&q), 0u);
    EXPECT_EQ(q.usValue, 1730u);

    // The address words go out as held and come back converted.
    EXPECT_EQ(SQA_IPC_SetSipFilterIp(htonl(0xC0A80100), htonl(0x0A000001), 24), 0u);
    SQA_FILTER_QUERY_S f{kSip, 0, 0, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&f), 0u);
    EXPECT_EQ(f.uiFilterIp1, 0xC0A80100u);
    EXPECT_EQ(f.uiFilterIp2, 0x0A000001u);
    EXPECT_EQ(f.usFilterFlag, 24u);

    SQA_REMARK_S add{7, 8, 1, 46}, r{7, 8, 0, 0};
    EXPECT_EQ(SQA_IPC_SetRemark(&add), 0u);
    EXPECT_EQ(SQA_IPC_GetRemark(&r), 0u);
    EXPECT_EQ(r.usRemarkFlag, 1u);
    EXPECT_EQ(r.usRemarkValue, 46u);

    // A refusal is the service's verdict; a failed query writes nothing.
    EXPECT_EQ(SQA_IPC_SetSipEnable(2), DPMGMT_ERR_FAILED);
    q = {9, 77, {1, 2}};
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), DPMGMT_ERR_FAILED);
    EXPECT_EQ(q.usValue, 77u);
    // The view switch back to 0 restores the defaults.
    EXPECT_EQ(SQA_IPC_SetSqaView(0), 0u);
    q = {kSip, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetListeningPort(&q), 0u);
    EXPECT_EQ(q.usValue, 5060u);
}

TEST_F(SqaLibrary, ViewCallsHoldNoMoreHandles) {
    ASSERT_EQ(SQA_DB_AddSqaView(), 0u);
    const int before = dptest::open_fd_count();
    for (int i = 0; i < 3000; ++i) {
        if (i % 3 == 0) EXPECT_EQ(SQA_DB_AddSqaView(), 0u);
        else if (i % 3 == 1) (void)SQA_DB_ChkSqaViewExist();
        else (void)SQA_DB_DelSqaView();
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
