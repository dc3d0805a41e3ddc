// The session settings commands against a real dpservice: for each family
// of settings, what a set command stores is what the matching query reads
// back through the library.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "dpmgmt/session.h"
#include "support/service_process.h"

namespace {

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;

class SessionCommandsLive : public ::testing::Test {
protected:
    dptest::ServiceProcess svc{{"--sessions", "60"}};
};

TEST_F(SessionCommandsLive, Aging) {
    uint32_t app[17] = {};
    uint32_t l4[19] = {};
    ASSERT_EQ(SESSION_IPC_GetAllAppAging(app), 0u);
    ASSERT_EQ(SESSION_IPC_GetAllL4Aging(l4), 0u);
    for (uint32_t i = 0; i < 17; ++i) EXPECT_EQ(app[i], SESSION_GetAppDefaultAgingTime(i)) << i;
    for (uint32_t i = 0; i < 19; ++i) EXPECT_EQ(l4[i], SESSION_GetL4DefaultAgingTime(i)) << i;

    const SESSION_AGING_S appAging = {16, 1234}, l4Aging = {18, 99}, bad = {17, 5};
    EXPECT_EQ(SESSION_IPC_SetAppAging(&appAging), 0u);
    EXPECT_EQ(SESSION_IPC_SetL4Aging(&l4Aging), 0u);
    EXPECT_EQ(SESSION_IPC_SetAppAging(&bad), kFailed);  // the service's verdict
    ASSERT_EQ(SESSION_IPC_GetAllAppAging(app), 0u);
    ASSERT_EQ(SESSION_IPC_GetAllL4Aging(l4), 0u);
    EXPECT_EQ(app[16], 1234u);
    EXPECT_EQ(app[15], 600u);
    EXPECT_EQ(l4[18], 99u);
    EXPECT_EQ(SESSION_IsAppDefaultAgingTime(16, app[16]), 0u);
}

TEST_F(SessionCommandsLive, Logging) {
    SESSION_LOGPOLICY_REQ_S req = {7, 5, {0, 0}, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_SetLogPolicy(&req), 0u);
    SESSION_LOGPOLICY_REQ_S q = {7, 0, {0, 0}, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_GetLogPolicy(&q), 0u);
    EXPECT_EQ(q.uiPolicy, 5u);
    SESSION_LOGPOLICY_REQ_S other = {8, 0xAA, {0, 0}, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_GetLogPolicy(&other), kNotExist);
    EXPECT_EQ(other.uiPolicy, 0xAAu);

    const SESSION_FLOW_S flow = {1, 5000};
    EXPECT_EQ(SESSION_IPC_SetLogFlow(&flow), 0u);
    SESSION_FLOW_S readFlow = {0, 0};
    EXPECT_EQ(SESSION_IPC_GetLogFlow(&readFlow), 0u);
    EXPECT_EQ(readFlow.uiUnit, 1u);
    EXPECT_EQ(readFlow.uiThreshold, 5000u);

    const uint32_t time = 30;
    EXPECT_EQ(SESSION_IPC_SetLogTime(&time), 0u);
    uint32_t readTime = 0;
    EXPECT_EQ(SESSION_IPC_GetLogTime(&readTime), 0u);
    EXPECT_EQ(readTime, 30u);

    const uint16_t num = 3;
    EXPECT_EQ(SESSION_IPC_SetNumLog(&num), 0u);
}

TEST_F(SessionCommandsLive, PersistAndDebug) {
    const SESSION_PERSIST_S persist = {{1, 2, 0x03040506}};
    EXPECT_EQ(SESSION_IPC_SetPersist(&persist), 0u);
    SESSION_PERSIST_S read = {{0, 0, 0}};
    EXPECT_EQ(SESSION_IPC_GetPersist(&read), 0u);
    EXPECT_EQ(std::memcmp(&read, &persist, sizeof(read)), 0);

    const SESSION_DEBUG_S on = {3, 0x81, 1, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_SetDebug(&on), 0u);
    uint32_t debug[19] = {};
    EXPECT_EQ(SESSION_IPC_GetAllDebug(debug), 0u);
    EXPECT_EQ(debug[3], 0x81u);
    const SESSION_DEBUG_S off = {3, 0x01, 0, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_SetDebug(&off), 0u);
    EXPECT_EQ(SESSION_IPC_GetAllDebug(debug), 0u);
    EXPECT_EQ(debug[3], 0x80u);

    const SESSION_TCPDEBUG_S tcp = {2, 0x10, 1, {0, 0}};
    EXPECT_EQ(SESSION_IPC_SetTcpDebug(&tcp), 0u);
    uint32_t tcpWords[3] = {};
    EXPECT_EQ(SESSION_IPC_GetTcpDebug(tcpWords), 0u);
    EXPECT_EQ(tcpWords[2], 0x10u);
}

TEST_F(SessionCommandsLive, Switches) {
    uint16_t v = 0xFFFF;
    EXPECT_EQ(SESSION_IPC_SetSessionSyncSwitch(1), 0u);
    EXPECT_EQ(SESSION_IPC_GetSessionSyncSwitch(&v), 0u);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(SESSION_IPC_SetSessionSyncAppSwitch(0x0102, 7), 0u);
    EXPECT_EQ(SESSION_IPC_GetSessionSyncAppSwitch(&v), 0u);
    EXPECT_EQ(v, 0x0102);
    EXPECT_EQ(SESSION_IPC_SetHisTopStatEnable(1), 0u);
    EXPECT_EQ(SESSION_IPC_GetHisTopStatEnable(&v), 0u);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(SESSION_IPC_SetStatEnable(1), 0u);
}

TEST_F(SessionCommandsLive, LimitsAndRates) {
    EXPECT_EQ(SESSION_SetMaximum(2, 5000), 0u);
    EXPECT_EQ(SESSION_GetMaximum(2), 5000u);
    EXPECT_EQ(SESSION_SetRate(0, 300), 0u);
    EXPECT_EQ(SESSION_GetRate(0), 300u);
    EXPECT_EQ(SESSION_SetMaximum(1, 77), 0u);  // not sent at all
    EXPECT_EQ(SESSION_GetMaximum(1), 0u);
    EXPECT_EQ(SESSION_IPC_SetMaximum(99, 1), kFailed);

    // With the service gone, queries read 0 and commands fail.
    svc.stop();
    EXPECT_EQ(SESSION_GetMaximum(2), 0u);
    EXPECT_EQ(SESSION_IPC_SetStatEnable(1), kFailed);
}

TEST_F(SessionCommandsLive, TrafficLog) {
    const uint32_t time = 600;
    EXPECT_EQ(SESSION_IPC_SetTrafficLogTime(&time), 0u);
    uint32_t readTime = 0;
    EXPECT_EQ(SESSION_IPC_GetTrafficLogTime(&readTime), 0u);
    EXPECT_EQ(readTime, 600u);

    const SESSION_FLOW_S flow = {0, 123456};
    EXPECT_EQ(SESSION_IPC_SetTrafficLogFlow(&flow), 0u);
    SESSION_FLOW_S readFlow = {9, 9};
    EXPECT_EQ(SESSION_IPC_GetTrafficLogFlow(&readFlow), 0u);
    EXPECT_EQ(readFlow.uiUnit, 0u);
    EXPECT_EQ(readFlow.uiThreshold, 123456u);

    uint16_t begin = 0;
    EXPECT_EQ(SESSION_IPC_SetTrafficLogBegin(4), 0u);
    EXPECT_EQ(SESSION_IPC_GetTrafficLogBegin(&begin), 0u);
    EXPECT_EQ(begin, 4);

    SESSION_TRAFFICLOG_BILL_S bill{};
    bill.usEnable = 1;
    bill.usPort = 514;
    EXPECT_EQ(SESSION_IPC_TrafficLogEnableBill(&bill), 0u);
}

TEST_F(SessionCommandsLive, ResetsAnswer) {
    const uint8_t selector = 1;
    EXPECT_EQ(SESSION_IPC_ResetRelation(0, &selector), 0u);
    EXPECT_EQ(SESSION_IPC_ResetStatistics(0), 0u);
    EXPECT_EQ(SESSION_IPC_ResetMcfsStatistics(0), 0u);
    EXPECT_EQ(SESSION_IPC_ResetStatFail(0, 0), 0u);
    EXPECT_EQ(SESSION_IPC_ResetEventStatistics(0, 0), 0u);
    EXPECT_EQ(SESSION_IPC_ResetFdbStatistics(0, 0), 0u);
    SESSION_TABLEKEY_S key{};
    key.stTuple.ucFamily = SESSION_AF_IPV4;
    uint32_t rc = 1;
    const std::string out = dptest::capture_stdout([&] { rc = SESSION_ResetSession(0, &key); });
    EXPECT_EQ(rc, 0u);
    // Progress shows only when the service takes more than a second.
    if (!out.empty()) {
        EXPECT_EQ(out.rfind("Resetting session", 0), 0u);
        EXPECT_EQ(out.substr(out.size() - 7), "Done.\r\n");
    }
}

TEST_F(SessionCommandsLive, TopStatistics) {
    std::vector<uint8_t> ranking(SESSION_TOP_STATISTICS_REPLY_SIZE, 0xEE);
    ASSERT_EQ(SESSION_IPC_DisTopStatistics(0, static_cast<uint32_t>(ranking.size()), ranking.data()), 0u);
    const uint32_t filled = dptest::get_be32(ranking, 640);  // not one of the converted fields
    EXPECT_GE(filled, 1u);
    EXPECT_LE(filled, 10u);  // the library asks for ten
    uint64_t previous = UINT64_MAX;
    for (uint32_t k = 0; k < filled; ++k) {
        uint64_t live;
        std::memcpy(&live, ranking.data() + 8 + 32 * k, 8);
        EXPECT_GT(live, 0u) << k;
        EXPECT_LE(live, previous) << k;  // most sessions first, in host order
        previous = live;
    }

    std::vector<uint8_t> samples(SESSION_TOP_SAMPLES_REPLY_SIZE, 0);
    const uint32_t query[3] = {0, 0, 0};
    ASSERT_EQ(SESSION_IPC_GetTopStatistics(query, static_cast<uint32_t>(samples.size()), samples.data()), 0u);
    uint16_t sampleCount;
    uint32_t interval;
    std::memcpy(&sampleCount, samples.data() + 2, 2);
    std::memcpy(&interval, samples.data() + 4, 4);
    EXPECT_EQ(sampleCount, 720);
    EXPECT_EQ(interval, 5u);

    std::vector<uint32_t> times(721, 0);
    const uint32_t period[2] = {1, 0};
    ASSERT_EQ(SESSION_IPC_GetTopSampleTime(period, 2884, times.data()), 0u);
    EXPECT_EQ(times[0], 120u);
    EXPECT_EQ(times[720] - times[719], 120u);
}

}  // namespace
