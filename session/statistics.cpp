// Session counters the kernel keeps: single-record queries that fill a
// caller's record, the ALG statistics commands, and the per-protocol count
// of the session table.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/wire.h"
#include "dpmgmt/session.h"

namespace {

using dpmgmt::Field;

constexpr uint32_t kDumpSession = 0x140001;
constexpr uint32_t kDumpStatistics = 0x140003;
constexpr uint32_t kDumpMcfsStat = 0x140015;
constexpr uint32_t kDumpStatFail = 0x140016;
constexpr uint32_t kDumpFdbStat = 0x140022;
constexpr uint32_t kDumpGlobalKernel = 0x140023;
constexpr uint32_t kDumpIfKernel = 0x140027;
constexpr uint32_t kDumpAlgFailCnt = 0x140029;
constexpr uint32_t kDumpAlgReset = 0x14002a;
constexpr uint32_t kDumpAlgSwitch = 0x14002b;

constexpr uint32_t kSessionsPerBatch = 46;

constexpr auto kStatFields = dpmgmt::join(dpmgmt::layout_run<512, 90>(0, 4, 4),     // 0 .. 356
                                          dpmgmt::layout_run<512, 19>(360, 8, 8));  // 360 .. 504
constexpr auto kStatFailFields = dpmgmt::layout_run<68, 17>(0, 4, 4);
constexpr auto kMcfsStatFields = dpmgmt::join(dpmgmt::layout_run<48, 3>(0, 4, 4), dpmgmt::layout_run<48, 4>(16, 8, 8));
constexpr auto kFdbStatFields = dpmgmt::layout_run<80, 20>(0, 4, 4);
constexpr auto kIfKernelFields = dpmgmt::layout_run<16, 4>(0, 4, 4);
constexpr auto kAlgFailFields = dpmgmt::layout_run<836, 209>(0, 4, 4);

// Only these fields of the kernel's global image are numbers the library
// turns around; the rest is handed over as it came.
// clang-format off
constexpr auto kGlobalKernelFields = dpmgmt::join(
    dpmgmt::join(dpmgmt::layout<928>({
                     {4, 4},   {12, 4},  {16, 4},  {44, 4},  {48, 4},  {84, 4},  {88, 4},  {124, 4}, {128, 4},
                     {164, 4}, {168, 4}, {212, 4}, {216, 4}, {220, 4}, {244, 4}, {256, 4}, {260, 4}, {284, 4},
                     {288, 4},
                 }),
                 dpmgmt::layout_run<928, 34>(640, 4, 4)),
    dpmgmt::layout<928>({
        {776, 4}, {780, 4}, {784, 4}, {788, 4}, {808, 4}, {840, 4}, {880, 4}, {884, 4}, {888, 4}, {896, 4},
        {900, 4}, {904, 4}, {908, 4}, {912, 4},
        {792, 8}, {800, 8}, {824, 8}, {832, 8}, {864, 8}, {872, 8},
        {816, 2}, {818, 2}, {820, 2}, {848, 2}, {850, 2}, {856, 2}, {916, 2}, {918, 2}, {920, 2}, {922, 2},
        {924, 2}, {926, 2},
    }));
// clang-format on

static_assert(kStatFields.back().offset == 504 && kStatFields[89].offset == 356);
static_assert(kGlobalKernelFields[19 + 33].offset == 772);

// One record of exactly `size` bytes into the caller's buffer, converted
// when complete.
uint32_t query(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, void *record, uint32_t size,
               std::span<const Field> fields) {
    const dpmgmt::SingleRecord r = dpmgmt::dump_single(node, dumpType, key, keyLen, record, size);
    if (!r.opened || !r.complete) return DPMGMT_ERR_FAILED;
    dpmgmt::swap_fields(record, fields);
    return DPMGMT_OK;
}

template <class Record, std::size_t N>
uint32_t query_keyed(uint16_t node, uint32_t dumpType, const uint32_t *key, Record *record,
                     const std::array<Field, N> &fields) {
    dpmgmt::Payload<4> wire;
    wire.put32(0, *key);
    return query(node, dumpType, wire.data(), wire.size(), record, sizeof(Record), fields);
}

template <class Record, std::size_t N>
uint32_t query_zero_key(uint16_t node, uint32_t dumpType, Record *record, const std::array<Field, N> &fields) {
    const uint32_t zero = 0;
    return query_keyed(node, dumpType, &zero, record, fields);
}

// The ALG commands answer with an 8-byte reply whose first word is the
// kernel's result code.
uint32_t alg_command(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen) {
    uint8_t reply[8] = {};
    dpmgmt::store_be32(reply, DPMGMT_ERR_FAILED);
    const dpmgmt::SingleRecord r = dpmgmt::dump_single(node, dumpType, key, keyLen, reply, sizeof reply);
    if (!r.opened || !r.complete) return DPMGMT_ERR_FAILED;
    return dpmgmt::load_be32(reply);
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_GetStatistics(uint16_t node, SESSION_STAT_S *record) {
    return query_zero_key(node, kDumpStatistics, record, kStatFields);
}

DPMGMT_API uint32_t SESSION_GetStatFail(uint16_t node, const uint32_t *key, SESSION_STATFAIL_S *record) {
    return query_keyed(node, kDumpStatFail, key, record, kStatFailFields);
}

DPMGMT_API uint32_t SESSION_GetMcfsStatistics(uint16_t node, SESSION_MCFSSTAT_S *record) {
    return query_zero_key(node, kDumpMcfsStat, record, kMcfsStatFields);
}

DPMGMT_API uint32_t SESSION_GetFDBStatistics(uint16_t node, const uint32_t *key, SESSION_FDBSTAT_S *record) {
    return query_keyed(node, kDumpFdbStat, key, record, kFdbStatFields);
}

DPMGMT_API uint32_t SESSION_GetIFKernelAll(uint16_t node, const uint32_t *key, SESSION_IFKERNEL_S *record) {
    return query_keyed(node, kDumpIfKernel, key, record, kIfKernelFields);
}

DPMGMT_API uint32_t SESSION_GetStatGlobalKernelAll(uint16_t node, SESSION_STATGLOBALKERNEL_S *record) {
    dpmgmt::Payload<4> wire;
    const dpmgmt::SingleRecord r =
        dpmgmt::dump_single(node, kDumpGlobalKernel, wire.data(), wire.size(), record, sizeof *record);
    if (!r.opened) return DPMGMT_ERR_FAILED;
    // A short image reports what the pull said rather than the general code.
    if (!r.complete) return r.pullResult;
    dpmgmt::swap_fields(record, kGlobalKernelFields);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_Get_AlgFailCnt(uint16_t node, const uint32_t *key, SESSION_ALGFAILCNT_S *record) {
    dpmgmt::Payload<8> wire;
    wire.put32(0, key[0]);
    wire.put32(4, key[1]);
    return query(node, kDumpAlgFailCnt, wire.data(), wire.size(), record, sizeof *record, kAlgFailFields);
}

DPMGMT_API uint32_t SESSION_ResetAlgStatistics(uint16_t node) {
    dpmgmt::Payload<4> wire;
    return alg_command(node, kDumpAlgReset, wire.data(), wire.size());
}

DPMGMT_API uint32_t SESSION_Set_AlgStatSwitch(uint16_t node, const void *key) {
    const auto *k = static_cast<const uint8_t *>(key);
    dpmgmt::Payload<8> wire;
    wire.put32(0, dpmgmt::load32(k));
    wire.put16(4, dpmgmt::load16(k + 4));
    wire.copy(6, k + 6, 2);
    return alg_command(node, kDumpAlgSwitch, wire.data(), wire.size());
}

DPMGMT_API uint32_t SESSION_DisplayStatistics(uint16_t node, const SESSION_DUMPKEY_S *key) {
    SESSION_DUMPKEY_S wire = *key;
    SESSION_HTON_DUMPKEY(&wire);
    dpmgmt::Dump dump(node, kDumpSession, &wire, sizeof wire);
    if (!dump.opened()) return DPMGMT_ERR_FAILED;
    dpmgmt::PullBuffer buf(sizeof(SESSION_TABLEINFO_S) * kSessionsPerBatch);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;

    uint32_t perProtocol[SESSION_PROTOCOL_COUNT] = {};
    const uint32_t total =
        dpmgmt::walk_records(dump, buf, sizeof(SESSION_TABLEINFO_S), kSessionsPerBatch, [&](uint8_t *rec) {
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
