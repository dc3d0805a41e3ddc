// SPDX-License-Identifier: Apache-2.0
// The command line's scripting contracts against a real dpservice: batch
// files read whole lines and stop at the first failing one with its number,
// exit statuses mean the same in every command, echoed words are cut, and
// the shell's completion, prefixes and output filters.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/service_process.h"
#include "support/test_env.h"

namespace {

using dptest::lines_of;
using dptest::number_after;

class CliBatch : public ::testing::Test {
protected:
    // Runs the text as a batch file with the extra options.
    dptest::CliResult batch(const std::string &text, std::vector<std::string> options = {}) {
        const std::string path = dir.path() + "/batch";
        std::ofstream(path, std::ios::binary) << text;
        options.insert(options.end(), {"-f", path});
        return dptest::run_cli(options);
    }

    dptest::ServiceProcess svc{{"--sessions", "200"}};
    dptest::TempDir dir;
};

TEST_F(CliBatch, LinesRunInOrderAndTheFirstFailureStopsTheBatch) {
    const std::string limits = "display session limit\n";
    const std::string settings = "display session settings\n";
    struct Case {
        std::string text;
        std::vector<std::string> options;
        int status;
        std::string err;        // the whole of standard error
        bool limits, settings;  // which displays ran
    } cases[] = {
        {limits + "bogus\n" + settings, {}, 1,
         "dpmgmt: line 2: unknown word 'bogus'; expected connection-limit, reset, display, recover, hot-backup, "
         "session or sqa\n",
         true, false},
        {limits + "bogus\n" + settings, {"--keep-going"}, 1,
         "dpmgmt: line 2: unknown word 'bogus'; expected connection-limit, reset, display, recover, hot-backup, "
         "session or sqa\n",
         true, true},
        {"# a comment\n\n   \n" + limits + "quit\nbogus\n", {}, 0, "", true, false},
        {"session limit x\r\n" + limits, {"-k"}, 1, "dpmgmt: line 1: bad limit 'x': a number from 0 to 4294967295\n",
         true, false},
        {"display sqa remark 7 7\nsession rate 1 2\n" + settings, {"-k"}, 2,
         "dpmgmt: line 1: no remark 7 7\ndpmgmt: line 2: unexpected '2'\n", false, true},
        {settings + "exit\n" + limits, {}, 0, "", false, true},
    };
    for (const Case &c : cases) {
        const dptest::CliResult r = batch(c.text, c.options);
        SCOPED_TRACE(c.text);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(r.out.find("Selector  Maximum sessions") != std::string::npos, c.limits) << r.out;
        EXPECT_EQ(r.out.find("Session log flow") != std::string::npos, c.settings) << r.out;
    }
}

TEST_F(CliBatch, ALongLineIsReadWhole) {
    // 5,000 bytes: the filter words after the blanks still select.  The
    // reset covers both slots.
    unsigned long matching = 0, all = 0;
    for (const char *slot : {"1", "2"}) {
        matching += number_after(dptest::run_cli({"display", "session", "table", "protocol", "tcp",
                                                  "destination-port", "443", "slot", slot}).out,
                                 "Total sessions found: (\\d+)").value_or(~0ul);
        all += number_after(dptest::run_cli({"display", "session", "table", "slot", slot}).out,
                            "Total sessions found: (\\d+)").value_or(~0ul);
    }
    ASSERT_GT(matching, 0ul);
    ASSERT_LT(matching, all);
    std::string line = "reset session " + std::string(4085, ' ') + "protocol tcp destination-port 443";
    line.resize(5000 - 1, ' ');
    const dptest::CliResult r = batch(line + "\n");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(number_after(r.out, "Removed (\\d+) sessions").value_or(~0ul), matching) << r.out;
    EXPECT_EQ(number_after(r.out, "; (\\d+) left").value_or(~0ul), all - matching) << r.out;
}

TEST_F(CliBatch, EveryCommandUsesTheSameExitStatuses) {
    const std::string huge(100000, 'x');
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string mention;
    } cases[] = {
        {{"display", "sqa", "sip", "call", "verbose", "call-id", "nosuch"}, 2, "no SIP call with call ID 'nosuch'"},
        {{"display", "connection-limit", "statistics", "policy", "3"}, 2, "no IPv4 policy 3"},
        {{"display", "connection-limit", "policy", "3"}, 2, "no IPv4 policy 3"},
        {{"display", "session", "table", "slot", "9"}, 2, "no slot 9"},
        {{"connection-limit", "apply", "policy", "3", "interface", "Ethernet9"}, 2, "no interface 'Ethernet9'"},
        {{"connection-limit", "policy", "3", "delete"}, 2, "no IPv4 policy 3"},
        {{"session", "rate", "3", "500"}, 1, "unexpected '500'"},
        {{"session", "limit", "selector", "1", "500"}, 1, "bad selector '1'"},
        {{"connection-limit", "policy", "3", "description", "clear\x1b[2J"}, 1, "control character 0x1b"},
        {{"display", "session", "table", "source-ip", huge}, 1, "'" + std::string(64, 'x') + "...'"},
        {{"--timeout", "soon", "display", "session", "limit"}, 1, "bad --timeout 'soon'"},
        {{"--bogus"}, 1, "unknown option '--bogus'"},
    };
    for (const Case &c : cases) {
        const dptest::CliResult r = dptest::run_cli(c.args);
        SCOPED_TRACE(c.mention);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(lines_of(r.err), 1u) << r.err;
        EXPECT_LT(r.err.size(), 400u);
        EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
    // The statuses are documented where operators look.
    const dptest::CliResult help = dptest::run_cli({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *line : {"  2  not found", "  3  the service or the kernel failed", "  DPMGMT_DATADIR"})
        EXPECT_NE(help.out.find(line), std::string::npos) << line;
    EXPECT_TRUE(std::regex_match(dptest::run_cli({"--version"}).out, std::regex("dpmgmt [0-9]+\\.[0-9]+\\.[0-9]+\n")));
    // A refused description stored nothing.
    ASSERT_EQ(dptest::run_cli({"connection-limit", "policy", "3"}).status, 0);
    EXPECT_EQ(dptest::run_cli({"connection-limit", "policy", "3", "description", "a\tb"}).status, 1);
    EXPECT_EQ(dptest::run_cli({"display", "connection-limit", "policy", "3"}).out.find("Description"),
              std::string::npos);
}

TEST_F(CliBatch, CompletionPrefixesAndHelpFollowTheSyntax) {
    struct Case {
        std::string line;
        std::vector<std::string> offered;  // each among the completions
        std::string absent;                // never among them
    } cases[] = {
        {"dis sess ta", {"table"}, "statistics"},
        {"display session st", {"statistics"}, "table"},
        {"display session table protocol tc", {"tcp"}, "udp"},
        {"display session table ver", {"verbose"}, "ipv4"},
        {"session aging-time state ", {"syn", "tcp-est"}, "sip"},
        {"session aging-time application s", {"sip", "sqlnet"}, "ftp"},
        {"connection-limit apply policy 3 interface gi", {"GigabitEthernet2/0/1", "GigabitEthernet1/0/1"}, "Vlan-interface10"},
        {"connection-limit policy 3 rule 1 acl ", {"3000", "name"}, "3100"},
        {"connection-limit policy ipv6 3 rule 1 acl ", {"3100"}, "3000"},
        {"sqa remark 1 2 dscp af4", {"af41", "af42", "af43"}, "af31"},
        {"display session table | ", {"include", "exclude", "count"}, "table"},
        {"session limit ", {"selector"}, "rate"},
    };
    for (const Case &c : cases) {
        const dptest::CliResult r = dptest::run_cli({"--complete", c.line});
        SCOPED_TRACE(c.line);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(r.out.empty() || r.out.back() == '\n') << r.out;
        std::vector<std::string> got;
        std::istringstream lines(r.out);
        for (std::string w; std::getline(lines, w);) got.push_back(w);
        for (const std::string &w : c.offered) EXPECT_NE(std::find(got.begin(), got.end(), w), got.end()) << w << "\n" << r.out;
        EXPECT_EQ(std::find(got.begin(), got.end(), c.absent), got.end()) << r.out;
    }
    // Unique prefixes run the command they spell; an ambiguous one is refused.
    EXPECT_EQ(dptest::run_cli({"dis", "sess", "lim"}).out, dptest::run_cli({"display", "session", "limit"}).out);
    EXPECT_EQ(dptest::run_cli({"dis", "sess", "tab", "pro", "udp"}).out,
              dptest::run_cli({"display", "session", "table", "protocol", "udp"}).out);
    EXPECT_EQ(dptest::run_cli({"dis", "sess", "s"}).status, 1);
    // '?' after an argument slot lists its values.
    const std::string states = dptest::run_cli({"session", "aging-time", "state", "?"}).out;
    EXPECT_NE(states.find("  syn "), std::string::npos) << states;
}

TEST_F(CliBatch, OutputFiltersSelectAndCountLines) {
    const std::string all = dptest::run_cli({"display", "session", "table", "verbose"}).out;
    const dptest::CliResult tcp = dptest::run_cli({"display", "session", "table", "verbose", "|", "include", "TCP"});
    const dptest::CliResult rest = dptest::run_cli({"display", "session", "table", "verbose", "|", "exclude", "TCP"});
    const dptest::CliResult count = dptest::run_cli({"dis", "sess", "tab", "verb", "|", "inc", "TCP", "|", "count"});
    ASSERT_EQ(tcp.status, 0) << tcp.err;
    EXPECT_GT(lines_of(tcp.out), 0u);
    EXPECT_EQ(lines_of(tcp.out) + lines_of(rest.out), lines_of(all));
    EXPECT_EQ(tcp.out.find("UDP"), std::string::npos);
    EXPECT_EQ(rest.out.find("TCP"), std::string::npos);
    EXPECT_EQ(count.out, "Count: " + std::to_string(lines_of(tcp.out)) + "\r\n");
    // In a batch as well, and a bad filter is refused before the command runs.
    const dptest::CliResult b = batch("display session table verbose | count\n");
    EXPECT_EQ(b.out, "Count: " + std::to_string(lines_of(all)) + "\r\n");
    const dptest::CliResult bad = dptest::run_cli({"display", "session", "table", "|", "include", "("});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "");
    EXPECT_NE(bad.err.find("bad regular expression '('"), std::string::npos) << bad.err;
}

}  // namespace
