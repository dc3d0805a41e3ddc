// SPDX-License-Identifier: Apache-2.0
// The session displays of the library against a real dpservice: the table
// and the statistics count the same sessions, under every filter.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "dpmgmt/session.h"
#include "support/service_process.h"

namespace {

constexpr uint16_t kNode = 1;  // the default profile's own node

size_t occurrences(const std::string &text, const std::string &what) {
    size_t n = 0;
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
    return n;
}

TEST(SessionDisplayLive, TableCountsAgreeWithStatistics) {
    dptest::ServiceProcess svc({"--sessions", "700", "--seed", "11"});
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
    SESSION_STAT_S st;
    ASSERT_EQ(SESSION_GetStatistics(kNode, &st), 0u);
    EXPECT_EQ(st.uiHeader1, shown);
    uint32_t sum = 0;
    for (uint32_t i = 0; i < 8; ++i) {
        char label[32];
        std::snprintf(label, sizeof label, "%13.9s sessions: ", SESSION_GetProtocolName(i));
        const size_t at = counts.find(label);
        ASSERT_NE(at, std::string::npos) << label;
        EXPECT_EQ(std::stoul(counts.substr(at + std::strlen(label))), st.auiProtocolCount[i]) << label;
        sum += st.auiProtocolCount[i];
    }
    EXPECT_EQ(sum, shown);

    // The verbose form shows the same entries, each with both directions.
    uint32_t verboseShown = 0;
    const std::string verbose = dptest::capture_stdout([&] { verboseShown = SESSION_DisplaySession(kNode, &all, 1); });
    EXPECT_EQ(verboseShown, shown);
    EXPECT_EQ(occurrences(verbose, "Responder:\r\n"), shown);

    // IPv4 and IPv6 filters split the table.
    SESSION_DUMPKEY_S v4{}, v6{};
    v4.ucFamily = 2;
    v6.ucFamily = 10;
    uint32_t n4 = 0, n6 = 0;
    dptest::capture_stdout([&] {
        n4 = SESSION_DisplaySession(kNode, &v4, 0);
        n6 = SESSION_DisplaySession(kNode, &v6, 0);
    });
    EXPECT_EQ(n4 + n6, shown);
    EXPECT_EQ(n6, st.uiHeader2);
}

}  // namespace
