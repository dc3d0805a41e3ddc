// SPDX-License-Identifier: Apache-2.0
// The connection-limit commands whose reply is a record: a rule, a policy
// with its rules, the list of interfaces a policy is applied at.
//
// Replies are untrusted: a count is checked against the room the caller's
// record has before anything behind the head is converted.
#include <cstring>

#include "connlmt/ipc_wire.h"

using namespace dpmgmt;
using namespace dpmgmt::connlmt;
using namespace dpmgmt::msg;

namespace {

constexpr uint32_t kNoSuchPolicy = 0xFFFF;
constexpr uint32_t kRuleSize = sizeof(CONNLMT_RULE_S);
constexpr uint32_t kInfoRulesOffset = offsetof(CONNLMT_POLICYINFO_S, astRule);

// The rule reply: 8 unread bytes, the found flag, 4 unread bytes, the rule.
constexpr uint32_t kGetRuleReplySize = 112;
constexpr uint32_t kGetRuleFoundOffset = 8;
constexpr uint32_t kGetRuleRuleOffset = 16;
static_assert(kGetRuleRuleOffset + kRuleSize == kGetRuleReplySize);

// Rule records that a reply maximum has room for behind a head.
uint32_t rules_room(uint32_t replyMax, uint32_t rulesOffset) {
    return replyMax < rulesOffset ? 0 : (replyMax - rulesOffset) / kRuleSize;
}

// Unpacks a policy reply that landed at `record`: the head converted (as
// far as the reply maximum reaches), then uiRuleNum rule records from
// rulesOffset on.  A count larger than the room is refused with nothing
// converted behind the head.  The no-such-policy test is made only with a
// full-sized reply maximum.
uint32_t unpack_policy(uint8_t *record, uint32_t replyMax, uint32_t rulesOffset, bool testNoSuchPolicy) {
    if (testNoSuchPolicy && load_be16(record + offsetof(CONNLMT_POLICY_S, usPolicyId)) == kNoSuchPolicy)
        return DPMGMT_ERR_FAILED;
    // A caller's maximum may be too small even for the head: nothing past
    // it is touched, and without the count there is nothing to unpack.
    swap_fields_within(reinterpret_cast<CONNLMT_POLICY_S *>(record), replyMax, kPolicyHeadFields);
    if (replyMax < offsetof(CONNLMT_POLICY_S, uiRuleNum) + sizeof(uint32_t)) return DPMGMT_ERR_FAILED;
    const uint32_t ruleNum = load32(record + offsetof(CONNLMT_POLICY_S, uiRuleNum));
    if (ruleNum == 0) return DPMGMT_OK;
    if (ruleNum > rules_room(replyMax, rulesOffset)) return DPMGMT_ERR_FAILED;
    for (uint32_t i = 0; i < ruleNum; ++i)
        swap_fields(reinterpret_cast<CONNLMT_RULE_S *>(record + rulesOffset + static_cast<std::size_t>(i) * kRuleSize),
                    kRuleFieldsButAclType);
    return DPMGMT_OK;
}

uint32_t query_policy(uint32_t type, uint16_t policyId, uint32_t family, void *record, uint32_t replyMax,
                      uint32_t rulesOffset, bool testNoSuchPolicy) {
    if (record == nullptr) return DPMGMT_ERR_FAILED;
    const Request<8> p = family_policy_request(family, policyId);
    const uint32_t rc = svc_query(type, p.data(), p.size(), record, replyMax);
    if (rc != DPMGMT_OK) return rc;
    return unpack_policy(static_cast<uint8_t *>(record), replyMax, rulesOffset, testNoSuchPolicy);
}

// Room for every rule the feature allows, behind a head of headSize.
uint32_t full_reply_max(uint32_t headSize) { return kRuleSize * CONNLMT_Spec_GetMaxRuleNum() + headSize; }

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_ipc_GetRule(uint16_t policyId, uint16_t ruleId, uint32_t family, CONNLMT_RULE_S *rule) {
    if (rule == nullptr) return DPMGMT_ERR_FAILED;
    Request<sizeof(CONNLMT_RULE_S)> p;
    p.put32(offsetof(CONNLMT_RULE_S, uiIpVersion), family)
        .put16(offsetof(CONNLMT_RULE_S, usPolicyId), policyId)
        .put16(offsetof(CONNLMT_RULE_S, usRuleId), ruleId);
    // Cleared first: a reply too short to carry the found flag reads as
    // "not found".
    uint8_t reply[kGetRuleReplySize] = {};
    const uint32_t rc = svc_query(kConnlmtGetRule, p.data(), p.size(), reply, sizeof reply);
    if (rc != DPMGMT_OK) return rc;
    if (load32(reply + kGetRuleFoundOffset) == 0) return DPMGMT_ERR_NOT_EXIST;
    std::memcpy(rule, reply + kGetRuleRuleOffset, kRuleSize);
    swap_fields(rule, kRuleFields);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicy(uint16_t policyId, uint32_t family, CONNLMT_POLICY_S *policy) {
    return query_policy(kConnlmtGetPolicy, policyId, family, policy, full_reply_max(kPolicyHeadSize), kPolicyHeadSize,
                        true);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicy(uint16_t policyId, uint32_t family, CONNLMT_POLICY_S *policy) {
    return query_policy(kConnlmtGetNextPolicy, policyId, family, policy, full_reply_max(kPolicyHeadSize),
                        kPolicyHeadSize, true);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyInfo(uint16_t policyId, uint32_t family, uint32_t replyMax,
                                              CONNLMT_POLICYINFO_S *info) {
    return query_policy(kConnlmtGetPolicyInfo, policyId, family, info, replyMax, kInfoRulesOffset, false);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyInfo(uint16_t policyId, uint32_t family, CONNLMT_POLICYINFO_S *info) {
    return query_policy(kConnlmtGetNextPolicyInfo, policyId, family, info, full_reply_max(kInfoRulesOffset),
                        kInfoRulesOffset, true);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyApplyList(uint16_t policyId, uint32_t family, CONNLMT_APPLYLIST_S *list) {
    if (list == nullptr) return DPMGMT_ERR_FAILED;
    const Request<8> p = family_policy_request(family, policyId);
    const uint32_t rc = svc_query(kConnlmtGetPolicyApplyList, p.data(), p.size(), list, sizeof *list);
    if (rc != DPMGMT_OK) return rc;
    list->uiApplyNum = bswap(list->uiApplyNum);
    if (list->uiApplyNum > CONNLMT_MAX_APPLY_NUM) return DPMGMT_ERR_FAILED;
    for (uint32_t i = 0; i < list->uiApplyNum; ++i) list->auiIfIndex[i] = bswap(list->auiIfIndex[i]);
    return DPMGMT_OK;
}

}  // extern "C"
