// SPDX-License-Identifier: Apache-2.0
// Identifier limits, a rule's ACL, and the interface filters.
#include <cstdlib>
#include <cstring>

#include "dpmgmt/connlmt.h"
#include "fake/fake_platform.h"

namespace {

class ConnlmtLimits : public FakePlatformTest {};

TEST_F(ConnlmtLimits, IdentifierBounds) {
    EXPECT_EQ(CONNLMT_Spec_IsEnable(), 1u);
    const std::pair<uint16_t, uint32_t> policies[] = {{0, 0}, {1, 1}, {32, 1}, {33, 0}, {65535, 0}};
    for (const auto &[id, valid] : policies) EXPECT_EQ(CONNLMT_Spec_IsValidPolicyID(id), valid) << id;
    const std::pair<uint16_t, uint32_t> rules[] = {{0, 0}, {1, 1}, {256, 1}, {257, 0}, {65535, 0}};
    for (const auto &[id, valid] : rules) EXPECT_EQ(CONNLMT_Spec_IsValidRuleID(id), valid) << id;
}

TEST_F(ConnlmtLimits, RuleAclByNumberOrByName) {
    std::string asked;
    fake::hooks().ACL_GetIndexByName = [&](uint32_t type, const char *name) -> uint32_t {
        asked = std::to_string(type) + " " + name;
        return 3999;
    };
    CONNLMT_RULE_S r = {2, 3001, "ignored", 0, 0, 0, {}, 0};
    EXPECT_EQ(Connlmt_util_GetRuleAclNum(&r), 3001u);
    EXPECT_EQ(asked, "");

    r.uiAclMode = 1;
    r.uiAclType = 2;
    std::strcpy(r.szAclName, "web");
    EXPECT_EQ(Connlmt_util_GetRuleAclNum(&r), 3999u);
    EXPECT_EQ(asked, "2 web");
    // A name filling the whole field reaches the lookup terminated.
    std::memset(r.szAclName, 'n', sizeof r.szAclName);
    EXPECT_EQ(Connlmt_util_GetAclNumByName(&r), 3999u);
    EXPECT_EQ(asked, "2 " + std::string(64, 'n'));
}

// Interface 10 is global, 11 is served by nodes 3 and 4, 12 is local.
class ConnlmtFilters : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        fake::hooks().IF_GetDataByIfIndex = [](uint32_t ifIndex, uint32_t item, void *buf) -> uint32_t {
            if (item != 25) return 1;
            const uint32_t attribute = ifIndex == 10 ? 4 : 1;
            std::memcpy(buf, &attribute, 4);
            return 0;
        };
        fake::hooks().IF_GetRelyNodesByIfIndex = [](uint32_t ifIndex, uint64_t *count) -> uint16_t * {
            *count = 0;
            if (ifIndex != 11) return nullptr;
            auto *nodes = static_cast<uint16_t *>(std::malloc(2 * sizeof(uint16_t)));
            nodes[0] = 3;
            nodes[1] = 4;
            *count = 2;
            return nodes;
        };
        fake::hooks().IF_IsLocalIf = [](uint32_t ifIndex) -> uint32_t { return ifIndex == 12 ? 0x20001 : 0x10000; };
    }
};

TEST_F(ConnlmtFilters, ConfigurationAndEventFilters) {
    // Configuration: global, or local (1 in the low 16 bits; 0x10000 is not 1).
    const std::pair<uint32_t, uint32_t> config[] = {{10, 1}, {12, 1}, {11, 0}, {13, 0}};
    for (const auto &[ifIndex, need] : config) EXPECT_EQ(CONNLMT_ifcfg_need_proc(ifIndex), need) << ifIndex;
    // Events: global, or served by the node; being local to this node does not count.
    const uint32_t events[][3] = {{1, 10, 1}, {4, 11, 1}, {5, 11, 0}, {1, 12, 0}};
    fake::calls().clear();
    for (const auto &[node, ifIndex, need] : events)
        EXPECT_EQ(CONNLMT_if_need_proc(static_cast<uint16_t>(node), ifIndex), need) << node << " " << ifIndex;
    EXPECT_EQ(fake::count("IF_IsLocalIf"), 0u);

    // A controller handles everything without asking about the interface;
    // only the low 16 bits of its answer count.
    fake::hooks().DEV_GetSelf = [] { return uint16_t{9}; };
    fake::hooks().DEV_IsController = [](uint16_t node) -> uint32_t {
        return node == 9 ? 0x2 : (node == 7 ? 0x10000 : 0x10002);
    };
    fake::calls().clear();
    EXPECT_EQ(CONNLMT_ifcfg_need_proc(13), 1u);
    EXPECT_EQ(fake::nth("DEV_IsController").args[0], 9u);
    EXPECT_EQ(fake::count("IF_GetDataByIfIndex") + fake::count("IF_IsLocalIf"), 0u);
    EXPECT_EQ(CONNLMT_if_need_proc(7, 13), 0u);
    EXPECT_EQ(CONNLMT_if_need_proc(8, 13), 1u);
}

}  // namespace
