// SPDX-License-Identifier: Apache-2.0
// Every command and display of the library against a session service and
// a kernel that misbehave (support/hostile_peer.h): each call ends with the
// result its reply validation gives, leaves the caller's record alone when
// it fails, prints nothing a failure should not print, releases every
// socket and dump, and comes back: the silent peer and the kernel that
// answers "more" with nothing are ended by the platform's wait bounds.
#include <gtest/gtest.h>

#include <algorithm>
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

// What a call ends with, by the reply validation of its channel.
enum class Expect {
    Command,     // service: 0 on a bare header (the cleared result word), else the general failure
    NotExist,    // service: a bare header reads as "no such entry"
    Refused,     // service: always the general failure (the caller's record holds no believable count)
    Value,       // a value, not a result: 0 whatever came back
    Void,        // no result; it must merely come back
    Table,       // kernel: no entry shown, nothing printed
    Opened,      // kernel: the general failure when the dump cannot be opened, else 0
    Single,      // kernel: the general failure: never exactly one record
    PullResult,  // kernel: what the pull answered when the record came short
    StatNodes,   // kernel: the result of the pull that ended the walk
    Control,     // kernel control call: its result passed through
    Zero,        // always 0
};

bool dump_opens(Hostility h) {
    return h != Hostility::Silent && h != Hostility::Empty;
}

// The result each kind of call must end with; -1 when it has none.
int64_t expected(Expect e, Hostility h) {
    const bool bare = h == Hostility::MoreWithNothing;
    switch (e) {
        case Expect::Command:
            return bare ? 0 : kFailed;
        case Expect::NotExist:
            return bare ? kNotExist : kFailed;
        case Expect::Refused:
            return kFailed;
        case Expect::Value:
            return 0;
        case Expect::Void:
            return -1;
        case Expect::Table:
            return 0;
        case Expect::Opened:
            return dump_opens(h) ? 0 : kFailed;
        case Expect::Single:
            return kFailed;
        case Expect::PullResult:
            return h == Hostility::Short || bare ? kMore : kFailed;
        // The short chunk comes with "more", then the kernel ends the dump.
        case Expect::StatNodes:
            return h == Hostility::Short ? 0 : kFailed;
        case Expect::Control:
            return h == Hostility::Short ? 0 : bare ? kMore : kFailed;
        case Expect::Zero:
            return 0;
    }
    return -1;
}

// A failed call of these kinds prints nothing (the tables print nothing
// without entries, whatever happened).
bool quiet(Expect e, uint32_t rc) {
    if (e == Expect::Table) return true;
    if (rc == 0) return false;
    return e == Expect::Command || e == Expect::NotExist || e == Expect::Refused || e == Expect::Opened ||
           e == Expect::Single || e == Expect::PullResult || e == Expect::Control;
}

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

// Inputs of the commands: plausible, and never changed by them.
const SESSION_AGING_S kAging{};
const SESSION_LOGPOLICY_REQ_S kLogPolicy{};
const SESSION_FLOW_S kFlow{};
const SESSION_PERSIST_S kPersist{};
const SESSION_DEBUG_S kDebug{};
const SESSION_TCPDEBUG_S kTcpDebug{};
const SESSION_TRAFFICLOG_BILL_S kBill{};
const SESSION_TABLEKEY_S kTableKey{};
const SESSION_DUMPKEY_S kDumpKey{};
const SESSION_RELATION_KEY_S kRelationKey{};
const uint32_t kWords[3] = {1, 0, 0};
const uint16_t kNumLog = 1;
const uint8_t kSelector = 0;
const CONNLMT_RULE_S kRule{0, 3000, "", 0, 1, 1, {0, 0, 0}, 1};
const CONNLMT_DESCRIPTION_S kDescription{};
const CONNLMT_STATNODE_FILTER_S kStatFilter{};
const SQA_REMARK_S kRemark{};
const uint16_t kNodes[2] = {1, 2};
char g_callId[SQA_CALLID_SIZE] = "call-1";

