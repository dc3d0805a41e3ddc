// Debugging switches, counter resets and the remaining displays through
// the command line: a switch set is the switch the service reports, a
// reset counter reads 0, and the per-family tables add up.
#include <string>
#include <vector>

#include "cli_support.h"

namespace {

using clitest::number_after;
using clitest::ok;
using clitest::refused;

class CliSwitches : public ::testing::Test {
protected:
    dptest::ServiceProcess svc{{"--sessions", "120"}};
};

TEST_F(CliSwitches, DebuggingSwitchesReadBackAsSet) {
    EXPECT_EQ(ok({"display", "sqa", "sip", "debug"}), "");
    ok({"sqa", "sip", "debug", "packet"});
    ok({"sqa", "sip", "debug", "event"});
    EXPECT_EQ(ok({"display", "sqa", "sip", "debug"}),
              " SQASIP event debugging switch is on\n SQASIP packet debugging switch is on\n");
    ok({"sqa", "sip", "debug", "event", "off"});
    EXPECT_EQ(ok({"display", "sqa", "sip", "debug"}), " SQASIP packet debugging switch is on\n");
    EXPECT_EQ(ok({"display", "sqa", "h323", "debug"}), "");
    ok({"sqa", "h323", "debug", "error"});
    EXPECT_EQ(ok({"display", "sqa", "h323", "debug"}), " H323-based SQA error debugging switch is on\n");
    refused({"sqa", "h323", "debug", "verbose"}, "event, error or packet");

    ok({"hot-backup", "debug", "enable"});
    EXPECT_EQ(ok({"display", "hot-backup", "debug"}), "Hot-backup debugging: enabled (0x00000001)\r\n");
    ok({"hot-backup", "debug", "disable"});
    EXPECT_EQ(ok({"display", "hot-backup", "debug"}), "Hot-backup debugging: disabled (0x00000000)\r\n");

    ok({"connection-limit", "debug", "error"});
    EXPECT_EQ(ok({"display", "connection-limit", "debug"}), "Connection-limit debugging: 2 1 0 0 (1 settings taken)\r\n");
    ok({"connection-limit", "debug", "all", "off"});
    EXPECT_EQ(ok({"display", "connection-limit", "debug"}), "Connection-limit debugging: 7 0 0 0 (2 settings taken)\r\n");
}

TEST_F(CliSwitches, ResetCountersReadZero) {
    const std::string before = ok({"display", "session", "hot-backup", "statistics"});
    EXPECT_EQ(before.rfind("Remain message       : ", 0), 0u) << before;
    ok({"reset", "session", "hot-backup", "statistics"});
    const std::string after = ok({"display", "session", "hot-backup", "statistics"});
    // The header, then one row per peer that is up: slot 2 of the device.
    const std::string row = " Chassis 1  slot 2   : 0                 0                 0                \r\n";
    EXPECT_NE(after.find("                       Send successfully Send failed       Receive successfully\r\n" + row),
              std::string::npos)
        << after;

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

TEST_F(CliSwitches, PerFamilyTablesAddUp) {
    for (const char *table : {"relation-table", "fast-forward", "mcfs"}) {
        const std::string pattern = table == std::string("relation-table") ? "Total relations found: (\\d+)\r\n$"
                                    : table == std::string("mcfs")       ? "Total multicast entries found: (\\d+)\r\n$"
                                                                         : "Total fast-forward entries found: (\\d+)\r\n$";
        const auto all = number_after(ok({"display", "session", table}), pattern);
        const auto v4 = number_after(ok({"display", "session", table, "ipv4"}), pattern);
        const auto v6 = number_after(ok({"display", "session", table, "ipv6"}), pattern);
        ASSERT_TRUE(all && v4 && v6) << table;
        EXPECT_GT(*all, 0u) << table;
        EXPECT_EQ(*v4 + *v6, *all) << table;
    }
    // Fast-forward entries are the established sessions: never more than the
    // sessions themselves, on either node.
    for (const char *slot : {"1", "2"}) {
        const auto ff = number_after(ok({"display", "session", "fast-forward", "slot", slot}),
                                     "Total fast-forward entries found: (\\d+)");
        const auto sessions =
            number_after(ok({"display", "session", "table", "slot", slot}), "Total sessions found: (\\d+)");
        ASSERT_TRUE(ff && sessions);
        EXPECT_LE(*ff, *sessions);
    }
}

TEST_F(CliSwitches, ViewDeletionRestoresTheInitialSettings) {
    ok({"sqa", "view", "create"});
    ok({"sqa", "sip", "port", "5080"});
    ok({"sqa", "h323", "enable"});
    ok({"sqa", "view", "delete"});
    const std::string initial =
        "SIP call quality analysis\n"
        "  Monitoring     : disabled\n"
        "  Listening port : 5060\n"
        "  Address filter : none\n"
        "H.323 call quality analysis\n"
        "  Monitoring     : disabled\n"
        "  H.225 port     : 1720\n"
        "  Address filter : none\n";
    EXPECT_EQ(ok({"display", "sqa"}), initial);
    // Nothing of the view is left to recover.
    svc.kill9();
    svc.restart({"--sessions", "120"});
    EXPECT_EQ(ok({"recover"}),
              "Replayed 0 policies, 0 rules, 0 descriptions, 0 applications, 0 SQA settings, 0 remarks\r\n");
    EXPECT_EQ(ok({"display", "sqa"}), initial);
}

TEST_F(CliSwitches, UnknownAndIncompleteCommandsSayWhatMayFollow) {
    refused({"connection-limit"}, "incomplete command; 'connection-limit' goes on with policy, apply, cancel or debug");
    refused({"display", "sqa", "sip"}, "call, statistics or debug");
    refused({"shutdown"}, "unknown word 'shutdown'");
    refused({"display", "session", "table", "now"}, "unexpected 'now'");
    const dptest::CliResult help = dptest::run_cli({"?"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("  recover "), std::string::npos);
    EXPECT_NE(help.out.find("  connection-limit policy [ipv6] ID"), std::string::npos);
}

}  // namespace
