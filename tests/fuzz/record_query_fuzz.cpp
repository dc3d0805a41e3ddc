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

template <class T>
T *as(uint8_t *p) {
    return reinterpret_cast<T *>(p);
}

// A query that fills the caller's record of N bytes, or leaves it alone.
template <class T, size_t N = sizeof(T), class F>
constexpr Query fills(F, Via via = Via::Service, uint32_t code = 0) {
    return {via, code, N, true, false, [](uint8_t *r, uint32_t arg) { return F{}(as<T>(r), arg); }};
}
template <class T, auto Read, size_t N = sizeof(T)>
constexpr Query service() {
    return fills<T, N>([](T *r, uint32_t) { return Read(r); });
}
// A call without a record (its result, for some not a result code, is not checked).
template <class F>
constexpr Query command(F, Via via = Via::Service, uint32_t code = 0) {
    return {via, code, 0, false, false, [](uint8_t *, uint32_t arg) { return static_cast<uint32_t>(F{}(arg)); }};
}
// A single-record dump: success means the kernel delivered exactly the record.
template <class T, class F>
constexpr Query dump(uint32_t type, F) {
    return {Via::Dump, type, sizeof(T), false, true, [](uint8_t *r, uint32_t arg) { return F{}(as<T>(r), arg); }};
}