// A control call that returns nothing; it must merely come back.
uint32_t sent(void (*send)(uint32_t, uint32_t, const void *), uint32_t cmd) {
    send(cmd, 4, kWords);
    return 0;
}
uint8_t g_samples[2 * 49152];

// The service's commands: every exchange shape (result word, record query,
// switch, single value, policy records, patient reset, the raw exchange).
const Call kServiceCalls[] = {
    {"SESSION_IPC_SetAppAging", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetAppAging(&kAging); }},
    {"SESSION_IPC_SetL4Aging", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetL4Aging(&kAging); }},
    {"SESSION_IPC_GetAllAppAging", Expect::Command, 4 * SESSION_APP_COUNT,
     [](uint8_t *r) { return SESSION_IPC_GetAllAppAging(as<uint32_t>(r)); }},
    {"SESSION_IPC_GetAllL4Aging", Expect::Command, 4 * SESSION_L4_AGING_COUNT,
     [](uint8_t *r) { return SESSION_IPC_GetAllL4Aging(as<uint32_t>(r)); }},
    {"SESSION_IPC_SetLogPolicy", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetLogPolicy(&kLogPolicy); }},
    {"SESSION_IPC_GetLogPolicy", Expect::NotExist, sizeof(SESSION_LOGPOLICY_REQ_S),
     [](uint8_t *r) { return SESSION_IPC_GetLogPolicy(as<SESSION_LOGPOLICY_REQ_S>(r)); }},
    {"SESSION_IPC_SetLogFlow", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetLogFlow(&kFlow); }},
    {"SESSION_IPC_GetLogFlow", Expect::Command, sizeof(SESSION_FLOW_S),
     [](uint8_t *r) { return SESSION_IPC_GetLogFlow(as<SESSION_FLOW_S>(r)); }},
    {"SESSION_IPC_SetLogTime", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetLogTime(&kWords[0]); }},
    {"SESSION_IPC_GetLogTime", Expect::Command, 4, [](uint8_t *r) { return SESSION_IPC_GetLogTime(as<uint32_t>(r)); }},
    {"SESSION_IPC_SetNumLog", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetNumLog(&kNumLog); }},
    {"SESSION_IPC_SetPersist", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetPersist(&kPersist); }},
    {"SESSION_IPC_GetPersist", Expect::Command, sizeof(SESSION_PERSIST_S),
     [](uint8_t *r) { return SESSION_IPC_GetPersist(as<SESSION_PERSIST_S>(r)); }},
    {"SESSION_IPC_SetDebug", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetDebug(&kDebug); }},
    {"SESSION_IPC_SetTcpDebug", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetTcpDebug(&kTcpDebug); }},
    {"SESSION_IPC_GetAllDebug", Expect::Command, 4 * SESSION_DEBUG_WORD_COUNT,
     [](uint8_t *r) { return SESSION_IPC_GetAllDebug(as<uint32_t>(r)); }},
    {"SESSION_IPC_GetTcpDebug", Expect::Command, 4 * SESSION_TCP_DEBUG_WORD_COUNT,
     [](uint8_t *r) { return SESSION_IPC_GetTcpDebug(as<uint32_t>(r)); }},
    {"SESSION_IPC_DisTopStatistics", Expect::Command, SESSION_TOP_STATISTICS_REPLY_SIZE,
     [](uint8_t *r) { return SESSION_IPC_DisTopStatistics(1, SESSION_TOP_STATISTICS_REPLY_SIZE, r); }},
    {"SESSION_IPC_GetTopStatistics", Expect::Command, SESSION_TOP_SAMPLES_REPLY_SIZE,
     [](uint8_t *r) { return SESSION_IPC_GetTopStatistics(kWords, SESSION_TOP_SAMPLES_REPLY_SIZE, r); }},
    {"SESSION_IPC_GetTopSampleTime", Expect::Command, SESSION_TOP_SAMPLE_TIME_REPLY_SIZE,
     [](uint8_t *r) { return SESSION_IPC_GetTopSampleTime(kWords, SESSION_TOP_SAMPLE_TIME_REPLY_SIZE, r); }},
    {"SESSION_ResetSession", Expect::Command, 0, [](uint8_t *) { return SESSION_ResetSession(0, &kTableKey); }},
    {"SESSION_ResetMcfsSession", Expect::Command, 0, [](uint8_t *) { return SESSION_ResetMcfsSession(0, &kTableKey); }},
    {"SESSION_IPC_ResetRelation", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_ResetRelation(0, &kSelector); }},
    {"SESSION_IPC_ResetStatistics", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_ResetStatistics(0); }},
    {"SESSION_IPC_ResetMcfsStatistics", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_ResetMcfsStatistics(0); }},
    {"SESSION_IPC_ResetStatFail", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_ResetStatFail(0, 1); }},
    {"SESSION_IPC_ResetEventStatistics", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_ResetEventStatistics(1, 0); }},
    {"SESSION_IPC_ResetFdbStatistics", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_ResetFdbStatistics(0, 1); }},
    {"SESSION_IPC_SetSessionSyncSwitch", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_SetSessionSyncSwitch(1); }},
    {"SESSION_IPC_GetSessionSyncSwitch", Expect::Command, 2,
     [](uint8_t *r) { return SESSION_IPC_GetSessionSyncSwitch(as<uint16_t>(r)); }},
    {"SESSION_IPC_SetStatEnable", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetStatEnable(1); }},
    {"SESSION_IPC_SetSessionSyncAppSwitch", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_SetSessionSyncAppSwitch(1, 1); }},
    {"SESSION_IPC_GetSessionSyncAppSwitch", Expect::Command, 2,
     [](uint8_t *r) { return SESSION_IPC_GetSessionSyncAppSwitch(as<uint16_t>(r)); }},
    {"SESSION_IPC_SetHisTopStatEnable", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_SetHisTopStatEnable(1); }},
    {"SESSION_IPC_GetHisTopStatEnable", Expect::Command, 2,
     [](uint8_t *r) { return SESSION_IPC_GetHisTopStatEnable(as<uint16_t>(r)); }},
    {"SESSION_IPC_SetMaximum", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetMaximum(2, 1000); }},
    {"SESSION_IPC_SetRate", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetRate(2, 1000); }},
    {"SESSION_SetMaximum", Expect::Command, 0, [](uint8_t *) { return SESSION_SetMaximum(2, 1000); }},
    {"SESSION_SetRate", Expect::Command, 0, [](uint8_t *) { return SESSION_SetRate(2, 1000); }},
    {"SESSION_GetMaximum", Expect::Value, 0, [](uint8_t *) { return SESSION_GetMaximum(2); }},
    {"SESSION_GetRate", Expect::Value, 0, [](uint8_t *) { return SESSION_GetRate(2); }},
    {"SESSION_IPC_SetTrafficLogTime", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_SetTrafficLogTime(&kWords[0]); }},
    {"SESSION_IPC_GetTrafficLogTime", Expect::Command, 4,
     [](uint8_t *r) { return SESSION_IPC_GetTrafficLogTime(as<uint32_t>(r)); }},
    {"SESSION_IPC_SetTrafficLogFlow", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_SetTrafficLogFlow(&kFlow); }},
    {"SESSION_IPC_GetTrafficLogFlow", Expect::Command, sizeof(SESSION_FLOW_S),
     [](uint8_t *r) { return SESSION_IPC_GetTrafficLogFlow(as<SESSION_FLOW_S>(r)); }},
    {"SESSION_IPC_SetTrafficLogBegin", Expect::Command, 0, [](uint8_t *) { return SESSION_IPC_SetTrafficLogBegin(1); }},
    {"SESSION_IPC_GetTrafficLogBegin", Expect::Command, 2,
     [](uint8_t *r) { return SESSION_IPC_GetTrafficLogBegin(as<uint16_t>(r)); }},
    {"SESSION_IPC_TrafficLogEnableBill", Expect::Command, 0,
     [](uint8_t *) { return SESSION_IPC_TrafficLogEnableBill(&kBill); }},
    {"HOTBACKUP_Ipc_GetDebug", Expect::Command, 4, [](uint8_t *r) { return HOTBACKUP_Ipc_GetDebug(as<uint32_t>(r)); }},
    {"HOTBACKUP_Ipc_SetDebug", Expect::Command, 0, [](uint8_t *) { return HOTBACKUP_Ipc_SetDebug(1, 1); }},
    {"HOTBACKUP_Ipc_ResetStatistics", Expect::Command, 0, [](uint8_t *) { return HOTBACKUP_Ipc_ResetStatistics(1); }},
    {"CONNLMT_ipc_GetDebug", Expect::Command, sizeof(CONNLMT_DEBUG_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetDebug(as<CONNLMT_DEBUG_S>(r)); }},
    {"CONNLMT_ipc_SetDebug", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_SetDebug(1, 1, 1, 1); }},
    {"CONNLMT_ipc_AddPolicy", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_AddPolicy(1, 0); }},
    {"CONNLMT_ipc_DelPolicy", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_DelPolicy(1, 0); }},
    {"CONNLMT_ipc_AddRule", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_AddRule(&kRule); }},
    {"CONNLMT_ipc_GetRule", Expect::NotExist, sizeof(CONNLMT_RULE_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetRule(1, 1, 0, as<CONNLMT_RULE_S>(r)); }},
    {"CONNLMT_ipc_DelRule", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_DelRule(0, 1, 1); }},
    {"CONNLMT_ipc_ApplyPolicy", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_ApplyPolicy(0, 1, 0); }},
    {"CONNLMT_ipc_CancelPolicy", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_CancelPolicy(0, 0); }},
    {"CONNLMT_ipc_GetApplyPolicy", Expect::Command, 2,
     [](uint8_t *r) { return CONNLMT_ipc_GetApplyPolicy(0, 0, as<uint16_t>(r)); }},
    {"CONNLMT_ipc_IsPolicyExist", Expect::Command, 2,
     [](uint8_t *r) { return CONNLMT_ipc_IsPolicyExist(1, 0, as<uint16_t>(r)); }},
    {"CONNLMT_ipc_GetPolicy", Expect::Refused, sizeof(CONNLMT_POLICY_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetPolicy(1, 0, as<CONNLMT_POLICY_S>(r)); }},
    {"CONNLMT_ipc_GetNextPolicy", Expect::Refused, sizeof(CONNLMT_POLICY_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetNextPolicy(0, 0, as<CONNLMT_POLICY_S>(r)); }},
    {"CONNLMT_ipc_GetNextPolicyID", Expect::Command, 2,
     [](uint8_t *r) { return CONNLMT_ipc_GetNextPolicyID(0, 0, as<uint16_t>(r)); }},
    {"CONNLMT_ipc_GetPolicyApplyList", Expect::Refused, sizeof(CONNLMT_APPLYLIST_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetPolicyApplyList(1, 0, as<CONNLMT_APPLYLIST_S>(r)); }},
    {"CONNLMT_ipc_GetPolicyTotalNumber", Expect::Command, 4,
     [](uint8_t *r) { return CONNLMT_ipc_GetPolicyTotalNumber(0, as<uint32_t>(r)); }},
    {"CONNLMT_ipc_ResetStatistics", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_ResetStatistics(1, 0); }},
    {"CONNLMT_ipc_SetDes", Expect::Command, 0, [](uint8_t *) { return CONNLMT_ipc_SetDes(&kDescription); }},
    {"CONNLMT_ipc_GetPolicyInfo", Expect::Refused, sizeof(CONNLMT_POLICYINFO_S),
     [](uint8_t *r) {
         return CONNLMT_ipc_GetPolicyInfo(1, 0, sizeof(CONNLMT_POLICYINFO_S), as<CONNLMT_POLICYINFO_S>(r));
     }},
    {"CONNLMT_ipc_GetNextPolicyInfo", Expect::Refused, sizeof(CONNLMT_POLICYINFO_S),
     [](uint8_t *r) { return CONNLMT_ipc_GetNextPolicyInfo(0, 0, as<CONNLMT_POLICYINFO_S>(r)); }},
    {"SQA_IPC_SetSipEnable", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetSipEnable(1); }},
    {"SQA_IPC_SetSipPort", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetSipPort(5060); }},
    {"SQA_IPC_SetSipDbg", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetSipDbg(1, 1); }},
    {"SQA_IPC_SetSipFilterIp", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetSipFilterIp(1, 2, 1); }},
    {"SQA_IPC_SetH323Enable", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetH323Enable(1); }},
    {"SQA_IPC_SetH225Port", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetH225Port(1720); }},
    {"SQA_IPC_SetH323FilterIp", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetH323FilterIp(1, 2, 1); }},
    {"SQA_IPC_SetSqaView", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetSqaView(1); }},
    {"SQA_IPC_SetH323Dbg", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetH323Dbg(1, 1); }},
    {"SQA_IPC_SetRemark", Expect::Command, 0, [](uint8_t *) { return SQA_IPC_SetRemark(&kRemark); }},
    {"SQA_IPC_GetRemark", Expect::Command, sizeof(SQA_REMARK_S),
     [](uint8_t *r) { return SQA_IPC_GetRemark(as<SQA_REMARK_S>(r)); }},
    {"SQA_IPC_GetSqaEnable", Expect::Command, sizeof(SQA_SWITCH_QUERY_S),
     [](uint8_t *r) { return SQA_IPC_GetSqaEnable(as<SQA_SWITCH_QUERY_S>(r)); }},
    {"SQA_IPC_GetListeningPort", Expect::Command, sizeof(SQA_SWITCH_QUERY_S),
     [](uint8_t *r) { return SQA_IPC_GetListeningPort(as<SQA_SWITCH_QUERY_S>(r)); }},
    {"SQA_IPC_GetFilterAddress", Expect::Command, sizeof(SQA_FILTER_QUERY_S),
     [](uint8_t *r) { return SQA_IPC_GetFilterAddress(as<SQA_FILTER_QUERY_S>(r)); }},
    {"SESSION_MSG_SendRecvMsg", Expect::Command, 64,
     [](uint8_t *r) { return SESSION_MSG_SendRecvMsg(3184, 9, 0, nullptr, 64, r); }},
    {"SESSION_MSG_SendRecvMsg_DontWait", Expect::Command, 64,
     [](uint8_t *r) { return SESSION_MSG_SendRecvMsg_DontWait(3184, 9, 0, nullptr, 64, r); }},
};

