// SPDX-License-Identifier: Apache-2.0
#include "connlmt_store.h"

#include <cstring>

#include "platform/iface.h"

namespace connlmt {

Store::Store() {
    status_ = CONNLMT_DB_Init();
    if (status_ != 0) return;
    // Opening parks every interface's application in the unused database;
    // the interfaces the device has are back in service, so their
    // applications return to the used one.  Temporary interfaces keep theirs
    // in the unused database, where the store writes them.
    for (uint32_t ifIndex : cli::interface_indexes()) {
        if (IF_IsTempIf(ifIndex) == 1) continue;
        Applied a;
        if (CONNLMT_DB_GetAppliedPolicy(g_hConnlmtIFCfgUnusedHandle, ifIndex, &a) == 0)
            CONNLMT_DB_MoveAppliedPolicy(1, 0, ifIndex);
    }
}

Store::~Store() { CONNLMT_DB_Fini(); }

uint64_t applied_handle(uint32_t ifIndex) {
    if (ifIndex == 0) return g_hConnlmtGlobalCfgHandle;
    return IF_IsTempIf(ifIndex) == 1 ? g_hConnlmtIFCfgUnusedHandle : g_hConnlmtIFCfgUsedHandle;
}

Applied read_applied(uint32_t ifIndex) {
    Applied a;
    if (CONNLMT_DB_GetAppliedPolicy(applied_handle(ifIndex), ifIndex, &a) != 0) a = Applied{};
    return a;
}

uint32_t write_applied(uint32_t ifIndex, const Applied &a) {
    return CONNLMT_DB_UpdateAppliedPolicy(ifIndex, a.empty() ? nullptr : &a);
}

bool policy_exists(uint32_t family, uint16_t policyId) {
    CONNLMT_RULE_S probe{};
    return CONNLMT_DB_GetPolicyRule(family, policyId, 1, g_hConnlmtGlobalCfgHandle, &probe) != kNoSuchPolicy;
}

std::optional<std::vector<CONNLMT_RULE_S>> stored_rules(uint32_t family, uint16_t policyId) {
    std::vector<CONNLMT_RULE_S> rules(CONNLMT_MAX_RULE_NUM);
    const uint32_t n = CONNLMT_DB_GetPolicyRule(family, policyId, static_cast<uint32_t>(rules.size()),
                                                g_hConnlmtGlobalCfgHandle, rules.data());
    if (n == kNoSuchPolicy) return std::nullopt;
    rules.resize(n < rules.size() ? n : rules.size());
    return rules;
}

uint32_t parse_family(cli::Args &args) { return args.take("ipv6") ? CONNLMT_IPV6 : CONNLMT_IPV4; }

}  // namespace connlmt
