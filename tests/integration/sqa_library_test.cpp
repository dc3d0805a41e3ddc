// The SQA functions of libdpmgmt against a real dpservice and the SQLite
// configuration database: settings that come back as set, a stored record
// that survives its writer's kill -9, handles that do not pile up, and the
// call displays agreeing with the call statistics.
#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "dpmgmt/sqa.h"
#include "platform/dbm.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

constexpr uint32_t kSip = 0;
constexpr uint32_t kH323 = 1;

size_t count_lines(const std::string &s) {
    size_t n = 0;
    for (char c : s) n += c == '\n';
    return n;
}

int open_descriptors() {
    int n = 0;
    DIR *d = opendir("/proc/self/fd");
    if (d == nullptr) return -1;
    while (readdir(d) != nullptr) ++n;
    closedir(d);
    return n;
}

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
    EXPECT_EQ(SQA_IPC_SetH323Enable(1), 0u);
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), 0u);
    EXPECT_EQ(q.usValue, 1u);

    EXPECT_EQ(SQA_IPC_SetSipPort(5080), 0u);
    EXPECT_EQ(SQA_IPC_SetH225Port(1730), 0u);
    q = {kSip, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetListeningPort(&q), 0u);
    EXPECT_EQ(q.usValue, 5080u);
    q = {kH323, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetListeningPort(&q), 0u);
    EXPECT_EQ(q.usValue, 1730u);

    // The address words go out as held and come back converted.
    EXPECT_EQ(SQA_IPC_SetSipFilterIp(htonl(0xC0A80100), htonl(0x0A000001), 24), 0u);
    EXPECT_EQ(SQA_IPC_SetH323FilterIp(htonl(0x0A0B0C0D), 0, 8), 0u);
    SQA_FILTER_QUERY_S f{kSip, 0, 0, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&f), 0u);
    EXPECT_EQ(f.uiFilterIp1, 0xC0A80100u);
    EXPECT_EQ(f.uiFilterIp2, 0x0A000001u);
    EXPECT_EQ(f.usFilterFlag, 24u);
    f = {kH323, 0, 0, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&f), 0u);
    EXPECT_EQ(f.uiFilterIp1, 0x0A0B0C0Du);
    EXPECT_EQ(f.usFilterFlag, 8u);

    SQA_REMARK_S add{7, 8, 1, 46};
    EXPECT_EQ(SQA_IPC_SetRemark(&add), 0u);
    SQA_REMARK_S r{7, 8, 0, 0};
    EXPECT_EQ(SQA_IPC_GetRemark(&r), 0u);
    EXPECT_EQ(r.usRemarkFlag, 1u);
    EXPECT_EQ(r.usRemarkValue, 46u);
    SQA_REMARK_S remove{7, 8, 0, 0};
    EXPECT_EQ(SQA_IPC_SetRemark(&remove), 0u);
    EXPECT_EQ(SQA_IPC_GetRemark(&r), 0u);
    EXPECT_EQ(r.usRemarkFlag, 0u);

    // The view switch back to 0 restores the defaults.
    EXPECT_EQ(SQA_IPC_SetSqaView(0), 0u);
    q = {kSip, 0, {0, 0}};
    EXPECT_EQ(SQA_IPC_GetListeningPort(&q), 0u);
    EXPECT_EQ(q.usValue, 5060u);
}

TEST_F(SqaLibrary, DebugSwitchesReachTheKernel) {
    EXPECT_EQ(SQA_IPC_SetSipDbg(SQA_DEBUG_EVENT | SQA_DEBUG_PACKET, 1), 0u);
    EXPECT_EQ(SQA_IPC_SetH323Dbg(SQA_DEBUG_ERROR, 1), 0u);
    uint32_t sip = 1, h323 = 1;
    const std::string out = dptest::capture_stdout([&] {
        sip = SQA_DUMP_DisDebugFlag();
        h323 = SQA_DUMP_DisH323DebugFlag();
    });
    EXPECT_EQ(sip, 0u);
    EXPECT_EQ(h323, 0u);
    EXPECT_EQ(out, " SQASIP event debugging switch is on\n SQASIP packet debugging switch is on\n"
                   " H323-based SQA error debugging switch is on\n");
}

TEST_F(SqaLibrary, RefusalsAndFailedQueries) {
    EXPECT_EQ(SQA_IPC_SetSipEnable(2), DPMGMT_ERR_FAILED);  // the service's verdict
    EXPECT_EQ(SQA_IPC_SetH225Port(0), DPMGMT_ERR_FAILED);
    SQA_SWITCH_QUERY_S q{9, 77, {1, 2}};
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), DPMGMT_ERR_FAILED);  // an error reply
    EXPECT_EQ(q.uiProtocol, 9u);
    EXPECT_EQ(q.usValue, 77u);
    service.stop();
    EXPECT_EQ(SQA_IPC_SetSipEnable(1), DPMGMT_ERR_FAILED);
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), DPMGMT_ERR_FAILED);
    EXPECT_EQ(q.usValue, 77u);
}

