// Connection-limit and call quality analysis configuration through the
// command line: what is set is what the service runs and displays, a
// refused change touches neither the store nor the service, and after the
// service dies the stored configuration replays to the same displays.
#include <string>
#include <vector>

#include "cli_support.h"

namespace {

using clitest::ok;
using clitest::refused;

class CliConfig : public ::testing::Test {
protected:
    // A new user's configuration session: every command is taken.
    void configure() {
        ok({"connection-limit", "policy", "3"});
        ok({"connection-limit", "policy", "3", "rule", "4", "acl", "3000", "amount", "100", "50", "per-source"});
        ok({"connection-limit", "policy", "3", "rule", "2", "acl", "name", "dns", "amount", "10", "5",
            "per-destination", "per-service"});
        ok({"connection-limit", "policy", "3", "description", "web", "and", "dns"});
        ok({"connection-limit", "policy", "7"});
        ok({"connection-limit", "policy", "ipv6", "3"});
        ok({"connection-limit", "policy", "ipv6", "3", "rule", "1", "acl", "3100", "amount", "7", "3"});
        ok({"connection-limit", "apply", "policy", "3"});
        ok({"connection-limit", "apply", "policy", "3", "interface", "gigabitethernet2/0/1"});
        ok({"connection-limit", "apply", "policy", "ipv6", "3", "interface", "GigabitEthernet2/0/1"});
        ok({"connection-limit", "apply", "policy", "7", "interface", "Virtual-Access1"});
        ok({"sqa", "sip", "enable"});
        ok({"sqa", "sip", "port", "5070"});
        ok({"sqa", "sip", "filter", "192.168.1.0", "255.255.255.0", "24"});
        ok({"sqa", "h323", "h225-port", "1730"});
        ok({"sqa", "remark", "1", "2", "dscp", "AF41"});
        ok({"sqa", "remark", "1", "3", "dscp", "ef"});
        ok({"sqa", "remark", "1", "3", "dscp", "ef", "delete"});
    }
    std::string displays() {
        return ok({"display", "connection-limit", "policy"}) + ok({"display", "connection-limit", "policy", "ipv6"}) +
               ok({"display", "sqa"}) + ok({"display", "sqa", "remark", "1", "2"});
    }
    void kill_and_restart() {
        svc.kill9();
        svc.restart({"--sessions", "80"});
    }

    dptest::ServiceProcess svc{{"--sessions", "80"}};
};

TEST_F(CliConfig, PoliciesDisplayAsConfigured) {
    configure();
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}),
              "IPv4 connection-limit policy 3\r\n"
              "  Description: web and dns\r\n"
              "  Applied: global, GigabitEthernet2/0/1\r\n"
              "  Rules: 2\r\n"
              "  rule 2 acl name dns amount 10 5 per-destination per-service\r\n"
              "  rule 4 acl 3000 amount 100 50 per-source\r\n"
              "\r\n"
              "IPv4 connection-limit policy 7\r\n"
              "  Applied: Virtual-Access1\r\n"
              "  Rules: 0\r\n"
              "\r\n"
              "Total IPv4 policies: 2\r\n");
    EXPECT_EQ(ok({"display", "connection-limit", "policy", "ipv6", "3"}),
              "IPv6 connection-limit policy 3\r\n"
              "  Applied: GigabitEthernet2/0/1\r\n"
              "  Rules: 1\r\n"
              "  rule 1 acl 3100 amount 7 3\r\n"
              "\r\n");
    EXPECT_EQ(ok({"display", "sqa"}),
              "SIP call quality analysis\n"
              "  Monitoring     : enabled\n"
              "  Listening port : 5070\n"
              "  Address filter : 192.168.1.0 255.255.255.0 flag 24\n"
              "H.323 call quality analysis\n"
              "  Monitoring     : disabled\n"
              "  H.225 port     : 1730\n"
              "  Address filter : none\n");
    EXPECT_EQ(ok({"display", "sqa", "remark", "1", "2"}), "Remark 1 2: dscp af41 (34)\n");
    refused({"display", "sqa", "remark", "1", "3"}, "no remark 1 3");
}

TEST_F(CliConfig, RefusedChangesTouchNothingAndRecoveryReplaysTheRest) {
    configure();
    const std::string before = displays();
    refused({"connection-limit", "policy", "33"}, "from 1 to 32");
    refused({"connection-limit", "policy", "3", "rule", "257", "acl", "3000", "amount", "1", "1"}, "from 1 to 256");
    refused({"connection-limit", "policy", "3", "rule", "5", "acl", "3100", "amount", "10", "5"}, "no IPv4 ACL 3100");
    refused({"connection-limit", "policy", "3", "rule", "5", "acl", "3000", "amount", "10", "11"}, "from 0 to 10");
    refused({"connection-limit", "policy", "9", "rule", "1", "acl", "3000", "amount", "10", "5"}, "no IPv4 policy 9");
    refused({"connection-limit", "policy", "3", "rule", "9", "delete"}, "has no rule 9");
    refused({"connection-limit", "policy", "3", "description", std::string(130, 'x')}, "at most 129");
    refused({"connection-limit", "apply", "policy", "3", "interface", "Ethernet9"}, "Route-Aggregation1");
    refused({"connection-limit", "cancel", "policy", "ipv6"}, "no IPv6 policy is applied at global");
    refused({"sqa", "sip", "port", "0"}, "from 1 to 65535");
    refused({"sqa", "sip", "filter", "10.0.0.1", "2001:db8::1", "1"}, "an IPv4 address");
    refused({"sqa", "remark", "1", "4", "dscp", "af1"}, "af11, af12");
    EXPECT_EQ(displays(), before);

    kill_and_restart();
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}), "Total IPv4 policies: 0\r\n");
    EXPECT_EQ(ok({"recover"}),
              "Replayed 3 policies, 3 rules, 1 descriptions, 4 applications, 2 SQA settings, 1 remarks\r\n");
    EXPECT_EQ(displays(), before);
}

TEST_F(CliConfig, DeletionsAndCancellationsAreStoredToo) {
    configure();
    ok({"connection-limit", "policy", "3", "rule", "4", "delete"});
    ok({"connection-limit", "cancel", "policy", "interface", "GigabitEthernet2/0/1"});
    ok({"connection-limit", "policy", "7", "delete"});
    ok({"connection-limit", "policy", "ipv6", "3", "delete"});
    const std::string expected =
        "IPv4 connection-limit policy 3\r\n"
        "  Description: web and dns\r\n"
        "  Applied: global\r\n"
        "  Rules: 1\r\n"
        "  rule 2 acl name dns amount 10 5 per-destination per-service\r\n"
        "\r\n"
        "Total IPv4 policies: 1\r\n";
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}), expected);
    kill_and_restart();
    EXPECT_EQ(ok({"recover"}),
              "Replayed 1 policies, 1 rules, 1 descriptions, 1 applications, 2 SQA settings, 1 remarks\r\n");
    EXPECT_EQ(ok({"display", "connection-limit", "policy"}), expected);
    EXPECT_EQ(ok({"display", "connection-limit", "policy", "ipv6"}), "Total IPv6 policies: 0\r\n");
}

TEST_F(CliConfig, ViewDeletionRestoresTheInitialSettingsForGood) {
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
    kill_and_restart();
    EXPECT_EQ(ok({"recover"}),
              "Replayed 0 policies, 0 rules, 0 descriptions, 0 applications, 0 SQA settings, 0 remarks\r\n");
    EXPECT_EQ(ok({"display", "sqa"}), initial);
}

}  // namespace
