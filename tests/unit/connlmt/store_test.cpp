// SPDX-License-Identifier: Apache-2.0
// The connection-limit configuration store on the fake's in-memory
// database: keys, which database each value goes to, and the bytes stored.
#include <cstring>
#include <string>

#include "dpmgmt/connlmt.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

using Args = std::vector<uint64_t>;

CONNLMT_RULE_S rule_of(uint32_t family, uint16_t policy, uint16_t ruleId) {
    CONNLMT_RULE_S r = {};
    r.uiAclMode = 2;
    r.uiAclNum = 3000u + ruleId;
    r.uiIpVersion = family;
    r.usPolicyId = policy;
    r.usRuleId = ruleId;
    r.auiLimitData[0] = 100;
    return r;
}

CONNLMT_DESCRIPTION_S description_of(uint32_t family, uint16_t policy, const char *text) {
    CONNLMT_DESCRIPTION_S d = {};
    d.uiIpVersion = family;
    d.usPolicyId = policy;
    std::strcpy(d.szDescription, text);
    return d;
}

template <class T>
Bytes bytes_of(const T &v) {
    return Bytes(reinterpret_cast<const uint8_t *>(&v), reinterpret_cast<const uint8_t *>(&v) + sizeof v);
}

Args handles() {
    return {g_hConnlmtGlobalCfgHandle, g_hConnlmtIFCfgUsedHandle, g_hConnlmtIFCfgUnusedHandle};
}

class ConnlmtStore : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        ASSERT_EQ(CONNLMT_DB_Init(), 0u);
        global = fake::db_handle("gConnlmt");
        used = fake::db_handle("eConnlmt");
        unused = fake::db_handle("pConnlmt");
        // Interfaces 5 and 6 are known; 6 is temporary.
        fake::hooks().IF_GetDataByIfIndex = [](uint32_t ifIndex, uint32_t item, void *buf) -> uint32_t {
            if (item != 10 || (ifIndex != 5 && ifIndex != 6)) return 1;
            std::strcpy(static_cast<char *>(buf), ifIndex == 5 ? "GE1/0/5" : "Tunnel6");
            return 0;
        };
        fake::hooks().IF_IsTempIf = [](uint32_t ifIndex) -> uint32_t { return ifIndex == 6 ? 0x10001 : 0x10000; };
        fake::calls().clear();
    }
    void TearDown() override {
        CONNLMT_DB_Fini();
        EXPECT_EQ(fake::open_iterators(), 0);
    }
    uint64_t global = 0, used = 0, unused = 0;
};

TEST(ConnlmtStoreInit, OpensThreeDatabasesMovesAndClosesOnce) {
    fake::reset();
    DBM_BATCH_S batch = {};
    fake::hooks().DBM_Batch_Proc = [&](uint64_t, uint64_t, const DBM_BATCH_S *b, uint32_t) -> int32_t {
        batch = *b;
        return -1;  // a failed move is not looked at
    };
    ASSERT_EQ(CONNLMT_DB_Init(), 0u);
    const std::string desc = "01 00 00 00 00 00 00 00 01 " + fake::hex(Bytes(23, 0));
    const fake::Call &open = fake::nth("DBM_Open"), &cfg = fake::nth("DBM_OpenCfgDB");
    EXPECT_EQ(open.text + " " + cfg.text, "gConnlmt/connlmt eConnlmt/pConnlmt/connlmt");
    EXPECT_EQ((Args{open.args[0], open.args[1], cfg.args[0], cfg.args[1]}), (Args{7, 1, 0, 1}));
    EXPECT_EQ(fake::hex(open.bytes) + " / " + fake::hex(cfg.bytes), desc + " / " + desc);
    const Args h = handles();
    EXPECT_EQ(h, (Args{fake::db_handle("gConnlmt"), fake::db_handle("eConnlmt"), fake::db_handle("pConnlmt")}));
    // One move batch from the used to the unused database, selecting every key.
    EXPECT_EQ(fake::nth("DBM_Batch_Proc").args, (Args{h[1], h[2], 1}));
    EXPECT_EQ((Args{batch.ulOpCode, batch.ulArg}), (Args{3, 0}));
    ASSERT_NE(batch.pfCallback, nullptr);
    EXPECT_EQ(batch.pfCallback(7, nullptr, 0, "v", 1, 9), 2u);

    CONNLMT_DB_Fini();
    CONNLMT_DB_Fini();
    Args closed;
    for (const fake::Call &c : fake::calls())
        if (c.name == "DBM_Close") closed.push_back(c.args[0]);
    EXPECT_EQ(closed, h);
    EXPECT_EQ(handles(), Args(3, UINT64_MAX));
}