// The kernel's displays and queries: every table walk, single-record
// query, sample reader and control call.
const Call kKernelCalls[] = {
    {"SESSION_DisplaySession", Expect::Table, 0, [](uint8_t *) { return SESSION_DisplaySession(1, &kDumpKey, 0); }},
    {"SESSION_DisplaySession verbose", Expect::Table, 0,
     [](uint8_t *) { return SESSION_DisplaySession(1, &kDumpKey, 1); }},
    {"SESSION_DisplayFastforwardSession", Expect::Table, 0,
     [](uint8_t *) { return SESSION_DisplayFastforwardSession(1, &kTableKey, 1); }},
    {"SESSION_DisplayMcfsTable", Expect::Table, 0, [](uint8_t *) { return SESSION_DisplayMcfsTable(1, &kDumpKey, 1); }},
    {"SESSION_DisplayRelation", Expect::Table, 0, [](uint8_t *) { return SESSION_DisplayRelation(1, &kSelector); }},
    {"SESSION_DisplaySessionKernel", Expect::Table, 0,
     [](uint8_t *) { return SESSION_DisplaySessionKernel(1, &kDumpKey); }},
    {"SESSION_DisplayRelationInfo", Expect::Table, 0,
     [](uint8_t *) { return SESSION_DisplayRelationInfo(1, &kRelationKey); }},
    {"SESSION_DisplayStatistics", Expect::Opened, 0, [](uint8_t *) { return SESSION_DisplayStatistics(1, &kDumpKey); }},
    {"SESSION_GetStatistics", Expect::Single, sizeof(SESSION_STAT_S),
     [](uint8_t *r) { return SESSION_GetStatistics(1, as<SESSION_STAT_S>(r)); }},
    {"SESSION_GetStatFail", Expect::Single, sizeof(SESSION_STATFAIL_S),
     [](uint8_t *r) { return SESSION_GetStatFail(1, kWords, as<SESSION_STATFAIL_S>(r)); }},
    {"SESSION_GetMcfsStatistics", Expect::Single, sizeof(SESSION_MCFSSTAT_S),
     [](uint8_t *r) { return SESSION_GetMcfsStatistics(1, as<SESSION_MCFSSTAT_S>(r)); }},
    {"SESSION_GetFDBStatistics", Expect::Single, sizeof(SESSION_FDBSTAT_S),
     [](uint8_t *r) { return SESSION_GetFDBStatistics(1, kWords, as<SESSION_FDBSTAT_S>(r)); }},
    {"SESSION_GetIFKernelAll", Expect::Single, sizeof(SESSION_IFKERNEL_S),
     [](uint8_t *r) { return SESSION_GetIFKernelAll(1, kWords, as<SESSION_IFKERNEL_S>(r)); }},
    {"SESSION_GetStatGlobalKernelAll", Expect::PullResult, sizeof(SESSION_STATGLOBALKERNEL_S),
     [](uint8_t *r) { return SESSION_GetStatGlobalKernelAll(1, as<SESSION_STATGLOBALKERNEL_S>(r)); }},
    {"SESSION_Get_AlgFailCnt", Expect::Single, sizeof(SESSION_ALGFAILCNT_S),
     [](uint8_t *r) { return SESSION_Get_AlgFailCnt(1, kWords, as<SESSION_ALGFAILCNT_S>(r)); }},
    {"SESSION_ResetAlgStatistics", Expect::Single, 0, [](uint8_t *) { return SESSION_ResetAlgStatistics(1); }},
    {"SESSION_Set_AlgStatSwitch", Expect::Single, 0, [](uint8_t *) { return SESSION_Set_AlgStatSwitch(1, kWords); }},
    {"SESSION_GetAgingqueueState", Expect::Zero, 0, [](uint8_t *) { return SESSION_GetAgingqueueState(1); }},
    // The samples asked for exceed nothing: 0 and no sample, or the failure
    // (count untouched) when the dump cannot be opened.
    {"SESSION_GetHisStatics", Expect::Opened, 4,
     [](uint8_t *r) {
         const SESSION_HISQUERY_S query{0, 720, 12, {0, 0}};
         uint32_t count = 0xA5A5A5A5u;
         const uint32_t rc = SESSION_GetHisStatics(1, &query, sizeof g_samples, g_samples, &count);
         if (rc == 0 && count != 0) return 0xBAD0u;  // a sample out of nothing
         if (rc == 0) std::memcpy(r, &count, 4);
         return rc;
     }},
    // Returns the sum of the averages: no sample, no average.
    {"SESSION_HisCom_GetStatics", Expect::Zero, 0,
     [](uint8_t *) {
         SESSION_HISAVG_S averages{};
         SESSION_HisCom_GetStatics(1, &averages);
         uint32_t sum = 0;
         for (uint32_t a : averages.auiAverage) sum += a;
         return sum;
     }},
    // Returns the samples collected from two nodes.
    {"Session_GetTopStatTick", Expect::Zero, 0,
     [](uint8_t *) {
         uint32_t count = 0xA5A5A5A5u;
         const uint32_t rc = Session_GetTopStatTick(2, kNodes, &count, g_samples);
         return rc != 0 ? rc : count;
     }},
    {"SESSION_GetHotBackRemainMsg", Expect::Value, 0, [](uint8_t *) { return SESSION_GetHotBackRemainMsg(1); }},
    {"SESSION_GetHotBackStatistics", Expect::Single, sizeof(SESSION_HOTBACKSTAT_S),
     [](uint8_t *r) { return SESSION_GetHotBackStatistics(1, 2, as<SESSION_HOTBACKSTAT_S>(r)); }},
    {"HOTBACKUP_DisplayStatistics", Expect::Void, 0, [](uint8_t *) { return HOTBACKUP_DisplayStatistics(1), 0u; }},
    {"CONNLMT_Dump_DisStatNodes", Expect::StatNodes, 0,
     [](uint8_t *) { return CONNLMT_Dump_DisStatNodes(1, 0, &kStatFilter, 0); }},
    {"CONNLMT_Dump_DisStatNodes count", Expect::StatNodes, 0,
     [](uint8_t *) { return CONNLMT_Dump_DisStatNodes(1, 0, &kStatFilter, 1); }},
    {"CONNLMT_Dump_GetStatistics", Expect::Single, sizeof(CONNLMT_STATISTICS_S),
     [](uint8_t *r) { return CONNLMT_Dump_GetStatistics(1, 0, as<CONNLMT_STATISTICS_S>(r)); }},
    {"SQA_DUMP_DisSipCallEntry", Expect::Zero, 0, [](uint8_t *) { return SQA_DUMP_DisSipCallEntry(1); }},
    {"SQA_DUMP_DisSipCallEntryVerbose", Expect::Zero, 0,
     [](uint8_t *) { return SQA_DUMP_DisSipCallEntryVerbose(1, g_callId, 1); }},
    {"SQA_DUMP_DisH323CallEntry", Expect::Zero, 0, [](uint8_t *) { return SQA_DUMP_DisH323CallEntry(1); }},
    {"SQA_DUMP_DisH323CallEntryVerbose", Expect::Zero, 0,
     [](uint8_t *) { return SQA_DUMP_DisH323CallEntryVerbose(1, "call-1"); }},
    {"SQA_DUMP_ProbeDisH323CallEntry", Expect::Zero, 0,
     [](uint8_t *) { return SQA_DUMP_ProbeDisH323CallEntry(1, "call-1"); }},
    {"SQA_DUMP_DisSipCallEntryStatistics", Expect::Control, 0,
     [](uint8_t *) { return SQA_DUMP_DisSipCallEntryStatistics(); }},
    {"SQA_DUMP_DisH323CallEntryStatistics", Expect::Control, 0,
     [](uint8_t *) { return SQA_DUMP_DisH323CallEntryStatistics(); }},
    {"SQA_DUMP_PullStatistics SIP", Expect::Control, sizeof(SQA_CALL_STATISTICS_S),
     [](uint8_t *r) { return SQA_DUMP_PullStatistics(0, as<SQA_CALL_STATISTICS_S>(r)); }},
    {"SQA_DUMP_PullStatistics H.323", Expect::Control, sizeof(SQA_CALL_STATISTICS_S),
     [](uint8_t *r) { return SQA_DUMP_PullStatistics(1, as<SQA_CALL_STATISTICS_S>(r)); }},
    {"SQA_DUMP_DisDebugFlag", Expect::Control, 0, [](uint8_t *) { return SQA_DUMP_DisDebugFlag(); }},
    {"SQA_DUMP_DisH323DebugFlag", Expect::Control, 0, [](uint8_t *) { return SQA_DUMP_DisH323DebugFlag(); }},
    {"CONNLMT_ioctl_Send", Expect::Void, 0, [](uint8_t *) { return sent(CONNLMT_ioctl_Send, 0x480001); }},
    {"CONNLMT_ioctl_Send_Async", Expect::Void, 0, [](uint8_t *) { return sent(CONNLMT_ioctl_Send_Async, 0x480001); }},
    {"SESSION_ioctl_Send", Expect::Void, 0, [](uint8_t *) { return sent(SESSION_ioctl_Send, 0x480002); }},
    {"SESSION_ioctl_Send_Async", Expect::Void, 0, [](uint8_t *) { return sent(SESSION_ioctl_Send_Async, 0x480002); }},
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

    // Runs every call against a fresh peer and checks its end.
    void run_all(const Call *calls, size_t n, bool throughService) {
        dptest::HostilePeer peer(GetParam());
        const int withPeer = dptest::open_fd_count();
        for (size_t i = 0; i < n; ++i) {
            const Call &c = calls[i];
            SCOPED_TRACE(c.name);
            std::vector<uint8_t> record(c.recordSize + 16, kCanary);
            uint32_t rc = 0;
            const std::string out = dptest::capture_stdout([&] { rc = c.run(record.data()); });
            const int64_t want = expected(c.expect, GetParam());
            if (want >= 0) {
                EXPECT_EQ(rc, static_cast<uint32_t>(want));
            }
            if (rc != 0 && c.recordSize != 0 && (throughService || c.expect == Expect::Control)) {
                EXPECT_TRUE(std::all_of(record.begin(), record.end(), [](uint8_t b) { return b == kCanary; }))
                    << "the failed call wrote into its record";
            }
            // Never past the record, whatever it did.
            EXPECT_TRUE(std::all_of(record.end() - 16, record.end(), [](uint8_t b) { return b == kCanary; }));
            if (quiet(c.expect, rc)) {
                EXPECT_EQ(out, "");
            }
            // Every socket of the call is closed once it returns; the peer
            // lets go of a dump's connection as soon as it sees it closed.
            EXPECT_TRUE(
                dptest::wait_until([&] { return dptest::open_fd_count() <= withPeer; }, std::chrono::seconds(5)))
                << dptest::open_fd_count() - withPeer << " descriptors still open";
        }
        EXPECT_GT(throughService ? peer.service_requests() : peer.kernel_requests(), 0u);
    }
};

