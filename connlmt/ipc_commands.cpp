// The connection-limit commands whose reply is a result code or a single
// value.  Each packs its arguments in network order (the argument order of
// a command is not its payload's) and goes through the one exchange helper.
#include <cstring>

#include "channels/exchange.h"
#include "connlmt/ipc_wire.h"

using namespace dpmgmt;
using namespace dpmgmt::connlmt;

namespace {

// Exchanges the request and reads a reply of N bytes from a cleared local
// buffer, so a short reply reads as zeros, never as stale bytes.
template <uint32_t N, class P>
uint32_t query_value(uint32_t type, const P &request, uint8_t (&reply)[N]) {
    std::memset(reply, 0, N);
    return svc_query(type, request.data(), request.size(), reply, N);
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_ipc_GetDebug(CONNLMT_DEBUG_S *debug) {
    if (debug == nullptr) return DPMGMT_ERR_FAILED;
    static constexpr auto kDebugFields = layout_run<sizeof(CONNLMT_DEBUG_S), 5>(0, 4, 4);
    const uint32_t rc = svc_query(kMsgGetDebug, nullptr, 0, debug, sizeof *debug);
    if (rc != DPMGMT_OK) return rc;
    swap_fields(debug, kDebugFields);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_ipc_SetDebug(uint32_t a, uint16_t b, uint32_t c, uint32_t d) {
    Payload<16> p;
    p.put32(0, a);
    p.put16(4, b);
    p.put32(8, c);
    p.put32(12, d);
    return svc_command(kMsgSetDebug, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_AddPolicy(uint16_t policyId, uint32_t family) {
    return svc_command(kMsgAddPolicy, family_policy_request(family, policyId));
}

DPMGMT_API uint32_t CONNLMT_ipc_DelPolicy(uint16_t policyId, uint32_t family) {
    return svc_command(kMsgDelPolicy, family_policy_request(family, policyId));
}

DPMGMT_API uint32_t CONNLMT_ipc_AddRule(const CONNLMT_RULE_S *rule) {
    if (rule == nullptr) return DPMGMT_ERR_FAILED;
    // The caller's record stays in host order: the copy is converted.
    Payload<sizeof(CONNLMT_RULE_S)> p;
    p.copy(0, rule, sizeof *rule);
    swap_fields(p.data(), kRuleFields);
    return svc_command(kMsgAddRule, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_DelRule(uint32_t family, uint16_t policyId, uint16_t ruleId) {
    Payload<8> p;
    p.put32(0, family);
    p.put16(4, policyId);
    p.put16(6, ruleId);
    return svc_command(kMsgDelRule, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_ApplyPolicy(uint32_t ifIndex, uint16_t policyId, uint32_t family) {
    Payload<12> p;
    p.put32(0, family);
    p.put32(4, ifIndex);
    p.put16(8, policyId);
    return svc_command(kMsgApplyPolicy, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_CancelPolicy(uint32_t ifIndex, uint32_t family) {
    Payload<8> p;
    p.put32(0, family);
    p.put32(4, ifIndex);
    return svc_command(kMsgCancelPolicy, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_ResetStatistics(uint16_t policyId, uint32_t family) {
    // The one request that puts the policy before the family.
    Payload<8> p;
    p.put16(0, policyId);
    p.put32(4, family);
    return svc_command(kMsgResetStatistics, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_SetDes(const CONNLMT_DESCRIPTION_S *description) {
    if (description == nullptr) return DPMGMT_ERR_FAILED;
    Payload<sizeof(CONNLMT_DESCRIPTION_S)> p;
    p.copy(0, description, sizeof *description);
    swap_fields(p.data(), kDescriptionFields);
    return svc_command(kMsgSetDes, p);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetApplyPolicy(uint32_t ifIndex, uint32_t family, uint16_t *policyId) {
    if (policyId == nullptr) return DPMGMT_ERR_FAILED;
    Payload<12> p;
    p.put32(0, family);
    p.put32(4, ifIndex);
    uint8_t reply[2];
    const uint32_t rc = query_value(kMsgGetApplyPolicy, p, reply);
    if (rc != DPMGMT_OK) return rc;
    *policyId = load_be16(reply);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_ipc_IsPolicyExist(uint16_t policyId, uint32_t family, uint16_t *exists) {
    if (exists == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t reply[2];
    const uint32_t rc = query_value(kMsgIsPolicyExist, family_policy_request(family, policyId), reply);
    if (rc != DPMGMT_OK) return rc;
    *exists = load_be16(reply);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyID(uint16_t policyId, uint32_t family, uint16_t *nextId) {
    if (nextId == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t reply[8];
    const uint32_t rc = query_value(kMsgGetNextPolicyId, family_policy_request(family, policyId), reply);
    if (rc != DPMGMT_OK) return rc;
    *nextId = load_be16(reply + 4);  // the rest of the reply is not ours to read
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyTotalNumber(uint32_t family, uint32_t *total) {
    if (total == nullptr) return DPMGMT_ERR_FAILED;
    Payload<4> p;
    p.put32(0, family);
    uint8_t reply[4];
    const uint32_t rc = query_value(kMsgGetPolicyTotalNumber, p, reply);
    if (rc != DPMGMT_OK) return rc;
    *total = load_be32(reply);
    return DPMGMT_OK;
}

}  // extern "C"
