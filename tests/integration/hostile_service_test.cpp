// SPDX-License-Identifier: Apache-2.0
// The commands and displays of the library, one for each exchange helper
// and reply record, against a session service and a kernel that misbehave (support/hostile_peer.h): each call ends with
// the result its reply validation gives, leaves the caller's record alone when it fails, prints nothing a failure
// should not print, releases every socket and dump, and comes back: the silent peer and the kernel that answers "more"
// with nothing are ended by the platform's wait bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"
#include "platform/wait.h"
#include "support/hostile_peer.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

using dptest::Hostility;

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;
constexpr uint32_t kMore = 0x40010009u;
constexpr uint8_t kCanary = 0xA5;  // survives every byte swap, so a failed call must leave it exactly

constexpr int64_t F = kFailed, N = -1;  // N: no result

// What a call ends with, by the reply validation of its channel: the result
// under each behaviour, in the order of Hostility (Silent, Short, Empty,
// Oversized, WrongLength, Garbage, MoreWithNothing); and whether a failed
// call of the kind prints nothing.
enum Expect { Command, NotExist, Refused, Value, Void, Table, Opened, Single, PullResult, StatNodes, Control, Zero };
const struct {
    int64_t result[7];
    bool quiet;
} kExpect[] = {
    {{F, F, F, F, F, F, 0}, true},          // service: 0 on a bare header (the cleared result word)
    {{F, F, F, F, F, F, kNotExist}, true},  // service: a bare header reads as "no such entry"
    {{F, F, F, F, F, F, F}, true},          // service: the caller's record holds no believable count
    {{0, 0, 0, 0, 0, 0, 0}, false},         // a value, not a result: 0 whatever came back
    {{N, N, N, N, N, N, N}, false},         // no result; it must merely come back
    {{0, 0, 0, 0, 0, 0, 0}, true},          // kernel table: no entry shown, nothing printed ever
    {{F, 0, F, 0, 0, 0, 0}, true},          // kernel: fails only when the dump cannot be opened
    {{F, F, F, F, F, F, F}, true},          // kernel: never exactly one record
    {{F, kMore, F, F, F, F, kMore}, true},  // kernel: what the pull answered when the record came short
    {{F, 0, F, F, F, F, F}, false},         // kernel: the pull that ended the walk (a short chunk, then the end)
    {{F, 0, F, F, F, F, kMore}, true},      // kernel control call: its result passed through
    {{0, 0, 0, 0, 0, 0, 0}, false},         // always 0
};

struct Call {
    const char *name;
    Expect expect;
    size_t recordSize;  // the caller's record, canary-filled; left alone on failure (0: none)
    uint32_t (*run)(uint8_t *record);
};

template <class T>
T *as(uint8_t *p) {
    return reinterpret_cast<T *>(p);
}