TEST(ConnlmtStoreInit, AFailedOpenClosesWhatTheOtherOpened) {
    // The interface databases fail: "gConnlmt" is closed again.
    fake::reset();
    fake::hooks().DBM_Open = [](const char *, const char *, uint32_t, uint64_t *h) {
        *h = 4242;
        return 0u;
    };
    fake::hooks().DBM_OpenCfgDB = [](const char *, const char *, uint64_t *, uint64_t *) -> uint32_t { return 0x24; };
    EXPECT_EQ(CONNLMT_DB_Init(), 0x24u);
    EXPECT_EQ(fake::call_names("DBM_"), (std::vector<std::string>{"DBM_Open", "DBM_OpenCfgDB", "DBM_Close"}));
    EXPECT_EQ(fake::nth("DBM_Close").args[0], 4242u);
    EXPECT_EQ(handles(), Args(3, UINT64_MAX));
}

TEST(ConnlmtStoreKeys, PolicyKeys) {
    struct Case {
        uint32_t family;
        uint16_t policy;
        uint64_t size;
        const char *key;
        uint64_t len;
    };
    const Case cases[] = {
        {0, 5, 129, "policy-5", 9}, {1, 12, 129, "ipv6-policy-12", 15}, {0, 32, 5, "poli", 5}, {2, 5, 129, "", 0}};
    for (const Case &c : cases) {
        char key[129];
        std::memset(key, 'x', sizeof key);
        uint64_t len = 99;
        CONNLMT_DB_GetPolicyKeyAndLen(c.family, c.policy, c.size, key, &len);
        EXPECT_STREQ(key, c.key);
        EXPECT_EQ(len, c.len) << c.key;
    }
}

TEST_F(ConnlmtStore, PoliciesAreSortedListsOnTheRuleId) {
    EXPECT_EQ(CONNLMT_DB_AddPolicy(2, 1), DPMGMT_ERR_FAILED);  // no such family
    EXPECT_TRUE(fake::call_names("DBM_").empty());
    EXPECT_EQ(CONNLMT_DB_AddPolicy(1, 5), 0u);
    const fake::Call &c = fake::last("DBM_CreateSortList");
    EXPECT_EQ(c.text, "ipv6-policy-5");
    EXPECT_EQ(c.args, (Args{global, 14, 1, 1}));
    // Descriptor {78, 2, 2, 0}.
    EXPECT_EQ(fake::hex(c.bytes), "4e 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00");
    EXPECT_EQ(CONNLMT_DB_AddPolicy(0, 5), 0u);
    EXPECT_EQ(fake::last("DBM_CreateSortList").args, (Args{global, 9, 1, 0}));

    const CONNLMT_RULE_S r = rule_of(1, 5, 7);
    ASSERT_EQ(CONNLMT_DB_AddRule(&r), 0u);
    EXPECT_EQ(fake::last("DBM_InsertSortList").args, (Args{global, 14, 96, 1}));
    EXPECT_EQ(fake::last("DBM_InsertSortList").bytes, bytes_of(r));
    const CONNLMT_RULE_S orphan = rule_of(0, 9, 1);
    EXPECT_EQ(CONNLMT_DB_AddRule(&orphan), DPMGMT_ERR_FAILED);  // a missing policy's list
}

