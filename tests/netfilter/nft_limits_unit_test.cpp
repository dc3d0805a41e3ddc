// SPDX-License-Identifier: Apache-2.0
// The nftables batch connection-limit policies become, without a kernel:
// the text nft is given, for the cases where a fault would let
// connections through or refuse them wrongly.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "netfilter/limits.h"
#include "private_netns.h"

namespace {

using dpsvc::ConnlmtConfig;
using dpsvc::ConnlmtRule;
using dpsvc::nf::Installed;
using dpsvc::nf::limits_batch;

// The device profile, written before the first look at it, in a memory
// file that goes with the process.
const bool profileWritten = [] {
    const int fd = memfd_create("dpmgmt-nft-unit-profile", 0);
    if (fd < 0) return false;
    dprintf(fd,
            "[device]\nself = 1\nmaster = 1\n[node 1]\nchassis = 1\nslot = 1\ncpu = 0\ncontroller = yes\n"
            "[acl web]\nnumber = 3000\nsource = 10.0.0.0/8\nprotocol = 6\ndestination-port = 80-81\n"
            "[acl all]\nnumber = 3001\n"
            "[acl odd]\ntype = 2\nnumber = 3101\nsource = 10.0.0.0/8\n");
    return setenv("DPMGMT_PROFILE", ("/proc/self/fd/" + std::to_string(fd)).c_str(), 1) == 0;
}();

// Rule id of policy 1.
ConnlmtRule rule(uint32_t family, uint16_t id, uint32_t acl, uint32_t upper, uint32_t grouping) {
    ConnlmtRule r{};
    r.aclMode = 2;
    r.aclNum = acl;
    r.aclType = family == 0 ? 1 : 2;
    r.ipVersion = family;
    r.policyId = 1;
    r.ruleId = id;
    r.limitData[0] = upper;
    r.limitData[1] = upper / 2;
    r.limitData[2] = grouping;
    return r;
}

ConnlmtConfig config_with(uint32_t family, std::vector<ConnlmtRule> rules, std::vector<uint32_t> where) {
    ConnlmtConfig c;
    c.policies[family][1].rules = std::move(rules);
    for (uint32_t i : where) c.applied[family][i] = 1;
    return c;
}

std::string batch_of(const ConnlmtConfig &c, const Installed &now, Installed &next) {
    std::string missing;
    std::string b = limits_batch(c, now, next, missing);
    EXPECT_EQ(missing, "");
    return b;
}

struct Case {
    struct {
        const char *what;
        uint32_t family, acl, grouping;
        std::vector<uint32_t> where;
    } rule;
    std::vector<std::string> lines;  // each must be in the batch
    std::vector<std::string> absent;
};

TEST(LimitsBatch, RulesBecomeTheirMatchSetAndHooks) {
    ASSERT_TRUE(profileWritten);
    const Case cases[] = {
        {{"every key, globally", 0, 3001, 7, {0, 4}},
         {"add set inet dpmgmt v4_p1_r1 { type ipv4_addr . ipv4_addr . inet_proto . inet_service; flags dynamic; "
          "size 65535; }\n",
          "add rule inet dpmgmt v4_p1 meta l4proto { tcp, udp, sctp, dccp, udplite } counter add @v4_p1_r1 "
          "{ ip saddr . ip daddr . meta l4proto . th dport ct count over 5 } counter reject\n",
          "add rule inet dpmgmt output ct state new meta nfproto ipv4 jump v4_p1\n",
          "add rule inet dpmgmt input ct state new meta nfproto ipv4 jump v4_p1\n"},
         {"iif"}},
        {{"IPv4 prefixes in an IPv6 policy select nothing", 1, 3101, 1, {2}},
         {},
         {"add set", "add rule inet dpmgmt v6_p1 "}},
        {{"not applied: nothing", 0, 3000, 1, {}}, {}, {"add set", "v4_p1", "jump"}}};
    for (const Case &c : cases) {
        const auto &r = c.rule;
        SCOPED_TRACE(r.what);
        Installed next;
        const std::string b =
            batch_of(config_with(r.family, {rule(r.family, 1, r.acl, 5, r.grouping)}, r.where), {}, next);
        // A table of unknown content is replaced in the same transaction.
        EXPECT_EQ(b.rfind("add table inet dpmgmt\ndelete table inet dpmgmt\nadd table inet dpmgmt\n", 0), 0u) << b;
        for (const std::string &l : c.lines) EXPECT_NE(b.find(l), std::string::npos) << l << "in:\n" << b;
        for (const std::string &l : c.absent) EXPECT_EQ(b.find(l), std::string::npos) << l << "in:\n" << b;
    }
}

TEST(LimitsBatch, KeepsUnchangedSetsAndEndsACancelledPolicy) {
    ASSERT_TRUE(profileWritten);
    Installed first, second;
    ConnlmtConfig c = config_with(0, {rule(0, 1, 3000, 5, 1), rule(0, 2, 3001, 9, 2)}, {3});
    batch_of(c, {}, first);
    ASSERT_EQ(first.sets.size(), 2u);

    // The same content again: chains flushed, no set deleted or table removed.
    std::string b = batch_of(c, first, second);
    EXPECT_EQ(b.find("delete"), std::string::npos) << b;
    EXPECT_NE(b.find("flush chain inet dpmgmt v4_p1\n"), std::string::npos) << b;

    // The policy cancelled: its chain goes after every chain was flushed.
    Installed third;
    c.applied[0].clear();
    b = batch_of(c, second, third);
    EXPECT_LT(b.find("flush chain inet dpmgmt input\n"), b.find("delete chain inet dpmgmt v4_p1\n")) << b;
    EXPECT_TRUE(third.sets.empty());
}

TEST(LimitsBatch, AnUndefinedAclNamesItAndGivesNoBatch) {
    ASSERT_TRUE(profileWritten);
    struct {
        ConnlmtRule r;
        const char *missing;
    } cases[] = {{rule(0, 1, 3005, 5, 1), "ACL 3005"}, {rule(1, 1, 3000, 5, 1), "ACL 3000"}, {{}, "ACL named 'nope'"}};
    cases[2].r = rule(0, 1, 0, 5, 1);
    cases[2].r.aclMode = 1;
    std::snprintf(cases[2].r.aclName, sizeof cases[2].r.aclName, "nope");
    for (const auto &c : cases) {
        Installed next;
        std::string missing;
        const std::string b = limits_batch(config_with(c.r.ipVersion, {c.r}, {1}), {}, next, missing);
        EXPECT_EQ(missing, c.missing);
        EXPECT_EQ(b, "");
    }
}

}  // namespace