// A call named by its own text, `r` the caller's record.
#define CALL(expect, recordSize, ...) \
    Call(#__VA_ARGS__, expect, recordSize, [](uint8_t *r) -> uint32_t { return (void)r, __VA_ARGS__; })

// Inputs of the commands: plausible, and never changed by them.
const SESSION_AGING_S kAging{};
const SESSION_TABLEKEY_S kTableKey{};
const SESSION_DUMPKEY_S kDumpKey{};
const SESSION_RELATION_KEY_S kRelationKey{};
const uint32_t kWords[3] = {1, 0, 0};
const uint8_t kSelector = 0;
const CONNLMT_STATNODE_FILTER_S kStatFilter{};
const uint16_t kNodes[2] = {1, 2};

// A control call that returns nothing; it must merely come back.
uint32_t sent(void (*send)(uint32_t, uint32_t, const void *), uint32_t cmd) {
    send(cmd, 4, kWords);
    return 0;
}
uint8_t g_samples[2 * 49152];

// The service's commands: one per exchange helper (record send, word list,
// current record, switch, single value, policy records, patient reset, the
// raw exchange); commands that go through the same helper are left out.
const Call kServiceCalls[] = {
    CALL(Command, 0, SESSION_IPC_SetAppAging(&kAging)),
    CALL(Command, 4 * SESSION_APP_COUNT, SESSION_IPC_GetAllAppAging(as<uint32_t>(r))),
    CALL(NotExist, sizeof(SESSION_LOGPOLICY_REQ_S), SESSION_IPC_GetLogPolicy(as<SESSION_LOGPOLICY_REQ_S>(r))),
    CALL(Command, sizeof(SESSION_FLOW_S), SESSION_IPC_GetLogFlow(as<SESSION_FLOW_S>(r))),
    CALL(Command, SESSION_TOP_STATISTICS_REPLY_SIZE,
         SESSION_IPC_DisTopStatistics(1, SESSION_TOP_STATISTICS_REPLY_SIZE, r)),
    CALL(Command, SESSION_TOP_SAMPLES_REPLY_SIZE,
         SESSION_IPC_GetTopStatistics(kWords, SESSION_TOP_SAMPLES_REPLY_SIZE, r)),
    CALL(Command, 0, SESSION_ResetSession(0, &kTableKey)),
    CALL(Command, 0, SESSION_IPC_ResetStatFail(0, 1)),
    CALL(Command, 0, SESSION_IPC_SetSessionSyncSwitch(1)),
    CALL(Command, 2, SESSION_IPC_GetSessionSyncSwitch(as<uint16_t>(r))),
    CALL(Command, 0, SESSION_IPC_SetMaximum(2, 1000)),
    CALL(Command, 0, SESSION_SetMaximum(2, 1000)),
    CALL(Value, 0, SESSION_GetMaximum(2)),
    CALL(Command, sizeof(CONNLMT_DEBUG_S), CONNLMT_ipc_GetDebug(as<CONNLMT_DEBUG_S>(r))),
    CALL(Command, 0, CONNLMT_ipc_AddPolicy(1, 0)),
    CALL(NotExist, sizeof(CONNLMT_RULE_S), CONNLMT_ipc_GetRule(1, 1, 0, as<CONNLMT_RULE_S>(r))),
    CALL(Command, 2, CONNLMT_ipc_GetApplyPolicy(0, 0, as<uint16_t>(r))),
    CALL(Refused, sizeof(CONNLMT_POLICY_S), CONNLMT_ipc_GetPolicy(1, 0, as<CONNLMT_POLICY_S>(r))),
    CALL(Refused, sizeof(CONNLMT_APPLYLIST_S), CONNLMT_ipc_GetPolicyApplyList(1, 0, as<CONNLMT_APPLYLIST_S>(r))),
    CALL(Refused, sizeof(CONNLMT_POLICYINFO_S),
         CONNLMT_ipc_GetPolicyInfo(1, 0, sizeof(CONNLMT_POLICYINFO_S), as<CONNLMT_POLICYINFO_S>(r))),
    CALL(Command, 0, SQA_IPC_SetSipEnable(1)),
    CALL(Command, 0, SQA_IPC_SetSipFilterIp(1, 2, 1)),
    CALL(Command, sizeof(SQA_REMARK_S), SQA_IPC_GetRemark(as<SQA_REMARK_S>(r))),
    CALL(Command, 64, SESSION_MSG_SendRecvMsg(3184, 9, 0, nullptr, 64, r)),
    CALL(Command, 64, SESSION_MSG_SendRecvMsg_DontWait(3184, 9, 0, nullptr, 64, r)),
};

// The kernel's displays and queries: a table walk of each shape, the
// single-record queries, sample readers and control calls.
const Call kKernelCalls[] = {
    CALL(Table, 0, SESSION_DisplaySession(1, &kDumpKey, 1)),
    CALL(Table, 0, SESSION_DisplayRelation(1, &kSelector)),
    CALL(Table, 0, SESSION_DisplayRelationInfo(1, &kRelationKey)),
    CALL(Opened, 0, SESSION_DisplayStatistics(1, &kDumpKey)),
    CALL(Single, sizeof(SESSION_STAT_S), SESSION_GetStatistics(1, as<SESSION_STAT_S>(r))),
    CALL(PullResult, sizeof(SESSION_STATGLOBALKERNEL_S),
         SESSION_GetStatGlobalKernelAll(1, as<SESSION_STATGLOBALKERNEL_S>(r))),
    CALL(Single, 0, SESSION_ResetAlgStatistics(1)),
    CALL(Single, 0, SESSION_Set_AlgStatSwitch(1, kWords)),
    CALL(Zero, 0, SESSION_GetAgingqueueState(1)),
    // The samples asked for exceed nothing: 0 and no sample, or the failure
    // (count untouched) when the dump cannot be opened.
    {"SESSION_GetHisStatics", Opened, 4,
     [](uint8_t *r) {
         const SESSION_HISQUERY_S query{0, 720, 12, {0, 0}};
         uint32_t count = 0xA5A5A5A5u;
         const uint32_t rc = SESSION_GetHisStatics(1, &query, sizeof g_samples, g_samples, &count);
         if (rc == 0 && count != 0) return 0xBAD0u;  // a sample out of nothing
         if (rc == 0) std::memcpy(r, &count, 4);
         return rc;
     }},
    // Returns the samples collected from two nodes.
    {"Session_GetTopStatTick", Zero, 0,
     [](uint8_t *) {
         uint32_t count = 0xA5A5A5A5u;
         const uint32_t rc = Session_GetTopStatTick(2, kNodes, &count, g_samples);
         return rc != 0 ? rc : count;
     }},
    CALL(Value, 0, SESSION_GetHotBackRemainMsg(1)),
    CALL(Single, sizeof(SESSION_HOTBACKSTAT_S), SESSION_GetHotBackStatistics(1, 2, as<SESSION_HOTBACKSTAT_S>(r))),
    CALL(Void, 0, HOTBACKUP_DisplayStatistics(1), 0u),
    CALL(StatNodes, 0, CONNLMT_Dump_DisStatNodes(1, 0, &kStatFilter, 1)),
    CALL(Single, sizeof(CONNLMT_STATISTICS_S), CONNLMT_Dump_GetStatistics(1, 0, as<CONNLMT_STATISTICS_S>(r))),
    CALL(Zero, 0, SQA_DUMP_DisSipCallEntry(1)),
    CALL(Zero, 0, SQA_DUMP_DisH323CallEntry(1)),
    CALL(Control, 0, SQA_DUMP_DisSipCallEntryStatistics()),
    CALL(Control, sizeof(SQA_CALL_STATISTICS_S), SQA_DUMP_PullStatistics(0, as<SQA_CALL_STATISTICS_S>(r))),
    CALL(Control, 0, SQA_DUMP_DisDebugFlag()),
    CALL(Void, 0, sent(CONNLMT_ioctl_Send, 0x480001)),
    CALL(Void, 0, sent(CONNLMT_ioctl_Send_Async, 0x480001)),
};

class HostileServiceTest : public ::testing::TestWithParam<Hostility> {
protected:
    void SetUp() override {
        // Silence ends only at the platform's bounds; the other behaviours
        // answer at once, and the loose bound only keeps a fault from hanging
        // the suite.
        if (GetParam() == Hostility::Silent)
            PLAT_SetWaitBounds(30, 100);
        else
            PLAT_SetWaitBounds(5000, 5000);
        PLAT_ClearFault();
    }
    void TearDown() override { PLAT_SetWaitBounds(0, 0); }

    // Runs every call against a fresh peer and checks its end: the faults
    // the calls recorded.
    std::vector<uint32_t> run_all(const Call *calls, size_t n, bool throughService) {
        std::vector<uint32_t> faults;
        dptest::HostilePeer peer(GetParam());
        const int withPeer = dptest::open_fd_count();
        for (size_t i = 0; i < n; ++i) {
            const Call &c = calls[i];
            SCOPED_TRACE(c.name);
            std::vector<uint8_t> record(c.recordSize + 16, kCanary);
            PLAT_ClearFault();
            uint32_t rc = 0;
            const std::string out = dptest::capture_stdout([&] { rc = c.run(record.data()); });
            const int64_t want = kExpect[c.expect].result[static_cast<int>(GetParam())];
            if (want >= 0) {
                EXPECT_EQ(rc, static_cast<uint32_t>(want));
            }
            if (rc != 0 && c.recordSize != 0 && (throughService || c.expect == Control)) {
                EXPECT_TRUE(std::all_of(record.begin(), record.end(), [](uint8_t b) { return b == kCanary; }))
                    << "the failed call wrote into its record";
            }
            // Never past the record, whatever it did.
            EXPECT_TRUE(std::all_of(record.end() - 16, record.end(), [](uint8_t b) { return b == kCanary; }));
            // A failed call prints nothing; a table prints nothing without entries.
            if ((rc != 0 || c.expect == Table) && kExpect[c.expect].quiet) {
                EXPECT_EQ(out, "");
            }
            // Silence ends at the bound, not before, and the fault names the
            // socket: the command line's one line says what it waited for.
            PLAT_FAULT_S f{};
            faults.push_back(PLAT_GetFault(&f));
            if (GetParam() == Hostility::Silent && f.kind != PLAT_FAULT_NONE) {
                EXPECT_EQ(f.kind, PLAT_FAULT_TIMEOUT);
                EXPECT_EQ(f.sysErrno, ETIMEDOUT);
                EXPECT_EQ(f.endpoint, peer.rundir() + (throughService ? "/svc-3184.sock" : "/kernel.sock"));
                EXPECT_GE(f.waitedMs, 30u);
            } else if (GetParam() == Hostility::Silent) {
                EXPECT_EQ(c.expect, Void) << "no time-out recorded";
            }
            // Every socket of the call is closed once it returns; the peer
            // lets go of a dump's connection as soon as it sees it closed.
            EXPECT_TRUE(
                dptest::wait_until([&] { return dptest::open_fd_count() <= withPeer; }, std::chrono::seconds(5)))
                << dptest::open_fd_count() - withPeer << " descriptors still open";
        }
        EXPECT_GT(throughService ? peer.service_requests() : peer.kernel_requests(), 0u);
        return faults;
    }
};

TEST_P(HostileServiceTest, EveryServiceCommandEndsWithItsResult) {
    run_all(kServiceCalls, std::size(kServiceCalls), true);
}

TEST_P(HostileServiceTest, EveryKernelDisplayAndQueryEndsWithItsResult) {
    const std::vector<uint32_t> faults = run_all(kKernelCalls, std::size(kKernelCalls), false);
    // Only the limit statistics walk pulls on after an empty "more".
    EXPECT_EQ(std::count(faults.begin(), faults.end(), PLAT_FAULT_STALLED) > 0,
              GetParam() == Hostility::MoreWithNothing);
}

INSTANTIATE_TEST_SUITE_P(Behaviours, HostileServiceTest,
                         ::testing::Values(Hostility::Silent, Hostility::Short, Hostility::Empty, Hostility::Oversized,
                                           Hostility::WrongLength, Hostility::Garbage, Hostility::MoreWithNothing),
                         [](const ::testing::TestParamInfo<Hostility> &info) {
                             return std::string(dptest::hostility_name(info.param));
                         });

}  // namespace
