// The operator command line's session and switch commands against a real
// dpservice: displays agree with each other, settings round-trip, refused
// input changes nothing, help lists what may follow.
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
        {}, {"ipv4"}, {"ipv6"}, {"ipv4", "protocol", "17"}, {"slot", "2"}};
    std::vector<unsigned long> shown;
    for (const auto &filter : filters) {
        std::vector<std::string> table{"display", "session", "table"}, stats{"display", "session", "statistics"};
        table.insert(table.end(), filter.begin(), filter.end());
        stats.insert(stats.end(), filter.begin(), filter.end());
        const std::string t = ok(table), s = ok(stats);
        const auto found = number_after(t, "Total sessions found: (\\d+)\r\n$");
        const auto counted = number_after(s, "Current sessions: (\\d+)\r\n");
        ASSERT_TRUE(found && counted) << t.substr(t.size() > 200 ? t.size() - 200 : 0) << s;
        EXPECT_EQ(*found, *counted) << "filter of " << filter.size() << " words";
        shown.push_back(*found);
    }
    EXPECT_EQ(shown[0], 80u) << "the local node holds the sessions it was given";
    EXPECT_EQ(shown[1] + shown[2], shown[0]);
}

TEST_F(CliSession, SettingsRoundTrip) {
    EXPECT_NE(ok({"display", "session", "aging-time"}).find("  SIP                     300 (default)\r\n"),
              std::string::npos);
    ok({"session", "aging-time", "application", "SiP", "450"});
    ok({"session", "aging-time", "state", "tcp-est", "7200"});
    const std::string aging = ok({"display", "session", "aging-time"});
    EXPECT_NE(aging.find("  SIP                     450\r\n"), std::string::npos) << aging;
    EXPECT_NE(aging.find("  TCP-EST                7200\r\n"), std::string::npos) << aging;

    ok({"session", "limit", "500"});
    ok({"session", "limit", "3", "20"});
    ok({"session", "rate", "3", "70"});
    EXPECT_EQ(ok({"display", "session", "limit"}),
              "Selector  Maximum sessions  Maximum rate (/s)\r\n"
              "0                      500                 -\r\n"
              "3                       20                70\r\n");
    ok({"session", "synchronization", "enable"});
    ok({"session", "log", "flow", "bytes", "4096"});
    ok({"session", "traffic-log", "time", "120"});
    const std::string s = ok({"display", "session", "settings"});
    EXPECT_NE(s.find("Session synchronization : enabled\r\n"), std::string::npos) << s;
    EXPECT_NE(s.find("Session log flow        : 4096 bytes\r\n"), std::string::npos) << s;
    EXPECT_NE(s.find("Traffic log time        : 120 s\r\n"), std::string::npos) << s;
}

TEST_F(CliSession, DebuggingSwitchesAndResetCountersReadBackAsSet) {
    EXPECT_EQ(ok({"display", "sqa", "sip", "debug"}), "");
    ok({"sqa", "sip", "debug", "packet"});
    ok({"sqa", "sip", "debug", "event"});
    ok({"sqa", "sip", "debug", "event", "off"});
    EXPECT_EQ(ok({"display", "sqa", "sip", "debug"}), " SQASIP packet debugging switch is on\n");
    ok({"sqa", "h323", "debug", "error"});
    EXPECT_EQ(ok({"display", "sqa", "h323", "debug"}), " H323-based SQA error debugging switch is on\n");
    ok({"hot-backup", "debug", "enable"});
    EXPECT_EQ(ok({"display", "hot-backup", "debug"}), "Hot-backup debugging: enabled (0x00000001)\r\n");
    ok({"connection-limit", "debug", "error"});
    EXPECT_EQ(ok({"display", "connection-limit", "debug"}),
              "Connection-limit debugging: 2 1 0 0 (1 settings taken)\r\n");

    ok({"reset", "session", "hot-backup", "statistics"});
    // One row per peer that is up: slot 2 of the device.
    EXPECT_NE(ok({"display", "session", "hot-backup", "statistics"})
                  .find(" Chassis 1  slot 2   : 0                 0                 0                \r\n"),
              std::string::npos);
    ok({"connection-limit", "policy", "3"});
    ok({"connection-limit", "policy", "3", "rule", "1", "acl", "3000", "amount", "2", "1", "per-source"});
    ok({"connection-limit", "apply", "policy", "3"});
    const auto permitted = number_after(ok({"display", "connection-limit", "counters", "policy", "3"}),
                                        "New sessions permitted: (\\d+)\r\n");
    ASSERT_TRUE(permitted);
    EXPECT_GT(*permitted, 0u);
    ok({"reset", "connection-limit", "statistics", "policy", "3"});
    EXPECT_EQ(ok({"display", "connection-limit", "counters", "policy", "3"}),
              "New sessions permitted: 0\r\nNew sessions denied   : 0\r\n");
}

TEST_F(CliSession, RefusedInputChangesNothing) {
    const std::string aging = ok({"display", "session", "aging-time"});
    const std::string limits = ok({"display", "session", "limit"});
    refused({"session", "aging-time", "application", "smtp", "10"}, "dns, ftp");
    refused({"session", "aging-time", "state", "syn", "100001"}, "from 1 to 100000");
    refused({"session", "aging-time", "state", "syn", "12x"}, "12x");
    refused({"session", "limit", "1", "5000"}, "0 or 2 to 15");
    refused({"session", "limit", "4294967296"}, "from 0 to 4294967295");
    refused({"display", "session", "table", "slot", "9"}, "the device has slot 1 or 2");
    refused({"display", "session", "table", "ipv4", "source-ip", "2001:db8::1"}, "does not match");
    refused({"display", "session", "table", "verbose", "verbose"}, "each once");
    refused({"sqa", "h323", "debug", "verbose"}, "event, error or packet");
    refused({"connection-limit"}, "incomplete command; 'connection-limit' goes on with policy, apply, cancel or debug");
    refused({"shutdown"}, "unknown word 'shutdown'");
    EXPECT_EQ(ok({"display", "session", "aging-time"}), aging);
    EXPECT_EQ(ok({"display", "session", "limit"}), limits);
}

TEST_F(CliSession, HelpListsWhatMayFollow) {
    const dptest::CliResult top = dptest::run_cli({"?"});
    EXPECT_EQ(top.status, 0);
    EXPECT_NE(top.out.find("  recover "), std::string::npos) << top.out;
    EXPECT_NE(top.out.find("  connection-limit policy [ipv6] ID"), std::string::npos);
    const std::string session = dptest::run_cli({"display", "session", "?"}).out;
    EXPECT_NE(session.find("  display session table [ipv4|ipv6] [verbose]"), std::string::npos) << session;
    EXPECT_EQ(session.find("connection-limit"), std::string::npos);
    // A partly typed word selects the keywords it begins.
    const std::string partial = dptest::run_cli({"display", "session", "ag?"}).out;
    EXPECT_NE(partial.find("display session aging-time "), std::string::npos) << partial;
    EXPECT_EQ(partial.find("display session table"), std::string::npos);
    const dptest::CliResult dscp = dptest::run_cli({"sqa", "remark", "1", "2", "dscp", "?"});
    EXPECT_EQ(std::count(dscp.out.begin(), dscp.out.end(), '\n'), 21) << dscp.out;
    EXPECT_EQ(dscp.out.rfind("  default ", 0), 0u) << dscp.out;
}

}  // namespace
