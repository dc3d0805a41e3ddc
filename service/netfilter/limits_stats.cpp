// SPDX-License-Identifier: Apache-2.0
// The connection-limit statistic nodes of the netfilter data plane: the
// elements of each applied rule's set (listed by the nft program as JSON)
// with their live connection counts, or one node for a rule that counts
// without a key.  The kernel does not report an element's count, so the
// count is made the way the kernel makes it: the connection-tracking
// entries the rule's ACL selects that carry the element's key, TCP entries
// in TIME_WAIT or CLOSE not counted.  (The count does not tell by which
// interface a connection arrived.)  Record layout: service/kernel_connlmt.cpp.
#include <arpa/inet.h>
#include <rapidjson/document.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "kernel_connlmt.h"
#include "netfilter/ct_table.h"
#include "netfilter/limits.h"
#include "netfilter/netfilter.h"
#include "registry.h"

namespace dpsvc::nf {

namespace {

using namespace connlmt_stats;

constexpr uint8_t kTcpTimeWait = 7;  // TCP_CONNTRACK_TIME_WAIT
constexpr uint8_t kTcpClose = 8;     // TCP_CONNTRACK_CLOSE

struct Key {
    Address src{}, dst{};
    uint8_t protocol = 0;
    uint16_t port = 0;
    auto operator<=>(const Key &) const = default;
};

struct RuleRef {
    uint16_t policy;
    const ConnlmtRule *rule;
    const dpsim::Acl *acl;
};

using NodeId = std::tuple<uint16_t, uint16_t, Key>;  // policy, rule, key

std::map<std::tuple<uint32_t, NodeId>, bool> &deny_state() {
    static std::map<std::tuple<uint32_t, NodeId>, bool> state;
    return state;
}

bool parse_address(const rapidjson::Value &v, uint32_t family, Address &out) {
    return v.IsString() && inet_pton(family == 0 ? AF_INET : AF_INET6, v.GetString(), out.data()) == 1;
}

bool parse_number(const rapidjson::Value &v, uint32_t max, uint32_t &out) {
    if (!v.IsUint() || v.GetUint() > max) return false;
    out = v.GetUint();
    return true;
}

// One element's value as the rule's key: a lone value, or a "concat" of
// the grouped fields in the order source, destination, protocol, port.
bool parse_key(const rapidjson::Value &val, uint32_t family, uint32_t grouping, Key &k) {
    std::vector<const rapidjson::Value *> parts;
    if (val.IsObject() && val.HasMember("concat") && val["concat"].IsArray()) {
        for (const auto &p : val["concat"].GetArray()) parts.push_back(&p);
    } else {
        parts.push_back(&val);
    }
    size_t i = 0;
    auto next = [&]() -> const rapidjson::Value * { return i < parts.size() ? parts[i++] : nullptr; };
    const rapidjson::Value *p = nullptr;
    if ((grouping & kPerSource) && (!(p = next()) || !parse_address(*p, family, k.src))) return false;
    if ((grouping & kPerDestination) && (!(p = next()) || !parse_address(*p, family, k.dst))) return false;
    if (grouping & kPerService) {
        uint32_t proto = 0, port = 0;
        if (!(p = next()) || !parse_number(*p, 255, proto)) return false;
        if (!(p = next()) || !parse_number(*p, 65535, port)) return false;
        k.protocol = static_cast<uint8_t>(proto);
        k.port = static_cast<uint16_t>(port);
    }
    return i == parts.size();
}

// The keys of one rule's set, as the kernel lists them.
std::vector<Key> set_keys(uint32_t family, const RuleRef &r) {
    std::vector<Key> keys;
    const std::string json =
        nft_list_json("list set " + std::string(kLimitsTable) + " " + set_name(family, r.policy, r.rule->ruleId));
    rapidjson::Document doc;
    if (json.empty() || doc.Parse(json.c_str()).HasParseError() || !doc.IsObject() || !doc.HasMember("nftables") ||
        !doc["nftables"].IsArray())
        return keys;
    for (const auto &item : doc["nftables"].GetArray()) {
        if (!item.IsObject() || !item.HasMember("set") || !item["set"].IsObject() || !item["set"].HasMember("elem") ||
            !item["set"]["elem"].IsArray())
            continue;
        for (const auto &e : item["set"]["elem"].GetArray()) {
            // An element with a statement attached comes as {"elem": {"val": ...}}.
            const rapidjson::Value *val = &e;
            if (e.IsObject() && e.HasMember("elem") && e["elem"].IsObject() && e["elem"].HasMember("val"))
                val = &e["elem"]["val"];
            Key k;
            if (parse_key(*val, family, r.rule->limitData[2], k)) keys.push_back(k);
        }
    }
    return keys;
}

bool in_range(const uint16_t r[2], uint16_t port) { return port >= r[0] && port <= r[1]; }

bool selects(const dpsim::Acl &acl, const Tuple &t) {
    const int family = t.family == AF_INET ? 4 : 6;
    const bool ports = t.protocol == 6 || t.protocol == 17 || t.protocol == 132 || t.protocol == 33 || t.protocol == 136;
    const bool anyPort = acl.sourcePorts[0] == 0 && acl.sourcePorts[1] == 65535 && acl.destinationPorts[0] == 0 &&
                         acl.destinationPorts[1] == 65535;
    return (acl.protocol == 0 || acl.protocol == t.protocol) && dpsim::prefix_matches(acl.source, family, t.src.data()) &&
           dpsim::prefix_matches(acl.destination, family, t.dst.data()) &&
           (anyPort || (ports && in_range(acl.sourcePorts, t.srcPort) && in_range(acl.destinationPorts, t.dstPort)));
}

Key key_of(uint32_t grouping, const Tuple &t) {
    Key k;
    if (grouping & kPerSource) k.src = t.src;
    if (grouping & kPerDestination) k.dst = t.dst;
    if (grouping & kPerService) {
        k.protocol = t.protocol;
        k.port = t.dstPort;
    }
    return k;
}

// The 60-byte key as the model takes it: policy (0 all), family, source and
// destination filters, rule (0 any).
std::unique_ptr<DumpCursor> open_stat_nodes(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() < kNodeKeySize) return nullptr;
    const auto [policy, family, srcFilter, dstFilter, ruleFilter] = parse_node_key(key);