TEST_F(ConnlmtStore, GetPolicyRuleReadsAtMostCapacityInRuleOrder) {
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 3), 0u);
    for (uint16_t id : {4, 1, 5, 3, 2}) {
        const CONNLMT_RULE_S r = rule_of(0, 3, id);
        ASSERT_EQ(CONNLMT_DB_AddRule(&r), 0u);
    }
    CONNLMT_RULE_S cleared = {};
    cleared.uiAclType = 1;
    const std::string untouched = fake::hex(Bytes(96, 0xAA));
    CONNLMT_RULE_S rules[6];

    // Capacity 2 of 5: two read, nothing else touched.
    fake::calls().clear();
    std::memset(rules, 0xAA, sizeof rules);
    EXPECT_EQ(CONNLMT_DB_GetPolicyRule(0, 3, 2, global, rules), 2u);
    EXPECT_EQ((Args{rules[0].usRuleId, rules[1].usRuleId}), (Args{1, 2}));
    EXPECT_EQ(fake::hex(&rules[2], 96), untouched);
    EXPECT_EQ(fake::count("DBM_GetNextSortList"), 2u);
    EXPECT_EQ(fake::nth("DBM_GetNextSortList").args, (Args{global, 9, 0, 0, 96}));

    // Capacity 6 of 5: the slot after the last is cleared, the next one not.
    std::memset(rules, 0xAA, sizeof rules);
    EXPECT_EQ(CONNLMT_DB_GetPolicyRule(0, 3, 6, global, rules), 5u);
    EXPECT_EQ(rules[4].usRuleId, 5u);
    EXPECT_EQ(fake::hex(&rules[5], 96), fake::hex(&cleared, 96));

    // Only a 1 in the low 16 bits means "exists": the array untouched.
    std::memset(rules, 0xAA, sizeof rules);
    fake::hooks().DBM_IsKeyExist = [](uint64_t, const std::string &) { return 0x10000; };
    EXPECT_EQ(CONNLMT_DB_GetPolicyRule(0, 3, 4, global, rules), 0xFFFFFFFFu);
    EXPECT_EQ(fake::hex(&rules[0], 96), untouched);
}

TEST_F(ConnlmtStore, DeletingRulesAndPolicies) {
    ASSERT_EQ(CONNLMT_DB_AddPolicy(0, 2), 0u);
    const CONNLMT_RULE_S r = rule_of(0, 2, 4);
    ASSERT_EQ(CONNLMT_DB_AddRule(&r), 0u);
    EXPECT_EQ(CONNLMT_DB_DelRule(0, 2, 4), 0u);
    const fake::Call &c = fake::last("DBM_RemoveSortList");
    EXPECT_EQ(c.args, (Args{global, 9, 96}));
    ASSERT_EQ(c.bytes.size(), 96u);
    EXPECT_EQ(c.bytes[78], 4);  // the probe carries the rule identifier

    // The policy key goes first; the description is deleted only if it
    // exists, and then its answer comes back.
    fake::hooks().DBM_DeleteKey = [](uint64_t, const std::string &key) { return key == "ipv6-policy-2" ? -7 : -9; };
    fake::calls().clear();
    EXPECT_EQ(static_cast<int32_t>(CONNLMT_DB_DelPolicy(1, 2)), -7);
    EXPECT_EQ(fake::call_names(), (std::vector<std::string>{"DBM_DeleteKey", "DBM_IsKeyExist"}));
    EXPECT_EQ(fake::nth("DBM_DeleteKey").text + " " + fake::nth("DBM_IsKeyExist").text,
              "ipv6-policy-2 ipv6-description-2");
    EXPECT_EQ(fake::nth("DBM_IsKeyExist").args, (Args{global, 19}));
    const CONNLMT_DESCRIPTION_S d = description_of(1, 2, "web");
    ASSERT_EQ(CONNLMT_DB_SetDescription(&d), 0u);
    EXPECT_EQ(static_cast<int32_t>(CONNLMT_DB_DelPolicy(1, 2)), -9);
    EXPECT_EQ(fake::last("DBM_DeleteKey").text, "ipv6-description-2");
}

