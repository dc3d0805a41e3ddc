// SPDX-License-Identifier: Apache-2.0
// The feature's fixed limits and the ACL of a rule.
#include <cstring>

#include "dpmgmt/connlmt.h"
#include "platform/names.h"

extern "C" {

DPMGMT_API uint32_t CONNLMT_Spec_GetMaxPolicyNum(void) { return CONNLMT_MAX_POLICY_NUM; }

DPMGMT_API uint32_t CONNLMT_Spec_GetMaxRuleNum(void) { return CONNLMT_MAX_RULE_NUM; }

DPMGMT_API uint32_t CONNLMT_Spec_IsEnable(void) { return CONNLMT_Spec_GetMaxPolicyNum() != 0 ? 1 : 0; }

// The checks go through the limit functions so that a changed limit
// changes them too.
DPMGMT_API uint32_t CONNLMT_Spec_IsValidPolicyID(uint16_t policyId) {
    return (policyId != 0 && policyId < CONNLMT_Spec_GetMaxPolicyNum()) ? 1 : 0;
}

DPMGMT_API uint32_t CONNLMT_Spec_IsValidRuleID(uint16_t ruleId) {
    return (ruleId != 0 && ruleId < CONNLMT_Spec_GetMaxRuleNum()) ? 1 : 0;
}

DPMGMT_API uint32_t Connlmt_util_GetAclNumByName(const CONNLMT_RULE_S *rule) {
    if (rule == nullptr) return 0;
    // The lookup is handed the rule's own name field.  Only a name that
    // fills the whole field without its NUL goes as a terminated copy, so
    // the lookup never reads past the field.
    if (std::memchr(rule->szAclName, '\0', sizeof rule->szAclName) != nullptr)
        return ACL_GetIndexByName(rule->uiAclType, rule->szAclName);
    char name[CONNLMT_ACL_NAME_LEN + 1] = {};
    std::memcpy(name, rule->szAclName, CONNLMT_ACL_NAME_LEN);
    return ACL_GetIndexByName(rule->uiAclType, name);
}

DPMGMT_API uint32_t Connlmt_util_GetRuleAclNum(const CONNLMT_RULE_S *rule) {
    if (rule == nullptr) return 0;
    if (rule->uiAclMode == CONNLMT_ACL_MODE_NAME) return Connlmt_util_GetAclNumByName(rule);
    return rule->uiAclNum;
}

}  // extern "C"
