// SPDX-License-Identifier: Apache-2.0
// Arbitrary kernel chunks fed to every display and reader that walks a
// dump: the session, fast-forward, Mcfs and relation tables, the kernel
// detail and relation detail displays, the count display, the aging queue,
// the history samples and averages, the top statistics of several nodes,
// the hot-backup display, the connection-limit statistic nodes and the
// five SIP and H.323 call displays (chunks of items whose lengths may lie
// and whose types may not fit).
//
// Input: one byte choosing the display, one byte of flags (bit 0: the
// kernel over-reports each delivered length by flags >> 1), eight bytes of
// arguments, then the pulls (fuzz_support.h: script_dumps).  Every dump
// must be ended, and no reader may report more samples than the caller's
// buffer holds.
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "dpmgmt/sqa.h"
#include "fuzz/fuzz_support.h"

namespace {

constexpr uint32_t kSession = 0x140001, kHistory = 0x140017, kTopStat = 0x14001a, kPeerStat = 0x140009;

const SESSION_DUMPKEY_S kDumpKey{};
const SESSION_TABLEKEY_S kTableKey{};
const SESSION_RELATION_KEY_S kRelationKey{};
const uint8_t kRelationByte = 0;
// The verbose SIP display hands the kernel the caller's whole 65-byte buffer.
char g_sipCallId[SQA_CALLID_SIZE] = "call-1@example";

// The history reader with a query and buffer the arguments choose; the
// buffer is exactly as large as the caller says.
void history(uint64_t arg) {
    SESSION_HISQUERY_S query{};
    query.uiPeriod = arg % 4;
    query.uiSamples = (arg >> 8) % 1500;
    query.usSampleSize = (arg >> 24) % 32;
    const auto bufferSize = static_cast<uint32_t>((arg >> 32) % (720 * 12 * 2 + 1));
    std::vector<uint8_t> buffer(bufferSize);
    uint32_t count = 0xA5A5A5A5u;
    if (SESSION_GetHisStatics(1, &query, bufferSize, buffer.data(), &count) == 0)
        fuzz::check(static_cast<uint64_t>(count) * 12 <= bufferSize);
    else
        fuzz::check(count == 0xA5A5A5A5u);
}

// Up to three nodes' top statistics into a buffer of exactly 49152 bytes each.
void top_statistics(uint64_t arg) {
    const uint16_t nodes[3] = {1, 2, 3};
    const auto nodeCount = static_cast<uint32_t>(1 + arg % 3);
    std::vector<uint8_t> buffer(static_cast<size_t>(nodeCount) * 49152);
    uint32_t count = 0;
    fuzz::check(Session_GetTopStatTick(nodeCount, nodes, &count, buffer.data()) == 0);
    fuzz::check(static_cast<uint64_t>(count) * 24 <= buffer.size());
}

// The hot-backup display asks for the remaining messages, then for the
// counters of every other node that is up.
void hot_backup(uint64_t) {
    fake::hooks().DEV_GetAllNodes = [](uint32_t *count) {
        auto *nodes = static_cast<uint16_t *>(std::malloc(3 * sizeof(uint16_t)));
        for (uint16_t i = 0; i < 3; ++i) nodes[i] = i + 1;
        *count = 3;
        return nodes;
    };
    HOTBACKUP_DisplayStatistics(1);
}

void stat_nodes(uint64_t arg) {
    CONNLMT_STATNODE_FILTER_S filter = {};
    filter.uiIpVersion = arg % 3;
    fake::hooks().APR_GetProtoNameByID = [](uint32_t, char *name) -> uint32_t {
        std::memset(name, 'p', 32);  // a name that fills the whole buffer
        return 0;
    };
    (void)CONNLMT_Dump_DisStatNodes(1, 0, &filter, static_cast<uint16_t>((arg >> 8) % 3));
}

void averages(uint64_t) {
    SESSION_HISAVG_S averages{};
    SESSION_HisCom_GetStatics(1, &averages);
    SESSION_HisCom_DisplayStatics(&averages);
}

struct Walk {
    std::vector<uint32_t> dumps;  // requested in this order
    uint16_t itemType;            // call tables: chunks of items of this type
    void (*run)(uint64_t arg);
};
const Walk kWalks[] = {
    {{kSession}, 0, [](uint64_t a) { (void)SESSION_DisplaySession(1, &kDumpKey, a & 1); }},
    {{0x140006}, 0, [](uint64_t a) { (void)SESSION_DisplayFastforwardSession(1, &kTableKey, a & 1); }},
    {{0x140014}, 0, [](uint64_t a) { (void)SESSION_DisplayMcfsTable(1, &kDumpKey, a & 1); }},
    {{0x140002}, 0, [](uint64_t) { (void)SESSION_DisplayRelation(1, &kRelationByte); }},
    {{0x140024}, 0, [](uint64_t) { (void)SESSION_DisplaySessionKernel(1, &kDumpKey); }},
    {{0x140025}, 0, [](uint64_t) { (void)SESSION_DisplayRelationInfo(1, &kRelationKey); }},
    {{kSession}, 0, [](uint64_t) { (void)SESSION_DisplayStatistics(1, &kDumpKey); }},
    {{0x140026}, 0, [](uint64_t) { (void)SESSION_GetAgingqueueState(1); }},
    {{kHistory}, 0, history},
    {{kHistory, kHistory, kHistory}, 0, averages},
    {{kTopStat, kTopStat, kTopStat}, 0, top_statistics},
    {{0x140019, kPeerStat, kPeerStat}, 0, hot_backup},
    {{CONNLMT_STATNODE_DUMP_TYPE}, 0, stat_nodes},
    {{0x14001b}, 27, [](uint64_t) { (void)SQA_DUMP_DisSipCallEntry(1); }},
    {{0x14001c}, 28, [](uint64_t) { (void)SQA_DUMP_DisSipCallEntryVerbose(1, g_sipCallId, 1); }},
    {{0x14001f}, 31, [](uint64_t) { (void)SQA_DUMP_DisH323CallEntry(1); }},
    {{0x140020}, 32, [](uint64_t) { (void)SQA_DUMP_DisH323CallEntryVerbose(1, "id"); }},
    {{0x140021}, 33, [](uint64_t) { (void)SQA_DUMP_ProbeDisH323CallEntry(1, "id"); }},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    fake::reset();
    fuzz::Input in(data, size);
    const Walk &walk = kWalks[in.byte() % std::size(kWalks)];
    const uint8_t flags = in.byte();
    if (flags & 1) fake::overstate_pulls(flags >> 1);
    const uint64_t arg = uint64_t{in.u32()} << 32 | in.u32();
    fuzz::script_dumps(in, walk.dumps, walk.itemType);
    walk.run(arg);
    fuzz::check(fake::open_dumps() == 0);  // every dump is ended
    return 0;
}
