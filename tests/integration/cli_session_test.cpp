// The operator command line's session commands against a real dpservice:
// displays agree with each other, settings round-trip, refused input
// changes nothing, help lists what may follow.
#include <sstream>
#include <string>
#include <vector>

#include "cli_support.h"

namespace {

using clitest::number_after;
using clitest::ok;
using clitest::refused;

class CliSession : public ::testing::Test {
protected:
    dptest::ServiceProcess svc{{"--sessions", "80"}};
};

TEST_F(CliSession, TableCountEqualsStatisticsTotalUnderEveryFilter) {
    const std::vector<std::vector<std::string>> filters = {
        {}, {"ipv4"}, {"ipv6"}, {"protocol", "tcp"}, {"ipv4", "protocol", "17"}, {"slot", "2"}};
    for (const auto &filter : filters) {
        std::vector<std::string> table{"display", "session", "table"};
        std::vector<std::string> stats{"display", "session", "statistics"};
        table.insert(table.end(), filter.begin(), filter.end());
        stats.insert(stats.end(), filter.begin(), filter.end());
        const std::string t = ok(table);
        const std::string s = ok(stats);
        const auto shown = number_after(t, "Total sessions found: (\\d+)\r\n$");
        const auto counted = number_after(s, "Current sessions: (\\d+)\r\n");
        ASSERT_TRUE(shown && counted) << t.substr(t.size() > 200 ? t.size() - 200 : 0) << s;
        EXPECT_EQ(*shown, *counted) << "filter size " << filter.size();
        EXPECT_EQ(t.rfind("Slot ", 0), 0u);
    }
    // The local node holds the sessions it was given; the families split them.
    const auto all = number_after(ok({"display", "session", "table"}), "Total sessions found: (\\d+)");
    const auto v4 = number_after(ok({"display", "session", "table", "ipv4"}), "Total sessions found: (\\d+)");
    const auto v6 = number_after(ok({"display", "session", "table", "ipv6"}), "Total sessions found: (\\d+)");
    ASSERT_TRUE(all && v4 && v6);
    EXPECT_EQ(*all, 80u);
    EXPECT_EQ(*v4 + *v6, *all);
}

TEST_F(CliSession, ResetRemovesWhatTheFilterSelectsOnly) {
    const auto before = number_after(ok({"display", "session", "statistics"}), "Current sessions: (\\d+)");
    const auto tcp = number_after(ok({"display", "session", "statistics", "protocol", "tcp"}),
                                  "Current sessions: (\\d+)");
    ASSERT_TRUE(before && tcp);
    ASSERT_GT(*tcp, 0u);
    ok({"reset", "session", "protocol", "tcp"});
    const std::string after = ok({"display", "session", "statistics"});
    EXPECT_EQ(number_after(after, "Current sessions: (\\d+)"), *before - *tcp);
    EXPECT_EQ(number_after(after, "TCP sessions: +(\\d+)"), 0u);
    EXPECT_EQ(number_after(ok({"display", "session", "table"}), "Total sessions found: (\\d+)"), *before - *tcp);
}

TEST_F(CliSession, AgingTimeRoundTripsAndMarksDefaults) {
    const std::string initial = ok({"display", "session", "aging-time"});
    EXPECT_NE(initial.find("  SIP                     300 (default)\r\n"), std::string::npos) << initial;
    ok({"session", "aging-time", "application", "SiP", "450"});
    ok({"session", "aging-time", "state", "tcp-est", "7200"});
    const std::string after = ok({"display", "session", "aging-time"});
    EXPECT_NE(after.find("  SIP                     450\r\n"), std::string::npos) << after;
    EXPECT_NE(after.find("  TCP-EST                7200\r\n"), std::string::npos) << after;
    EXPECT_NE(after.find("  DNS                       1 (default)\r\n"), std::string::npos);
}

TEST_F(CliSession, RefusedInputChangesNothing) {
    const std::string aging = ok({"display", "session", "aging-time"});
    const std::string limits = ok({"display", "session", "limit"});
    refused({"session", "aging-time", "application", "smtp", "10"}, "dns, ftp");
    refused({"session", "aging-time", "state", "syn", "0"}, "from 1 to 100000");
    refused({"session", "aging-time", "state", "syn", "100001"}, "from 1 to 100000");
    refused({"session", "aging-time", "state", "syn", "12x"}, "12x");
    refused({"session", "limit", "1", "5000"}, "0 or 2 to 15");
    refused({"session", "limit", "16", "5000"}, "from 0 to 15");
    refused({"session", "limit", "4294967296"}, "from 0 to 4294967295");
    refused({"session", "synchronization", "maybe"}, "enable or disable");
    refused({"display", "session", "table", "slot", "9"}, "the device has slot 1 or 2");
    refused({"display", "session", "table", "ipv4", "source-ip", "2001:db8::1"}, "does not match");
    refused({"display", "session", "table", "verbose", "verbose"}, "each once");
    refused({"display", "session", "tabel"}, "expected table");
    refused({"reset", "session", "protocol", "nosuchproto"}, "nosuchproto");
    EXPECT_EQ(ok({"display", "session", "aging-time"}), aging);
    EXPECT_EQ(ok({"display", "session", "limit"}), limits);
}

TEST_F(CliSession, LimitsRatesAndSwitchesRoundTrip) {
    ok({"session", "limit", "500"});
    ok({"session", "limit", "3", "20"});
    ok({"session", "rate", "3", "70"});
    EXPECT_EQ(ok({"display", "session", "limit"}),
              "Selector  Maximum sessions  Maximum rate (/s)\r\n"
              "0                      500                 -\r\n"
              "3                       20                70\r\n");
    ok({"session", "synchronization", "enable"});
    ok({"session", "history-statistics", "enable"});
    ok({"session", "log", "flow", "bytes", "4096"});
    ok({"session", "traffic-log", "time", "120"});
    const std::string s = ok({"display", "session", "settings"});
    EXPECT_NE(s.find("Session synchronization : enabled\r\n"), std::string::npos) << s;
    EXPECT_NE(s.find("History/top statistics  : enabled\r\n"), std::string::npos) << s;
    EXPECT_NE(s.find("Session log flow        : 4096 bytes\r\n"), std::string::npos) << s;
    EXPECT_NE(s.find("Traffic log time        : 120 s\r\n"), std::string::npos) << s;
    ok({"session", "synchronization", "disable"});
    EXPECT_NE(ok({"display", "session", "settings"}).find("Session synchronization : disabled\r\n"),
              std::string::npos);
}

TEST_F(CliSession, TopStatisticsRanksTheBusiestHostsFirst) {
    const std::string out = ok({"display", "session", "top-statistics"});
    std::istringstream in(out);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "Rank  Source IP                                 Sessions\r");
    unsigned long previous = ~0ul, rank = 0, sum = 0;
    while (std::getline(in, line) && line.rfind("Total", 0) != 0) {
        ++rank;
        EXPECT_EQ(number_after(line, "^(\\d+) "), rank);
        const auto n = number_after(line, " (\\d+)\r$");
        ASSERT_TRUE(n) << line;
        EXPECT_LE(*n, previous);
        previous = *n;
        sum += *n;
    }
    EXPECT_GE(rank, 1u);
    EXPECT_LE(rank, 10u);
    EXPECT_GT(sum, 0u);
    EXPECT_TRUE(number_after(line, "Total source hosts: (\\d+)"));
}

TEST_F(CliSession, HelpListsWhatMayFollow) {
    const dptest::CliResult r = dptest::run_cli({"display", "session", "?"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("  display session table [ipv4|ipv6] [verbose]"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  display session statistics history [slot N]"), std::string::npos);
    EXPECT_EQ(r.out.find("connection-limit"), std::string::npos);
    // A partly typed word selects the keywords it begins.
    const std::string partial = dptest::run_cli({"display", "session", "ag?"}).out;
    EXPECT_NE(partial.find("display session aging-time "), std::string::npos) << partial;
    EXPECT_NE(partial.find("display session aging-queue "), std::string::npos);
    EXPECT_EQ(partial.find("display session table"), std::string::npos);
}

}  // namespace