    // The applied rules asked for, and their nodes (count 0 for now).
    std::vector<RuleRef> rules;
    std::map<NodeId, uint32_t> nodes;
    ConnlmtConfig &cfg = config().connlmt;
    std::map<uint16_t, bool> applied;
    for (const auto &[ifIndex, id] : cfg.applied[family]) applied[id] = true;
    for (const auto &[id, on] : applied) {
        const ConnlmtPolicy *p = cfg.find(family, id);
        if (p == nullptr || (policy != 0 && policy != id)) continue;
        for (const ConnlmtRule &r : p->rules) {
            const dpsim::Acl *acl = rule_acl(r);
            if (acl == nullptr || (ruleFilter != 0 && ruleFilter != r.ruleId)) continue;
            const RuleRef ref{id, &r, acl};
            rules.push_back(ref);
            if ((r.limitData[2] & (kPerSource | kPerDestination | kPerService)) == 0) {
                nodes[NodeId{id, r.ruleId, Key{}}] = 0;
            } else {
                for (const Key &k : set_keys(family, ref)) nodes[NodeId{id, r.ruleId, k}] = 0;
            }
        }
    }
    if (!nodes.empty()) {
        walk_conntrack(family == 0 ? AF_INET : AF_INET6, [&](const Session &s, const CtExtra &, const nlmsghdr *) {
            // A TCP entry's state slot is the kernel's state number.
            if (s.init.protocol == 6 && (s.state == kTcpTimeWait || s.state == kTcpClose)) return true;
            for (const RuleRef &r : rules) {
                if (!selects(*r.acl, s.init)) continue;
                const auto it = nodes.find(NodeId{r.policy, r.rule->ruleId, key_of(r.rule->limitData[2], s.init)});
                if (it != nodes.end()) ++it->second;
            }
            return true;
        });
    }

