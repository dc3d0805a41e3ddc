// SPDX-License-Identifier: Apache-2.0
// The connection-limit commands whose reply is a result code or a single
// value.  Each packs its arguments in network order (the argument order of
// a command is not its payload's) and goes through the exchange toolkit.
#include "connlmt/ipc_wire.h"

using namespace dpmgmt;
using namespace dpmgmt::connlmt;
using namespace dpmgmt::msg;

extern "C" {

DPMGMT_API uint32_t CONNLMT_ipc_GetDebug(CONNLMT_DEBUG_S *debug) {
    static constexpr auto kDebugFields = layout_run<CONNLMT_DEBUG_S, sizeof(CONNLMT_DEBUG_S) / 4>(0, 4);
    return query_record(kConnlmtGetDebug, NoRequest(), debug, kDebugFields, ShortReply::kKeepsCaller);
}

DPMGMT_API uint32_t CONNLMT_ipc_SetDebug(uint32_t a, uint16_t b, uint32_t c, uint32_t d) {
    return svc_command(kConnlmtSetDebug, Request<16>().put32(0, a).put16(4, b).put32(8, c).put32(12, d));
}

DPMGMT_API uint32_t CONNLMT_ipc_AddPolicy(uint16_t policyId, uint32_t family) {
    return svc_command(kConnlmtAddPolicy, family_policy_request(family, policyId));
}

DPMGMT_API uint32_t CONNLMT_ipc_DelPolicy(uint16_t policyId, uint32_t family) {
    return svc_command(kConnlmtDelPolicy, family_policy_request(family, policyId));
}

DPMGMT_API uint32_t CONNLMT_ipc_AddRule(const CONNLMT_RULE_S *rule) {
    return send_record(kConnlmtAddRule, rule, kRuleFields);
}

DPMGMT_API uint32_t CONNLMT_ipc_DelRule(uint32_t family, uint16_t policyId, uint16_t ruleId) {
    return svc_command(kConnlmtDelRule, Request<8>().put32(0, family).put16(4, policyId).put16(6, ruleId));
}

DPMGMT_API uint32_t CONNLMT_ipc_ApplyPolicy(uint32_t ifIndex, uint16_t policyId, uint32_t family) {
    return svc_command(kConnlmtApplyPolicy, Request<12>().put32(0, family).put32(4, ifIndex).put16(8, policyId));
}

DPMGMT_API uint32_t CONNLMT_ipc_CancelPolicy(uint32_t ifIndex, uint32_t family) {
    return svc_command(kConnlmtCancelPolicy, Request<8>().put32(0, family).put32(4, ifIndex));
}

DPMGMT_API uint32_t CONNLMT_ipc_ResetStatistics(uint16_t policyId, uint32_t family) {
    // The one request that puts the policy before the family.
    return svc_command(kConnlmtResetStatistics, Request<8>().put16(0, policyId).put32(4, family));
}

DPMGMT_API uint32_t CONNLMT_ipc_SetDes(const CONNLMT_DESCRIPTION_S *description) {
    return send_record(kConnlmtSetDes, description, kDescriptionFields);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetApplyPolicy(uint32_t ifIndex, uint32_t family, uint16_t *policyId) {
    return query_value<2>(kConnlmtGetApplyPolicy, Request<12>().put32(0, family).put32(4, ifIndex), 0, policyId);
}

DPMGMT_API uint32_t CONNLMT_ipc_IsPolicyExist(uint16_t policyId, uint32_t family, uint16_t *exists) {
    return query_value<2>(kConnlmtIsPolicyExist, family_policy_request(family, policyId), 0, exists);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyID(uint16_t policyId, uint32_t family, uint16_t *nextId) {
    // An 8-byte reply of which only the u16 at 4 is ours to read.
    return query_value<8>(kConnlmtGetNextPolicyId, family_policy_request(family, policyId), 4, nextId);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyTotalNumber(uint32_t family, uint32_t *total) {
    return query_value<4>(kConnlmtGetPolicyTotalNumber, Request<4>().put32(0, family), 0, total);
}

}  // extern "C"
