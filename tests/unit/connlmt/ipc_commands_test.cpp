// SPDX-License-Identifier: Apache-2.0
// The connection-limit commands on the fake platform: the exact datagrams
// they send, how they unpack replies, and what they refuse.  (A failed
// exchange is the hostile-peer tests' business.)
#include <cstring>
#include <functional>
#include <memory>

#include "dpmgmt/connlmt.h"
#include "fake/fake_platform.h"

using fake::be16;
using fake::be32;
using fake::Bytes;
using fake::cat;

namespace {

// A rule on the wire: numeric fields big-endian, the name as it is.
Bytes wire_rule(uint32_t mode, uint32_t num, const char *name, uint32_t version, uint16_t policy, uint16_t rule,
                uint32_t l0, uint32_t l1, uint32_t l2, uint32_t aclType) {
    Bytes aclName(64, 0);
    std::memcpy(aclName.data(), name, std::strlen(name));
    return cat({be32(mode), be32(num), aclName, be32(version), be16(policy), be16(rule), be32(l0), be32(l1), be32(l2),
                be32(aclType)});
}

CONNLMT_RULE_S host_rule(uint32_t mode, uint32_t num, const char *name, uint32_t version, uint16_t policy,
                         uint16_t rule, uint32_t l0, uint32_t l1, uint32_t l2, uint32_t aclType) {
    CONNLMT_RULE_S r = {mode, num, {}, version, policy, rule, {l0, l1, l2}, aclType};
    std::strcpy(r.szAclName, name);
    return r;
}

class ConnlmtIpc : public FakePlatformTest {
protected:
    static void reply(uint32_t type, const Bytes &payload) { fake::reply(type, payload); }
    // The one datagram sent, as hex.
    static std::string sent() {
        EXPECT_EQ(fake::sent(1), "<nothing sent>");
        return fake::sent();
    }
    static std::string header(uint32_t type, uint32_t payloadLen) {
        return fake::hex(cat({be32(type), be32(payloadLen + 8)}));
    }
    // The receive buffer the exchange offered: reply maximum + 8.
    static uint64_t reply_max() { return fake::nth("SOCK_Recv").args[1] - 8; }
};

TEST_F(ConnlmtIpc, ResultCodeCommandsSendTheirPayloadAndReturnTheServiceCode) {
    const CONNLMT_RULE_S rule = host_rule(2, 3000, "", 0, 1, 4, 100, 50, 0, 1);
    const CONNLMT_RULE_S ruleBefore = rule;
    const CONNLMT_DESCRIPTION_S des = {1, 5, "ab"};
    struct Case {
        const char *what;
        std::function<uint32_t()> call;
        std::string datagram;
    };
    const Case cases[] = {
        {"AddPolicy(5, 1)", [] { return CONNLMT_ipc_AddPolicy(5, 1); },
         "00 00 00 1a 00 00 00 10 00 00 00 01 00 05 00 00"},
        {"SetDebug(1, 2, 3, 4)", [] { return CONNLMT_ipc_SetDebug(1, 2, 3, 4); },
         header(25, 16) + " " + fake::hex(cat({be32(1), be16(2), be16(0), be32(3), be32(4)}))},
        {"AddRule", [&] { return CONNLMT_ipc_AddRule(&rule); },
         "00 00 00 1c 00 00 00 68 00 00 00 02 00 00 0b b8 " + fake::hex(Bytes(64, 0)) +
             " 00 00 00 00 00 01 00 04 00 00 00 64 00 00 00 32 00 00 00 00 00 00 00 01"},
        {"DelRule(0, 3, 9)", [] { return CONNLMT_ipc_DelRule(0, 3, 9); }, header(30, 8) + " 00 00 00 00 00 03 00 09"},
        {"ApplyPolicy(12, 7, 1)", [] { return CONNLMT_ipc_ApplyPolicy(12, 7, 1); },
         header(31, 12) + " 00 00 00 01 00 00 00 0c 00 07 00 00"},
        {"CancelPolicy(12, 1)", [] { return CONNLMT_ipc_CancelPolicy(12, 1); },
         header(32, 8) + " 00 00 00 01 00 00 00 0c"},
        {"ResetStatistics(7, 1)", [] { return CONNLMT_ipc_ResetStatistics(7, 1); },
         header(40, 8) + " 00 07 00 00 00 00 00 01"},
        {"SetDes", [&] { return CONNLMT_ipc_SetDes(&des); },
         header(41, 136) + " " + fake::hex(cat({be32(1), be16(5), Bytes{'a', 'b'}, Bytes(128, 0)}))},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        fake::reset();
        reply(0, be32(42));
        EXPECT_EQ(c.call(), 42u);
        EXPECT_EQ(sent(), c.datagram);
        EXPECT_EQ(reply_max(), 4u);
    }
    // The caller's record is not converted.
    EXPECT_EQ(std::memcmp(&rule, &ruleBefore, sizeof rule), 0);
}

TEST_F(ConnlmtIpc, SingleValueQueries) {
    // Only bytes 4-5 of the 8-byte reply are the next identifier.
    reply(37, Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x0B, 0xFF, 0xFF});
    uint16_t id = 0xAAAA;
    EXPECT_EQ(CONNLMT_ipc_GetNextPolicyID(10, 0, &id), 0u);
    EXPECT_EQ(id, 11u);
    EXPECT_EQ(sent(), header(37, 8) + " 00 00 00 00 00 0a 00 00");
    EXPECT_EQ(reply_max(), 8u);

