// Connection limits against a real dpservice: a policy configured through
// the library, and the statistic nodes the kernel reports for it checked
// against the session table of the same node.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "kernel_harness.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

using namespace kerneltest;

constexpr uint32_t kNodeSize = 80;
constexpr uint32_t kSessionSize = 172;
constexpr uint16_t kRule = 5;

CONNLMT_RULE_S rule_of(uint16_t policy, uint16_t id, uint32_t acl, uint32_t upper, uint32_t lower, uint32_t grouping) {
    CONNLMT_RULE_S r = {};
    r.uiAclMode = 2;  // by number
    r.uiAclNum = acl;
    r.usPolicyId = policy;
    r.usRuleId = id;
    r.auiLimitData[0] = upper;
    r.auiLimitData[1] = lower;
    r.auiLimitData[2] = grouping;
    r.uiAclType = 1;
    return r;
}

void configure(uint16_t policy, const CONNLMT_RULE_S &r, uint32_t ifIndex) {
    ASSERT_EQ(CONNLMT_ipc_AddPolicy(policy, 0), 0u);
    ASSERT_EQ(CONNLMT_ipc_AddRule(&r), 0u);
    ASSERT_EQ(CONNLMT_ipc_ApplyPolicy(ifIndex, policy, 0), 0u);
}

// Every statistic node of a policy (the 60-byte key's first word).
Bytes nodes_of(uint32_t policy) {
    Bytes key(60);
    put32(&key[0], policy);
    return records(DEV_GetSelf(), 0x14000b, key, kNodeSize, 8000);
}

// The node a session belongs to under a grouping: source, source VPN,
// DS-Lite peer, destination, destination VPN, protocol, port.
using Group = std::tuple<std::array<uint8_t, 4>, uint16_t, std::array<uint8_t, 16>, std::array<uint8_t, 4>, uint16_t,
                         uint8_t, uint16_t>;

Group group_of_session(const uint8_t *s, uint32_t grouping) {
    Group g{};
    const uint16_t vrf = s[2] == 0 ? be16(s + 44) : 0;
    if (grouping & 1) {
        std::memcpy(std::get<0>(g).data(), s + 4, 4);
        std::get<1>(g) = vrf;
        std::memcpy(std::get<2>(g).data(), s + 96, 16);
    }
    if (grouping & 2) {
        std::memcpy(std::get<3>(g).data(), s + 20, 4);
        std::get<4>(g) = vrf;
    }
    if (grouping & 4) {
        std::get<5>(g) = s[1];
        std::get<6>(g) = be16(s + 38);
    }
    return g;
}

Group group_of_node(const uint8_t *n) {
    Group g{};
    std::memcpy(std::get<0>(g).data(), n, 4);
    std::get<1>(g) = be16(n + 32);
    std::memcpy(std::get<2>(g).data(), n + 36, 16);
    std::memcpy(std::get<3>(g).data(), n + 16, 4);
    std::get<4>(g) = be16(n + 34);
    std::get<5>(g) = n[52];
    std::get<6>(g) = be16(n + 54);
    return g;
}

// Sessions of the local node an ACL of the built-in profile selects, per
// group: 3000 is TCP from 10.0.0.0/8, 3001 any UDP.
std::map<Group, uint32_t> expected_groups(uint32_t acl, uint32_t grouping, uint32_t ifindex) {
    const Bytes table = records(DEV_GetSelf(), 0x140001, session_key(2), kSessionSize, 46 * kSessionSize);
    std::map<Group, uint32_t> groups;
    for (size_t at = 0; at < table.size(); at += kSessionSize) {
        const uint8_t *s = &table[at];
        if (ifindex != 0 && be32(s + 144) != ifindex) continue;
        const bool selected = acl == 3000 ? (s[1] == 6 && s[4] == 10) : s[1] == 17;
        if (selected) ++groups[group_of_session(s, grouping)];
    }
    return groups;
}

class ConnlmtKernel : public ::testing::Test {
protected:
    dptest::ServiceProcess service{{"--seed", "5", "--sessions", "400"}};
};

