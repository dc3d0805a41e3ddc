// The session displays, statistics, history and hot backup of the library
// against a real dpservice on a fresh run directory.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "dpmgmt/session.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

constexpr uint16_t kNode = 1;  // the default profile's own node
constexpr uint16_t kPeer = 2;

size_t occurrences(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
    return n;
}

// The number after "<name> sessions:" in the count display.
uint32_t protocol_count(const std::string &text, const char *name) {
    char label[32];
    std::snprintf(label, sizeof label, "%13.9s sessions: ", name);
    const size_t p = text.find(label);
    if (p == std::string::npos) return UINT32_MAX;
    return static_cast<uint32_t>(std::stoul(text.substr(p + std::strlen(label))));
}

class SessionDisplayLive : public ::testing::Test {
protected:
    dptest::ServiceProcess svc{{"--sessions", "700", "--seed", "11"}};
};

TEST_F(SessionDisplayLive, TableCountsAgreeWithStatistics) {
    SESSION_DUMPKEY_S all{};
    uint32_t shown = 0;
    const std::string brief = dptest::capture_stdout([&] { shown = SESSION_DisplaySession(kNode, &all, 0); });
    ASSERT_GT(shown, 46u);  // more than one batch
    EXPECT_EQ(occurrences(brief, "Initiator:\r\n"), shown);
    EXPECT_EQ(occurrences(brief, "Responder:\r\n"), 0u);

    uint32_t rc = 1;
    const std::string counts = dptest::capture_stdout([&] { rc = SESSION_DisplayStatistics(kNode, &all); });
    ASSERT_EQ(rc, 0u);
    EXPECT_EQ(counts.rfind("Current sessions: " + std::to_string(shown) + "\r\n", 0), 0u) << counts;
    EXPECT_TRUE(counts.size() > 4 && counts.compare(counts.size() - 4, 4, "\r\n\r\n") == 0);

    SESSION_STAT_S st;
    ASSERT_EQ(SESSION_GetStatistics(kNode, &st), 0u);
    EXPECT_EQ(st.uiHeader1, shown);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < 8; ++i) {
        SCOPED_TRACE(SESSION_GetProtocolName(i));
        EXPECT_EQ(protocol_count(counts, SESSION_GetProtocolName(i)), st.auiProtocolCount[i]);
        sum += st.auiProtocolCount[i];
    }
    EXPECT_EQ(sum, shown);

    // The verbose form shows the same entries, each with both directions.
    uint32_t verboseShown = 0;
    const std::string verbose = dptest::capture_stdout([&] { verboseShown = SESSION_DisplaySession(kNode, &all, 1); });
    EXPECT_EQ(verboseShown, shown);
    EXPECT_EQ(occurrences(verbose, "Responder:\r\n"), shown);
    EXPECT_EQ(occurrences(verbose, "State: "), shown);

    // IPv4 and IPv6 filters split the table.
    SESSION_DUMPKEY_S v4{};
    v4.ucFamily = 2;
    SESSION_DUMPKEY_S v6{};
    v6.ucFamily = 10;
    uint32_t n4 = 0, n6 = 0;
    dptest::capture_stdout([&] {
        n4 = SESSION_DisplaySession(kNode, &v4, 0);
        n6 = SESSION_DisplaySession(kNode, &v6, 0);
    });
    EXPECT_EQ(n4 + n6, shown);
    EXPECT_EQ(n6, st.uiHeader2);
}

TEST_F(SessionDisplayLive, KernelDetailAndRelationsMatchTheirTables) {
    SESSION_DUMPKEY_S all{};
    uint32_t sessions = 0, kernel = 0;
    std::string detail;
    dptest::capture_stdout([&] { sessions = SESSION_DisplaySession(kNode, &all, 0); });
    detail = dptest::capture_stdout([&] { kernel = SESSION_DisplaySessionKernel(kNode, &all); });
    EXPECT_EQ(kernel, sessions);
    EXPECT_EQ(occurrences(detail, "SESSION_BASE_S:\r\n"), kernel);
    EXPECT_EQ(occurrences(detail, "SESSION_KLOG_EXTINFO_S:\r\n"), kernel);

    const uint8_t everyRelation = 0;
    SESSION_RELATION_KEY_S relKey{};
    uint32_t relations = 0, details = 0;
    dptest::capture_stdout([&] { relations = SESSION_DisplayRelation(kNode, &everyRelation); });
    const std::string rel = dptest::capture_stdout([&] { details = SESSION_DisplayRelationInfo(kNode, &relKey); });
    EXPECT_GT(relations, 0u);
    EXPECT_EQ(details, relations);
    EXPECT_EQ(occurrences(rel, "  AttachData:\r\n"), details);
}

