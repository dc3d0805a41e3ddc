// SPDX-License-Identifier: Apache-2.0
// History samples, their averages and display, and the top statistics of
// several nodes.
#include <string>

#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

// n history samples of 12 bytes: word 4 the rate, word 8 the sessions.
Bytes samples(size_t n, uint32_t rate, uint32_t sessions) {
    Bytes b;
    for (size_t i = 0; i < n; ++i)
        b = fake::cat({b, fake::be32(static_cast<uint32_t>(i)), fake::be32(rate), fake::be32(sessions)});
    return b;
}

using History = FakePlatformTest;

TEST_F(History, BufferMustHoldEverySampleAskedFor) {
    SESSION_HISQUERY_S q = {1, 720, 12, {0xAB, 0xCD}};
    std::vector<uint8_t> buf(8640);
    uint32_t count = 0xDEAD;
    EXPECT_EQ(SESSION_GetHisStatics(2, &q, 8639, buf.data(), &count), 0x40010001u);
    // The count untouched, nothing requested.
    EXPECT_EQ((std::vector<uint64_t>{count, fake::count("DUMP_Request")}), (std::vector<uint64_t>{0xDEAD, 0}));

    fake::script_dump(0x140017, {fake::chunk(samples(666, 1, 2)), fake::chunk(samples(54, 3, 4))});
    EXPECT_EQ(SESSION_GetHisStatics(2, &q, 8640, buf.data(), &count), 0u);
    EXPECT_EQ(count, 720u);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{2, 0x140017, 12}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 00 01 00 00 02 d0 00 0c ab cd");
    ASSERT_EQ(fake::count("DUMP_Pull"), 2u);
    EXPECT_EQ((std::vector<uint64_t>{fake::nth("DUMP_Pull", 0).args[1], fake::nth("DUMP_Pull", 1).args[1]}),
              (std::vector<uint64_t>{8640u, 8640u - 7992u}));
    // The second batch lands right after the first, unconverted.
    EXPECT_EQ(fake::hex(buf.data() + 7992, 12), "00 00 00 00 00 00 00 03 00 00 00 04");
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(History, KernelClaimingMoreThanAskedNeverOverrunsTheBuffer) {
    SESSION_HISQUERY_S q = {0, 666, 12, {0, 0}};
    const uint32_t size = 8000;
    std::vector<uint8_t> buf(size + 64, 0x5A);
    // The first pull fills 7992 bytes and claims 8003: a full batch by
    // count, and 3 bytes more than the buffer has left.
    fake::overstate_pulls(11);
    fake::script_dump(0x140017, {fake::chunk(samples(666, 1, 1)), fake::chunk(Bytes(500, 0xEE))});
    uint32_t count = 0;
    EXPECT_EQ(SESSION_GetHisStatics(2, &q, size, buf.data(), &count), 0u);
    for (size_t i = size; i < buf.size(); ++i) ASSERT_EQ(buf[i], 0x5A) << "guard byte " << i;
    ASSERT_EQ(fake::count("DUMP_Pull"), 2u);
    EXPECT_EQ((std::vector<uint64_t>{fake::nth("DUMP_Pull", 1).args[1], count}), (std::vector<uint64_t>{0, 666}));
}

TEST_F(History, AveragesOfThreePeriodsDivideByTheSamplesAskedFor) {
    // Past hour: 360 of 720 samples (sessions 100, rate 10) -> half.
    fake::script_dump(0x140017, {fake::chunk(samples(360, 10, 100))});
    // Past 24 hours: all 720 in two batches.
    fake::script_dump(0x140017, {fake::chunk(samples(666, 3, 7)), fake::chunk(samples(54, 3, 7))});
    // Past 30 days: nothing.
    fake::script_dump(0x140017, {fake::chunk({})});
    SESSION_HISAVG_S avg;
    for (uint32_t &a : avg.auiAverage) a = 0xFFFFFFFF;
    SESSION_HisCom_GetStatics(5, &avg);
    EXPECT_EQ(std::vector<uint32_t>(avg.auiAverage, avg.auiAverage + 6), (std::vector<uint32_t>{0, 50, 7, 0, 5, 3}));
    ASSERT_EQ(fake::count("DUMP_Request"), 3u);
    for (size_t period = 0; period < 3; ++period)
        EXPECT_EQ(fake::hex(fake::nth("DUMP_Request", period).bytes),
                  "00 00 00 0" + std::to_string(period) + " 00 00 02 d0 00 0c 00 00");

    // Sums are 64-bit: 720 samples of 0xFFFFFFFF average to 0xFFFFFFFF.
    fake::reset();
    fake::script_dump(0x140017, {fake::chunk(samples(666, 0xFFFFFFFF, 0xFFFFFFFF)),
                                 fake::chunk(samples(54, 0xFFFFFFFF, 0xFFFFFFFF))});
    const SESSION_HISQUERY_S q = {0, 720, 12, {0, 0}};
    uint32_t sessions = 0, rate = 0;
    _session_HisComData_Get(1, &q, &sessions, &rate);
    EXPECT_EQ((std::vector<uint32_t>{sessions, rate}), (std::vector<uint32_t>{0xFFFFFFFFu, 0xFFFFFFFFu}));

    // Zero samples asked for: averages 0, whatever the kernel says.
    fake::reset();
    const SESSION_HISQUERY_S none = {0, 0, 12, {0, 0}};
    sessions = rate = 9;
    _session_HisComData_Get(1, &none, &sessions, &rate);
    EXPECT_EQ((std::vector<uint32_t>{sessions, rate}), (std::vector<uint32_t>{0, 0}));
}

TEST_F(History, DisplayEndsLinesInLfCr) {
    // Sessions: hour [1], 24 hours [2], 30 days [0]; rates: [4], [5], [3].
    const SESSION_HISAVG_S avg = {{1, 2, 3, 4, 5, 6}};
    EXPECT_EQ(shown([&] { SESSION_HisCom_DisplayStatics(&avg); }),
              "History average sessions per second:\n\r"
              "      Past hour: 2\n\r"
              "      Past 24 hours: 3\n\r"
              "      Past 30 days: 1\n\r"
              "History average session establishment rate:\n\r"
              "      Past hour: 5/s\n\r"
              "      Past 24 hours: 6/s\n\r"
              "      Past 30 days: 4/s\n\r"
              "\n\r");
}

// ------------------------------------------------------- top statistics --

Bytes top_samples(size_t n, uint8_t tag) {
    Bytes b(n * 24);
    for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(tag + i / 24);
    return b;
}

TEST_F(History, TopStatisticsSkipUnopenedNodesWithoutAGap) {
    fake::fail_dump_on(0x14001a, 2);
    fake::script_dump(0x14001a, {fake::chunk(top_samples(333, 0x10)), fake::chunk(top_samples(2, 0x80))});
    fake::script_dump(0x14001a, {fake::chunk(top_samples(3, 0xC0))});
    const uint16_t nodes[3] = {1, 2, 3};
    std::vector<uint8_t> buf(3 * 49152, 0x5A);
    uint32_t count = 0;
    EXPECT_EQ(Session_GetTopStatTick(3, nodes, &count, buf.data()), 0u);
    EXPECT_EQ(count, 338u);
    // Node 3's samples (0xC0...) straight after node 1's.
    EXPECT_EQ((std::vector<uint8_t>{buf[0], buf[333 * 24], buf[335 * 24], buf[337 * 24 + 23], buf[338 * 24]}),
              (std::vector<uint8_t>{0x10, 0x80, 0xC0, 0xC2, 0x5A}));

    // Every request goes out before the first pull; node 1 ends before
    // node 3 is pulled.
    EXPECT_EQ(fake::call_names("DUMP_"),
              (std::vector<std::string>{"DUMP_Request", "DUMP_Request", "DUMP_Request", "DUMP_Pull", "DUMP_Pull",
                                        "DUMP_Terminate", "DUMP_Pull", "DUMP_Terminate"}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "00 00 04 00 00 00 00 18");
    EXPECT_EQ(fake::nth("DUMP_Request", 2).args, (std::vector<uint64_t>{3, 0x14001a, 8}));
    EXPECT_EQ((std::vector<uint64_t>{fake::nth("DUMP_Pull", 0).args[1], fake::nth("DUMP_Pull", 1).args[1],
                                     fake::nth("DUMP_Pull", 2).args[1]}),
              (std::vector<uint64_t>{49152u, 49152u - 333 * 24, 49152u}));
    EXPECT_EQ(fake::open_dumps(), 0);
}

}  // namespace
