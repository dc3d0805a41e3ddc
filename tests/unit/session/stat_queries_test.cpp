// Statistics: single-record queries (keys, conversion, length rules), the
// ALG commands, the per-protocol count display and the aging queue display.
#include <string>

#include "channels/wire.h"
#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

// n big-endian u32 words 0x01000000 + i.
Bytes words(size_t n) {
    Bytes b;
    for (size_t i = 0; i < n; ++i) {
        const Bytes w = fake::be32(static_cast<uint32_t>(0x01000000 + i));
        b.insert(b.end(), w.begin(), w.end());
    }
    return b;
}

using StatQuery = FakePlatformTest;

TEST_F(StatQuery, StatisticsRecordConvertedWhole) {
    Rec r(512);
    for (uint32_t off = 0; off < 360; off += 4) r.be32(off, 0xA0000000u + off);
    for (uint32_t off = 360; off < 512; off += 8) r.be64(off, 0xB000000000000000ull + off);
    fake::script_dump(0x140003, {{0, r.b}});
    SESSION_STAT_S st;
    EXPECT_EQ(SESSION_GetStatistics(7, &st), 0u);
    EXPECT_EQ(st.uiHeader1, 0xA0000000u);
    EXPECT_EQ(st.auiStateCount[7][9], 0xA0000000u + 8 + 4 * 79);
    EXPECT_EQ(st.auiProtocolCount[7], 0xA0000000u + 356);
    EXPECT_EQ(st.aulProtocolPair[0][0], 0xB000000000000000ull + 360);
    EXPECT_EQ(st.ulCounter3, 0xB000000000000000ull + 504);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{7, 0x140003, 4}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 00 00");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 512u);
    EXPECT_EQ(fake::open_dumps(), 0);

    // One byte short: the general failure, the record not converted.
    fake::reset();
    fake::script_dump(0x140003, {fake::chunk(Bytes(511, 0x12))});
    EXPECT_EQ(SESSION_GetStatistics(7, &st), 0x40010001u);
    EXPECT_EQ(st.uiHeader1, 0x12121212u);
    EXPECT_EQ(fake::count("DUMP_Terminate"), 1u);

    fake::reset();
    fake::fail_dump(0x140003);
    EXPECT_EQ(SESSION_GetStatistics(7, &st), 0x40010001u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 0u);
}

TEST_F(StatQuery, KeyedQueriesSendTheKeyInNetworkOrder) {
    const uint32_t key = 0x00010203;
    struct Case {
        uint32_t dumpType;
        size_t size;
        uint32_t (*query)(const uint32_t *, void *);
    };
    const Case cases[] = {
        {0x140016, 68,
         [](const uint32_t *k, void *rec) {
             return SESSION_GetStatFail(2, k, static_cast<SESSION_STATFAIL_S *>(rec));
         }},
        {0x140022, 80,
         [](const uint32_t *k, void *rec) {
             return SESSION_GetFDBStatistics(2, k, static_cast<SESSION_FDBSTAT_S *>(rec));
         }},
        {0x140027, 16,
         [](const uint32_t *k, void *rec) {
             return SESSION_GetIFKernelAll(2, k, static_cast<SESSION_IFKERNEL_S *>(rec));
         }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.dumpType);
        fake::reset();
        fake::script_dump(c.dumpType, {fake::chunk(words(c.size / 4))});
        uint32_t rec[20] = {};
        EXPECT_EQ(c.query(&key, rec), 0u);
        for (size_t i = 0; i < c.size / 4; ++i) ASSERT_EQ(rec[i], 0x01000000u + i);
        EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, c.dumpType, 4}));
        EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "00 01 02 03");
        EXPECT_EQ(fake::nth("DUMP_Pull").args[1], c.size);

        fake::reset();
        fake::script_dump(c.dumpType, {fake::chunk(words(c.size / 4 + 1))});  // longer: cut to the record
        EXPECT_EQ(c.query(&key, rec), 0u);
        fake::reset();
        fake::script_dump(c.dumpType, {fake::chunk(Bytes(c.size - 4, 0))});
        EXPECT_EQ(c.query(&key, rec), 0x40010001u);
    }
}