TEST_F(SessionDisplayLive, HistoryAveragesAgreeWithTheSamples) {
    SESSION_HISAVG_S avg{};
    SESSION_HisCom_GetStatics(kNode, &avg);
    // Each average recomputed from the raw samples of its period.
    const int countIndex[3] = {1, 2, 0};
    const int rateIndex[3] = {4, 5, 3};
    for (uint32_t period = 0; period < 3; ++period) {
        SCOPED_TRACE(period);
        const SESSION_HISQUERY_S q = {period, 720, 12, {0, 0}};
        std::vector<uint8_t> buf(720 * 12);
        uint32_t received = 0;
        ASSERT_EQ(SESSION_GetHisStatics(kNode, &q, static_cast<uint32_t>(buf.size()), buf.data(), &received), 0u);
        ASSERT_GT(received, 0u);
        uint64_t sessions = 0, rate = 0;
        for (uint32_t i = 0; i < received; ++i) {
            rate += dptest::get_be32(buf, 12 * i + 4);
            sessions += dptest::get_be32(buf, 12 * i + 8);
        }
        EXPECT_EQ(avg.auiAverage[countIndex[period]], sessions / 720);
        EXPECT_EQ(avg.auiAverage[rateIndex[period]], rate / 720);
    }
    const std::string text = dptest::capture_stdout([&] { SESSION_HisCom_DisplayStatics(&avg); });
    char expected[512];
    std::snprintf(expected, sizeof expected,
                  "History average sessions per second:\n\r"
                  "      Past hour: %d\n\r      Past 24 hours: %d\n\r      Past 30 days: %d\n\r"
                  "History average session establishment rate:\n\r"
                  "      Past hour: %d/s\n\r      Past 24 hours: %d/s\n\r      Past 30 days: %d/s\n\r\n\r",
                  static_cast<int>(avg.auiAverage[1]), static_cast<int>(avg.auiAverage[2]),
                  static_cast<int>(avg.auiAverage[0]), static_cast<int>(avg.auiAverage[4]),
                  static_cast<int>(avg.auiAverage[5]), static_cast<int>(avg.auiAverage[3]));
    EXPECT_EQ(text, expected);

    // Top statistics of both nodes arrive as one array of 24-byte samples.
    const uint16_t nodes[2] = {kNode, kPeer};
    std::vector<uint8_t> top(2 * 49152);
    uint32_t samples = 0;
    ASSERT_EQ(Session_GetTopStatTick(2, nodes, &samples, top.data()), 0u);
    EXPECT_GT(samples, 0u);
    for (uint32_t i = 0; i < samples; ++i) {
        const uint8_t family = top[24 * i + 20];
        ASSERT_TRUE(family == 2 || family == 10) << "sample " << i;
    }
}

TEST_F(SessionDisplayLive, HotBackupDisplayAndSwitches) {
    SESSION_HOTBACKSTAT_S peer;
    ASSERT_EQ(SESSION_GetHotBackStatistics(kNode, kPeer, &peer), 0u);
    const uint32_t remaining = SESSION_GetHotBackRemainMsg(kNode);
    const std::string text = dptest::capture_stdout([] { HOTBACKUP_DisplayStatistics(kNode); });
    char row[160];
    std::snprintf(row, sizeof row, " Chassis %-2u slot %-3u : %-17llx %-17llx %-17llx\r\n", LIP_GetChassID(kPeer),
                  LIP_GetSlotID(kPeer), static_cast<unsigned long long>(peer.ulSendOk),
                  static_cast<unsigned long long>(peer.ulSendFail), static_cast<unsigned long long>(peer.ulRecvOk));
    EXPECT_EQ(text, "Remain message       : " + std::to_string(remaining) + "\r\n" +
                        "                       Send successfully Send failed       Receive successfully\r\n" + row);

    ASSERT_EQ(HOTBACKUP_Ipc_SetDebug(0x5, 1), 0u);
    uint32_t bits = 0;
    ASSERT_EQ(HOTBACKUP_Ipc_GetDebug(&bits), 0u);
    EXPECT_EQ(bits, 0x5u);
    ASSERT_EQ(HOTBACKUP_Ipc_SetDebug(0x1, 0), 0u);
    ASSERT_EQ(HOTBACKUP_Ipc_GetDebug(&bits), 0u);
    EXPECT_EQ(bits, 0x4u);

    EXPECT_EQ(HOTBACKUP_Ipc_ResetStatistics(0), 0u);
    ASSERT_EQ(SESSION_GetHotBackStatistics(kNode, kPeer, &peer), 0u);
    EXPECT_EQ(peer.ulSendOk + peer.ulSendFail + peer.ulRecvOk, 0u);
}

}  // namespace
