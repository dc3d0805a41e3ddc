// SPDX-License-Identifier: Apache-2.0
// Session counters the kernel keeps: single-record queries that fill a
// caller's record, the ALG statistics commands, and the per-protocol count
// of the session table.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

constexpr auto kStatFields = join(layout<SESSION_STAT_S>({
                                      DPMGMT_FIELD(SESSION_STAT_S, uiHeader1),
                                      DPMGMT_FIELD(SESSION_STAT_S, uiHeader2),
                                  }),
                                  DPMGMT_ARRAY_FIELDS(SESSION_STAT_S, auiStateCount),
                                  DPMGMT_ARRAY_FIELDS(SESSION_STAT_S, auiProtocolCount),
                                  DPMGMT_ARRAY_FIELDS(SESSION_STAT_S, aulProtocolPair),
                                  layout<SESSION_STAT_S>({
                                      DPMGMT_FIELD(SESSION_STAT_S, ulCounter1),
                                      DPMGMT_FIELD(SESSION_STAT_S, ulCounter2),
                                      DPMGMT_FIELD(SESSION_STAT_S, ulCounter3),
                                  }));
constexpr auto kStatFailFields = DPMGMT_ARRAY_FIELDS(SESSION_STATFAIL_S, auiCount);
constexpr auto kMcfsStatFields = join(DPMGMT_ARRAY_FIELDS(SESSION_MCFSSTAT_S, auiCount),
                                      DPMGMT_ARRAY_FIELDS(SESSION_MCFSSTAT_S, aulCount));
constexpr auto kFdbStatFields = DPMGMT_ARRAY_FIELDS(SESSION_FDBSTAT_S, auiCount);
constexpr auto kIfKernelFields = DPMGMT_ARRAY_FIELDS(SESSION_IFKERNEL_S, auiCount);
constexpr auto kAlgFailFields =
    join(DPMGMT_ARRAY_FIELDS(SESSION_ALGFAILCNT_S, auiRow), DPMGMT_ARRAY_FIELDS(SESSION_ALGFAILCNT_S, auiTotal));
static_assert(kStatFields.fields.size() == 109 && kAlgFailFields.fields.size() == 209);

// The kernel's global image is an opaque block in the public header, which
// lists the offsets of the numbers the library turns around; the rest is
// handed over as it came.
using GlobalKernel = SESSION_STATGLOBALKERNEL_S;
// clang-format off
constexpr auto kGlobalKernelFields = join(
    layout<GlobalKernel>({
        {4, 4},   {12, 4},  {16, 4},  {44, 4},  {48, 4},  {84, 4},  {88, 4},  {124, 4}, {128, 4},
        {164, 4}, {168, 4}, {212, 4}, {216, 4}, {220, 4}, {244, 4}, {256, 4}, {260, 4}, {284, 4},
        {288, 4},
    }),
    layout_run<GlobalKernel, 34>(640, 4),
    layout<GlobalKernel>({
        {776, 4}, {780, 4}, {784, 4}, {788, 4}, {808, 4}, {840, 4}, {880, 4}, {884, 4}, {888, 4}, {896, 4},
        {900, 4}, {904, 4}, {908, 4}, {912, 4},
        {792, 8}, {800, 8}, {824, 8}, {832, 8}, {864, 8}, {872, 8},
        {816, 2}, {818, 2}, {820, 2}, {848, 2}, {850, 2}, {856, 2}, {916, 2}, {918, 2}, {920, 2}, {922, 2},
        {924, 2}, {926, 2},
    }));
// clang-format on
static_assert(kGlobalKernelFields.fields[19 + 33].offset == 772);

// One record of exactly its size into the caller's record, converted when
// complete.
template <class Record, std::size_t N, class Key>
uint32_t query(uint16_t node, uint32_t dumpType, const Key &key, Record *record, const Layout<Record, N> &layout) {
    const SingleRecord r = dump_single(node, dumpType, key.data(), key.size(), record, sizeof(Record));
    if (!r.opened || !r.complete) return DPMGMT_ERR_FAILED;
    swap_fields(record, layout);
    return DPMGMT_OK;
}

// The key of most statistics dumps: one u32.
Request<4> word_key(uint32_t word) { return Request<4>().put32(0, word); }