TEST_F(StatQuery, McfsLeavesItsGapAndAlgFailCountsAll) {
    Rec m(48);
    m.be32(0, 1)
        .be32(4, 2)
        .be32(8, 3)
        .raw(12, {0xDE, 0xAD, 0xBE, 0xEF})
        .be64(16, 4)
        .be64(24, 5)
        .be64(32, 6)
        .be64(40, 7);
    fake::script_dump(0x140015, {fake::chunk(m.b)});
    SESSION_MCFSSTAT_S mc;
    ASSERT_EQ(SESSION_GetMcfsStatistics(1, &mc), 0u);
    EXPECT_EQ(mc.auiCount[2], 3u);
    EXPECT_EQ(fake::hex(mc.aucReserved, 4), "de ad be ef");
    EXPECT_EQ(mc.aulCount[0], 4u);
    EXPECT_EQ(mc.aulCount[3], 7u);
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "00 00 00 00");

    fake::reset();
    fake::script_dump(0x140029, {fake::chunk(words(209))});
    const uint32_t key[2] = {0x0A0B0C0D, 2};
    SESSION_ALGFAILCNT_S alg;
    ASSERT_EQ(SESSION_Get_AlgFailCnt(1, key, &alg), 0u);
    EXPECT_EQ(alg.auiRow[0][0], 0x01000000u);
    EXPECT_EQ(alg.auiRow[17][10], 0x01000000u + 197);
    EXPECT_EQ(alg.auiTotal[10], 0x01000000u + 208);
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "0a 0b 0c 0d 00 00 00 02");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 836u);
}

TEST_F(StatQuery, GlobalKernelImageConvertsOnlyItsFields) {
    Bytes img(928);
    for (size_t i = 0; i < img.size(); ++i) img[i] = static_cast<uint8_t>(i * 7 + 1);
    fake::script_dump(0x140023, {{0, img}});
    SESSION_STATGLOBALKERNEL_S g;
    ASSERT_EQ(SESSION_GetStatGlobalKernelAll(1, &g), 0u);
    // Converted: u32 at 4, 640 and 772, u64 at 792, u16 at 926.
    EXPECT_EQ(dpmgmt::load32(g.aucData + 4), dpmgmt::load_be32(img.data() + 4));
    EXPECT_EQ(dpmgmt::load32(g.aucData + 640), dpmgmt::load_be32(img.data() + 640));
    EXPECT_EQ(dpmgmt::load32(g.aucData + 772), dpmgmt::load_be32(img.data() + 772));
    EXPECT_EQ(dpmgmt::load64(g.aucData + 792), dpmgmt::load_be64(img.data() + 792));
    EXPECT_EQ(dpmgmt::load16(g.aucData + 926), dpmgmt::load_be16(img.data() + 926));
    // As delivered: 0-3, 8-11, 292-639 and 812-815.
    EXPECT_EQ(fake::hex(g.aucData, 4), fake::hex(img.data(), 4));
    EXPECT_EQ(fake::hex(g.aucData + 8, 4), fake::hex(img.data() + 8, 4));
    EXPECT_EQ(fake::hex(g.aucData + 292, 348), fake::hex(img.data() + 292, 348));
    EXPECT_EQ(fake::hex(g.aucData + 812, 4), fake::hex(img.data() + 812, 4));

    // A short image returns what the pull returned.
    fake::reset();
    fake::script_dump(0x140023, {{0x40010009u, Bytes(100, 0)}});
    EXPECT_EQ(SESSION_GetStatGlobalKernelAll(1, &g), 0x40010009u);
    fake::reset();
    fake::script_dump(0x140023, {{0, Bytes(927, 0)}});
    EXPECT_EQ(SESSION_GetStatGlobalKernelAll(1, &g), 0u);  // the pull said 0
    fake::reset();
    fake::fail_dump(0x140023);
    EXPECT_EQ(SESSION_GetStatGlobalKernelAll(1, &g), 0x40010001u);
}