    fake::reset();
    reply(33, be16(7));
    EXPECT_EQ(CONNLMT_ipc_GetApplyPolicy(12, 0, &id), 0u);
    EXPECT_EQ(id, 7u);
    EXPECT_EQ(sent(), header(33, 12) + " 00 00 00 00 00 00 00 0c 00 00 00 00");
    EXPECT_EQ(reply_max(), 2u);

    fake::reset();
    reply(39, be32(0x01020304));
    uint32_t total = 0;
    EXPECT_EQ(CONNLMT_ipc_GetPolicyTotalNumber(1, &total), 0u);
    EXPECT_EQ(total, 0x01020304u);
    EXPECT_EQ(sent(), header(39, 4) + " 00 00 00 01");
    EXPECT_EQ(reply_max(), 4u);
}

TEST_F(ConnlmtIpc, GetDebugSendsAnEmptyRequestAndConvertsFiveWords) {
    reply(24, cat({be32(1), be32(2), be32(3), be32(0x10000), be32(0xFFFFFFFE)}));
    CONNLMT_DEBUG_S dbg;
    std::memset(&dbg, 0xAA, sizeof dbg);
    EXPECT_EQ(CONNLMT_ipc_GetDebug(&dbg), 0u);
    EXPECT_EQ(sent(), "00 00 00 18 00 00 00 08");
    EXPECT_EQ(reply_max(), 20u);
    const uint32_t expect[5] = {1, 2, 3, 0x10000, 0xFFFFFFFE};
    EXPECT_EQ(std::memcmp(dbg.auiDebugWord, expect, sizeof expect), 0);
}

TEST_F(ConnlmtIpc, GetRuleConvertsAFoundRuleAndLeavesTheRecordOtherwise) {
    const CONNLMT_RULE_S found = host_rule(1, 7, "web", 1, 3, 9, 10, 20, 30, 2);
    const Bytes untouched(96, 0xAA);
    const std::pair<Bytes, Bytes> cases[] = {
        {cat({Bytes(8, 0xEE), be32(1), Bytes(4, 0xEE), wire_rule(1, 7, "web", 1, 3, 9, 10, 20, 30, 2)}),
         Bytes(reinterpret_cast<const uint8_t *>(&found), reinterpret_cast<const uint8_t *>(&found) + 96)},
        {cat({Bytes(8, 0xEE), be32(0), Bytes(4, 0xEE), wire_rule(1, 7, "x", 0, 1, 1, 0, 0, 0, 1)}), untouched},
        {Bytes(8, 0xEE), untouched},  // the flag never arrives
    };
    for (const auto &[payload, expected] : cases) {
        fake::reset();
        reply(29, payload);
        CONNLMT_RULE_S out;
        std::memset(&out, 0xAA, sizeof out);
        EXPECT_EQ(CONNLMT_ipc_GetRule(3, 9, 1, &out), expected == untouched ? DPMGMT_ERR_NOT_EXIST : 0u);
        EXPECT_EQ(fake::hex(&out, sizeof out), fake::hex(expected)) << fake::hex(payload);
    }
    // The request is a zero rule carrying only family, policy and rule.
    Bytes req(96, 0);
    req[75] = 1, req[77] = 3, req[79] = 9;
    EXPECT_EQ(sent(), header(29, 96) + " " + fake::hex(req));
    EXPECT_EQ(reply_max(), 112u);
}

class ConnlmtPolicyReply : public ConnlmtIpc {
protected:
    void SetUp() override {
        ConnlmtIpc::SetUp();
        policy.reset(new CONNLMT_POLICY_S);
        info.reset(new CONNLMT_POLICYINFO_S);
        std::memset(policy.get(), 0xAA, sizeof *policy);
        std::memset(info.get(), 0xAA, sizeof *info);
    }
    static Bytes head(uint16_t policyId, uint32_t ruleNum) {
        return cat({be32(0x11223344), be16(policyId), Bytes{0xC1, 0xC2}, be32(ruleNum), be32(0x55667788)});
    }
    static Bytes two_rules() {
        return cat({wire_rule(2, 3001, "a", 0, 4, 1, 1, 2, 3, 1), wire_rule(1, 0, "named", 0, 4, 7, 4, 5, 6, 2)});
    }
    // The head fields as the record must read them after unpacking.
    template <class R>
    static void expect_head(const R &r, uint16_t policyId, uint32_t ruleNum) {
        EXPECT_EQ((std::vector<uint32_t>{r.uiPolicyWord0, r.usPolicyId, r.aucPad[0], r.aucPad[1], r.uiRuleNum,
                                         r.uiPolicyWord1}),
                  (std::vector<uint32_t>{0x11223344u, policyId, 0xC1, 0xC2, ruleNum, 0x55667788u}));
    }
    // The two rules converted, uiAclType left in the service's byte order.
    static void expect_two_rules(const CONNLMT_RULE_S *rules) {
        CONNLMT_RULE_S e0 = host_rule(2, 3001, "a", 0, 4, 1, 1, 2, 3, __builtin_bswap32(1));
        CONNLMT_RULE_S e1 = host_rule(1, 0, "named", 0, 4, 7, 4, 5, 6, __builtin_bswap32(2));
        EXPECT_EQ(fake::hex(rules, 2 * 96), fake::hex(&e0, 96) + " " + fake::hex(&e1, 96));
    }
    std::unique_ptr<CONNLMT_POLICY_S> policy;
    std::unique_ptr<CONNLMT_POLICYINFO_S> info;
};

