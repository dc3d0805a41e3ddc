// SPDX-License-Identifier: Apache-2.0
// The session settings commands against a real dpservice: for each family
// of settings, what a set command stores is what the matching query reads
// back through the library; a long reset shows its progress.
#include <gtest/gtest.h>

#include <cstring>

#include "dpmgmt/session.h"
#include "support/service_process.h"

namespace {

constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;

TEST(SessionCommandsLive, EachFamilyReadsBackWhatWasSet) {
    dptest::ServiceProcess svc({"--sessions", "60"});
    // Aging starts at the library's defaults.
    uint32_t app[17] = {}, l4[19] = {};
    ASSERT_EQ(SESSION_IPC_GetAllAppAging(app), 0u);
    for (uint32_t i = 0; i < 17; ++i) EXPECT_EQ(app[i], SESSION_GetAppDefaultAgingTime(i)) << i;
    const SESSION_AGING_S appAging = {16, 1234}, l4Aging = {18, 99}, bad = {17, 5};
    EXPECT_EQ(SESSION_IPC_SetAppAging(&appAging), 0u);
    EXPECT_EQ(SESSION_IPC_SetL4Aging(&l4Aging), 0u);
    EXPECT_EQ(SESSION_IPC_SetAppAging(&bad), kFailed);  // the service's verdict
    ASSERT_EQ(SESSION_IPC_GetAllAppAging(app), 0u);
    ASSERT_EQ(SESSION_IPC_GetAllL4Aging(l4), 0u);
    EXPECT_EQ(app[16], 1234u);
    EXPECT_EQ(app[15], SESSION_GetAppDefaultAgingTime(15));
    EXPECT_EQ(l4[18], 99u);

    // Logging, kept per interface.
    SESSION_LOGPOLICY_REQ_S req = {7, 5, {0, 0}, 0, {0, 0}}, q = {7, 0, {0, 0}, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_SetLogPolicy(&req), 0u);
    EXPECT_EQ(SESSION_IPC_GetLogPolicy(&q), 0u);
    EXPECT_EQ(q.uiPolicy, 5u);
    SESSION_LOGPOLICY_REQ_S other = {8, 0xAA, {0, 0}, 0, {0, 0}};
    EXPECT_EQ(SESSION_IPC_GetLogPolicy(&other), kNotExist);
    EXPECT_EQ(other.uiPolicy, 0xAAu) << "nothing written when there is none";
    const SESSION_FLOW_S trafficFlow = {0, 123456};
    SESSION_FLOW_S readFlow = {9, 9};
    EXPECT_EQ(SESSION_IPC_SetTrafficLogFlow(&trafficFlow), 0u);
    EXPECT_EQ(SESSION_IPC_GetTrafficLogFlow(&readFlow), 0u);
    EXPECT_EQ(std::memcmp(&readFlow, &trafficFlow, sizeof readFlow), 0);

    // Persistence and debugging bits.
    const SESSION_PERSIST_S persist = {{1, 2, 0x03040506}};
    SESSION_PERSIST_S read = {{0, 0, 0}};
    EXPECT_EQ(SESSION_IPC_SetPersist(&persist), 0u);
    EXPECT_EQ(SESSION_IPC_GetPersist(&read), 0u);
    EXPECT_EQ(std::memcmp(&read, &persist, sizeof read), 0);
    const SESSION_DEBUG_S on = {3, 0x81, 1, 0, {0, 0}}, off = {3, 0x01, 0, 0, {0, 0}};
    uint32_t debug[19] = {};
    EXPECT_EQ(SESSION_IPC_SetDebug(&on), 0u);
    EXPECT_EQ(SESSION_IPC_SetDebug(&off), 0u);
    EXPECT_EQ(SESSION_IPC_GetAllDebug(debug), 0u);
    EXPECT_EQ(debug[3], 0x80u);

    // Switches, limits and rates.
    uint16_t v = 0xFFFF;
    EXPECT_EQ(SESSION_IPC_SetSessionSyncAppSwitch(0x0102, 7), 0u);
    EXPECT_EQ(SESSION_IPC_GetSessionSyncAppSwitch(&v), 0u);
    EXPECT_EQ(v, 0x0102);
    EXPECT_EQ(SESSION_SetMaximum(2, 5000), 0u);
    EXPECT_EQ(SESSION_GetMaximum(2), 5000u);
    EXPECT_EQ(SESSION_SetRate(0, 300), 0u);
    EXPECT_EQ(SESSION_GetRate(0), 300u);
    EXPECT_EQ(SESSION_IPC_SetMaximum(99, 1), kFailed);

    // A service that is gone: queries read nothing, commands fail.
    svc.stop();
    EXPECT_EQ(SESSION_GetMaximum(2), 0u);
    EXPECT_EQ(SESSION_IPC_SetStatEnable(1), kFailed);
}

TEST(SessionResetLive, ALargeResetShowsProgress) {
    // 300,000 sessions on each of two nodes: the service takes about 3 s.
    dptest::ServiceProcess svc({"--sessions", "300000"});
    SESSION_TABLEKEY_S key{};
    uint32_t rc = 1;
    const std::string out = dptest::capture_stdout([&] { rc = SESSION_ResetSession(0, &key); });
    EXPECT_EQ(rc, 0u);
    ASSERT_EQ(out.rfind("Resetting session.", 0), 0u) << out;
    EXPECT_EQ(out.find_first_not_of('.', 17), out.size() - 7) << out;
    EXPECT_EQ(out.substr(out.size() - 7), "Done.\r\n");
    EXPECT_EQ(dptest::capture_stdout([&] { rc = SESSION_ResetSession(0, &key); }), "") << "nothing left to reset";
    EXPECT_EQ(rc, 0u);
}

}  // namespace