TEST_F(StatQuery, AlgCommandsReturnTheKernelsCode) {
    fake::script_dump(0x14002a, {{0, fake::cat({fake::be32(0x40010005), fake::be32(0xFFFFFFFF)})}});
    EXPECT_EQ(SESSION_ResetAlgStatistics(4), 0x40010005u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{4, 0x14002a, 4}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "00 00 00 00");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8u);

    fake::reset();
    fake::script_dump(0x14002a, {{0, fake::be32(0)}});  // 4 bytes of 8
    EXPECT_EQ(SESSION_ResetAlgStatistics(4), 0x40010001u);

    fake::reset();
    fake::script_dump(0x14002b, {{0, Bytes(8, 0)}});
    uint8_t key[8];
    const uint32_t w = 0x01020304;
    const uint16_t h = 0x0506;
    std::memcpy(key, &w, 4);
    std::memcpy(key + 4, &h, 2);
    key[6] = 0x07;
    key[7] = 0x08;
    EXPECT_EQ(SESSION_Set_AlgStatSwitch(4, key), 0u);
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "01 02 03 04 05 06 07 08");
    EXPECT_EQ(fake::nth("DUMP_Request").args[1], 0x14002bu);

    fake::reset();
    fake::fail_dump(0x14002b);
    EXPECT_EQ(SESSION_Set_AlgStatSwitch(4, key), 0x40010001u);
    fake::fail_dump(0x14002a);
    EXPECT_EQ(SESSION_ResetAlgStatistics(4), 0x40010001u);
}

// ---------------------------------------------------------- count display --

Bytes entry_of(uint8_t protocolIndex) {
    Rec r(172);
    r.u8(0, 2).u8(48, 2).u8(165, protocolIndex);
    return r.b;
}

std::string protocol_lines(const uint32_t (&counts)[8]) {
    static const char *const names[8] = {"TCP", "UDP", "ICMP", "ICMPv6", "UDP-Lite", "SCTP", "DCCP", "RAWIP"};
    std::string s;
    for (int i = 0; i < 8; ++i) {
        const std::string n = names[i];
        const std::string v = std::to_string(counts[i]);
        s += std::string(13 - n.size(), ' ') + n + " sessions: " + std::string(20 - v.size(), ' ') + v + "\r\n";
    }
    return s + "\r\n";
}

TEST_F(StatQuery, CountDisplayPerProtocol) {
    // 46 entries (a full batch), then an empty pull: two pulls, total 46.
    Bytes full;
    for (int i = 0; i < 46; ++i) {
        const Bytes e = entry_of(static_cast<uint8_t>(i % 3 == 0 ? 0 : (i % 3 == 1 ? 3 : 9)));
        full.insert(full.end(), e.begin(), e.end());
    }
    fake::script_dump(0x140001, {fake::chunk(full), fake::chunk({})});
    const SESSION_DUMPKEY_S key{};
    uint32_t rc = 1;
    // 16 TCP, 15 ICMPv6; the 15 entries of index 9 count in the total only.
    EXPECT_EQ(shown([&] { return SESSION_DisplayStatistics(2, &key); }, &rc),
              "Current sessions: 46\r\n" + protocol_lines({16, 0, 0, 15, 0, 0, 0, 0}));
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 2u);
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 7912u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, 0x140001, 88}));

    fake::fail_dump(0x140001);
    EXPECT_EQ(shown([&] { return SESSION_DisplayStatistics(2, &key); }, &rc), "");
    EXPECT_EQ(rc, 0x40010001u);
}

// ------------------------------------------------------------ aging queue --

