// SPDX-License-Identifier: Apache-2.0
// Connection-limit displays: the policies as the session service runs them,
// the kernel's statistic nodes and its permit / deny counters.
//
// A policy reply's 128 bytes after the head carry the policy's description
// (NUL-filled); its apply list holds interface indexes, 0 for the global
// application.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "cli.h"
#include "connlmt_args.h"
#include "connlmt_store.h"
#include "platform/dev.h"

namespace {

using connlmt::family_name;
using connlmt::kNoPolicy;

void print_rule(const CONNLMT_RULE_S &r) {
    if (r.uiAclMode == CONNLMT_ACL_MODE_NAME)
        std::printf("  rule %u acl name %.*s", r.usRuleId, CONNLMT_ACL_NAME_LEN, r.szAclName);
    else
        std::printf("  rule %u acl %u", r.usRuleId, r.uiAclNum);
    std::printf(" amount %u %u", r.auiLimitData[0], r.auiLimitData[1]);
    if (r.auiLimitData[2] & 1) std::printf(" per-source");
    if (r.auiLimitData[2] & 2) std::printf(" per-destination");
    if (r.auiLimitData[2] & 4) std::printf(" per-service");
    std::printf("\r\n");
}

// Prints one policy of the service; false after reporting when it cannot
// be read.
bool print_policy(uint32_t family, uint16_t id, CONNLMT_POLICYINFO_S &info, CONNLMT_APPLYLIST_S &applied) {
    uint32_t rc = CONNLMT_ipc_GetPolicyInfo(id, family, sizeof info, &info);
    if (rc != 0) {
        cli::failed("reading the policy", rc);
        return false;
    }
    if (info.usPolicyId == kNoPolicy) {
        cli::not_found("no %s policy %u", family_name(family), id);
        return false;
    }
    rc = CONNLMT_ipc_GetPolicyApplyList(id, family, &applied);
    if (rc != 0) {
        cli::failed("reading where the policy is applied", rc);
        return false;
    }
    const uint32_t rules = info.uiRuleNum < CONNLMT_MAX_RULE_NUM ? info.uiRuleNum : CONNLMT_MAX_RULE_NUM;
    std::printf("%s connection-limit policy %u\r\n", family_name(family), id);
    if (info.aucPolicyInfo[0] != 0)
        std::printf("  Description: %.*s\r\n", static_cast<int>(sizeof info.aucPolicyInfo),
                    reinterpret_cast<const char *>(info.aucPolicyInfo));
    std::printf("  Applied: ");
    const uint32_t places = applied.uiApplyNum < CONNLMT_MAX_APPLY_NUM ? applied.uiApplyNum : CONNLMT_MAX_APPLY_NUM;
    if (places == 0) std::printf("nowhere");
    for (uint32_t i = 0; i < places; ++i)
        std::printf("%s%s", i ? ", " : "", cli::interface_name(applied.auiIfIndex[i]).c_str());
    std::printf("\r\n  Rules: %u\r\n", rules);
    for (uint32_t i = 0; i < rules; ++i) print_rule(info.astRule[i]);
    std::printf("\r\n");
    return true;
}

int run_display_policy(cli::Args &args) {
    const uint32_t family = connlmt::parse_family(args);
    std::optional<uint32_t> only;
    if (!args.done()) {
        only = args.number("policy", 1, CONNLMT_Spec_GetMaxPolicyNum() - 1);
        if (!only) return 1;
    }
    if (!args.finish()) return 1;
    auto info = std::make_unique<CONNLMT_POLICYINFO_S>();
    auto applied = std::make_unique<CONNLMT_APPLYLIST_S>();
    if (only) return print_policy(family, static_cast<uint16_t>(*only), *info, *applied) ? 0 : 1;

    uint32_t shown = 0;
    uint16_t id = 0;  // 0 asks for the first policy
    for (uint32_t guard = 0; guard < CONNLMT_MAX_POLICY_NUM; ++guard) {
        uint16_t next = kNoPolicy;
        const uint32_t rc = CONNLMT_ipc_GetNextPolicyID(id, family, &next);
        if (rc != 0) return cli::failed("listing the policies", rc);
        if (next == kNoPolicy || next <= id) break;
        if (!print_policy(family, next, *info, *applied)) return 1;
        ++shown;
        id = next;
    }
    std::printf("Total %s policies: %u\r\n", family_name(family), shown);
    return 0;
}

}  // namespace

