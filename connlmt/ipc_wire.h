// SPDX-License-Identifier: Apache-2.0
// What the connection-limit commands put on, and take from, the session
// service socket: the numeric fields of the rule and description records,
// and the family-and-policy request most commands share.
#ifndef DPMGMT_CONNLMT_IPC_WIRE_H
#define DPMGMT_CONNLMT_IPC_WIRE_H

#include <cstddef>
#include <cstdint>

#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/connlmt.h"

namespace dpmgmt::connlmt {

// Every numeric field of a rule but uiAclType: the policy replies leave
// that one as the service sent it.
inline constexpr auto kRuleFieldsButAclType = join(layout<CONNLMT_RULE_S>({
                                                        DPMGMT_FIELD(CONNLMT_RULE_S, uiAclMode),
                                                        DPMGMT_FIELD(CONNLMT_RULE_S, uiAclNum),
                                                        DPMGMT_FIELD(CONNLMT_RULE_S, uiIpVersion),
                                                        DPMGMT_FIELD(CONNLMT_RULE_S, usPolicyId),
                                                        DPMGMT_FIELD(CONNLMT_RULE_S, usRuleId),
                                                    }),
                                                    DPMGMT_ARRAY_FIELDS(CONNLMT_RULE_S, auiLimitData));
inline constexpr auto kRuleFields =
    join(kRuleFieldsButAclType, layout<CONNLMT_RULE_S>({DPMGMT_FIELD(CONNLMT_RULE_S, uiAclType)}));

inline constexpr auto kDescriptionFields = layout<CONNLMT_DESCRIPTION_S>({
    DPMGMT_FIELD(CONNLMT_DESCRIPTION_S, uiIpVersion), DPMGMT_FIELD(CONNLMT_DESCRIPTION_S, usPolicyId),
});

// The head shared by the policy replies (types 35, 36, 42, 43).
inline constexpr uint32_t kPolicyHeadSize = offsetof(CONNLMT_POLICY_S, astRule);
inline constexpr auto kPolicyHeadFields = layout<CONNLMT_POLICY_S>({
    DPMGMT_FIELD(CONNLMT_POLICY_S, uiPolicyWord0), DPMGMT_FIELD(CONNLMT_POLICY_S, usPolicyId),
    DPMGMT_FIELD(CONNLMT_POLICY_S, uiRuleNum), DPMGMT_FIELD(CONNLMT_POLICY_S, uiPolicyWord1),
});
static_assert(offsetof(CONNLMT_POLICY_S, uiPolicyWord1) + 4 <= kPolicyHeadSize);
static_assert(offsetof(CONNLMT_POLICYINFO_S, uiRuleNum) == offsetof(CONNLMT_POLICY_S, uiRuleNum));
static_assert(offsetof(CONNLMT_POLICYINFO_S, uiPolicyWord1) == offsetof(CONNLMT_POLICY_S, uiPolicyWord1));

// family u32 at 0, policy u16 at 4, 2 pad bytes.
inline Request<8> family_policy_request(uint32_t family, uint16_t policyId) {
    return Request<8>().put32(0, family).put16(4, policyId);
}

}  // namespace dpmgmt::connlmt

#endif