Bytes core_rec(uint32_t size, uint32_t unstable, uint16_t timer, uint32_t status, uint32_t reset, uint32_t stop) {
    Rec r(std::max<size_t>(size, 20));
    r.be32(0, unstable).be16(4, timer).be32(8, status).be32(12, reset).be32(16, stop);
    for (size_t i = 20; i < r.b.size(); ++i) r.b[i] = 0xEE;
    r.b.resize(size);
    return r.b;
}
Bytes batch(uint16_t count, uint16_t size, std::initializer_list<Bytes> recs) {
    Bytes b = fake::cat({fake::be16(count), fake::be16(size)});
    for (const Bytes &r : recs) b.insert(b.end(), r.begin(), r.end());
    return b;
}
std::string core_text(uint32_t core, uint32_t unstable, uint32_t timer, uint32_t status, uint32_t reset,
                      uint32_t stop) {
    return "CORE " + std::to_string(core) + ":\n" + "bTimerActiveFlag    = " + col(std::to_string(timer), 10) + "\r\n" +
           "uiStatus            = " + col(std::to_string(status), 10) + "\r\n" +
           "ulUnstableNumber    = " + col(std::to_string(unstable), 10) + "\r\n" +
           "ulResetMsgNum       = " + col(std::to_string(reset), 10) + "\r\n" +
           "uiStopQRMLocalIndex = " + col(std::to_string(stop), 10) + "\r\n";
}

TEST_F(StatQuery, AgingQueueRecordSizesAndShortPulls) {
    // A 2-byte pull first; record sizes 24 and 16; the pull result is not
    // looked at.
    fake::script_dump(0x140026, {{0, Bytes{0, 1}},
                                 {0, batch(1, 24, {core_rec(24, 5, 1, 2, 7, 9)})},
                                 {0x40010009u, batch(1, 16, {core_rec(16, 4000000000u, 0, 3, 1, 8)})}});
    uint32_t rc = 1;
    EXPECT_EQ(shown([] { return SESSION_GetAgingqueueState(3); }, &rc), core_text(0, 5, 1, 2, 7, 9) + core_text(1, 4000000000u, 0, 3, 1, 0) + "Total :\n" +
                              "ulUnstableNumber    = " + col("4000000005", 10) + "\r\n" +
                              "ulResetMsgNum       = " + col("8", 10) + "\r\n");
    EXPECT_EQ(rc, 0u);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{3, 0x140026, 4}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 1f 40");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8000u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 4u);  // the fourth delivers nothing
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(StatQuery, AgingQueueNumbersCoresAcrossBatchesAndTrustsOnlyReceivedBytes) {
    const Bytes r24 = core_rec(24, 1, 1, 1, 1, 1);
    fake::script_dump(0x140026, {fake::chunk(batch(4, 24, {r24, r24, r24, r24})), fake::chunk(batch(0, 24, {})),
                                 // claims 5 records but carries 2 and a half
                                 fake::chunk(batch(5, 24, {r24, r24, Bytes(12, 0xFF)}))});
    const std::string text = shown([] { return SESSION_GetAgingqueueState(3); });
    size_t cores = 0;
    for (size_t p = text.find("CORE "); p != std::string::npos; p = text.find("CORE ", p + 1)) ++cores;
    EXPECT_EQ(cores, 6u);
    EXPECT_NE(text.find("CORE 4:\n"), std::string::npos);
    EXPECT_NE(text.find("CORE 5:\n"), std::string::npos);
    EXPECT_NE(text.find("Total :\nulUnstableNumber    = 6         \r\nulResetMsgNum       = 6         \r\n"),
              std::string::npos)
        << text;

    // A dump that cannot be opened: 0 and nothing printed.
    fake::fail_dump(0x140026);
    uint32_t rc = 1;
    EXPECT_EQ(shown([] { return SESSION_GetAgingqueueState(3); }, &rc), "");
    EXPECT_EQ(rc, 0u);
}

}  // namespace
