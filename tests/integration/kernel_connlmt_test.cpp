// Connection-limit statistic nodes and counters of a real dpservice: a
// policy is configured through the session service, and what the kernel
// reports is checked against the session table of the same node.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <tuple>
#include <vector>

#include "dpmgmt/channels.h"
#include "kernel_harness.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

using namespace kerneltest;

constexpr uint32_t kNodeSize = 80;
constexpr uint32_t kSessionSize = 172;
constexpr uint16_t kPolicy = 3;
constexpr uint16_t kRule = 5;

uint32_t send(uint32_t type, const std::vector<uint8_t> &payload)
{
    uint8_t reply[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    const uint32_t rc = SESSION_MSG_SendRecvMsg(SESSION_MSG_PORT, type, static_cast<uint32_t>(payload.size()),
                                                payload.data(), sizeof reply, reply);
    return rc != 0 ? rc : be32(reply);
}

uint32_t add_policy(uint16_t policy)
{
    std::vector<uint8_t> p(8);
    put16(&p[4], policy);
    return send(26, p);
}

uint32_t add_rule(uint16_t policy, uint16_t rule, uint32_t acl, uint32_t upper, uint32_t lower, uint32_t grouping)
{
    std::vector<uint8_t> r(96);
    put32(&r[0], 2);  // by number
    put32(&r[4], acl);
    put16(&r[76], policy);
    put16(&r[78], rule);
    put32(&r[80], upper);
    put32(&r[84], lower);
    put32(&r[88], grouping);
    put32(&r[92], 1);
    return send(28, r);
}

uint32_t apply(uint16_t policy, uint32_t ifindex)
{
    std::vector<uint8_t> p(12);
    put32(&p[4], ifindex);
    put16(&p[8], policy);
    return send(31, p);
}

std::vector<uint8_t> records(uint32_t dumpType, const std::vector<uint8_t> &key, uint32_t recordSize, uint32_t buf)
{
    Walk w = walk(DEV_GetSelf(), dumpType, key.data(), static_cast<uint32_t>(key.size()), buf);
    EXPECT_TRUE(w.opened);
    std::vector<uint8_t> out;
    for (const Pull &p : w.pulls) {
        EXPECT_LE(p.chunk.size(), buf);
        EXPECT_EQ(p.chunk.size() % recordSize, 0u) << "whole records only";
        if (p.rc != kContinue) {
            EXPECT_TRUE(p.chunk.empty());
            break;
        }
        out.insert(out.end(), p.chunk.begin(), p.chunk.end());
    }
    return out;
}

std::vector<uint8_t> node_key(uint32_t policy, uint32_t family, uint16_t rule = 0, uint32_t src = 0)
{
    std::vector<uint8_t> k(60);
    put32(&k[0], policy);
    put32(&k[4], family);
    put32(&k[8], src);  // IPv4 filters travel as a u32 in network order
    put16(&k[40], rule);
    return k;
}

// The node a session belongs to under a grouping, as read from its
// session-table record: source, source VPN, DS-Lite peer, destination,
// destination VPN, protocol, port.
using Group = std::tuple<std::array<uint8_t, 4>, uint16_t, std::array<uint8_t, 16>, std::array<uint8_t, 4>, uint16_t,
                         uint8_t, uint16_t>;

Group group_of_session(const uint8_t *s, uint32_t grouping)
{
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

Group group_of_node(const uint8_t *n)
{
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

// Sessions of the local node that an ACL of the built-in profile selects,
// counted per group: 3000 is TCP from 10.0.0.0/8, 3001 any UDP.
std::map<Group, uint32_t> expected_groups(uint32_t acl, uint32_t grouping, uint32_t ifindex)
{
    std::vector<uint8_t> key(88);
    key[80] = 2;  // IPv4 sessions
    const auto table = records(0x140001, key, kSessionSize, 46 * kSessionSize);
    std::map<Group, uint32_t> groups;
    for (size_t at = 0; at < table.size(); at += kSessionSize) {
        const uint8_t *s = &table[at];
        if (ifindex != 0 && be32(s + 144) != ifindex) continue;
        const bool selected = acl == 3000 ? (s[1] == 6 && s[4] == 10) : s[1] == 17;
        if (s[0] == 2 && selected) ++groups[group_of_session(s, grouping)];
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
TEST_F(ConnlmtKernel, NodesAreTheGroupsOfTheSelectedSessions)
{
    const struct {
        uint16_t policy;
        uint32_t acl;
        uint32_t grouping;
        uint32_t ifindex;
    } cases[] = {{1, 3000, 1, 0}, {2, 3000, 0, 0}, {3, 3001, 4, 0}, {4, 3001, 2, 0}, {5, 3000, 7, 0}, {6, 3000, 1, 1}};
    const uint32_t upper = 3, lower = 2;
    std::map<uint16_t, int> flags;
    for (const auto &c : cases) {
        SCOPED_TRACE("policy " + std::to_string(c.policy));
        ASSERT_EQ(add_policy(c.policy), 0u);
        ASSERT_EQ(add_rule(c.policy, kRule, c.acl, upper, lower, c.grouping), 0u);
        EXPECT_TRUE(records(0x14000b, node_key(c.policy, 0), kNodeSize, 8000).empty()) << "not applied yet";
        ASSERT_EQ(apply(c.policy, c.ifindex), 0u);

        const auto expected = expected_groups(c.acl, c.grouping, c.ifindex);
        ASSERT_FALSE(expected.empty());
        const auto nodes = records(0x14000b, node_key(c.policy, 0), kNodeSize, 8000);
        ASSERT_EQ(nodes.size() / kNodeSize, expected.size());
        std::map<Group, uint32_t> got;
        for (size_t at = 0; at < nodes.size(); at += kNodeSize) {
            const uint8_t *n = &nodes[at];
            got[group_of_node(n)] = be32(n + 72);
            EXPECT_EQ(be16(n + 56), kRule);
            EXPECT_EQ(be32(n + 60), c.acl);
            EXPECT_EQ(be32(n + 64), upper);
            EXPECT_EQ(be32(n + 68), lower);
            EXPECT_EQ(be32(n + 76), 1u);
            EXPECT_EQ(be16(n + 58), be32(n + 72) >= upper ? 2 : 1) << "first look: deny from the upper threshold";
            ++flags[be16(n + 58)];
        }
        EXPECT_EQ(got, expected);
    }
    EXPECT_TRUE(flags[1] > 0 && flags[2] > 0) << "both flags seen";
}

TEST_F(ConnlmtKernel, KeySelectsPolicyFamilyRuleAndSource)
{
    ASSERT_EQ(add_policy(kPolicy), 0u);
    ASSERT_EQ(add_rule(kPolicy, kRule, 3000, 100, 50, 1), 0u);
    ASSERT_EQ(add_rule(kPolicy, kRule + 1, 3001, 100, 50, 0), 0u);
    ASSERT_EQ(apply(kPolicy, 0), 0u);

    const auto all = records(0x14000b, node_key(0, 0), kNodeSize, 8000);
    const auto mine = records(0x14000b, node_key(kPolicy, 0), kNodeSize, 8000);
    const auto perSource = records(0x14000b, node_key(kPolicy, 0, kRule), kNodeSize, 8000);
    const auto whole = records(0x14000b, node_key(kPolicy, 0, kRule + 1), kNodeSize, 8000);
    EXPECT_EQ(all, mine);
    ASSERT_EQ(whole.size(), kNodeSize) << "a rule without grouping is one node";
    ASSERT_GT(perSource.size(), kNodeSize);
    EXPECT_EQ(perSource.size() + whole.size(), mine.size());
    EXPECT_TRUE(records(0x14000b, node_key(kPolicy + 1, 0), kNodeSize, 8000).empty());
    EXPECT_TRUE(records(0x14000b, node_key(kPolicy, 1), kNodeSize, 8000).empty()) << "IPv6 has no policy";
    EXPECT_TRUE(records(0x14000b, node_key(kPolicy, 0, 9), kNodeSize, 8000).empty());

    const uint32_t src = be32(&perSource[kNodeSize]);  // the second node's source
    const auto one = records(0x14000b, node_key(kPolicy, 0, 0, src), kNodeSize, 8000);
    ASSERT_EQ(one.size(), kNodeSize) << "only the per-source rule has that source";
    EXPECT_TRUE(std::equal(one.begin(), one.end(), perSource.begin() + kNodeSize));

    // A small buffer gets as many whole records as fit; all of them in the end.
    EXPECT_EQ(records(0x14000b, node_key(0, 0), kNodeSize, 2 * kNodeSize + 79), all);
}

TEST_F(ConnlmtKernel, CountersSplitTheSessionsAtTheUpperThreshold)
{
    const uint32_t upper = 2;
    ASSERT_EQ(add_policy(kPolicy), 0u);
    ASSERT_EQ(add_rule(kPolicy, kRule, 3000, upper, 1, 2), 0u);  // per destination
    ASSERT_EQ(apply(kPolicy, 0), 0u);

    uint64_t permitted = 0, denied = 0;
    for (const auto &[g, count] : expected_groups(3000, 2, 0)) {
        permitted += std::min(count, upper);
        denied += count > upper ? count - upper : 0;
    }
    ASSERT_GT(denied, 0u) << "the model should crowd some server past the threshold";

    std::vector<uint8_t> key(4);
    put32(key.data(), kPolicy);
    uint8_t rec[16];
    auto pull_stats = [&](const std::vector<uint8_t> &k, uint32_t len) {
        std::memset(rec, 0xEE, sizeof rec);
        const uint32_t h = DUMP_Request(DEV_GetSelf(), 0x14000c, k.data(), 4);
        EXPECT_NE(h, DUMP_INVALID_HANDLE);
        uint32_t got = 0;
        DUMP_Pull(h, len, rec, &got);
        DUMP_Terminate(h);
        return got;
    };
    ASSERT_EQ(pull_stats(key, 16), 16u);
    EXPECT_EQ(be64(rec), permitted);
    EXPECT_EQ(be64(rec + 8), denied);
    EXPECT_EQ(pull_stats(key, 12), 12u) << "a short buffer gets a cut record";

    put32(key.data(), kPolicy + 1);
    ASSERT_EQ(pull_stats(key, 16), 16u);
    EXPECT_EQ(be64(rec) + be64(rec + 8), 0u) << "a policy that is not applied counts nothing";

    EXPECT_EQ(DUMP_Request(DEV_GetSelf(), 0x14000c, key.data(), 3), DUMP_INVALID_HANDLE) << "short key";
}

}  // namespace
