// SPDX-License-Identifier: Apache-2.0
// Session queries: what they send and how the reply lands in the caller's
// storage; the limit and rate wrappers' dealings with the service manager.
#include <algorithm>
#include <cstring>
#include <vector>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

void reply(const Bytes &payload) {
    fake::reply(1, payload);
}

using SessionQueries = FakePlatformTest;

// The reply lands in the caller's storage and every field of the reply's
// extent is turned in place, so a field a short reply did not carry is the
// caller's old value turned.
TEST_F(SessionQueries, ShortReplyTurnsTheWholeExtentInPlace) {
    SESSION_FLOW_S flow = {5, 6};
    reply(fake::be32(9));
    EXPECT_EQ(SESSION_IPC_GetTrafficLogFlow(&flow), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 41 00 00 00 10 00 00 00 05 00 00 00 06");
    EXPECT_EQ((std::vector<uint32_t>{flow.uiUnit, flow.uiThreshold}), (std::vector<uint32_t>{9, 0x06000000u}));

    fake::reset();
    uint32_t apps[17 + 1];
    for (uint32_t i = 0; i < 18; ++i) apps[i] = 0x01020300 + i;
    reply(fake::cat({fake::be32(1), fake::be32(3600)}));
    EXPECT_EQ(SESSION_IPC_GetAllAppAging(apps), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 0d 00 00 00 08");
    EXPECT_EQ(fake::nth("SOCK_Recv").args[1], 68u + 8);
    // apps[17] is beyond the 17 words.
    EXPECT_EQ((std::vector<uint32_t>{apps[0], apps[1], apps[2], apps[16], apps[17]}),
              (std::vector<uint32_t>{1, 3600, 0x02030201u, 0x10030201u, 0x01020311u}));

    // The switches read into a cleared word of their own.
    fake::reset();
    reply({});
    uint16_t sw = 0xABCD;
    EXPECT_EQ(SESSION_IPC_GetTrafficLogBegin(&sw), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 45 00 00 00 08");
    EXPECT_EQ(sw, 0u);
}

TEST_F(SessionQueries, LogPolicyQuery) {
    SESSION_LOGPOLICY_REQ_S req = {4, 0, {1, 2}, 3, {0xAB, 0xCD}};
    const SESSION_LOGPOLICY_REQ_S before = req;
    reply(fake::be32(7));
    EXPECT_EQ(SESSION_IPC_GetLogPolicy(&req), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 03 00 00 00 1c 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00 02 00 03 ab cd");
    EXPECT_EQ(fake::nth("SOCK_Recv").args[1], 12u);
    EXPECT_EQ(req.uiPolicy, 7u);
    req.uiPolicy = 0;
    EXPECT_EQ(std::memcmp(&req, &before, sizeof(req)), 0);  // nothing else was written
}

TEST_F(SessionQueries, TopStatisticsConvertTheirFixedExtent) {
    Bytes ranking(648);
    for (size_t i = 0; i < ranking.size(); ++i) ranking[i] = static_cast<uint8_t>(i);
    reply(ranking);
    std::vector<uint8_t> buf(648 + 8, 0xEE);
    EXPECT_EQ(SESSION_IPC_DisTopStatistics(5, 648, buf.data()), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 11 00 00 00 0c 05 00 00 0a");
    // Per 32-byte row: 8 bytes as received, a u64 turned, 16 as received.
    Bytes expected = ranking;
    for (size_t k = 0; k < 20; ++k) std::reverse(expected.begin() + 32 * k + 8, expected.begin() + 32 * k + 16);
    EXPECT_EQ(fake::hex(buf.data(), buf.size()), fake::hex(fake::cat({expected, Bytes(8, 0xEE)})));

    fake::reset();
    reply(fake::cat({fake::be32(3600), fake::be32(100)}));
    std::vector<uint32_t> times(721 + 1, 0);
    times[721] = 0x01020304;  // past the converted extent
    const uint32_t period[2] = {2, 0};
    EXPECT_EQ(SESSION_IPC_GetTopSampleTime(period, 2884, times.data()), 0u);
    EXPECT_EQ(fake::sent(), "00 00 00 13 00 00 00 10 00 00 00 02 00 00 00 00");
    EXPECT_EQ((std::vector<uint32_t>{times[0], times[1], times[721]}), (std::vector<uint32_t>{3600, 100, 0x01020304u}));
}

class LimitsAndRates : public FakePlatformTest {
protected:
    bool running = false;
    void SetUp() override {
        FakePlatformTest::SetUp();
        fake::hooks().DEV_GetSystemMaster = [] { return uint16_t{9}; };
        fake::hooks().SERVICE_GetStatus = [this](uint16_t, const char *, uint32_t, uint32_t *status) {
            *status = running ? 2 : 1;
            return 0u;
        };
    }
};

TEST_F(LimitsAndRates, SettingStartsTheServiceOnTheMasterFirst) {
    EXPECT_EQ(SESSION_SetMaximum(1, 5000), 0u);  // selector 1: nothing at all
    EXPECT_EQ(SESSION_SetRate(1, 5000), 0u);
    EXPECT_EQ(fake::calls().size(), 0u);

    reply(fake::be32(0));
    EXPECT_EQ(SESSION_SetMaximum(2, 5000), 0u);
    EXPECT_EQ(fake::nth("SERVICE_Start").args, (std::vector<uint64_t>{9, 0, 0}));
    EXPECT_EQ(fake::nth("SERVICE_Start").text, "SESSION");
    EXPECT_EQ(fake::sent(), "00 00 00 36 00 00 00 10 00 00 00 02 00 00 13 88");
    const auto names = fake::call_names();
    EXPECT_LT(std::find(names.begin(), names.end(), "SERVICE_Start"),
              std::find(names.begin(), names.end(), "SOCK_Send"));

    SetUp();
    running = true;
    reply(fake::be32(0x40010001));
    EXPECT_EQ(SESSION_SetRate(0, 100), 0x40010001u);
    EXPECT_EQ(fake::count("SERVICE_Start"), 0u);

    // A failed start is returned and nothing is sent.
    SetUp();
    running = false;
    fake::hooks().SERVICE_Start = [](uint16_t, const char *, uint32_t, uint32_t) { return 0x5555u; };
    EXPECT_EQ(SESSION_SetRate(3, 10), 0x5555u);
    EXPECT_TRUE(fake::call_names("SOCK_").empty());
}

TEST_F(LimitsAndRates, QueriesNeverStartTheService) {
    EXPECT_EQ(SESSION_GetMaximum(2), 0u);
    EXPECT_TRUE(fake::call_names("SOCK_").empty());
    EXPECT_EQ(fake::count("SERVICE_Start"), 0u);
    EXPECT_EQ(fake::nth("SERVICE_GetStatus").args[0], 9u);

    running = true;
    reply(fake::be32(5000));
    EXPECT_EQ(SESSION_GetMaximum(2), 5000u);
    EXPECT_EQ(fake::sent(), "00 00 00 38 00 00 00 0c 00 00 00 02");
}

}  // namespace
