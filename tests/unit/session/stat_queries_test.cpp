// SPDX-License-Identifier: Apache-2.0
// Statistics: single-record queries (keys, conversion, length rules), the
// ALG commands, the per-protocol count display and the aging queue display.
#include <string>

#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

using StatQuery = FakePlatformTest;

TEST_F(StatQuery, StatisticsRecordConvertedWhole) {
    Rec r(512);
    for (uint32_t off = 0; off < 360; off += 4) r.be32(off, 0xA0000000u + off);
    for (uint32_t off = 360; off < 512; off += 8) r.be64(off, 0xB000000000000000ull + off);
    fake::script_dump(0x140003, {{0, r.b}});
    SESSION_STAT_S st;
    EXPECT_EQ(SESSION_GetStatistics(7, &st), 0u);
    EXPECT_EQ((std::vector<uint64_t>{st.uiHeader1, st.auiStateCount[7][9], st.auiProtocolCount[7],
                                     st.aulProtocolPair[0][0], st.ulCounter3}),
              (std::vector<uint64_t>{0xA0000000u, 0xA0000000u + 8 + 4 * 79, 0xA0000000u + 356,
                                     0xB000000000000000ull + 360, 0xB000000000000000ull + 504}));
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{7, 0x140003, 4}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 00 00");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 512u);
    EXPECT_EQ(fake::open_dumps(), 0);

    // One byte short: the general failure, the record not converted (the
    // rule of every single-record statistics query).
    fake::reset();
    fake::script_dump(0x140003, {fake::chunk(Bytes(511, 0x12))});
    EXPECT_EQ(SESSION_GetStatistics(7, &st), 0x40010001u);
    EXPECT_EQ(st.uiHeader1, 0x12121212u);
    EXPECT_EQ(fake::count("DUMP_Terminate"), 1u);
}

TEST_F(StatQuery, AlgFailCountsSendTheirTwoWordKey) {
    Bytes counts;
    for (uint32_t i = 0; i < 209; ++i) counts = fake::cat({counts, fake::be32(0x01000000 + i)});
    fake::script_dump(0x140029, {fake::chunk(counts)});
    const uint32_t key[2] = {0x0A0B0C0D, 2};
    SESSION_ALGFAILCNT_S alg;
    ASSERT_EQ(SESSION_Get_AlgFailCnt(1, key, &alg), 0u);
    EXPECT_EQ((std::vector<uint32_t>{alg.auiRow[0][0], alg.auiRow[17][10], alg.auiTotal[10]}),
              (std::vector<uint32_t>{0x01000000u, 0x01000000u + 197, 0x01000000u + 208}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "0a 0b 0c 0d 00 00 00 02");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 836u);
}

TEST_F(StatQuery, AlgCommandsReturnTheKernelsCode) {
    fake::script_dump(0x14002a, {{0, fake::cat({fake::be32(0x40010005), fake::be32(0xFFFFFFFF)})}});
    EXPECT_EQ(SESSION_ResetAlgStatistics(4), 0x40010005u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{4, 0x14002a, 4}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "00 00 00 00");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8u);

    fake::reset();
    fake::script_dump(0x14002b, {{0, Bytes(8, 0)}});
    struct {
        uint32_t w;
        uint16_t h;
        uint8_t b[2];
    } key = {0x01020304, 0x0506, {7, 8}};
    EXPECT_EQ(SESSION_Set_AlgStatSwitch(4, &key), 0u);
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "01 02 03 04 05 06 07 08");
    EXPECT_EQ(fake::nth("DUMP_Request").args[1], 0x14002bu);
}

// ---------------------------------------------------------- count display --

