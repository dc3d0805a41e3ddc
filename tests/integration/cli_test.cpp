// SPDX-License-Identifier: Apache-2.0
// The operator command line's own contracts against a real dpservice: a new
// user's commands are taken; refused input gives one line on standard error
// with the status every command uses, and changes nothing; after a kill -9
// of the service the stored configuration replays to byte-identical
// displays; `?`, completion and unique prefixes follow the syntax; batch
// files read whole lines and stop at the first failing one with its number;
// output filters select and count lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/service_process.h"

namespace {

using dptest::lines_of;
using dptest::number_after;

// Runs dpmgmt with the words; the test fails when it did not exit 0 silently.
std::string ok(std::vector<std::string> words) {
    const std::string shown = ::testing::PrintToString(words);
    const dptest::CliResult r = dptest::run_cli(std::move(words));
    EXPECT_EQ(r.status, 0) << shown << "\nstderr: " << r.err;
    EXPECT_EQ(r.err, "") << shown;
    return r.out;
}

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

// Each refusal: its status, exactly one short line on standard error naming
// what was wrong, nothing on standard output, and nothing changed.
TEST_F(Cli, RefusalsChangeNothingAndRecoveryReplaysTheRest) {
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
    const std::string huge(100000, 'x');
    const struct {
        std::vector<std::string> args;
        int status;
        std::string mention;
    } cases[] = {
        {{"connection-limit", "policy", "33"}, 1, "from 1 to 32"},
        {{"connection-limit", "policy", "3", "rule", "5", "acl", "3100", "amount", "10", "5"}, 2, "no IPv4 ACL 3100"},
        {{"connection-limit", "policy", "3", "description", "clear\x1b[2J"}, 1, "control character 0x1b"},
        {{"connection-limit", "apply", "policy", "3", "interface", "Ethernet9"},
         2,
         "no interface 'Ethernet9'; the device has GigabitEthernet1/0/1, GigabitEthernet1/0/2, GigabitEthernet2/0/1, "
         "GigabitEthernet2/0/2, Route-Aggregation1, Vlan-interface10, Virtual-Access1 or Virtual-Access2\n"},
        {{"display", "session", "table", "slot", "9"}, 2, "no slot 9; the device has slot 1 or 2"},
        {{"display", "session", "table", "source-ip", huge}, 1, "'" + std::string(64, 'x') + "...'"},
        {{"sqa", "sip", "filter", "10.0.0.1", "2001:db8::1", "1"}, 1, "an IPv4 address"},
        {{"session", "limit", "4294967296"}, 1, "from 0 to 4294967295"},
        {{"connection-limit"}, 1, "incomplete command; 'connection-limit' goes on with policy, apply, cancel or debug"},
        {{"shutdown"}, 1, "unknown word 'shutdown'"},
        {{"--bogus"}, 1, "unknown option '--bogus'"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.mention);
        const dptest::CliResult r = dptest::run_cli(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(lines_of(r.err), 1u) << r.err;
        EXPECT_LT(r.err.size(), 400u);
        EXPECT_EQ(r.err.rfind("dpmgmt: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(c.mention), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(displays(), before);
    EXPECT_EQ(ok({"display", "session", "aging-time"}), aging);
    EXPECT_EQ(ok({"display", "session", "limit"}), limits);

    svc.kill9();
    svc.restart({"--sessions", "200"});
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}), "Total IPv4 policies: 0\r\n");
    EXPECT_EQ(ok({"recover"}),
              "Replayed 2 policies, 3 rules, 1 descriptions, 3 applications, 2 SQA settings, 1 remarks\r\n");
    EXPECT_EQ(displays(), before);
}

// `?` lists what may follow (a partly typed word: the keywords it begins),
// completion offers the words that may follow, and unique prefixes run the
// command they spell.
TEST_F(Cli, HelpCompletionAndPrefixesFollowTheSyntax) {
    const struct {
        std::vector<std::string> words;
        std::string shown, absent;
    } help[] = {
        {{"?"}, "  recover ", "  syn "},
        {{"display", "session", "?"}, "  display session table [ipv4|ipv6] [verbose]", "connection-limit"},
        {{"display", "session", "ag?"}, "display session aging-time ", "display session table"},
    };
    for (const auto &h : help) {
        SCOPED_TRACE(::testing::PrintToString(h.words));
        const std::string out = ok(h.words);
        EXPECT_NE(out.find(h.shown), std::string::npos) << out;
        EXPECT_EQ(out.find(h.absent), std::string::npos) << out;
    }

    struct Case {
        std::string line;
        std::vector<std::string> offered;  // each among the completions
        std::string absent;                // never among them
    } cases[] = {
        {"dis sess ta", {"table"}, "statistics"},
        {"session aging-time state ", {"syn", "tcp-est"}, "sip"},
        {"connection-limit apply policy 3 interface gi",
         {"GigabitEthernet2/0/1", "GigabitEthernet1/0/1"},
         "Vlan-interface10"},
        {"connection-limit policy ipv6 3 rule 1 acl ", {"3100"}, "3000"},
        {"display session table | ", {"include", "exclude", "count"}, "table"},
    };
    for (const Case &c : cases) {
        const dptest::CliResult r = dptest::run_cli({"--complete", c.line});
        SCOPED_TRACE(c.line);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(r.out.empty() || r.out.back() == '\n') << r.out;
        std::vector<std::string> got;
        std::istringstream lines(r.out);
        for (std::string w; std::getline(lines, w);) got.push_back(w);
        for (const std::string &w : c.offered)
            EXPECT_NE(std::find(got.begin(), got.end(), w), got.end()) << w << "\n" << r.out;
        EXPECT_EQ(std::find(got.begin(), got.end(), c.absent), got.end()) << r.out;
    }
    EXPECT_EQ(ok({"dis", "sess", "lim"}), ok({"display", "session", "limit"}));
    EXPECT_EQ(ok({"dis", "sess", "tab", "pro", "udp"}), ok({"display", "session", "table", "protocol", "udp"}));
    EXPECT_EQ(dptest::run_cli({"dis", "sess", "s"}).status, 1) << "an ambiguous prefix is refused";
    // The statuses are documented where operators look.
    const std::string usage = ok({"--help"});
    for (const char *line : {"  2  not found", "  3  the service or the kernel failed", "  DPMGMT_DATADIR"})
        EXPECT_NE(usage.find(line), std::string::npos) << line;
}

TEST_F(Cli, LinesRunInOrderAndTheFirstFailureStopsTheBatch) {
    const std::string limits = "display session limit\n";
    const std::string settings = "display session settings\n";
    const std::string bogus =
        "dpmgmt: line 2: unknown word 'bogus'; expected connection-limit, reset, display, recover, hot-backup, "
        "session or sqa\n";
    const std::string number = "a number from 0 to 4294967295\n";
    const std::string remark = "dpmgmt: line 1: no remark 7 7\ndpmgmt: line 2: unexpected '2'\n";
    struct Case {
        std::string text;
        std::vector<std::string> options;
        int status;
        std::string err;        // the whole of standard error
        bool limits, settings;  // which displays ran
    } cases[] = {
        {limits + "bogus\n" + settings, {}, 1, bogus, true, false},
        {limits + "bogus\n" + settings, {"--keep-going"}, 1, bogus, true, true},
        {"# a comment\n\n   \n" + limits + "quit\nbogus\n", {}, 0, "", true, false},
        {"session limit x\r\n" + limits, {"-k"}, 1, "dpmgmt: line 1: bad limit 'x': " + number, true, false},
        {"display sqa remark 7 7\nsession rate 1 2\n" + settings, {"-k"}, 2, remark, false, true},
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

TEST_F(Cli, ALongLineIsReadWhole) {
    const auto found = [](std::vector<std::string> words) {
        return number_after(ok(std::move(words)), "Total sessions found: (\\d+)").value_or(~0ul);
    };
    // 5,000 bytes: the filter words after the blanks still select.  The
    // reset covers both slots.
    unsigned long matching = 0, all = 0;
    for (const char *slot : {"1", "2"}) {
        matching += found({"display", "session", "table", "protocol", "tcp", "destination-port", "443", "slot", slot});
        all += found({"display", "session", "table", "slot", slot});
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

TEST_F(Cli, OutputFiltersSelectAndCountLines) {
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
