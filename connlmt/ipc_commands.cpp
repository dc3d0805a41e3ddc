// The connection-limit commands whose reply is a result code or a single
// value.  Each packs its arguments in network order (the argument order of
// a command is not its payload's) and goes through the one exchange helper.
#include <cstring>

#include "channels/exchange.h"
#include "connlmt/ipc_wire.h"

using namespace dpmgmt;
using namespace dpmgmt::connlmt;

namespace {

// A single-value query: the reply of N bytes lands in a cleared local
// buffer (a short reply reads as zeros, never as stale bytes), and the one
// network-order value at `offset` is written out only when the exchange
// succeeded.
template <uint32_t N, class T, class P>
uint32_t query_value(uint32_t type, const P &request, uint32_t offset, T *out) {
    static_assert(sizeof(T) == 2 || sizeof(T) == 4);
    static_assert(N >= sizeof(T));
    if (out == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t reply[N] = {};
    const uint32_t rc = svc_query(type, request.data(), request.size(), reply, N);
    if (rc != DPMGMT_OK) return rc;
    if constexpr (sizeof(T) == 2)
        *out = load_be16(reply + offset);
    else
        *out = load_be32(reply + offset);
    return DPMGMT_OK;
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
    Payload<12> p;
    p.put32(0, family);
    p.put32(4, ifIndex);
    return query_value<2>(kMsgGetApplyPolicy, p, 0, policyId);
}

DPMGMT_API uint32_t CONNLMT_ipc_IsPolicyExist(uint16_t policyId, uint32_t family, uint16_t *exists) {
    return query_value<2>(kMsgIsPolicyExist, family_policy_request(family, policyId), 0, exists);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetNextPolicyID(uint16_t policyId, uint32_t family, uint16_t *nextId) {
    // An 8-byte reply of which only the u16 at 4 is ours to read.
    return query_value<8>(kMsgGetNextPolicyId, family_policy_request(family, policyId), 4, nextId);
}

DPMGMT_API uint32_t CONNLMT_ipc_GetPolicyTotalNumber(uint32_t family, uint32_t *total) {
    Payload<4> p;
    p.put32(0, family);
    return query_value<4>(kMsgGetPolicyTotalNumber, p, 0, total);
}

}  // extern "C"
