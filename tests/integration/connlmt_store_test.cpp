// SPDX-License-Identifier: Apache-2.0
// The connection-limit store on the stand-in runtime's SQLite database,
// shared by real processes, with writers killed part-way.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dpmgmt/connlmt.h"
#include "support/child_process.h"

namespace {

using dptest::Child;
using dptest::write_all;

CONNLMT_RULE_S rule_of(uint16_t policy, uint16_t id) {
    CONNLMT_RULE_S r = {};
    r.uiAclMode = 2;
    r.uiAclNum = 3000u + id;
    r.usPolicyId = policy;
    r.usRuleId = id;
    r.auiLimitData[0] = 10u * id;
    r.uiAclType = 1;
    return r;
}

// A fresh data directory for the store.  The databases are closed before
// any child is forked, so no SQLite connection crosses a fork.
class ConnlmtStoreProcesses : public ::testing::Test {
protected:
    void TearDown() override { CONNLMT_DB_Fini(); }
    dptest::TempDir dir_;
    dptest::ScopedEnv data_{"DPMGMT_DATADIR", dir_.path().c_str()};
    dptest::ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};
};

TEST_F(ConnlmtStoreProcesses, RulesAddedOutOfOrderReadBackInOrderElsewhere) {
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 4), 0u);
    for (uint16_t id : {200, 3, 77, 1, 150}) {
        const CONNLMT_RULE_S r = rule_of(4, id);
        ASSERT_EQ(CONNLMT_DB_AddRule(&r), 0u);
    }
    CONNLMT_DB_Fini();

    Child reader([](int fd) {
        if (CONNLMT_DB_Init() != 0) return 1;
        CONNLMT_RULE_S rules[8];
        const uint32_t n = CONNLMT_DB_GetPolicyRule(0, 4, 8, g_hConnlmtGlobalCfgHandle, rules);
        CONNLMT_DB_Fini();
        return write_all(fd, &n, sizeof n) && write_all(fd, rules, sizeof rules) ? 0 : 2;
    });
    uint32_t n = 0;
    CONNLMT_RULE_S rules[8];
    ASSERT_TRUE(reader.read_exact(&n, sizeof n));
    ASSERT_TRUE(reader.read_exact(rules, sizeof rules));
    EXPECT_EQ(reader.wait_exit(), 0);
    ASSERT_EQ(n, 5u);
    const uint16_t order[] = {1, 3, 77, 150, 200};
    for (uint32_t i = 0; i < 5; ++i) {
        const CONNLMT_RULE_S expect = rule_of(4, order[i]);
        EXPECT_EQ(std::memcmp(&rules[i], &expect, sizeof expect), 0) << "slot " << i;
    }
}

TEST_F(ConnlmtStoreProcesses, AcknowledgedRulesSurviveSigkill) {
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 9), 0u);
    CONNLMT_DB_Fini();
    Child writer([](int fd) {
        if (CONNLMT_DB_Init() != 0) return 1;
        for (uint16_t id = 1; id <= 256; ++id) {
            const CONNLMT_RULE_S r = rule_of(9, id);
            if (CONNLMT_DB_AddRule(&r) != 0) return 2;
            if (!write_all(fd, &id, sizeof id)) return 3;  // acknowledged: committed
        }
        return 0;
    });
    uint16_t acked[40];
    ASSERT_TRUE(writer.read_exact(acked, sizeof acked));
    writer.kill9();
    const size_t ackedCount = 40 + writer.drain().size() / 2;

    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    std::vector<CONNLMT_RULE_S> rules(257);
    const uint32_t n = CONNLMT_DB_GetPolicyRule(0, 9, 257, g_hConnlmtGlobalCfgHandle, rules.data());
    // Every acknowledged rule is there; at most the one in flight besides.
    ASSERT_GE(n, ackedCount);
    ASSERT_LE(n, std::min<size_t>(ackedCount + 1, 256));
    for (uint32_t i = 0; i < n; ++i) EXPECT_EQ(rules[i].usRuleId, i + 1);
}

TEST_F(ConnlmtStoreProcesses, MovesKilledAtRandomLeaveExactlyOneCopy) {
    const uint32_t ifIndex = 1;  // an interface of the built-in profile
    const uint8_t value[4] = {0, 3, 0, 1};
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    ASSERT_EQ(CONNLMT_DB_UpdateAppliedPolicy(ifIndex, value), 0u);
    CONNLMT_DB_Fini();

    std::mt19937 rng(20240611);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        {
            Child mover([](int fd) {
                if (CONNLMT_DB_Init() != 0) return 1;
                for (const uint8_t tick = 1;;) {
                    CONNLMT_DB_MoveAppliedPolicy(0, 1, 1);
                    if (!write_all(fd, &tick, 1)) return 2;
                    CONNLMT_DB_MoveAppliedPolicy(1, 0, 1);
                    if (!write_all(fd, &tick, 1)) return 2;
                }
            });
            std::vector<uint8_t> ticks(1 + rng() % 40);
            ASSERT_TRUE(mover.read_exact(ticks.data(), ticks.size()));
        }  // killed here, wherever it is
        const uint64_t usedDb = CONNLMT_DB_Open("eConnlmt", 7), unusedDb = CONNLMT_DB_Open("pConnlmt", 7);
        ASSERT_NE(usedDb, UINT64_MAX);
        ASSERT_NE(unusedDb, UINT64_MAX);
        uint8_t inUsed[4] = {}, inUnused[4] = {};
        const bool a = CONNLMT_DB_GetAppliedPolicy(usedDb, ifIndex, inUsed) == 0;
        const bool b = CONNLMT_DB_GetAppliedPolicy(unusedDb, ifIndex, inUnused) == 0;
        CONNLMT_DB_Close(usedDb);
        CONNLMT_DB_Close(unusedDb);
        ASSERT_NE(a, b) << "in the used database: " << a << ", in the unused one: " << b;
        EXPECT_EQ(std::memcmp(a ? inUsed : inUnused, value, 4), 0);
    }
}

}  // namespace