TEST_F(ConnlmtStore, DescriptionsRoundTripAndAreCheckedOnRead) {
    const CONNLMT_DESCRIPTION_S d = description_of(0, 7, "limit web servers");
    EXPECT_EQ(CONNLMT_DB_SetDescription(&d), 0u);
    EXPECT_EQ(fake::last("DBM_SetBinary").text, "description-7");
    EXPECT_EQ(fake::last("DBM_SetBinary").args, (Args{global, 14, 0, 136, 4}));
    EXPECT_EQ(fake::last("DBM_SetBinary").bytes, bytes_of(d));

    CONNLMT_DESCRIPTION_S out;
    EXPECT_EQ(CONNLMT_DB_GetPolicyDescription(0, 7, global, &out), 0u);
    EXPECT_EQ(bytes_of(out), bytes_of(d));
    EXPECT_EQ(fake::last("DBM_GetBinary").args, (Args{global, 14, 0, 136}));

    // Missing: failure, the record untouched.
    std::memset(&out, 0xAA, sizeof out);
    EXPECT_EQ(CONNLMT_DB_GetPolicyDescription(1, 7, global, &out), DPMGMT_ERR_FAILED);
    EXPECT_EQ(bytes_of(out), Bytes(136, 0xAA));

    const CONNLMT_DESCRIPTION_S empty = description_of(0, 7, "");
    EXPECT_EQ(CONNLMT_DB_SetDescription(&empty), 0u);  // an empty text deletes
    EXPECT_EQ(fake::db_entry(global, "description-7"), nullptr);
}

TEST_F(ConnlmtStore, AppliedPoliciesGoWhereTheInterfaceBelongs) {
    const uint8_t value[4] = {1, 2, 3, 4};
    struct Case {
        uint32_t ifIndex;
        const char *key;
        uint64_t *db;
        uint32_t attribute;
    };
    const Case cases[] = {
        {0, "applied-global", &global, 2}, {5, "applied-GE1/0/5", &used, 3}, {6, "applied-Tunnel6", &unused, 3}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.key);
        EXPECT_EQ(CONNLMT_DB_UpdateAppliedPolicy(c.ifIndex, value), 0u);
        const fake::Call &set = fake::last("DBM_SetBinary");
        EXPECT_EQ(set.text, c.key);
        EXPECT_EQ(set.args, (Args{*c.db, std::strlen(c.key) + 1, 0, 4, c.attribute}));
        EXPECT_EQ(fake::hex(set.bytes), "01 02 03 04");
        uint8_t out[4] = {};
        EXPECT_EQ(CONNLMT_DB_GetAppliedPolicy(*c.db, c.ifIndex, out), 0u);
        EXPECT_EQ(fake::hex(out, 4), "01 02 03 04");
        EXPECT_EQ(CONNLMT_DB_UpdateAppliedPolicy(c.ifIndex, nullptr), 0u);
        EXPECT_EQ(fake::db_entry(*c.db, c.key), nullptr);
    }
}

TEST_F(ConnlmtStore, MovesAndDeletionsOfAppliedKeys) {
    const uint8_t value[4] = {9, 9, 9, 9};
    for (uint32_t ifIndex : {0u, 5u, 6u}) ASSERT_EQ(CONNLMT_DB_UpdateAppliedPolicy(ifIndex, value), 0u);
    // The selector pair (0, 1) moves to the unused database, any other back.
    EXPECT_EQ(CONNLMT_DB_MoveAppliedPolicy(0, 1, 5), 0u);
    EXPECT_EQ(fake::last("DBM_Move").args, (Args{used, 16, unused}));
    EXPECT_EQ(fake::last("DBM_Move").text, "applied-GE1/0/5");
    EXPECT_EQ(CONNLMT_DB_MoveAppliedPolicy(1, 1, 5), 0u);
    EXPECT_EQ(fake::last("DBM_Move").args, (Args{unused, 16, used}));

    EXPECT_EQ(CONNLMT_DB_IfDeactiveProc(0), 0u);
    EXPECT_EQ(fake::last("DBM_DeleteKey").args, (Args{global, 15}));
    EXPECT_EQ(CONNLMT_DB_IfDeactiveProc(5), 0u);
    EXPECT_EQ(fake::last("DBM_DeleteKey").args, (Args{used, 16}));
    EXPECT_EQ(CONNLMT_DB_DelAppliedPolicyFromUnused(6), 0u);
    EXPECT_EQ(fake::last("DBM_DeleteKey").args, (Args{unused, 16}));
    // The temporary interface's key is not in the used database.
    EXPECT_EQ(static_cast<int32_t>(CONNLMT_DB_IfDeactiveProc(6)), -2);
}

}  // namespace