// A policy read reports no more rules than the record has room for.
template <class Policy>
bool rules_fit(uint8_t *r, uint32_t) {
    return as<Policy>(r)->uiRuleNum <= CONNLMT_MAX_RULE_NUM;
}
// A read that may write on failure; on success the record satisfies valid.
template <class T, class F>
constexpr Query checked(F, bool (*valid)(uint8_t *, uint32_t) = rules_fit<T>) {
    return {Via::Service, 0, sizeof(T), false, false, [](uint8_t *r, uint32_t arg) { return F{}(as<T>(r), arg); },
            valid};
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
constexpr size_t kTopStat = SESSION_TOP_STATISTICS_REPLY_SIZE, kTopSamples = SESSION_TOP_SAMPLES_REPLY_SIZE,
                 kTopTime = SESSION_TOP_SAMPLE_TIME_REPLY_SIZE;

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
    fills<uint8_t, kTopStat>(
        [](uint8_t *r, uint32_t a) { return SESSION_IPC_DisTopStatistics(uint8_t(a), a % (kTopStat + 1), r); }),
    fills<uint8_t, kTopSamples>(
        [](uint8_t *r, uint32_t a) { return SESSION_IPC_GetTopStatistics(kKeyWords, a % (kTopSamples + 1), r); }),
    fills<uint8_t, kTopTime>(
        [](uint8_t *r, uint32_t a) { return SESSION_IPC_GetTopSampleTime(kKeyWords, a % (kTopTime + 1), r); }),
    service<uint16_t, SESSION_IPC_GetSessionSyncSwitch>(),
    service<uint16_t, SESSION_IPC_GetSessionSyncAppSwitch>(),
    service<uint16_t, SESSION_IPC_GetHisTopStatEnable>(),
    service<uint32_t, SESSION_IPC_GetTrafficLogTime>(),
    service<SESSION_FLOW_S, SESSION_IPC_GetTrafficLogFlow>(),
    service<uint16_t, SESSION_IPC_GetTrafficLogBegin>(),
    command([](uint32_t a) { return SESSION_GetMaximum(a); }),
    command([](uint32_t a) { return SESSION_GetRate(a); }),
    command([](uint32_t a) { return SESSION_IPC_SetStatEnable(uint16_t(a)); }),
    command([](uint32_t a) { return SESSION_ResetSession(uint16_t(a), &kTableKey); }),
    service<uint32_t, HOTBACKUP_Ipc_GetDebug>(),
    service<CONNLMT_DEBUG_S, CONNLMT_ipc_GetDebug>(),
    fills<uint16_t>([](uint16_t *r, uint32_t a) { return CONNLMT_ipc_GetApplyPolicy(a, a & 1, r); }),
    fills<uint16_t>([](uint16_t *r, uint32_t a) { return CONNLMT_ipc_IsPolicyExist(1, a & 1, r); }),
    fills<uint16_t>([](uint16_t *r, uint32_t a) { return CONNLMT_ipc_GetNextPolicyID(1, a & 1, r); }),
    fills<uint32_t>([](uint32_t *r, uint32_t a) { return CONNLMT_ipc_GetPolicyTotalNumber(a & 1, r); }),
    command([](uint32_t a) { return CONNLMT_ipc_AddPolicy(1, a & 1); }),
    checked<CONNLMT_POLICY_S>([](CONNLMT_POLICY_S *r, uint32_t a) { return CONNLMT_ipc_GetPolicy(1, a & 1, r); }),
    checked<CONNLMT_POLICY_S>([](CONNLMT_POLICY_S *r, uint32_t a) { return CONNLMT_ipc_GetNextPolicy(1, a & 1, r); }),
    checked<CONNLMT_POLICYINFO_S>(
        [](CONNLMT_POLICYINFO_S *r, uint32_t a) { return CONNLMT_ipc_GetPolicyInfo(1, a & 1, info_max(a), r); },
        info_fits_max),
    checked<CONNLMT_POLICYINFO_S>(
        [](CONNLMT_POLICYINFO_S *r, uint32_t a) { return CONNLMT_ipc_GetNextPolicyInfo(1, a & 1, r); }),
    checked<CONNLMT_APPLYLIST_S>(
        [](CONNLMT_APPLYLIST_S *r, uint32_t a) { return CONNLMT_ipc_GetPolicyApplyList(1, a & 1, r); },
        [](uint8_t *r, uint32_t) { return as<CONNLMT_APPLYLIST_S>(r)->uiApplyNum <= CONNLMT_MAX_APPLY_NUM; }),
    fills<CONNLMT_RULE_S>([](CONNLMT_RULE_S *r, uint32_t a) { return CONNLMT_ipc_GetRule(1, 1, a & 1, r); }),
    service<SQA_REMARK_S, SQA_IPC_GetRemark>(),
    service<SQA_SWITCH_QUERY_S, SQA_IPC_GetSqaEnable>(),
    service<SQA_SWITCH_QUERY_S, SQA_IPC_GetListeningPort>(),
    service<SQA_FILTER_QUERY_S, SQA_IPC_GetFilterAddress>(),
    command([](uint32_t a) { return SQA_IPC_SetSipEnable(uint16_t(a)); }),
    // -------------------------------------------- single-record dumps --
    dump<SESSION_STAT_S>(0x140003, [](SESSION_STAT_S *r, uint32_t) { return SESSION_GetStatistics(1, r); }),
    dump<SESSION_STATFAIL_S>(0x140016,
                             [](SESSION_STATFAIL_S *r, uint32_t) { return SESSION_GetStatFail(1, kKeyWords, r); }),
    dump<SESSION_MCFSSTAT_S>(0x140015, [](SESSION_MCFSSTAT_S *r, uint32_t) { return SESSION_GetMcfsStatistics(1, r); }),
    dump<SESSION_FDBSTAT_S>(0x140022,
                            [](SESSION_FDBSTAT_S *r, uint32_t) { return SESSION_GetFDBStatistics(1, kKeyWords, r); }),
    dump<SESSION_IFKERNEL_S>(0x140027,
                             [](SESSION_IFKERNEL_S *r, uint32_t) { return SESSION_GetIFKernelAll(1, kKeyWords, r); }),
    // On a short record this one answers what the pull answered, 0 included.
    {Via::Dump, 0x140023, sizeof(SESSION_STATGLOBALKERNEL_S), false, false,
     [](uint8_t *r, uint32_t) { return SESSION_GetStatGlobalKernelAll(1, as<SESSION_STATGLOBALKERNEL_S>(r)); }},
    dump<SESSION_ALGFAILCNT_S>(
        0x140029, [](SESSION_ALGFAILCNT_S *r, uint32_t) { return SESSION_Get_AlgFailCnt(1, kKeyWords, r); }),
    command([](uint32_t) { return SESSION_ResetAlgStatistics(1); }, Via::Dump, 0x14002a),
    command([](uint32_t) { return SESSION_Set_AlgStatSwitch(1, kKeyWords); }, Via::Dump, 0x14002b),
    dump<SESSION_HOTBACKSTAT_S>(
        0x140009, [](SESSION_HOTBACKSTAT_S *r, uint32_t a) { return SESSION_GetHotBackStatistics(1, uint16_t(a), r); }),
    command([](uint32_t) { return SESSION_GetHotBackRemainMsg(1); }, Via::Dump, 0x140019),
    dump<CONNLMT_STATISTICS_S>(0x14000c,
                               [](CONNLMT_STATISTICS_S *r, uint32_t a) { return CONNLMT_Dump_GetStatistics(1, a, r); }),
    // -------------------------------------------------- control calls --
    command([](uint32_t) { return SQA_DUMP_DisDebugFlag(); }, Via::Control, 0x480061),
    command([](uint32_t) { return SQA_DUMP_DisH323DebugFlag(); }, Via::Control, 0x48006a),
    command([](uint32_t) { return SQA_DUMP_DisSipCallEntryStatistics(); }, Via::Control, 0x480062),
    command([](uint32_t) { return SQA_DUMP_DisH323CallEntryStatistics(); }, Via::Control, 0x480068),
    fills<SQA_CALL_STATISTICS_S>([](SQA_CALL_STATISTICS_S *r, uint32_t) { return SQA_DUMP_PullStatistics(0, r); },
                                 Via::Control, 0x480062),
    fills<SQA_CALL_STATISTICS_S>([](SQA_CALL_STATISTICS_S *r, uint32_t) { return SQA_DUMP_PullStatistics(1, r); },
                                 Via::Control, 0x480068),
};
constexpr size_t kQueryCount = sizeof kQueries / sizeof kQueries[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    fake::reset();
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
    if (rc != 0 && q.untouchedOnFailure) fuzz::check(record.untouched());
    if (rc == 0 && q.exactRecord) fuzz::check(delivered == q.recordSize);
    if (rc == 0 && q.valid != nullptr) fuzz::check(q.valid(record.data(), arg));
    fuzz::check(fake::open_dumps() == 0);
    fuzz::check(fake::socket_log().opened == fake::socket_log().closed);
    return 0;
}
