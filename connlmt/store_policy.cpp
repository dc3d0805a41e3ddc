// SPDX-License-Identifier: Apache-2.0
// Policies, their rule lists and descriptions in the "gConnlmt" database.
//
// A policy is a sorted list of CONNLMT_RULE_S elements under its policy
// key, ordered and searched by usRuleId (host order).  Records are stored
// exactly as the caller hands them over.
#include <cstddef>
#include <cstring>

#include "connlmt/store_keys.h"

using namespace dpmgmt::connlmt;

namespace {

constexpr uint32_t kListMode[kFamilies] = {0, 1};
constexpr DBM_SORTKEY_S kRuleIdSortKey = {offsetof(CONNLMT_RULE_S, usRuleId), sizeof(uint16_t),
                                          DBM_KEYTYPE_UINT_HOST, 0};
constexpr uint32_t kDescriptionAttribute = 4;
constexpr uint32_t kNoPolicy = 0xFFFFFFFFu;
constexpr uint32_t kDefaultAclType = 1;

// The iterator of a list walk is released on every path.
class ListIterator {
public:
    ListIterator() = default;
    ~ListIterator() { DBM_FreeIterator(it_); }
    ListIterator(const ListIterator &) = delete;
    ListIterator &operator=(const ListIterator &) = delete;
    void **slot() { return &it_; }

private:
    void *it_ = nullptr;
};

void clear_rule_slot(CONNLMT_RULE_S *slot) {
    std::memset(slot, 0, sizeof *slot);
    slot->uiAclType = kDefaultAclType;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_DB_AddPolicy(uint32_t family, uint16_t policyId) {
    if (!family_ok(family)) return DPMGMT_ERR_FAILED;
    const DbKey k = policy_key(family, policyId);
    if (DBM_CreateSortList(g_hConnlmtGlobalCfgHandle, k.text, k.len, &kRuleIdSortKey, 1, kListMode[family]) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_DelPolicy(uint32_t family, uint16_t policyId) {
    if (!family_ok(family)) return DPMGMT_ERR_FAILED;
    const DbKey pk = policy_key(family, policyId);
    const int32_t rc = DBM_DeleteKey(g_hConnlmtGlobalCfgHandle, pk.text, pk.len);
    const DbKey dk = description_key(family, policyId);
    if (key_exists(g_hConnlmtGlobalCfgHandle, dk))
        return static_cast<uint32_t>(DBM_DeleteKey(g_hConnlmtGlobalCfgHandle, dk.text, dk.len));
    return static_cast<uint32_t>(rc);
}

DPMGMT_API uint32_t CONNLMT_DB_AddRule(const CONNLMT_RULE_S *rule) {
    if (rule == nullptr || !family_ok(rule->uiIpVersion)) return DPMGMT_ERR_FAILED;
    const DbKey k = policy_key(rule->uiIpVersion, rule->usPolicyId);
    // The list must exist: inserting into a missing policy fails and
    // creates nothing.
    if (DBM_InsertSortList(g_hConnlmtGlobalCfgHandle, k.text, k.len, sizeof *rule, rule,
                           kListMode[rule->uiIpVersion]) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_DelRule(uint32_t family, uint16_t policyId, uint16_t ruleId) {
    if (!family_ok(family)) return DPMGMT_ERR_FAILED;
    const DbKey k = policy_key(family, policyId);
    CONNLMT_RULE_S probe = {};
    probe.usRuleId = ruleId;  // only the sort key of the probe is compared
    if (DBM_RemoveSortList(g_hConnlmtGlobalCfgHandle, k.text, k.len, sizeof probe, &probe) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_GetPolicyRule(uint32_t family, uint16_t policyId, uint32_t capacity, uint64_t handle,
                                             CONNLMT_RULE_S *rules) {
    if (!family_ok(family) || rules == nullptr || capacity == 0) return kNoPolicy;
    const DbKey k = policy_key(family, policyId);
    if (!key_exists(handle, k)) return kNoPolicy;

    ListIterator it;
    uint32_t count = 0;
    CONNLMT_RULE_S *slot = &rules[0];
    clear_rule_slot(slot);
    // Each slot is cleared before it is read into, so the slot after the
    // last rule read stays cleared; at most capacity slots are touched.
    while (DBM_GetNextSortList(handle, k.text, k.len, it.slot(), 0, 0, sizeof *slot, slot) > 0) {
        ++count;
        if (count == capacity) break;
        slot = &rules[count];
        clear_rule_slot(slot);
    }
    return count;
}

DPMGMT_API uint32_t CONNLMT_DB_SetDescription(const CONNLMT_DESCRIPTION_S *description) {
    if (description == nullptr || !family_ok(description->uiIpVersion)) return DPMGMT_ERR_FAILED;
    const DbKey k = description_key(description->uiIpVersion, description->usPolicyId);
    if (description->szDescription[0] == '\0')
        return static_cast<uint32_t>(DBM_DeleteKey(g_hConnlmtGlobalCfgHandle, k.text, k.len));
    if (DBM_SetBinary(g_hConnlmtGlobalCfgHandle, k.text, k.len, 0, sizeof *description, description,
                      kDescriptionAttribute) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_GetPolicyDescription(uint32_t family, uint16_t policyId, uint64_t handle,
                                                    CONNLMT_DESCRIPTION_S *description) {
    if (description == nullptr || !family_ok(family)) return DPMGMT_ERR_FAILED;
    const DbKey k = description_key(family, policyId);
    if (!key_exists(handle, k)) return DPMGMT_ERR_FAILED;
    std::memset(description, 0, sizeof *description);
    if (DBM_GetBinary(handle, k.text, k.len, 0, sizeof *description, description) <= 0) return DPMGMT_ERR_FAILED;
    // A record stored under this key for another policy is not this one's.
    if (description->uiIpVersion != family || description->usPolicyId != policyId) return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

}  // extern "C"
