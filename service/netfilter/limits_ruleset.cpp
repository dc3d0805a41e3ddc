// SPDX-License-Identifier: Apache-2.0
// The nftables content the applied connection-limit policies become.
//
// Per applied policy one regular chain, v4_pP / v6_pP, with one rule per
// connection-limit rule: the ACL's match, then either a dynamic set keyed
// by the rule's grouping (source, destination, protocol . port) whose
// elements each count their connections, or one count for the whole rule,
// and `reject` over the upper threshold.  Two counters in each rule count
// the new connections the ACL selected and those refused.  The base chains (input, forward,
// and output for a global application) send every new connection of the
// policy's family there, or only those arriving on the interface the policy
// is applied at.
#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include "netfilter/limits.h"

namespace dpsvc::nf {

namespace {

constexpr uint32_t kPerSource = 1u << 0;
constexpr uint32_t kPerDestination = 1u << 1;
constexpr uint32_t kPerService = 1u << 2;
constexpr const char *kPortProtocols = "meta l4proto { tcp, udp, sctp, dccp, udplite }";

struct BaseChain {
    const char *name;
    const char *hook;
    bool global_only;  // only connections a policy applied globally covers
};
constexpr BaseChain kBaseChains[] = {
    {"input", "input", false},
    {"forward", "forward", false},
    {"output", "output", true},
};

const char *ip_word(uint32_t family) { return family == 0 ? "ip" : "ip6"; }

// "10.0.0.0/8"; empty for "any" (or a prefix of the other family, which
// the caller treats as matching nothing).
std::string prefix_text(const dpsim::Prefix &p) {
    char buf[INET6_ADDRSTRLEN];
    if (inet_ntop(p.family == 4 ? AF_INET : AF_INET6, p.addr, buf, sizeof buf) == nullptr) return {};
    return std::string(buf) + "/" + std::to_string(p.length);
}

bool full_range(const uint16_t r[2]) { return r[0] == 0 && r[1] == 65535; }

std::string range_text(const uint16_t r[2]) {
    return r[0] == r[1] ? std::to_string(r[0]) : std::to_string(r[0]) + "-" + std::to_string(r[1]);
}

bool port_protocol(uint8_t p) { return p == 6 || p == 17 || p == 132 || p == 33 || p == 136; }

// The ACL's match for a policy of `family`; false when the ACL can never
// select that family's traffic.
bool acl_match(const dpsim::Acl &acl, uint32_t family, bool needsPorts, std::string &out) {
    const int want = family == 0 ? 4 : 6;
    for (const auto &[prefix, dir] : {std::pair{&acl.source, "saddr"}, std::pair{&acl.destination, "daddr"}}) {
        if (prefix->family == 0) continue;
        if (prefix->family != want) return false;
        out += std::string(ip_word(family)) + " " + dir + " " + prefix_text(*prefix) + " ";
    }
    const bool ports = needsPorts || !full_range(acl.sourcePorts) || !full_range(acl.destinationPorts);
    if (acl.protocol != 0) {
        if (ports && !port_protocol(acl.protocol)) return false;
        out += "meta l4proto " + std::to_string(acl.protocol) + " ";
    } else if (ports) {
        out += std::string(kPortProtocols) + " ";
    }
    if (!full_range(acl.sourcePorts)) out += "th sport " + range_text(acl.sourcePorts) + " ";
    if (!full_range(acl.destinationPorts)) out += "th dport " + range_text(acl.destinationPorts) + " ";
    return true;
}

void key_of(uint32_t family, uint32_t grouping, std::string &type, std::string &expr) {
    const char *addrType = family == 0 ? "ipv4_addr" : "ipv6_addr";
    auto add = [&](const std::string &t, const std::string &e) {
        type += (type.empty() ? "" : " . ") + t;
        expr += (expr.empty() ? "" : " . ") + e;
    };
    if (grouping & kPerSource) add(addrType, std::string(ip_word(family)) + " saddr");
    if (grouping & kPerDestination) add(addrType, std::string(ip_word(family)) + " daddr");
    if (grouping & kPerService) add("inet_proto . inet_service", "meta l4proto . th dport");
}

std::string chain_name(uint32_t family, uint16_t policy) {
    return (family == 0 ? "v4_p" : "v6_p") + std::to_string(policy);
}

}  // namespace

std::string set_name(uint32_t family, uint16_t policy, uint16_t rule) {
    return chain_name(family, policy) + "_r" + std::to_string(rule);
}

const dpsim::Acl *rule_acl(const ConnlmtRule &rule) {
    // Types 0 and 1 both name the IPv4 ACLs.
    const uint32_t type = rule.aclType == 0 ? 1 : rule.aclType;
    const std::string name(rule.aclName, strnlen(rule.aclName, sizeof rule.aclName));
    for (const dpsim::Acl &acl : dpsim::profile().acls) {
        if (acl.type != type) continue;
        if (rule.aclMode == 1 ? acl.name == name : acl.number == rule.aclNum) return &acl;
    }
    return nullptr;
}

std::string limits_batch(const ConnlmtConfig &cfg, const Installed &now, Installed &next, std::string &missing) {
    const std::string t = kLimitsTable;
    next = Installed{};
    next.known = true;
    std::string sets, chains, rules;
    std::string hooks[std::size(kBaseChains)];
    for (uint32_t family = 0; family < 2; ++family) {
        // Policy -> where it is applied, ascending (0 first: globally).
        std::map<uint16_t, std::set<uint32_t>> appliedAt;
        for (const auto &[ifIndex, id] : cfg.applied[family]) appliedAt[id].insert(ifIndex);
        for (const auto &[id, where] : appliedAt) {
            const auto it = cfg.policies[family].find(id);
            if (it == cfg.policies[family].end()) continue;
            const std::string chain = chain_name(family, id);
            next.chains[chain] = false;
            chains += "add chain " + t + " " + chain + "\n";
            for (const ConnlmtRule &r : it->second.rules) {
                const dpsim::Acl *acl = rule_acl(r);
                if (acl == nullptr) {
                    missing = r.aclMode == 1 ? "ACL named '" + std::string(r.aclName, strnlen(r.aclName, sizeof r.aclName)) + "'"
                                             : "ACL " + std::to_string(r.aclNum);
                    return {};
                }
                const uint32_t grouping = r.limitData[2] & (kPerSource | kPerDestination | kPerService);
                std::string match;
                if (!acl_match(*acl, family, (grouping & kPerService) != 0, match)) continue;
                const std::string limit = "ct count over " + std::to_string(r.limitData[0]);
                if (grouping == 0) {
                    rules += "add rule " + t + " " + chain + " " + match + "counter " + limit + " counter reject\n";
                    continue;
                }
                std::string type, expr;
                key_of(family, grouping, type, expr);
                const std::string set = set_name(family, id, r.ruleId);
                next.sets[set] = type + " " + limit;
                sets += "add set " + t + " " + set + " { type " + type + "; flags dynamic; size 65535; }\n";
                rules += "add rule " + t + " " + chain + " " + match + "counter add @" + set + " { " + expr + " " + limit +
                         " } counter reject\n";
            }
            const std::string nfproto = family == 0 ? "ipv4" : "ipv6";
            for (size_t b = 0; b < std::size(kBaseChains); ++b) {
                if (where.count(0) != 0) {
                    hooks[b] += "add rule " + t + " " + kBaseChains[b].name + " ct state new meta nfproto " + nfproto +
                                " jump " + chain + "\n";
                } else if (!kBaseChains[b].global_only) {
                    for (uint32_t ifIndex : where)
                        hooks[b] += "add rule " + t + " " + kBaseChains[b].name + " ct state new meta nfproto " + nfproto +
                                    " iif " + std::to_string(ifIndex) + " jump " + chain + "\n";
                }
            }
        }
    }

    for (const BaseChain &b : kBaseChains) next.chains[b.name] = true;
    std::string batch = "add table " + t + "\n";
    if (!now.known) {
        // Whatever an earlier run left goes, in the same transaction.
        batch += "delete table " + t + "\nadd table " + t + "\n";
    } else {
        for (const auto &[chain, base] : now.chains) batch += "flush chain " + t + " " + chain + "\n";
        for (const auto &[chain, base] : now.chains)
            if (next.chains.count(chain) == 0) batch += "delete chain " + t + " " + chain + "\n";
        // A set whose key or limit changed starts again: its elements carry
        // the limit they were made with.
        for (const auto &[set, what] : now.sets) {
            const auto it = next.sets.find(set);
            if (it == next.sets.end() || it->second != what) batch += "delete set " + t + " " + set + "\n";
        }
    }
    batch += sets + chains;
    for (size_t b = 0; b < std::size(kBaseChains); ++b) {
        batch += "add chain " + t + " " + kBaseChains[b].name + " { type filter hook " + kBaseChains[b].hook +
                 " priority filter; policy accept; }\n";
    }
    batch += rules;
    for (const std::string &h : hooks) batch += h;
    return batch;
}

}  // namespace dpsvc::nf