TEST_F(SqaLibrary, StoredRecordSurvivesItsWriter) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(ready[0]);
        const SQA_FILTER_S filter{htonl(0xC0A80100), 0, 24, 0};
        const bool ok = SQA_DB_Init() == 0 && SQA_DB_SetSipEnable(1) == 0;
        g_stSqaSipDbValue.usEnable = 1;
        const bool ok2 = ok && SQA_DB_SetSipFilterIp(&filter) == 0;
        const char verdict = ok2 ? 'y' : 'n';
        (void)!write(ready[1], &verdict, 1);
        for (;;) pause();  // killed here, the database still open
    }
    close(ready[1]);
    char verdict = 0;
    ASSERT_EQ(read(ready[0], &verdict, 1), 1);
    close(ready[0]);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(verdict, 'y');

    EXPECT_EQ(access((service.rundir() + "/sqa.db").c_str(), F_OK), 0);
    const uint64_t h = SQA_DB_OpenForRead("gSqa");
    ASSERT_NE(h, SQA_DB_INVALID_HANDLE);
    SQA_SIP_DBVALUE_S v;
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(SQA_DB_GetSipDBValue(h, &v), 20);
    EXPECT_EQ(v.usSipPort, 5060u);
    EXPECT_EQ(v.usEnable, 1u);
    EXPECT_EQ(v.stFilter.uiFilterIp1, htonl(0xC0A80100));
    EXPECT_EQ(v.stFilter.usFilterFlag, 24u);
    EXPECT_EQ(SQA_DB_ChkSqaViewExist(), 0u);
}

TEST_F(SqaLibrary, ViewCallsHoldNoMoreHandles) {
    ASSERT_EQ(SQA_DB_AddSqaView(), 0u);
    const int before = open_descriptors();
    for (int i = 0; i < 10000; ++i) {
        if (i % 3 == 0) EXPECT_EQ(SQA_DB_AddSqaView(), 0u);
        else if (i % 3 == 1) (void)SQA_DB_ChkSqaViewExist();
        else (void)SQA_DB_DelSqaView();
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SqaLibrary, RemarksPersistInOrder) {
    ASSERT_EQ(SQA_DB_Init(), 0u);
    const SQA_REMARK_S b{2, 1, 1, 20}, a{1, 9, 1, 10}, removeB{2, 1, 0, 0}, removeA{1, 9, 0, 0};
    EXPECT_EQ(SQA_DB_SetRemark(&b), 0u);
    EXPECT_EQ(SQA_DB_SetRemark(&a), 0u);
    char key[128];
    const uint32_t len = sqa_db_GetRemarkKey(sizeof key, key);
    EXPECT_EQ(DBM_Len(g_hSqaGlobalCfgHandle, key, len), 2);
    EXPECT_EQ(SQA_DB_SetRemark(&removeB), 0u);
    EXPECT_EQ(SQA_DB_SetRemark(&removeA), 0u);
    EXPECT_EQ(DBM_IsKeyExist(g_hSqaGlobalCfgHandle, key, len), 0);
}

TEST_F(SqaLibrary, ActiveCallsMatchTheBriefTables) {
    const uint16_t self = DEV_GetSelf();
    SQA_CALL_STATISTICS_S sip, h323;
    ASSERT_EQ(SQA_DUMP_PullStatistics(0, &sip), 0u);
    ASSERT_EQ(SQA_DUMP_PullStatistics(1, &h323), 0u);
    uint32_t rc1 = 1, rc2 = 1;
    const std::string sipOut = dptest::capture_stdout([&] { rc1 = SQA_DUMP_DisSipCallEntry(self); });
    const std::string h323Out = dptest::capture_stdout([&] { rc2 = SQA_DUMP_DisH323CallEntry(self); });
    EXPECT_EQ(rc1, 0u);
    EXPECT_EQ(rc2, 0u);
    EXPECT_EQ(sip.ulActiveCalls, 30u);
    EXPECT_EQ(count_lines(sipOut) - 1, sip.ulActiveCalls);  // less the header
    EXPECT_EQ(count_lines(h323Out) - 1, h323.ulActiveCalls);
    EXPECT_EQ(sipOut.rfind("Caller                 Callee                 Call ID\n", 0), 0u);

    // Every brief line's call has a verbose block.
    const size_t eol = sipOut.find('\n', sipOut.find('\n') + 1);
    const std::string first = sipOut.substr(sipOut.find('\n') + 1, eol - sipOut.find('\n') - 1);
    char id[SQA_CALLID_SIZE] = {};
    std::strncpy(id, first.c_str() + 46, 64);
    const std::string block = dptest::capture_stdout([&] { SQA_DUMP_DisSipCallEntryVerbose(self, id, 1); });
    EXPECT_EQ(block.rfind(std::string("Call ID: ") + id + "\n", 0), 0u) << block;
    EXPECT_NE(block.find("  CallerDrvContext[0-7]: 0x"), std::string::npos);

    const std::string stats = dptest::capture_stdout([] { SQA_DUMP_DisSipCallEntryStatistics(); });
    EXPECT_NE(stats.find("(Active: 30)\n"), std::string::npos) << stats;
}

}  // namespace