    std::vector<uint8_t> records;
    for (const RuleRef &r : rules) {
        for (auto it = nodes.lower_bound(NodeId{r.policy, r.rule->ruleId, Key{}});
             it != nodes.end() && std::get<0>(it->first) == r.policy && std::get<1>(it->first) == r.rule->ruleId; ++it) {
            const Key &k = std::get<2>(it->first);
            if (!address_matches(srcFilter, k.src, family) || !address_matches(dstFilter, k.dst, family)) continue;
            StatNode out;
            out.src = k.src;
            out.dst = k.dst;
            out.protocol = k.protocol;
            out.port = k.port;
            out.ruleId = r.rule->ruleId;
            out.upper = r.rule->limitData[0];
            out.lower = r.rule->limitData[1];
            out.sessions = it->second;
            out.denied = update_denied(deny_state()[{family, it->first}], out.sessions, out.upper, out.lower);
            out.aclNum = r.acl->number;
            out.aclType = r.rule->aclType;
            append_node(records, out);
        }
    }
    return make_record_cursor(std::move(records), kNodeSize);
}

CounterMap &carried() {
    static CounterMap c;
    return c;
}

// Where each policy's counters were last reset.
CounterMap &baselines() {
    static CounterMap b;
    return b;
}

// What the service has counted in all: the rules' counters now and what
// earlier versions of the rules counted.
CounterMap totals() {
    CounterMap t = carried();
    for (const auto &[k, c] : read_limit_counters()) {
        t[k].selected += c.selected;
        t[k].refused += c.refused;
    }
    return t;
}

// Key: the policy (0 every policy), u32.  The record: the new connections
// permitted and refused under it, both families, since its last reset.
std::unique_ptr<DumpCursor> open_statistics(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() < kStatisticsKeySize) return nullptr;
    const uint32_t policy = get32(key.data());
    uint64_t permitted = 0, refused = 0;
    for (const auto &[k, c] : totals()) {
        if (policy != 0 && k.second != policy) continue;
        LimitCounters base;
        if (const auto it = baselines().find(k); it != baselines().end()) base = it->second;
        const uint64_t selected = c.selected > base.selected ? c.selected - base.selected : 0;
        const uint64_t denied = c.refused > base.refused ? c.refused - base.refused : 0;
        permitted += selected > denied ? selected - denied : 0;
        refused += denied;
    }
    return statistics_cursor(permitted, refused);
}

uint64_t packets(const rapidjson::Value &stmt) {
    const rapidjson::Value &c = stmt["counter"];
    return c.IsObject() && c.HasMember("packets") && c["packets"].IsUint64() ? c["packets"].GetUint64() : 0;
}

}  // namespace

CounterMap read_limit_counters() {
    CounterMap out;
    const std::string json = nft_list_json("list table " + std::string(kLimitsTable));
    rapidjson::Document doc;
    if (json.empty() || doc.Parse(json.c_str()).HasParseError() || !doc.IsObject() || !doc.HasMember("nftables") ||
        !doc["nftables"].IsArray())
        return out;
    for (const auto &item : doc["nftables"].GetArray()) {
        if (!item.IsObject() || !item.HasMember("rule") || !item["rule"].IsObject()) continue;
        const rapidjson::Value &rule = item["rule"];
        if (!rule.HasMember("chain") || !rule["chain"].IsString() || !rule.HasMember("expr") || !rule["expr"].IsArray())
            continue;
        // The policies' chains: v4_pN, v6_pN.
        unsigned id = 0;
        char v = 0;
        int used = 0;
        if (std::sscanf(rule["chain"].GetString(), "v%c_p%u%n", &v, &id, &used) != 2 ||
            rule["chain"].GetString()[used] != '\0' || (v != '4' && v != '6') || id > 0xFFFF)
            continue;
        std::vector<uint64_t> counts;
        for (const auto &stmt : rule["expr"].GetArray())
            if (stmt.IsObject() && stmt.HasMember("counter")) counts.push_back(packets(stmt));
        if (counts.size() != 2) continue;
        LimitCounters &c = out[{v == '4' ? 0u : 1u, static_cast<uint16_t>(id)}];
        c.selected += counts[0];
        c.refused += counts[1];
    }
    return out;
}

void carry_limit_counters(const CounterMap &before) {
    for (const auto &[k, c] : before) {
        carried()[k].selected += c.selected;
        carried()[k].refused += c.refused;
    }
}

void register_limit_dumps() {
    register_dump(kDumpStatNodes, open_stat_nodes);
    register_dump(kDumpStatistics, open_statistics);
    // A reset moves the point the policy's counters count from, and forgets
    // whether its nodes deny.
    register_message(40, 8, [](MsgContext &c) {
        const uint16_t id = get_be16(c.payload, 0);
        const uint32_t family = get_be32(c.payload, 4);
        if (config().connlmt.find(family, id) == nullptr) return answer_code(c, family <= 1 ? kNotExist : kFailed);
        std::erase_if(deny_state(), [&](const auto &e) {
            return std::get<0>(e.first) == family && (id == 0 || std::get<0>(std::get<1>(e.first)) == id);
        });
        const CounterMap now = totals();
        std::erase_if(baselines(), [&](const auto &e) { return e.first.first == family && (id == 0 || e.first.second == id); });
        for (const auto &[k, cnt] : now)
            if (k.first == family && (id == 0 || k.second == id)) baselines()[k] = cnt;
        return answer_code(c, kOk);
    });
}

}  // namespace dpsvc::nf