namespace connlmt {

std::optional<StatArgs> parse_stat_args(cli::Args &args, bool withFilters) {
    StatArgs s;
    s.node = DEV_GetSelf();
    bool ipv6 = false, slot = false, policy = false, rule = false;
    std::optional<cli::Args::Address> addr[2];
    while (!args.done()) {
        const std::string word = args.peek();
        if (!ipv6 && args.take("ipv6")) {
            ipv6 = true;
        } else if (!policy && args.take("policy")) {
            auto p = args.number("policy", 1, CONNLMT_Spec_GetMaxPolicyNum() - 1);
            if (!p) return std::nullopt;
            s.policy = static_cast<uint16_t>(*p);
            policy = true;
        } else if (!slot && args.take("slot")) {
            auto n = args.number("slot", 0, 0xFFFF);
            if (!n) return std::nullopt;
            auto node = cli::node_of_slot(*n);
            if (!node) return std::nullopt;
            s.node = *node;
            slot = true;
        } else if (withFilters && !rule && args.take("rule")) {
            auto r = args.number("rule", 1, CONNLMT_Spec_GetMaxRuleNum() - 1);
            if (!r) return std::nullopt;
            s.rule = static_cast<uint16_t>(*r);
            rule = true;
        } else if (withFilters && !addr[0] && args.take("source-ip")) {
            addr[0] = args.address("source address");
            if (!addr[0]) return std::nullopt;
        } else if (withFilters && !addr[1] && args.take("destination-ip")) {
            addr[1] = args.address("destination address");
            if (!addr[1]) return std::nullopt;
        } else if (withFilters && !s.count && args.take("count")) {
            s.count = true;
        } else {
            cli::fail("unexpected '%s'; accepted here, each once: %s", word.c_str(),
                      withFilters ? "ipv6, policy, rule, source-ip, destination-ip, slot or count"
                                  : "ipv6, policy or slot");
            return std::nullopt;
        }
    }
    s.family = ipv6 ? CONNLMT_IPV6 : CONNLMT_IPV4;
    s.filter.uiIpVersion = s.family;
    s.filter.usFilterValue = s.rule;
    CONNLMT_ADDR_S *slots[2] = {&s.filter.stAddr1, &s.filter.stAddr2};
    for (int i = 0; i < 2; ++i) {
        if (!addr[i]) continue;
        if ((addr[i]->family == 6) != ipv6) {
            cli::fail("%s address given for %s policies; add or drop 'ipv6'", addr[i]->family == 6 ? "an IPv6" : "an IPv4",
                      family_name(s.family));
            return std::nullopt;
        }
        // The filter holds IPv4 addresses as host-order numbers.
        if (addr[i]->family == 4)
            slots[i]->uiIpv4 = addr[i]->addr4;
        else
            std::memcpy(slots[i]->aucIpv6, addr[i]->addr6, 16);
    }
    return s;
}

// Not found, after reporting, when the service runs no such policy; kOk
// when it does or none is named.
int policy_known(uint32_t family, uint16_t id) {
    if (id == 0) return cli::kOk;
    auto info = std::make_unique<CONNLMT_POLICYINFO_S>();
    const uint32_t rc = CONNLMT_ipc_GetPolicyInfo(id, family, sizeof *info, info.get());
    if (rc != 0) return cli::failed("reading the policy", rc);
    if (info->usPolicyId == kNoPolicy) return cli::not_found("no %s policy %u", family_name(family), id);
    return cli::kOk;
}

}  // namespace connlmt

namespace {

using connlmt::parse_stat_args;
using connlmt::policy_known;

int run_display_statistics(cli::Args &args) {
    auto s = parse_stat_args(args, true);
    if (!s) return 1;
    if (const int known = policy_known(s->family, s->policy); known != cli::kOk) return known;
    const uint32_t rc = CONNLMT_Dump_DisStatNodes(s->node, s->policy, &s->filter,
                                                  s->count ? CONNLMT_STAT_MODE_COUNT : 0);
    if (rc == DPMGMT_ERR_FAILED) return cli::failed("reading the connection-limit statistic nodes", rc);
    return 0;
}

int run_display_counters(cli::Args &args) {
    auto s = parse_stat_args(args, false);
    if (!s) return 1;
    if (const int known = policy_known(s->family, s->policy); known != cli::kOk) return known;
    CONNLMT_STATISTICS_S st{};
    const uint32_t rc = CONNLMT_Dump_GetStatistics(s->node, s->policy, &st);
    if (rc != 0) return cli::failed("reading the connection-limit counters", rc);
    std::printf("New sessions permitted: %llu\r\n", static_cast<unsigned long long>(st.aulCounter[0]));
    std::printf("New sessions denied   : %llu\r\n", static_cast<unsigned long long>(st.aulCounter[1]));
    return 0;
}

const bool registered = cli::add({
    {"display connection-limit policy", "[ipv6] [ID]", "Show the connection-limit policies the service runs",
     run_display_policy},
    {"display connection-limit statistics",
     "[ipv6] [policy ID] [rule RULE] [source-ip A] [destination-ip A] [slot SLOT] [count]",
     "Show the kernel's connection-limit statistic nodes", run_display_statistics},
    {"display connection-limit counters", "[policy ID] [slot SLOT]",
     "Show the new sessions permitted and denied by the limits", run_display_counters},
});

}  // namespace
