// SPDX-License-Identifier: Apache-2.0
// The kernel's connection-limit statistic nodes and counters.
//
// The kernel counts, for every rule of every applied policy, the sessions
// that the rule's ACL selects, grouped as the rule's third limit word asks:
// bit 0 one node per source host, bit 1 per destination host, bit 2 per
// service (protocol and destination port); no bit: one node for the rule.
// A policy applied globally (interface index 0) covers every session of a
// node, one applied at an interface the sessions that came in there.  The
// first two limit words are the node's upper and lower session thresholds:
// new sessions are denied once a node reaches the upper one and permitted
// again only when it falls below the lower one.
//
// Nothing is counted ahead of time: the nodes are made from the running
// configuration and the traffic model whenever a dump opens.  The per-policy
// counters are made the same way (sessions within a node's upper threshold
// were permitted, those beyond it denied) and a reset only moves the point
// they count from.
#include <algorithm>
#include <array>
#include <compare>
#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <tuple>
#include <vector>

#include "byte_order.h"
#include "config_state.h"
#include "dpsim.h"
#include "kernel_connlmt.h"
#include "registry.h"
#include "traffic.h"

namespace dpsvc {
namespace {

using namespace connlmt_stats;

// What makes two sessions of one rule the same statistic node.  Fields the
// rule does not group by stay zero: "any" address, all protocols.
struct GroupKey {
    Address src{}, dst{}, peer{};
    uint16_t srcVrf = 0, dstVrf = 0;
    uint8_t protocol = 0;
    uint16_t port = 0;

    auto operator<=>(const GroupKey &) const = default;
};

struct NodeId {
    uint16_t policy;
    uint16_t rule;
    GroupKey group;

