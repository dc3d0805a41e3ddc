// SPDX-License-Identifier: Apache-2.0
// The operator command line's own contracts against a real dpservice: a new
// user's commands are taken, refused input gives one line on standard error
// and changes nothing, `?` lists what may follow, the table and the
// statistics count the same sessions, and after a kill -9 of the service
// the stored configuration replays to byte-identical displays.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "support/service_process.h"

namespace {

std::string joined(const std::vector<std::string> &words) {
    std::string s;
    for (const auto &w : words) s += w + " ";
    return s;
}

// Runs dpmgmt with the words; the test fails when it did not exit 0 silently.
std::string ok(std::vector<std::string> words) {
    const std::string shown = joined(words);
    const dptest::CliResult r = dptest::run_cli(std::move(words));
    EXPECT_EQ(r.status, 0) << shown << "\nstderr: " << r.err;
    EXPECT_EQ(r.err, "") << shown;
    return r.out;
}

// A refused command: non-zero status, exactly one line on standard error
// (naming `mention`), nothing on standard output.
void refused(std::vector<std::string> words, const std::string &mention) {
    const std::string shown = joined(words);
    const dptest::CliResult r = dptest::run_cli(std::move(words));
    EXPECT_NE(r.status, 0) << shown;
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.err.rfind("dpmgmt: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(mention), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
}

using dptest::number_after;

class Cli : public ::testing::Test {
protected:
    // A new user's configuration session: every command is taken.
    void configure() {
        ok({"connection-limit", "policy", "3"});
        ok({"connection-limit", "policy", "3", "rule", "4", "acl", "3000", "amount", "100", "50", "per-source"});
        ok({"connection-limit", "policy", "3", "rule", "2", "acl", "name", "dns", "amount", "10", "5",
            "per-destination", "per-service"});
        ok({"connection-limit", "policy", "3", "description", "web", "and", "dns"});
        ok({"connection-limit", "policy", "ipv6", "3"});
        ok({"connection-limit", "policy", "ipv6", "3", "rule", "1", "acl", "3100", "amount", "7", "3"});
        ok({"connection-limit", "apply", "policy", "3"});
        ok({"connection-limit", "apply", "policy", "3", "interface", "gigabitethernet2/0/1"});
        ok({"connection-limit", "apply", "policy", "ipv6", "3", "interface", "GigabitEthernet2/0/1"});
        ok({"sqa", "sip", "enable"});
        ok({"sqa", "sip", "filter", "192.168.1.0", "255.255.255.0", "24"});
        ok({"sqa", "h323", "h225-port", "1730"});
        ok({"sqa", "remark", "1", "2", "dscp", "AF41"});
        ok({"session", "aging-time", "application", "SiP", "450"});
        ok({"session", "limit", "selector", "3", "20"});
    }
    std::string displays() {
        return ok({"display", "connection-limit", "policy"}) + ok({"display", "connection-limit", "policy", "ipv6"}) +
               ok({"display", "sqa"}) + ok({"display", "sqa", "remark", "1", "2"});
    }

    dptest::ServiceProcess svc{{"--sessions", "80"}};
};

TEST_F(Cli, TableCountEqualsStatisticsTotalUnderEveryFilter) {
    const std::vector<std::vector<std::string>> filters = {{}, {"ipv4"}, {"ipv6"}, {"ipv4", "protocol", "17"}};
    std::vector<unsigned long> shown;
    for (const auto &filter : filters) {
        std::vector<std::string> table{"display", "session", "table"}, stats{"display", "session", "statistics"};
        table.insert(table.end(), filter.begin(), filter.end());
        stats.insert(stats.end(), filter.begin(), filter.end());
        const std::string t = ok(table), s = ok(stats);
        const auto found = number_after(t, "Total sessions found: (\\d+)\r\n$");
        const auto counted = number_after(s, "Current sessions: (\\d+)\r\n");
        ASSERT_TRUE(found && counted) << t.substr(t.size() > 200 ? t.size() - 200 : 0) << s;
        EXPECT_EQ(*found, *counted) << joined(filter);
        shown.push_back(*found);
    }
    EXPECT_EQ(shown[0], 80u) << "the local node holds the sessions it was given";
    EXPECT_EQ(shown[1] + shown[2], shown[0]);
}

TEST_F(Cli, RefusedChangesTouchNothingAndRecoveryReplaysTheRest) {
    configure();
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}),
              "IPv4 connection-limit policy 3\r\n"
              "  Description: web and dns\r\n"
              "  Applied: global, GigabitEthernet2/0/1\r\n"
              "  Rules: 2\r\n"
              "  rule 2 acl name dns amount 10 5 per-destination per-service\r\n"
              "  rule 4 acl 3000 amount 100 50 per-source\r\n"
              "\r\n"
              "Total IPv4 policies: 1\r\n");
    const std::string before = displays();
    const std::string aging = ok({"display", "session", "aging-time"});
    const std::string limits = ok({"display", "session", "limit"});
    refused({"connection-limit", "policy", "33"}, "from 1 to 32");
    refused({"connection-limit", "policy", "3", "rule", "257", "acl", "3000", "amount", "1", "1"}, "from 1 to 256");
    refused({"connection-limit", "policy", "3", "rule", "5", "acl", "3100", "amount", "10", "5"}, "no IPv4 ACL 3100");
    refused({"connection-limit", "policy", "3", "rule", "5", "acl", "3000", "amount", "10", "11"}, "from 0 to 10");
    refused({"connection-limit", "policy", "3", "rule", "9", "delete"}, "has no rule 9");
    refused({"connection-limit", "apply", "policy", "3", "interface", "Ethernet9"}, "Route-Aggregation1");
    refused({"sqa", "sip", "filter", "10.0.0.1", "2001:db8::1", "1"}, "an IPv4 address");
    refused({"sqa", "remark", "1", "4", "dscp", "af1"}, "af11, af12");
    refused({"session", "aging-time", "state", "syn", "12x"}, "12x");
    refused({"session", "limit", "4294967296"}, "from 0 to 4294967295");
    refused({"display", "session", "table", "slot", "9"}, "the device has slot 1 or 2");
    refused({"connection-limit"}, "incomplete command; 'connection-limit' goes on with policy, apply, cancel or debug");
    refused({"shutdown"}, "unknown word 'shutdown'");
    EXPECT_EQ(displays(), before);
    EXPECT_EQ(ok({"display", "session", "aging-time"}), aging);
    EXPECT_EQ(ok({"display", "session", "limit"}), limits);

    svc.kill9();
    svc.restart({"--sessions", "80"});
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}), "Total IPv4 policies: 0\r\n");
    EXPECT_EQ(ok({"recover"}),
              "Replayed 2 policies, 3 rules, 1 descriptions, 3 applications, 2 SQA settings, 1 remarks\r\n");
    EXPECT_EQ(displays(), before);
}

TEST_F(Cli, HelpListsWhatMayFollow) {
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