// The ALG commands answer with an 8-byte reply whose first word is the
// kernel's result code.
template <class Key>
uint32_t alg_command(uint16_t node, uint32_t dumpType, const Key &key) {
    uint8_t reply[8] = {};
    store_be32(reply, DPMGMT_ERR_FAILED);
    const SingleRecord r = dump_single(node, dumpType, key.data(), key.size(), reply, sizeof reply);
    if (!r.opened || !r.complete) return DPMGMT_ERR_FAILED;
    return load_be32(reply);
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_GetStatistics(uint16_t node, SESSION_STAT_S *record) {
    return query(node, dump::kStatistics, word_key(0), record, kStatFields);
}

DPMGMT_API uint32_t SESSION_GetStatFail(uint16_t node, const uint32_t *key, SESSION_STATFAIL_S *record) {
    return query(node, dump::kStatFail, word_key(*key), record, kStatFailFields);
}

DPMGMT_API uint32_t SESSION_GetMcfsStatistics(uint16_t node, SESSION_MCFSSTAT_S *record) {
    return query(node, dump::kMcfsStatistics, word_key(0), record, kMcfsStatFields);
}

DPMGMT_API uint32_t SESSION_GetFDBStatistics(uint16_t node, const uint32_t *key, SESSION_FDBSTAT_S *record) {
    return query(node, dump::kFdbStatistics, word_key(*key), record, kFdbStatFields);
}

DPMGMT_API uint32_t SESSION_GetIFKernelAll(uint16_t node, const uint32_t *key, SESSION_IFKERNEL_S *record) {
    return query(node, dump::kIfKernel, word_key(*key), record, kIfKernelFields);
}

DPMGMT_API uint32_t SESSION_GetStatGlobalKernelAll(uint16_t node, SESSION_STATGLOBALKERNEL_S *record) {
    const Request<4> key;
    const SingleRecord r = dump_single(node, dump::kGlobalKernel, key.data(), key.size(), record, sizeof *record);
    if (!r.opened) return DPMGMT_ERR_FAILED;
    // A short image reports what the pull said rather than the general code.
    if (!r.complete) return r.pullResult;
    swap_fields(record, kGlobalKernelFields);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_Get_AlgFailCnt(uint16_t node, const uint32_t *key, SESSION_ALGFAILCNT_S *record) {
    return query(node, dump::kAlgFailCount, Request<8>().put32(0, key[0]).put32(4, key[1]), record, kAlgFailFields);
}

DPMGMT_API uint32_t SESSION_ResetAlgStatistics(uint16_t node) {
    return alg_command(node, dump::kAlgReset, Request<4>());
}

DPMGMT_API uint32_t SESSION_Set_AlgStatSwitch(uint16_t node, const void *key) {
    const auto *k = static_cast<const uint8_t *>(key);
    return alg_command(node, dump::kAlgSwitch, Request<8>().put32(0, load32(k)).put16(4, load16(k + 4)).copy(6, k + 6, 2));
}

DPMGMT_API uint32_t SESSION_DisplayStatistics(uint16_t node, const SESSION_DUMPKEY_S *key) {
    SESSION_DUMPKEY_S wire = *key;
    SESSION_HTON_DUMPKEY(&wire);
    const Dump table(node, dump::kSession, &wire, sizeof wire);
    if (!table.opened()) return DPMGMT_ERR_FAILED;
    const HeapBuffer buf(sizeof(SESSION_TABLEINFO_S) * dump::kSessionsPerBatch);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;

    uint32_t perProtocol[SESSION_PROTOCOL_COUNT] = {};
    const uint32_t total =
        walk_records(table, buf, sizeof(SESSION_TABLEINFO_S), dump::kSessionsPerBatch, [&](uint8_t *rec) {
            auto *e = reinterpret_cast<SESSION_TABLEINFO_S *>(rec);
            SESSION_NTOH_TABLEINFO(e);
            // An index the vocabulary does not know counts in the total only.
            if (e->ucProtocolIndex < SESSION_PROTOCOL_COUNT) ++perProtocol[e->ucProtocolIndex];
        });

    std::printf("Current sessions: %u\r\n", total);
    for (uint32_t i = 0; i < SESSION_PROTOCOL_COUNT; ++i) {
        std::printf("%13.9s sessions: %20u", SESSION_GetProtocolName(i), perProtocol[i]);
        std::puts("\r");
    }
    std::puts("\r");
    return DPMGMT_OK;
}

}  // extern "C"