TEST_P(HostileServiceTest, EveryServiceCommandEndsWithItsResult) {
    run_all(kServiceCalls, std::size(kServiceCalls), true);
    // The command line learns from the platform why a wait ended.
    if (GetParam() == Hostility::Silent) {
        EXPECT_EQ(PLAT_GetFault(nullptr), PLAT_FAULT_TIMEOUT);
    }
}

TEST_P(HostileServiceTest, EveryKernelDisplayAndQueryEndsWithItsResult) {
    run_all(kKernelCalls, std::size(kKernelCalls), false);
    if (GetParam() == Hostility::Silent) {
        EXPECT_EQ(PLAT_GetFault(nullptr), PLAT_FAULT_TIMEOUT);
    }
    // Only the limit statistics walk pulls on after an empty "more".
    if (GetParam() == Hostility::MoreWithNothing) {
        EXPECT_EQ(PLAT_GetFault(nullptr), PLAT_FAULT_STALLED);
    }
}

INSTANTIATE_TEST_SUITE_P(Behaviours, HostileServiceTest,
                         ::testing::Values(Hostility::Silent, Hostility::Short, Hostility::Empty, Hostility::Oversized,
                                           Hostility::WrongLength, Hostility::Garbage, Hostility::MoreWithNothing),
                         [](const ::testing::TestParamInfo<Hostility> &info) {
                             return std::string(dptest::hostility_name(info.param));
                         });

}  // namespace