// Counts beyond the record are the fuzz target's to refuse.
TEST_F(ConnlmtPolicyReply, GetPolicyUnpacksHeadAndRules) {
    reply(35, cat({head(4, 2), two_rules()}));
    EXPECT_EQ(CONNLMT_ipc_GetPolicy(4, 0, policy.get()), 0u);
    EXPECT_EQ(sent(), header(35, 8) + " 00 00 00 00 00 04 00 00");
    EXPECT_EQ(reply_max(), 16u + 257u * 96u);
    expect_head(*policy, 4, 2);
    expect_two_rules(policy->astRule);
    EXPECT_EQ(fake::hex(&policy->astRule[2], 96), fake::hex(Bytes(96, 0xAA)));

    // No such policy: failure, the record as received.
    const Bytes payload = cat({head(0xFFFF, 2), two_rules()});
    reply(36, payload);
    EXPECT_EQ(CONNLMT_ipc_GetNextPolicy(32, 1, policy.get()), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::hex(policy.get(), payload.size()), fake::hex(payload));
    const Bytes infoPayload = cat({head(0xFFFF, 0), Bytes(128, 0x5A)});
    reply(43, infoPayload);
    EXPECT_EQ(CONNLMT_ipc_GetNextPolicyInfo(1, 0, info.get()), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::hex(info.get(), infoPayload.size()), fake::hex(infoPayload));
}

TEST_F(ConnlmtPolicyReply, GetPolicyInfoUsesTheCallersMaximum) {
    const Bytes blob(128, 0x5A);
    // Room for two rules: two are unpacked, policy 0xFFFF is not tested.
    const uint32_t max = 144 + 2 * 96;
    reply(42, cat({head(0xFFFF, 2), blob, two_rules()}));
    EXPECT_EQ(CONNLMT_ipc_GetPolicyInfo(4, 1, max, info.get()), 0u);
    EXPECT_EQ(sent(), header(42, 8) + " 00 00 00 01 00 04 00 00");
    EXPECT_EQ(reply_max(), max);
    expect_head(*info, 0xFFFF, 2);
    EXPECT_EQ(fake::hex(info->aucPolicyInfo, 128), fake::hex(blob));
    expect_two_rules(info->astRule);

    // A maximum smaller than the head: nothing beyond it is written.
    fake::reset();
    std::memset(info.get(), 0xAA, sizeof *info);
    reply(42, Bytes(6, 0x01));
    EXPECT_EQ(CONNLMT_ipc_GetPolicyInfo(4, 1, 6, info.get()), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::hex(reinterpret_cast<uint8_t *>(info.get()) + 6, 10), fake::hex(Bytes(10, 0xAA)));
}

TEST_F(ConnlmtIpc, ApplyListIsConverted) {
    auto list = std::make_unique<CONNLMT_APPLYLIST_S>();
    std::memset(list.get(), 0xAA, sizeof *list);
    reply(38, cat({be32(3), be32(12), be32(0x01000000), be32(7)}));
    EXPECT_EQ(CONNLMT_ipc_GetPolicyApplyList(2, 1, list.get()), 0u);
    EXPECT_EQ(sent(), header(38, 8) + " 00 00 00 01 00 02 00 00");
    EXPECT_EQ(reply_max(), 8196u);
    EXPECT_EQ((std::vector<uint32_t>{list->uiApplyNum, list->auiIfIndex[0], list->auiIfIndex[1], list->auiIfIndex[2],
                                     list->auiIfIndex[3]}),
              (std::vector<uint32_t>{3, 12, 0x01000000u, 7, 0xAAAAAAAAu}));

    // 2048 entries fill the record exactly.
    fake::reset();
    Bytes full = be32(2048);
    for (uint32_t i = 0; i < 2048; ++i) full = cat({full, be32(i + 1)});
    reply(38, full);
    EXPECT_EQ(CONNLMT_ipc_GetPolicyApplyList(2, 1, list.get()), 0u);
    EXPECT_EQ(list->auiIfIndex[2047], 2048u);
}

}  // namespace
