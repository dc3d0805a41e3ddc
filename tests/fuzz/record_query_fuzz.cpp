// SPDX-License-Identifier: Apache-2.0
// The reply of every record query, whichever channel it comes by: the
// session service's replies to the session, hot-backup, connection-limit
// (policies with their rules, rules, apply lists) and call-analysis
// queries (and the result word of a plain command), the kernel's
// single-record dumps, and its control-call replies.
//
// Input: one byte choosing the query, one byte of mode, a u16 argument,
// then the reply.
// A service reply is the rest of the input, sent as a datagram with a
// correct header (mode bit 0 clear; the type is the next u32) or as raw
// bytes (bit 0 set).  A dump reply is a result byte and a chunk body; with
// mode bit 1 the kernel over-reports its length by a byte.  A control reply
// is a result byte and the bytes.
//
// Every query writes its caller's record only when it succeeds (those of
// the exchanges at least; a dump query may leave partial data), never past
// the record, and every socket and dump is released.  A single-record query
// succeeds only on a record of exactly its size; a policy or apply list
// read reports no more rules or interfaces than its record has room for.
#include <cerrno>
#include <cstring>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"
#include "fuzz/fuzz_support.h"

namespace {

enum class Via { Service, Dump, Control };

struct Query {
    Via via;
    uint32_t code;            // dump type or control command
    size_t recordSize;        // the caller's record (0: none)
    bool untouchedOnFailure;  // the record stays as it was when the call fails
    bool exactRecord;         // success means exactly recordSize bytes were delivered
    uint32_t (*run)(uint8_t *record, uint32_t arg);
    bool (*valid)(uint8_t *record, uint32_t arg) = nullptr;  // what a success must satisfy
};

constexpr uint32_t kNotAQuery = 0xFFFFFFFEu;  // a result nobody returns: the call has no result code

template <class T>
T *as(uint8_t *p) {
    return reinterpret_cast<T *>(p);
}

// A service query that fills the caller's record of N bytes, or leaves it
// alone.
template <class T, auto Read, size_t N = sizeof(T)>
constexpr Query service() {
    return {Via::Service, 0, N, true, false, [](uint8_t *r, uint32_t) { return Read(as<T>(r)); }};
}

// A policy read reports no more rules than the record has room for.
template <class Policy>
bool rules_fit(uint8_t *r, uint32_t) {
    return as<Policy>(r)->uiRuleNum <= CONNLMT_MAX_RULE_NUM;
}
uint32_t info_max(uint32_t arg) {
    return arg % (sizeof(CONNLMT_POLICYINFO_S) + 1);
}
// Within a reply maximum of info_max(arg) bytes.
bool info_fits_max(uint8_t *r, uint32_t arg) {
    const uint32_t rules = as<CONNLMT_POLICYINFO_S>(r)->uiRuleNum, max = info_max(arg);
    constexpr uint32_t head = offsetof(CONNLMT_POLICYINFO_S, astRule);
    return rules == 0 || (max >= head && rules <= (max - head) / sizeof(CONNLMT_RULE_S));
}

const SESSION_TABLEKEY_S kTableKey{};
const uint32_t kKeyWords[3] = {1, 2, 3};

const Query kQueries[] = {
    // ------------------------------------------------ session service --
    service<uint32_t, SESSION_IPC_GetAllAppAging, 17 * 4>(),
    service<uint32_t, SESSION_IPC_GetAllL4Aging, 19 * 4>(),
    service<SESSION_LOGPOLICY_REQ_S, SESSION_IPC_GetLogPolicy>(),
    service<SESSION_FLOW_S, SESSION_IPC_GetLogFlow>(),
    service<uint32_t, SESSION_IPC_GetLogTime>(),
    service<SESSION_PERSIST_S, SESSION_IPC_GetPersist>(),
    service<uint32_t, SESSION_IPC_GetAllDebug, SESSION_DEBUG_WORD_COUNT * 4>(),
    service<uint32_t, SESSION_IPC_GetTcpDebug, SESSION_TCP_DEBUG_WORD_COUNT * 4>(),
    {Via::Service, 0, SESSION_TOP_STATISTICS_REPLY_SIZE, true, false,
     [](uint8_t *r, uint32_t arg) {
         const uint32_t replyMax = arg % (SESSION_TOP_STATISTICS_REPLY_SIZE + 1);
         return SESSION_IPC_DisTopStatistics(static_cast<uint8_t>(arg), replyMax, r);
     }},
    {Via::Service, 0, SESSION_TOP_SAMPLES_REPLY_SIZE, true, false,
     [](uint8_t *r, uint32_t arg) {
         return SESSION_IPC_GetTopStatistics(kKeyWords, arg % (SESSION_TOP_SAMPLES_REPLY_SIZE + 1), r);
     }},
    {Via::Service, 0, SESSION_TOP_SAMPLE_TIME_REPLY_SIZE, true, false,
     [](uint8_t *r, uint32_t arg) {
         return SESSION_IPC_GetTopSampleTime(kKeyWords, arg % (SESSION_TOP_SAMPLE_TIME_REPLY_SIZE + 1), r);
     }},
    service<uint16_t, SESSION_IPC_GetSessionSyncSwitch>(),
    service<uint16_t, SESSION_IPC_GetSessionSyncAppSwitch>(),
    service<uint16_t, SESSION_IPC_GetHisTopStatEnable>(),
    service<uint32_t, SESSION_IPC_GetTrafficLogTime>(),
    service<SESSION_FLOW_S, SESSION_IPC_GetTrafficLogFlow>(),
    service<uint16_t, SESSION_IPC_GetTrafficLogBegin>(),
    {Via::Service, 0, 0, false, false,
     [](uint8_t *, uint32_t arg) {
         (void)SESSION_GetMaximum(arg);
         return kNotAQuery;
     }},
    {Via::Service, 0, 0, false, false,
     [](uint8_t *, uint32_t arg) {
         (void)SESSION_GetRate(arg);
         return kNotAQuery;
     }},
    {Via::Service, 0, 0, false, false,
     [](uint8_t *, uint32_t arg) { return SESSION_IPC_SetStatEnable(static_cast<uint16_t>(arg)); }},
    {Via::Service, 0, 0, false, false,
     [](uint8_t *, uint32_t arg) { return SESSION_ResetSession(static_cast<uint16_t>(arg), &kTableKey); }},
    service<uint32_t, HOTBACKUP_Ipc_GetDebug>(),
    service<CONNLMT_DEBUG_S, CONNLMT_ipc_GetDebug>(),
    {Via::Service, 0, 2, true, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetApplyPolicy(arg, arg & 1, as<uint16_t>(r)); }},
    {Via::Service, 0, 2, true, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_IsPolicyExist(1, arg & 1, as<uint16_t>(r)); }},
    {Via::Service, 0, 2, true, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetNextPolicyID(1, arg & 1, as<uint16_t>(r)); }},
    {Via::Service, 0, 4, true, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetPolicyTotalNumber(arg & 1, as<uint32_t>(r)); }},
    {Via::Service, 0, 0, false, false, [](uint8_t *, uint32_t arg) { return CONNLMT_ipc_AddPolicy(1, arg & 1); }},
    {Via::Service, 0, sizeof(CONNLMT_POLICY_S), false, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetPolicy(1, arg & 1, as<CONNLMT_POLICY_S>(r)); },
     rules_fit<CONNLMT_POLICY_S>},
    {Via::Service, 0, sizeof(CONNLMT_POLICY_S), false, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetNextPolicy(1, arg & 1, as<CONNLMT_POLICY_S>(r)); },
     rules_fit<CONNLMT_POLICY_S>},
    {Via::Service, 0, sizeof(CONNLMT_POLICYINFO_S), false, false,
     [](uint8_t *r, uint32_t arg) {
         return CONNLMT_ipc_GetPolicyInfo(1, arg & 1, info_max(arg), as<CONNLMT_POLICYINFO_S>(r));
     },
     info_fits_max},
    {Via::Service, 0, sizeof(CONNLMT_POLICYINFO_S), false, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetNextPolicyInfo(1, arg & 1, as<CONNLMT_POLICYINFO_S>(r)); },
     rules_fit<CONNLMT_POLICYINFO_S>},
    {Via::Service, 0, sizeof(CONNLMT_APPLYLIST_S), false, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetPolicyApplyList(1, arg & 1, as<CONNLMT_APPLYLIST_S>(r)); },
     [](uint8_t *r, uint32_t) { return as<CONNLMT_APPLYLIST_S>(r)->uiApplyNum <= CONNLMT_MAX_APPLY_NUM; }},
    {Via::Service, 0, sizeof(CONNLMT_RULE_S), true, false,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_ipc_GetRule(1, 1, arg & 1, as<CONNLMT_RULE_S>(r)); }},
    service<SQA_REMARK_S, SQA_IPC_GetRemark>(),
    service<SQA_SWITCH_QUERY_S, SQA_IPC_GetSqaEnable>(),
    service<SQA_SWITCH_QUERY_S, SQA_IPC_GetListeningPort>(),
    service<SQA_FILTER_QUERY_S, SQA_IPC_GetFilterAddress>(),
    {Via::Service, 0, 0, false, false,
     [](uint8_t *, uint32_t arg) { return SQA_IPC_SetSipEnable(static_cast<uint16_t>(arg)); }},
    // -------------------------------------------- single-record dumps --
    {Via::Dump, 0x140003, sizeof(SESSION_STAT_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_GetStatistics(1, as<SESSION_STAT_S>(r)); }},
    {Via::Dump, 0x140016, sizeof(SESSION_STATFAIL_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_GetStatFail(1, kKeyWords, as<SESSION_STATFAIL_S>(r)); }},
    {Via::Dump, 0x140015, sizeof(SESSION_MCFSSTAT_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_GetMcfsStatistics(1, as<SESSION_MCFSSTAT_S>(r)); }},
    {Via::Dump, 0x140022, sizeof(SESSION_FDBSTAT_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_GetFDBStatistics(1, kKeyWords, as<SESSION_FDBSTAT_S>(r)); }},
    {Via::Dump, 0x140027, sizeof(SESSION_IFKERNEL_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_GetIFKernelAll(1, kKeyWords, as<SESSION_IFKERNEL_S>(r)); }},
    // On a short record this one answers what the pull answered, 0 included.
    {Via::Dump, 0x140023, sizeof(SESSION_STATGLOBALKERNEL_S), false, false,
     [](uint8_t *r, uint32_t) { return SESSION_GetStatGlobalKernelAll(1, as<SESSION_STATGLOBALKERNEL_S>(r)); }},
    {Via::Dump, 0x140029, sizeof(SESSION_ALGFAILCNT_S), false, true,
     [](uint8_t *r, uint32_t) { return SESSION_Get_AlgFailCnt(1, kKeyWords, as<SESSION_ALGFAILCNT_S>(r)); }},
    {Via::Dump, 0x14002a, 0, false, false, [](uint8_t *, uint32_t) { return SESSION_ResetAlgStatistics(1); }},
    {Via::Dump, 0x14002b, 0, false, false, [](uint8_t *, uint32_t) { return SESSION_Set_AlgStatSwitch(1, kKeyWords); }},
    {Via::Dump, 0x140009, sizeof(SESSION_HOTBACKSTAT_S), false, true,
     [](uint8_t *r, uint32_t arg) {
         return SESSION_GetHotBackStatistics(1, static_cast<uint16_t>(arg), as<SESSION_HOTBACKSTAT_S>(r));
     }},
    {Via::Dump, 0x140019, 0, false, false,
     [](uint8_t *, uint32_t) {
         (void)SESSION_GetHotBackRemainMsg(1);
         return kNotAQuery;
     }},
    {Via::Dump, 0x14000c, sizeof(CONNLMT_STATISTICS_S), false, true,
     [](uint8_t *r, uint32_t arg) { return CONNLMT_Dump_GetStatistics(1, arg, as<CONNLMT_STATISTICS_S>(r)); }},
    // -------------------------------------------------- control calls --
    {Via::Control, 0x480061, 0, false, false, [](uint8_t *, uint32_t) { return SQA_DUMP_DisDebugFlag(); }},
    {Via::Control, 0x48006a, 0, false, false, [](uint8_t *, uint32_t) { return SQA_DUMP_DisH323DebugFlag(); }},
    {Via::Control, 0x480062, 0, false, false, [](uint8_t *, uint32_t) { return SQA_DUMP_DisSipCallEntryStatistics(); }},
    {Via::Control, 0x480068, 0, false, false,
     [](uint8_t *, uint32_t) { return SQA_DUMP_DisH323CallEntryStatistics(); }},
    {Via::Control, 0x480062, sizeof(SQA_CALL_STATISTICS_S), true, false,
     [](uint8_t *r, uint32_t) { return SQA_DUMP_PullStatistics(0, as<SQA_CALL_STATISTICS_S>(r)); }},
    {Via::Control, 0x480068, sizeof(SQA_CALL_STATISTICS_S), true, false,
     [](uint8_t *r, uint32_t) { return SQA_DUMP_PullStatistics(1, as<SQA_CALL_STATISTICS_S>(r)); }},
};
constexpr size_t kQueryCount = sizeof kQueries / sizeof kQueries[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    fake::reset();
    fake::hooks().SERVICE_GetStatus = [](uint16_t, const char *, uint32_t, uint32_t *status) {
        *status = 2;  // running: the limit queries ask only a running service
        return 0u;
    };
    fuzz::Input in(data, size);
    const Query &q = kQueries[in.byte() % kQueryCount];
    const uint8_t mode = in.byte();
    const uint32_t arg = in.u16();
    uint32_t delivered = 0;
    switch (q.via) {
        case Via::Service:
            if (mode & 1) {
                fake::sockets().receives.push_back({1, 0, in.take(in.left())});
            } else {
                const uint32_t type = in.u32();
                fake::reply(type, in.take(in.left()));
            }
            if (mode & 2) fake::fail_recv(EAGAIN);  // a second receive, should anyone ask
            break;
        case Via::Dump: {
            const uint8_t result = in.byte();
            fake::Bytes chunk = in.body(fuzz::kMaxChunk);
            const uint32_t extra = mode & 2 ? 1 : 0;
            fake::overstate_pulls(extra);
            const auto n = static_cast<uint32_t>(std::min(chunk.size(), q.recordSize));
            delivered = n + (n != 0 ? extra : 0);  // what the kernel claims
            fake::script_dump(q.code, {{result & 1 ? DPMGMT_DUMP_CONTINUE : result, std::move(chunk)}});
            break;
        }
        case Via::Control: {
            const uint8_t result = in.byte();
            fake::script_control(q.code, {result & 1 ? 0u : result, in.take(in.left())});
            break;
        }
    }
    fuzz::Canary record(q.recordSize);
    const uint32_t rc = q.run(record.data(), arg);
    fuzz::check(record.guard_intact());
    if (rc != 0 && rc != kNotAQuery && q.untouchedOnFailure) fuzz::check(record.untouched());
    if (rc == 0 && q.exactRecord) fuzz::check(delivered == q.recordSize);
    if (rc == 0 && q.valid != nullptr) fuzz::check(q.valid(record.data(), arg));
    fuzz::check(fake::open_dumps() == 0);
    fuzz::check(fake::socket_log().opened == fake::socket_log().closed);
    return 0;
}
