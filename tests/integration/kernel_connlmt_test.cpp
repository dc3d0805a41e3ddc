// SPDX-License-Identifier: Apache-2.0
// Connection limits against a real dpservice: a per-source rule configured
// through the library, and the statistic nodes the kernel reports for it
// checked against the session table of the same node.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <tuple>

#include "dpmgmt/connlmt.h"
#include "kernel_harness.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

using namespace kerneltest;

constexpr uint32_t kNodeSize = 80;
constexpr uint32_t kSessionSize = 172;

// A source: address, VPN, DS-Lite peer.
using Source = std::tuple<std::array<uint8_t, 4>, uint16_t, std::array<uint8_t, 16>>;

// For each policy (one applied at an interface instead of globally): the
// nodes of a per-source rule are exactly the sources of the sessions its
// ACL selects, each with its own count and the rule's values.
TEST(ConnlmtKernel, PerSourceNodesAddUpToTheSelectedSessions) {
    dptest::ServiceProcess service({"--seed", "5", "--sessions", "400"});
    const uint16_t self = DEV_GetSelf();
    const uint32_t upper = 2, lower = 1;
    const Bytes table = records(self, 0x140001, session_key(2), kSessionSize, 46 * kSessionSize);
    std::map<uint16_t, int> flags;
    // ACL 3000 of the built-in profile is TCP from 10.0.0.0/8, 3001 any UDP.
    for (const auto &[policy, acl, ifIndex] : {std::tuple{1, 3000u, 0u}, {2, 3001u, 0u}, {3, 3000u, 1u}}) {
        SCOPED_TRACE("policy " + std::to_string(policy));
        CONNLMT_RULE_S r = {};
        r.uiAclMode = 2;  // by number
        r.uiAclNum = acl;
        r.usPolicyId = uint16_t(policy);
        r.usRuleId = 5;
        r.auiLimitData[0] = upper;
        r.auiLimitData[1] = lower;
        r.auiLimitData[2] = 1;  // per source
        r.uiAclType = 1;
        ASSERT_EQ(CONNLMT_ipc_AddPolicy(uint16_t(policy), 0), 0u);
        ASSERT_EQ(CONNLMT_ipc_AddRule(&r), 0u);
        ASSERT_EQ(CONNLMT_ipc_ApplyPolicy(ifIndex, uint16_t(policy), 0), 0u);

        std::map<Source, uint32_t> expected;
        for (size_t at = 0; at < table.size(); at += kSessionSize) {
            const uint8_t *s = &table[at];
            if (ifIndex != 0 && get_be32(s + 144) != ifIndex) continue;
            if (acl == 3000 ? !(s[1] == 6 && s[4] == 10) : s[1] != 17) continue;
            Source src{};
            std::memcpy(std::get<0>(src).data(), s + 4, 4);
            std::get<1>(src) = s[2] == 0 ? get_be16(s + 44) : 0;
            std::memcpy(std::get<2>(src).data(), s + 96, 16);
            ++expected[src];
        }
        ASSERT_FALSE(expected.empty());

        const Bytes key = dptest::be32(uint32_t(policy)) + Bytes(56);
        const Bytes nodes = records(self, 0x14000b, key, kNodeSize, 8000);
        std::map<Source, uint32_t> got;
        for (size_t at = 0; at < nodes.size(); at += kNodeSize) {
            const uint8_t *n = &nodes[at];
            Source src{};
            std::memcpy(std::get<0>(src).data(), n, 4);
            std::get<1>(src) = get_be16(n + 32);
            std::memcpy(std::get<2>(src).data(), n + 36, 16);
            got[src] = get_be32(n + 72);
            EXPECT_EQ(get_be32(n + 16), 0u) << "no destination in a per-source node";
            EXPECT_EQ(get_be16(n + 56), 5u);
            EXPECT_EQ(get_be32(n + 60), acl);
            EXPECT_EQ(get_be32(n + 64), upper);
            EXPECT_EQ(get_be32(n + 68), lower);
            EXPECT_EQ(get_be16(n + 58), get_be32(n + 72) >= upper ? 2 : 1) << "deny from the upper threshold";
            ++flags[get_be16(n + 58)];
        }
        EXPECT_EQ(nodes.size() / kNodeSize, got.size()) << "one node per source";
        EXPECT_EQ(got, expected);
    }
    EXPECT_TRUE(flags[1] > 0 && flags[2] > 0) << "both flags seen";
}

}  // namespace