// For each grouping (and one policy applied at an interface instead of
// globally): the nodes are exactly the groups of the sessions the ACL
// selects, each with its own count and the rule's values.
TEST_F(ConnlmtKernel, NodesAreTheGroupsOfTheSelectedSessions) {
    const struct {
        uint16_t policy;
        uint32_t acl, grouping, ifindex;
    } cases[] = {{1, 3000, 1, 0}, {2, 3000, 0, 0}, {3, 3001, 4, 0}, {4, 3001, 2, 0}, {5, 3000, 7, 0}, {6, 3000, 1, 1}};
    const uint32_t upper = 3, lower = 2;
    std::map<uint16_t, int> flags;
    for (const auto &c : cases) {
        SCOPED_TRACE("policy " + std::to_string(c.policy));
        configure(c.policy, rule_of(c.policy, kRule, c.acl, upper, lower, c.grouping), c.ifindex);
        const auto expected = expected_groups(c.acl, c.grouping, c.ifindex);
        ASSERT_FALSE(expected.empty());
        const Bytes nodes = nodes_of(c.policy);
        ASSERT_EQ(nodes.size() / kNodeSize, expected.size());
        std::map<Group, uint32_t> got;
        for (size_t at = 0; at < nodes.size(); at += kNodeSize) {
            const uint8_t *n = &nodes[at];
            got[group_of_node(n)] = be32(n + 72);
            EXPECT_EQ(be16(n + 56), kRule);
            EXPECT_EQ(be32(n + 60), c.acl);
            EXPECT_EQ(be32(n + 64), upper);
            EXPECT_EQ(be32(n + 68), lower);
            EXPECT_EQ(be16(n + 58), be32(n + 72) >= upper ? 2 : 1) << "deny from the upper threshold";
            ++flags[be16(n + 58)];
        }
        EXPECT_EQ(got, expected);
    }
    EXPECT_TRUE(flags[1] > 0 && flags[2] > 0) << "both flags seen";
}

TEST_F(ConnlmtKernel, LibraryRoundTripAndStatisticNodeDisplay) {
    const CONNLMT_RULE_S r = rule_of(3, kRule, 3000, 3, 2, 1);
    configure(3, r, 0);
    CONNLMT_RULE_S got;
    std::memset(&got, 0xAA, sizeof got);
    ASSERT_EQ(CONNLMT_ipc_GetRule(3, kRule, 0, &got), 0u);
    EXPECT_EQ(std::memcmp(&got, &r, sizeof r), 0);
    std::memset(&got, 0xAA, sizeof got);
    EXPECT_EQ(CONNLMT_ipc_GetRule(3, 6, 0, &got), DPMGMT_ERR_NOT_EXIST);
    EXPECT_EQ(got.uiAclMode, 0xAAAAAAAAu) << "nothing written on failure";
    auto policy = std::make_unique<CONNLMT_POLICY_S>();
    ASSERT_EQ(CONNLMT_ipc_GetPolicy(3, 0, policy.get()), 0u);
    ASSERT_EQ(policy->uiRuleNum, 1u);
    EXPECT_EQ(std::memcmp(&policy->astRule[0], &r, sizeof r), 0);
    EXPECT_EQ(CONNLMT_ipc_GetPolicy(4, 0, policy.get()), DPMGMT_ERR_FAILED);

    CONNLMT_STATNODE_FILTER_S filter = {};
    uint32_t rcCount = 1, rcList = 1;
    const std::string counted =
        dptest::capture_stdout([&] { rcCount = CONNLMT_Dump_DisStatNodes(DEV_GetSelf(), 3, &filter, 1); });
    const std::string listed =
        dptest::capture_stdout([&] { rcList = CONNLMT_Dump_DisStatNodes(DEV_GetSelf(), 3, &filter, 0); });
    EXPECT_NE(rcCount, DPMGMT_ERR_FAILED);
    EXPECT_EQ(rcList, rcCount);
    const size_t nodes = nodes_of(3).size() / kNodeSize;
    ASSERT_GT(nodes, 0u);
    const std::string tail = "       Current limit statistic nodes count is " + std::to_string(nodes) + ".\r\n";
    ASSERT_GE(counted.size(), tail.size());
    EXPECT_EQ(counted.substr(counted.size() - tail.size()), tail) << counted;
    // The heading is the same in both modes; the list shows each node once.
    EXPECT_EQ(listed.substr(0, counted.size() - tail.size()), counted.substr(0, counted.size() - tail.size()));
    size_t shown = 0;
    for (size_t p = listed.find(" Src IP address"); p != std::string::npos; p = listed.find(" Src IP address", p + 1))
        ++shown;
    EXPECT_EQ(shown, nodes);
    for (size_t p = listed.find('\n'); p != std::string::npos; p = listed.find('\n', p + 1))
        ASSERT_EQ(listed[p - 1], '\r') << "every line ends in CR LF";
}

}  // namespace
