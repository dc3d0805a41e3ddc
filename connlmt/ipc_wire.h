// What the connection-limit commands put on, and take from, the session
// service socket: the numeric fields of the rule and description records,
// and the family-and-policy request most commands share.
#ifndef DPMGMT_CONNLMT_IPC_WIRE_H
#define DPMGMT_CONNLMT_IPC_WIRE_H

#include <cstddef>
#include <cstdint>

#include "channels/wire.h"
#include "dpmgmt/connlmt.h"

namespace dpmgmt::connlmt {

// Message types of the session service.
enum MsgType : uint32_t {
    kMsgGetDebug = 24,
    kMsgSetDebug = 25,
    kMsgAddPolicy = 26,
    kMsgDelPolicy = 27,
    kMsgAddRule = 28,
    kMsgGetRule = 29,
    kMsgDelRule = 30,
    kMsgApplyPolicy = 31,
    kMsgCancelPolicy = 32,
    kMsgGetApplyPolicy = 33,
    kMsgIsPolicyExist = 34,
    kMsgGetPolicy = 35,
    kMsgGetNextPolicy = 36,
    kMsgGetNextPolicyId = 37,
    kMsgGetPolicyApplyList = 38,
    kMsgGetPolicyTotalNumber = 39,
    kMsgResetStatistics = 40,
    kMsgSetDes = 41,
    kMsgGetPolicyInfo = 42,
    kMsgGetNextPolicyInfo = 43,
};

// Every numeric field of a rule but uiAclType: the policy replies leave
// that one as the service sent it.
inline constexpr auto kRuleFieldsButAclType = layout<sizeof(CONNLMT_RULE_S)>({
    {offsetof(CONNLMT_RULE_S, uiAclMode), 4},
    {offsetof(CONNLMT_RULE_S, uiAclNum), 4},
    {offsetof(CONNLMT_RULE_S, uiIpVersion), 4},
    {offsetof(CONNLMT_RULE_S, usPolicyId), 2},
    {offsetof(CONNLMT_RULE_S, usRuleId), 2},
    {offsetof(CONNLMT_RULE_S, auiLimitData) + 0, 4},
    {offsetof(CONNLMT_RULE_S, auiLimitData) + 4, 4},
    {offsetof(CONNLMT_RULE_S, auiLimitData) + 8, 4},
});
inline constexpr auto kRuleFields =
    join(kRuleFieldsButAclType, layout<sizeof(CONNLMT_RULE_S)>({{offsetof(CONNLMT_RULE_S, uiAclType), 4}}));

inline constexpr auto kDescriptionFields = layout<sizeof(CONNLMT_DESCRIPTION_S)>({
    {offsetof(CONNLMT_DESCRIPTION_S, uiIpVersion), 4},
    {offsetof(CONNLMT_DESCRIPTION_S, usPolicyId), 2},
});

// The head shared by the policy replies (types 35, 36, 42, 43).
inline constexpr uint32_t kPolicyHeadSize = offsetof(CONNLMT_POLICY_S, astRule);
inline constexpr auto kPolicyHeadFields = layout<kPolicyHeadSize>({
    {offsetof(CONNLMT_POLICY_S, uiPolicyWord0), 4},
    {offsetof(CONNLMT_POLICY_S, usPolicyId), 2},
    {offsetof(CONNLMT_POLICY_S, uiRuleNum), 4},
    {offsetof(CONNLMT_POLICY_S, uiPolicyWord1), 4},
});
static_assert(offsetof(CONNLMT_POLICYINFO_S, uiRuleNum) == offsetof(CONNLMT_POLICY_S, uiRuleNum));
static_assert(offsetof(CONNLMT_POLICYINFO_S, uiPolicyWord1) == offsetof(CONNLMT_POLICY_S, uiPolicyWord1));

// family u32 at 0, policy u16 at 4, 2 pad bytes.
inline Payload<8> family_policy_request(uint32_t family, uint16_t policyId) {
    Payload<8> p;
    p.put32(0, family);
    p.put16(4, policyId);
    return p;
}

}  // namespace dpmgmt::connlmt

#endif