TEST_F(StatQuery, CountDisplayPerProtocol) {
    // 46 entries (a full batch), then an empty pull: two pulls, total 46.
    Bytes full;
    for (int i = 0; i < 46; ++i) {
        Rec r(172);
        r.u8(0, 2).u8(48, 2).u8(165, i % 3 == 0 ? 0 : (i % 3 == 1 ? 3 : 9));
        full = fake::cat({full, r.b});
    }
    fake::script_dump(0x140001, {fake::chunk(full), fake::chunk({})});
    const SESSION_DUMPKEY_S key{};
    uint32_t rc = 1;
    // 16 TCP, 15 ICMPv6; the 15 entries of index 9 count in the total only.
    const char *const names[8] = {"TCP", "UDP", "ICMP", "ICMPv6", "UDP-Lite", "SCTP", "DCCP", "RAWIP"};
    std::string want = "Current sessions: 46\r\n";
    for (int i = 0; i < 8; ++i)
        want += rcol(names[i], 13) + " sessions: " + rcol(i == 0 ? "16" : (i == 3 ? "15" : "0"), 20) + "\r\n";
    EXPECT_EQ(shown([&] { return SESSION_DisplayStatistics(2, &key); }, &rc), want + "\r\n");
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 2u);
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 7912u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, 0x140001, 88}));
}

// ------------------------------------------------------------ aging queue --

Bytes core_rec(uint32_t size, uint32_t unstable, uint16_t timer, uint32_t status, uint32_t reset, uint32_t stop) {
    Rec r(24);
    r.be32(0, unstable).be16(4, timer).be32(8, status).be32(12, reset).be32(16, stop).be32(20, 0xEEEEEEEE);
    r.b.resize(size);
    return r.b;
}
Bytes batch(uint16_t count, uint16_t size, std::initializer_list<Bytes> recs) {
    Bytes b = fake::cat({fake::be16(count), fake::be16(size)});
    for (const Bytes &r : recs) b = fake::cat({b, r});
    return b;
}
std::string row(const char *name, uint32_t v) {
    return col(name, 20) + "= " + col(std::to_string(v), 10) + "\r\n";
}
std::string core_text(uint32_t core, uint32_t unstable, uint32_t timer, uint32_t status, uint32_t reset,
                      uint32_t stop) {
    return "CORE " + std::to_string(core) + ":\n" + row("bTimerActiveFlag", timer) + row("uiStatus", status) +
           row("ulUnstableNumber", unstable) + row("ulResetMsgNum", reset) + row("uiStopQRMLocalIndex", stop);
}
std::string total(uint32_t unstable, uint32_t reset) {
    return "Total :\n" + row("ulUnstableNumber", unstable) + row("ulResetMsgNum", reset);
}

TEST_F(StatQuery, AgingQueueRecordSizesShortPullsAndLyingHeaders) {
    // A 2-byte pull first; record sizes 24 and 16; the pull result is not
    // looked at; the last batch claims 5 records but carries 2 and a half.
    const Bytes r24 = core_rec(24, 1, 1, 1, 1, 1);
    fake::script_dump(0x140026, {{0, Bytes{0, 1}},
                                 {0, batch(1, 24, {core_rec(24, 5, 1, 2, 7, 9)})},
                                 {0x40010009u, batch(1, 16, {core_rec(16, 4000000000u, 0, 3, 1, 8)})},
                                 fake::chunk(batch(5, 24, {r24, r24, Bytes(12, 0xFF)}))});
    uint32_t rc = 1;
    EXPECT_EQ(shown([] { return SESSION_GetAgingqueueState(3); }, &rc),
              core_text(0, 5, 1, 2, 7, 9) + core_text(1, 4000000000u, 0, 3, 1, 0) + core_text(2, 1, 1, 1, 1, 1) +
                  core_text(3, 1, 1, 1, 1, 1) + total(4000000007u, 10));
    EXPECT_EQ(rc, 0u);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{3, 0x140026, 4}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 1f 40");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8000u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 5u);  // the fifth delivers nothing
    EXPECT_EQ(fake::open_dumps(), 0);
}

}  // namespace