    auto operator<=>(const NodeId &) const = default;
};

struct NodeCount {
    const ConnlmtRule *rule;
    uint32_t aclNum;
    uint32_t sessions;
};

using Nodes = std::map<NodeId, NodeCount>;

// A rule that takes part in counting, with what it needs per session.
struct ActiveRule {
    uint16_t policy;
    const ConnlmtRule *rule;
    const dpsim::Acl *acl;
    uint32_t aclNum;
    bool global;
    std::vector<uint32_t> interfaces;  // where the policy is applied, ascending
};

const dpsim::Acl *find_acl(const ConnlmtRule &rule)
{
    // Types 0 and 1 both name the IPv4 ACLs.
    const uint32_t type = rule.aclType == 0 ? 1 : rule.aclType;
    for (const dpsim::Acl &acl : dpsim::profile().acls) {
        if (acl.type != type) {
            continue;
        }
        if (rule.aclMode == 1 ? acl.name == std::string(rule.aclName, strnlen(rule.aclName, sizeof rule.aclName))
                              : acl.number == rule.aclNum) {
            return &acl;
        }
    }
    return nullptr;
}

// The rules of the family's applied policies, by policy and rule; `policy`
// 0 takes every policy, `ruleId` 0 every rule.
std::vector<ActiveRule> active_rules(uint32_t family, uint16_t policy, uint16_t ruleId)
{
    std::vector<ActiveRule> out;
    ConnlmtConfig &cfg = config().connlmt;
    std::map<uint16_t, std::vector<uint32_t>> appliedAt;
    for (const auto &[ifindex, id] : cfg.applied[family]) {
        if (policy == 0 || id == policy) {
            appliedAt[id].push_back(ifindex);
        }
    }
    for (auto &[id, interfaces] : appliedAt) {
        const ConnlmtPolicy *p = cfg.find(family, id);
        if (p == nullptr) {
            continue;
        }
        std::sort(interfaces.begin(), interfaces.end());
        const bool global = interfaces.front() == 0;
        for (const ConnlmtRule &rule : p->rules) {
            if (ruleId != 0 && rule.ruleId != ruleId) {
                continue;
            }
            const dpsim::Acl *acl = find_acl(rule);
            const uint32_t aclNum = rule.aclMode == 1 ? (acl ? acl->number : 0) : rule.aclNum;
            out.push_back(ActiveRule{id, &rule, acl, aclNum, global, interfaces});
        }
    }
    return out;
}

bool covers(const ActiveRule &r, const Session &s)
{
    return r.global || std::binary_search(r.interfaces.begin(), r.interfaces.end(), s.ifIndex[0]);
}

bool selects(const dpsim::Acl &acl, const Tuple &t)
{
    const int family = t.family == kFamilyV4 ? 4 : 6;
    return (acl.protocol == 0 || acl.protocol == t.protocol) && dpsim::prefix_matches(acl.source, family, t.src.data()) &&
           dpsim::prefix_matches(acl.destination, family, t.dst.data());
}

GroupKey group_of(uint32_t grouping, const Session &s)
{
    GroupKey k;
    // A VLAN or VLL number in the tuple is not a VPN instance.
    const uint16_t vrf = s.init.flags == 0 ? s.init.vrf : 0;
    if (grouping & kPerSource) {
        k.src = s.init.src;
        k.srcVrf = vrf;
        k.peer = s.dsLite[0];  // DS-Lite hosts share private addresses: the tunnel tells them apart
    }
    if (grouping & kPerDestination) {
        k.dst = s.init.dst;
        k.dstVrf = vrf;
    }
    if (grouping & kPerService) {
        k.protocol = s.init.protocol;
        k.port = s.init.dstPort;
    }
    return k;
}

// Counts the sessions of a node into statistic nodes.
Nodes count_nodes(uint16_t node, uint32_t family, uint16_t policy, uint16_t ruleId)
{
    Nodes nodes;
    const std::vector<ActiveRule> rules = active_rules(family, policy, ruleId);
    if (rules.empty()) {
        return nodes;
    }
    const uint8_t sessionFamily = family == 0 ? kFamilyV4 : kFamilyV6;
    for_each_session(node, [&](const Session &s) {
        if (s.init.family != sessionFamily) {
            return;
        }
        for (const ActiveRule &r : rules) {
            if (r.acl == nullptr || !covers(r, s) || !selects(*r.acl, s.init)) {
                continue;
            }
            NodeId id{r.policy, r.rule->ruleId, group_of(r.rule->limitData[2], s)};
            auto [it, added] = nodes.try_emplace(id, NodeCount{r.rule, r.aclNum, 0});
            ++it->second.sessions;
        }
    });
    return nodes;
}

struct Counters {
    uint64_t permitted = 0;
    uint64_t denied = 0;
};

using DenyKey = std::tuple<uint16_t, uint32_t, NodeId>;  // node, family, statistic node
using BaseKey = std::tuple<uint16_t, uint32_t, uint16_t>;  // node, family, policy

// What the kernel keeps between dumps: whether each node denies new
// sessions (for the stretch between the two thresholds), and where each
// policy's counters were last reset.
struct Kept {
    std::map<DenyKey, bool> denied;
    std::map<BaseKey, Counters> baselines;
};

Kept &kept()
{
    static Kept k;
    return k;
}

// The filters of the key are compared with the node's own addresses, so a
// filter never selects a node that does not group by that address; the 16
// filter bytes select nothing here.
std::unique_ptr<DumpCursor> open_stat_nodes(uint16_t node, std::span<const uint8_t> key)
{
    if (!traffic_node_served(node) || key.size() < kNodeKeySize) {
        return nullptr;
    }
    const NodeQuery q = parse_node_key(key);
    std::vector<uint8_t> records;
    if (q.policy <= 0xFFFF) {
        const Nodes nodes = count_nodes(node, q.family, static_cast<uint16_t>(q.policy), q.ruleId);
        for (const auto &[id, n] : nodes) {
            if (!address_matches(q.srcFilter, id.group.src, q.family) ||
                !address_matches(q.dstFilter, id.group.dst, q.family)) {
                continue;
            }
            const ConnlmtRule &rule = *n.rule;
            StatNode out{id.group.src, id.group.dst, id.group.peer, id.group.srcVrf, id.group.dstVrf,
                         id.group.protocol, id.group.port, id.rule};
            out.upper = rule.limitData[0];
            out.lower = rule.limitData[1];
            out.denied = update_denied(kept().denied[DenyKey{node, q.family, id}], n.sessions, out.upper, out.lower);
            out.aclNum = n.aclNum;
            out.sessions = n.sessions;
            out.aclType = rule.aclType;
            append_node(records, out);
        }
    }
    return make_record_cursor(std::move(records), kNodeSize);
}

// ------------------------------------------------------------ counters ----

// Counters of each applied policy of a family on a node, as made from the
// tables: what sessions each node holds within its upper threshold were
// permitted, the rest denied.
std::map<uint16_t, Counters> policy_counters(uint16_t node, uint32_t family, uint16_t policy)
{
    std::map<uint16_t, Counters> out;
    for (const auto &[id, n] : count_nodes(node, family, policy, 0)) {
        const uint32_t upper = n.rule->limitData[0];
        Counters &c = out[id.policy];
        c.permitted += std::min(n.sessions, upper);
        c.denied += n.sessions > upper ? n.sessions - upper : 0;
    }
    return out;
}

// Key: the policy (0 every policy), u32.  The record holds the new sessions
// permitted and denied under it, in both families, since its last reset.
std::unique_ptr<DumpCursor> open_statistics(uint16_t node, std::span<const uint8_t> key)
{
    if (!traffic_node_served(node) || key.size() < kStatisticsKeySize) {
        return nullptr;
    }
    const uint32_t policy = get32(key.data());
    Counters total;
    if (policy <= 0xFFFF) {
        for (uint32_t family = 0; family < 2; ++family) {
            for (const auto &[id, c] : policy_counters(node, family, static_cast<uint16_t>(policy))) {
                Counters base;
                if (auto it = kept().baselines.find(BaseKey{node, family, id}); it != kept().baselines.end()) {
                    base = it->second;
                }
                total.permitted += c.permitted > base.permitted ? c.permitted - base.permitted : 0;
                total.denied += c.denied > base.denied ? c.denied - base.denied : 0;
            }
        }
    }
    return statistics_cursor(total.permitted, total.denied);
}

const bool registered = [] {
    register_dump(kDumpStatNodes, open_stat_nodes);
    register_dump(kDumpStatistics, open_statistics);
    return true;
}();

}  // namespace

namespace connlmt_stats {
namespace {

class SingleRecordCursor final : public DumpCursor {
public:
    explicit SingleRecordCursor(std::vector<uint8_t> record) : record_(std::move(record)) {}

    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override
    {
        if (!done_) {
            done_ = true;
            out.insert(out.end(), record_.begin(), record_.begin() + std::min<size_t>(max, record_.size()));
        }
        return 0;
    }

private:
    std::vector<uint8_t> record_;
    bool done_ = false;
};

constexpr uint16_t kPermit = 1;
constexpr uint16_t kDeny = 2;

}  // namespace

NodeQuery parse_node_key(std::span<const uint8_t> key)
{
    return NodeQuery{get32(key.data()), get32(key.data() + 4) == 0 ? 0u : 1u, key.data() + 8, key.data() + 24,
                     get16(key.data() + 40)};
}

bool address_matches(const uint8_t *filter, const Address &address, uint32_t family)
{
    const size_t len = family == 0 ? 4 : 16;
    static const uint8_t zero[16] = {};
    return std::memcmp(filter, zero, len) == 0 || std::memcmp(filter, address.data(), len) == 0;
}

bool update_denied(bool &denied, uint32_t sessions, uint32_t upper, uint32_t lower)
{
    if (sessions >= upper) {
        denied = true;
    } else if (sessions < lower) {
        denied = false;
    }
    return denied;
}

void append_node(std::vector<uint8_t> &records, const StatNode &n)
{
    const size_t at = records.size();
    records.resize(at + kNodeSize);
    uint8_t *rec = records.data() + at;
    std::memcpy(rec, n.src.data(), 16);
    std::memcpy(rec + 16, n.dst.data(), 16);
    put16(rec, 32, n.srcVrf);
    put16(rec, 34, n.dstVrf);
    std::memcpy(rec + 36, n.peer.data(), 16);
    rec[52] = n.protocol;
    put16(rec, 54, n.port);
    put16(rec, 56, n.ruleId);
    put16(rec, 58, n.denied ? kDeny : kPermit);
    put32(rec, 60, n.aclNum);
    put32(rec, 64, n.upper);
    put32(rec, 68, n.lower);
    put32(rec, 72, n.sessions);
    put32(rec, 76, n.aclType);
}

std::unique_ptr<DumpCursor> statistics_cursor(uint64_t permitted, uint64_t denied)
{
    std::vector<uint8_t> record(kStatisticsSize);
    put64(record.data(), 0, permitted);
    put64(record.data(), 8, denied);
    return std::make_unique<SingleRecordCursor>(std::move(record));
}

}  // namespace connlmt_stats

void connlmt_reset_statistics(uint16_t policy, uint32_t family)
{
    if (family > 1) {
        return;
    }
    for (uint16_t node : traffic_nodes()) {
        if (!traffic_node_served(node)) {
            continue;
        }
        auto &base = kept().baselines;
        std::erase_if(base, [&](const auto &entry) {
            const auto &[n, f, p] = entry.first;
            return n == node && f == family && (policy == 0 || p == policy);
        });
        for (const auto &[id, c] : policy_counters(node, family, policy)) {
            base[BaseKey{node, family, id}] = c;
        }
    }
}

}  // namespace dpsvc
