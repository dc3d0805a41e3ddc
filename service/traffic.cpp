// SPDX-License-Identifier: Apache-2.0
// The seeded traffic model: every session, relation and multicast flow is a
// pure function of (seed, node, index); a node keeps only a bit per slot for
// what resets removed and the counts that the statistics report.
#include "traffic.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "byte_order.h"
#include "options.h"
#include "random.h"
#include "traffic_profile.h"

namespace dpsvc {
namespace {

// ------------------------------------------------------------- numbers ----

enum Stream : uint64_t { kSessionStream = 1, kRelationStream = 2, kMcfsFlowStream = 3, kMcfsMemberStream = 4,
                         kCounterStream = 5 };

Rng rng_for(uint16_t node, uint64_t stream, uint64_t index) {
    uint64_t s = mix64(options().seed ^ mix64((uint64_t{node} << 32) ^ (stream << 56)));
    return Rng{mix64(s ^ (index * 0xD6E8FEB86659FD93ull))};
}

bool all_zero(const uint8_t *p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != 0) return false;
    }
    return true;
}

// ------------------------------------------------------- vocabulary -------

constexpr uint8_t kStateCount[kProtocolClasses] = {10, 3, 3, 3, 3, 8, 8, 3};
constexpr uint8_t kEstablished[kProtocolClasses] = {3, 2, 2, 2, 2, 4, 4, 2};
constexpr uint8_t kIpProtocol[kProtocolClasses] = {6, 17, 1, 58, 136, 132, 33, 255};
constexpr uint32_t kClassWeight[kProtocolClasses] = {38, 24, 8, 5, 5, 6, 5, 9};  // of 100

constexpr uint16_t kTcpPorts[] = {80, 443, 21, 22, 25, 1720, 554, 8080, 3389, 23};
constexpr uint16_t kUdpPorts[] = {53, 123, 5060, 69, 161, 514, 1812, 4789};
constexpr uint16_t kUdpLitePorts[] = {5004, 5005};
constexpr uint16_t kSctpPorts[] = {2905, 3868, 36412};
constexpr uint16_t kDccpPorts[] = {5004, 9};

constexpr uint32_t kV4Sources = 1024;
constexpr uint32_t kV6Sources = 256;
constexpr uint32_t kSourceSlots = kV4Sources + kV6Sources;
constexpr uint32_t kEpochBase = 1735689600;  // 2025-01-01 00:00:00 UTC

bool is_alg_port(uint8_t protoIndex, uint16_t port) {
    if (protoIndex == 0) return port == 21 || port == 554 || port == 1720;
    if (protoIndex == 1) return port == 5060 || port == 69;
    return false;
}

Address v4(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    Address x{};
    x[0] = a, x[1] = b, x[2] = c, x[3] = d;
    return x;
}

Address v6(uint16_t w2, uint16_t w3, uint16_t w6, uint16_t w7) {
    Address x{};
    x[0] = 0x20, x[1] = 0x01, x[2] = 0x0d, x[3] = 0xb8;
    put16(x.data(), 4, w2);
    put16(x.data(), 6, w3);
    put16(x.data(), 12, w6);
    put16(x.data(), 14, w7);
    return x;
}

Address source_address(uint16_t node, uint32_t slot) {
    if (slot < kV4Sources) {
        return v4(10, static_cast<uint8_t>(node), static_cast<uint8_t>(slot / 250),
                  static_cast<uint8_t>(slot % 250 + 1));
    }
    return v6(0, node, 0xc, static_cast<uint16_t>(slot - kV4Sources + 1));
}

template <size_t N>
uint16_t pick(Rng &r, const uint16_t (&ports)[N]) {
    return ports[r.below(N)];
}

// The VPN/VLAN/VLL choice of a session, shared by both of its directions.
void pick_forwarding(Rng &r, const TrafficProfile &p, Tuple &t) {
    uint32_t f = r.below(100);
    if (f < 4) {
        t.flags = 1, t.vrf = static_cast<uint16_t>(1 + r.below(4094));
    } else if (f < 7) {
        t.flags = 2, t.vrf = static_cast<uint16_t>(1 + r.below(4094));
    } else if (f < 10) {
        t.flags = 4, t.vrf = static_cast<uint16_t>(1 + r.below(4000));
    } else {
        uint32_t v = r.below(100);
        if (v < 65 || (v < 92 && p.vpns.empty())) {
            t.vrf = 0;
        } else if (v < 92) {
            t.vrf = p.vpns[r.below(static_cast<uint32_t>(p.vpns.size()))];
        } else {
            t.vrf = static_cast<uint16_t>(p.unknownVpnBase + r.below(50));
        }
    }
}

uint32_t pick_interface(Rng &r, const std::vector<uint32_t> &ifs) {
    if (ifs.empty() || r.below(20) == 0) return 0;
    return ifs[r.below(static_cast<uint32_t>(ifs.size()))];
}

// Most sessions to a well-known port run the application of that port;
// the rest run any application, or one the profile doesn't know.
uint32_t pick_app(Rng &r, const TrafficProfile &p, uint16_t serverPort) {
    uint32_t u = r.below(100);
    auto named = p.appByPort.find(serverPort);
    if (named != p.appByPort.end() && u < 85) return named->second;
    if (!p.apps.empty() && u < 95) return p.apps[r.below(static_cast<uint32_t>(p.apps.size()))];
    return p.unknownAppBase + r.below(100);
}

// Session `index` of a node, whatever resets did; *sourceSlot receives the
// initiator source host's slot.
Session make_session(uint16_t node, uint32_t index, uint32_t *sourceSlot) {
    const TrafficProfile &p = traffic_profile();
    Rng r = rng_for(node, kSessionStream, index);
    Session s;
    s.index = index;
    uint32_t w = r.below(100);
    uint8_t pi = 0;
    while (pi + 1u < kProtocolClasses && w >= kClassWeight[pi]) w -= kClassWeight[pi++];
    s.protoIndex = pi;
    s.state = static_cast<uint8_t>(1 + r.below(kStateCount[pi] - 1u));

    Tuple &t = s.init;
    t.family = pi == 2 ? kFamilyV4 : pi == 3 ? kFamilyV6 : (r.below(4) == 0 ? kFamilyV6 : kFamilyV4);
    t.protocol = kIpProtocol[pi];
    if (pi == 7) {
        uint32_t u = r.below(4);
        t.protocol = u < 2 ? 47 : u == 2 ? 255 : 50;
    }
    bool isV4 = t.family == kFamilyV4;
    uint32_t slot = isV4 ? r.below(kV4Sources) : kV4Sources + r.below(kV6Sources);
    uint32_t server = r.below(64);
    t.src = source_address(node, slot);
    t.dst = isV4 ? v4(198, 18, static_cast<uint8_t>(server / 250), static_cast<uint8_t>(server % 250 + 1))
                 : v6(0xffff, 0, 0x5, static_cast<uint16_t>(server + 1));
    if (sourceSlot != nullptr) *sourceSlot = slot;

    uint16_t replySrcPort = 0, replyDstPort = 0;
    uint16_t ephemeral = static_cast<uint16_t>(1024 + r.below(64000));
    switch (pi) {
    case 0: t.dstPort = pick(r, kTcpPorts); break;
    case 1: t.dstPort = pick(r, kUdpPorts); break;
    case 4: t.dstPort = pick(r, kUdpLitePorts); break;
    case 5: t.dstPort = pick(r, kSctpPorts); break;
    case 6: t.dstPort = pick(r, kDccpPorts); break;
    default: break;
    }
    if (pi == 0 || pi == 1 || pi == 4 || pi == 5 || pi == 6) {
        t.srcPort = ephemeral;
        replySrcPort = t.dstPort, replyDstPort = t.srcPort;
    } else if (pi == 2 || pi == 3) {
        // The kernel keys an ICMP flow by its identifier and type/code.
        t.srcPort = ephemeral;
        t.dstPort = pi == 2 ? 0x0800 : 0x8000;
        replySrcPort = ephemeral;
        replyDstPort = pi == 2 ? 0x0000 : 0x8100;
    } else if (t.protocol == 47) {
        if (r.below(10) < 7) {
            t.srcPort = 0x880B;
            t.dstPort = static_cast<uint16_t>(1 + r.below(65535));
            replySrcPort = 0x880B;
            replyDstPort = static_cast<uint16_t>(1 + r.below(65535));
        } else {
            t.srcPort = r.below(2) == 0 ? 0x0800 : 0x6558;
            replySrcPort = t.srcPort;
        }
    }
    pick_forwarding(r, p, t);

    Tuple &y = s.reply;
    y.family = t.family, y.protocol = t.protocol, y.flags = t.flags, y.vrf = t.vrf;
    y.src = t.dst, y.dst = t.src;
    y.srcPort = replySrcPort, y.dstPort = replyDstPort;
    if (isV4 && r.below(100) < 20) {
        s.natted = true;
        y.dst = v4(203, 0, 113, static_cast<uint8_t>(1 + r.below(254)));
        if (replyDstPort != 0 && pi != 2) y.dstPort = static_cast<uint16_t>(1024 + r.below(60000));
    }
    if (isV4 && r.below(100) < 8) {
        s.dsLite[0] = v6(0xd5, node, 0, static_cast<uint16_t>(1 + r.below(65535)));
        if (r.below(4) == 0) s.dsLite[1] = v6(0xd5, 0, 0, 1);
    }
    s.ifIndex[0] = pick_interface(r, p.interfaces(node));
    s.ifIndex[1] = pick_interface(r, p.interfaces(node));
    s.startTime = kEpochBase + r.below(86400);
    if (r.below(100) < 3) {
        s.ttl = 0xFFFFFFFFu;
    } else {
        s.ttl = 1 + r.below(s.state == kEstablished[pi] ? 3600 : 60);
    }
    s.appId = pick_app(r, p, t.dstPort);
    for (int d = 0; d < 2; ++d) {
        s.packets[d] = r.below(100000);
        s.bytes[d] = s.packets[d] * (40 + r.below(1460));
    }
    s.salt = r.next();
    return s;
}

Relation make_relation(uint16_t node, const Session &s) {
    Rng r = rng_for(node, kRelationStream, s.index);
    Relation rel;
    rel.index = s.index;
    Tuple &t = rel.tuple;
    t.family = s.init.family;
    t.protocol = s.init.dstPort == 5060 || s.init.dstPort == 69 ? 17 : 6;
    t.flags = s.init.flags, t.vrf = s.init.vrf;
    if (r.below(5) != 0) t.src = s.init.dst;  // else: any source
    t.dst = s.init.src;
    t.srcPort = r.below(2) == 0 ? 0 : static_cast<uint16_t>(1024 + r.below(60000));
    t.dstPort = static_cast<uint16_t>(1024 + r.below(60000));
    rel.dsLite = s.dsLite[0];
    rel.ttl = 1 + r.below(300);
    rel.appId = s.appId;
    rel.recvIfIndex = s.ifIndex[0];
    rel.salt = r.next();
    return rel;
}

bool relation_exists(const Session &s) { return is_alg_port(s.protoIndex, s.init.dstPort); }

// ------------------------------------------------------------- Mcfs -------

uint32_t mcfs_member_count(uint16_t node, uint32_t flow) {
    Rng r = rng_for(node, kMcfsFlowStream, flow);
    return 2 + r.below(3);
}

McfsEntry make_mcfs(uint16_t node, uint32_t flow, uint32_t member) {
    const TrafficProfile &p = traffic_profile();
    Rng r = rng_for(node, kMcfsFlowStream, flow);
    r.below(3);  // the member count
    McfsEntry e;
    e.flow = flow, e.member = member;
    Session &s = e.s;
    s.index = flow;
    s.protoIndex = 1;
    s.state = 2;
    Tuple &t = s.init;
    bool isV4 = r.below(5) != 0;
    t.family = isV4 ? kFamilyV4 : kFamilyV6;
    t.protocol = 17;
    t.src = isV4 ? v4(10, static_cast<uint8_t>(node), 200, static_cast<uint8_t>(flow % 250 + 1))
                 : v6(0, node, 0xa, static_cast<uint16_t>(flow + 1));
    if (isV4) {
        t.dst = v4(239, 1, static_cast<uint8_t>(flow / 250), static_cast<uint8_t>(flow % 250 + 1));
    } else {
        t.dst = Address{0xff, 0x0e};
        put16(t.dst.data(), 14, static_cast<uint16_t>(flow));
    }
    t.srcPort = static_cast<uint16_t>(1024 + r.below(60000));
    t.dstPort = static_cast<uint16_t>(5000 + r.below(1000));
    t.vrf = (!p.vpns.empty() && r.below(4) == 0) ? p.vpns[r.below(static_cast<uint32_t>(p.vpns.size()))] : 0;
    uint32_t inbound = pick_interface(r, p.interfaces(node));
    s.startTime = kEpochBase + r.below(86400);
    s.appId = r.below(3) == 0 ? 0 : pick_app(r, p, 0);
    s.packets[0] = r.below(1000000);
    s.bytes[0] = s.packets[0] * (200 + r.below(1200));
    s.reply = t;
    s.reply.src = t.dst, s.reply.dst = t.src;
    s.reply.srcPort = t.dstPort, s.reply.dstPort = t.srcPort;
    t.flags = member == 0 ? 4 : 0;   // the inbound entry is marked on its initiator tuple
    s.reply.flags = 0;
    s.ifIndex[0] = inbound;
    Rng m = rng_for(node, kMcfsMemberStream, uint64_t{flow} * 8 + member);
    s.ifIndex[1] = member == 0 ? 0 : pick_interface(m, p.interfaces(node));
    s.ttl = m.below(50) == 0 ? 0xFFFFFFFFu : 1 + m.below(600);
    s.salt = m.next();
    return e;
}

// ------------------------------------------------------------ nodes -------

struct Bits {
    std::vector<uint64_t> words;
    void resize(uint32_t n) { words.assign((n + 63) / 64, 0); }
    bool test(uint32_t i) const { return (words[i / 64] >> (i % 64)) & 1u; }
    void set(uint32_t i) { words[i / 64] |= uint64_t{1} << (i % 64); }
};

struct NodeModel {
    uint16_t node = 0;
    uint32_t slots = 0;
    Bits removed;
    SessionCounts counts;
    std::array<uint32_t, kCores> cores{};
    std::vector<uint32_t> sources;
    uint32_t mcfsSlots = 0;
    Bits mcfsRemoved;
    McfsCounts mcfs;
};

void count_session(NodeModel &m, const Session &s, uint32_t slot, int delta) {
    auto add = [delta](uint32_t &v) { v = static_cast<uint32_t>(static_cast<int64_t>(v) + delta); };
    add(m.counts.live);
    if (s.init.family != kFamilyV4) add(m.counts.liveV6);
    add(m.counts.byProtocol[s.protoIndex]);
    add(m.counts.byState[s.protoIndex][s.state]);
    add(m.cores[s.index % kCores]);
    add(m.sources[slot]);
}

void build(NodeModel &m, uint16_t node) {
    m.node = node;
    m.slots = options().sessions;
    m.removed.resize(m.slots);
    m.sources.assign(kSourceSlots, 0);
    for (uint32_t i = 0; i < m.slots; ++i) {
        uint32_t slot = 0;
        Session s = make_session(node, i, &slot);
        count_session(m, s, slot, +1);
    }
    // The kernel has been running for a while: sessions came and went
    // before the ones listed now.
    for (uint32_t g = 0; g < kProtocolClasses; ++g) {
        uint64_t aged = uint64_t{m.counts.byProtocol[g]} * 3 + rng_for(node, kCounterStream, g).below(1000);
        m.counts.created[g] = m.counts.byProtocol[g] + aged;
        m.counts.deleted[g] = aged;
    }
    m.mcfsSlots = m.slots / 16 + 2;
    m.mcfsRemoved.resize(m.mcfsSlots);
    for (uint32_t f = 0; f < m.mcfsSlots; ++f) {
        uint32_t members = mcfs_member_count(node, f);
        McfsEntry in = make_mcfs(node, f, 0);
        m.mcfs.flows += 1;
        m.mcfs.outbound += members - 1;
        m.mcfs.packets += in.s.packets[0];
        m.mcfs.bytes += in.s.bytes[0];
    }
    uint64_t aged = rng_for(node, kCounterStream, 100).below(500);
    m.mcfs.created = m.mcfs.flows + aged;
    m.mcfs.deleted = aged;
}

std::map<uint16_t, NodeModel> &models() {
    static std::map<uint16_t, NodeModel> all;
    return all;
}

// A node's model, built on first use.  Whether the node is up is judged
// when a dump opens (traffic_node_served), not on every record.
NodeModel *model(uint16_t node) {
    auto &all = models();
    auto it = all.find(node);
    if (it == all.end()) {
        if (!traffic_node_served(node)) return nullptr;
        it = all.emplace(node, NodeModel{}).first;
        build(it->second, node);
    }
    return &it->second;
}

template <typename F>
void for_each_scope(uint16_t scope, F &&fn) {
    for (uint16_t node : traffic_nodes()) {
        if (scope != 0 && node != scope) continue;
        if (NodeModel *m = model(node)) fn(*m);
    }
}

}  // namespace

// --------------------------------------------------------------- API -------

const std::vector<uint16_t> &traffic_nodes() { return traffic_profile().nodes; }

bool traffic_node_served(uint16_t node) { return traffic_node_up(node); }

uint32_t session_slots(uint16_t node) {
    NodeModel *m = model(node);
    return m == nullptr ? 0 : m->slots;
}

std::optional<Session> session_at(uint16_t node, uint32_t index) {
    NodeModel *m = model(node);
    if (m == nullptr || index >= m->slots || m->removed.test(index)) return std::nullopt;
    return make_session(node, index, nullptr);
}

void for_each_session(uint16_t node, const std::function<void(const Session &)> &fn) {
    NodeModel *m = model(node);
    if (m == nullptr) return;
    for (uint32_t i = 0; i < m->slots; ++i) {
        if (!m->removed.test(i)) fn(make_session(node, i, nullptr));
    }
}

SessionCounts session_counts(uint16_t node) {
    NodeModel *m = model(node);
    return m == nullptr ? SessionCounts{} : m->counts;
}

std::optional<Relation> relation_at(uint16_t node, uint32_t index) {
    std::optional<Session> s = session_at(node, index);
    if (!s) return std::nullopt;
    return relation_of(node, *s);
}

std::optional<Relation> relation_of(uint16_t node, const Session &s) {
    if (!relation_exists(s)) return std::nullopt;
    return make_relation(node, s);
}

bool is_established(const Session &s) { return s.state == kEstablished[s.protoIndex % kProtocolClasses]; }

uint32_t mcfs_flow_slots(uint16_t node) {
    NodeModel *m = model(node);
    return m == nullptr ? 0 : m->mcfsSlots;
}

uint32_t mcfs_members(uint16_t node, uint32_t flow) {
    NodeModel *m = model(node);
    if (m == nullptr || flow >= m->mcfsSlots || m->mcfsRemoved.test(flow)) return 0;
    return mcfs_member_count(node, flow);
}

std::optional<McfsEntry> mcfs_entry_at(uint16_t node, uint32_t flow, uint32_t member) {
    if (member >= mcfs_members(node, flow)) return std::nullopt;
    return make_mcfs(node, flow, member);
}

McfsCounts mcfs_counts(uint16_t node) {
    NodeModel *m = model(node);
    return m == nullptr ? McfsCounts{} : m->mcfs;
}

std::array<uint32_t, kCores> core_counts(uint16_t node) {
    NodeModel *m = model(node);
    return m == nullptr ? std::array<uint32_t, kCores>{} : m->cores;
}

std::vector<SourceCount> top_sources(uint16_t node, uint32_t limit) {
    std::vector<SourceCount> out;
    NodeModel *m = model(node);
    if (m == nullptr) return out;
    for (uint32_t slot = 0; slot < kSourceSlots; ++slot) {
        if (m->sources[slot] == 0) continue;
        out.push_back({slot < kV4Sources ? kFamilyV4 : kFamilyV6, source_address(node, slot), m->sources[slot]});
    }
    std::sort(out.begin(), out.end(), [](const SourceCount &a, const SourceCount &b) {
        if (a.sessions != b.sessions) return a.sessions > b.sessions;
        return a.address < b.address;
    });
    if (out.size() > limit) out.resize(limit);
    return out;
}

bool table_key_matches(std::span<const uint8_t> key, const Tuple &t) {
    if (key.size() < 64) return false;
    const uint8_t *k = key.data();
    if (k[0] != 0 && (k[0] == kFamilyV4) != (t.family == kFamilyV4)) return false;
    if (k[1] != 0 && k[1] != t.protocol) return false;
    size_t alen = k[0] == kFamilyV4 ? 4 : 16;
    if (!all_zero(k + 4, alen) && std::memcmp(k + 4, t.src.data(), alen) != 0) return false;
    if (!all_zero(k + 20, alen) && std::memcmp(k + 20, t.dst.data(), alen) != 0) return false;
    uint16_t sport = get16(k + 36), dport = get16(k + 38), vrf = get16(k + 44);
    if (sport != 0 && sport != t.srcPort) return false;
    if (dport != 0 && dport != t.dstPort) return false;
    if (vrf != 0 && vrf != t.vrf) return false;
    return true;
}

bool dump_key_matches(std::span<const uint8_t> key, const Tuple &t) {
    if (key.size() < 88) return false;
    const uint8_t *k = key.data();
    uint8_t family = k[80];
    if (family != 0) {
        bool wantV4 = family == kFamilyV4;
        if (wantV4 != (t.family == kFamilyV4)) return false;
        size_t alen = wantV4 ? 4 : 16;
        if (!all_zero(k, alen) && std::memcmp(k, t.src.data(), alen) != 0) return false;
        if (!all_zero(k + 16, alen) && std::memcmp(k + 16, t.dst.data(), alen) != 0) return false;
    }
    uint16_t protocol = get16(k + 64), dport = get16(k + 66);
    if (protocol != 0 && protocol != t.protocol) return false;
    if (dport != 0 && dport != t.dstPort) return false;
    return true;
}

namespace {

// Empties a node's table without making its sessions: the counts say
// what goes.
uint64_t remove_all(NodeModel &m) {
    uint64_t removed = m.counts.live;
    for (uint32_t g = 0; g < kProtocolClasses; ++g) m.counts.deleted[g] += m.counts.byProtocol[g];
    m.counts.removedByReset += removed;
    m.counts.live = m.counts.liveV6 = 0;
    m.counts.byProtocol.fill(0);
    for (auto &states : m.counts.byState) states.fill(0);
    m.cores.fill(0);
    std::fill(m.sources.begin(), m.sources.end(), 0u);
    std::fill(m.removed.words.begin(), m.removed.words.end(), ~uint64_t{0});
    return removed;
}

}  // namespace

uint64_t reset_sessions(uint16_t scope, std::span<const uint8_t> tableKey) {
    if (tableKey.size() != 64) return 0;
    const bool everything = all_zero(tableKey.data(), tableKey.size());
    uint64_t removed = 0;
    for_each_scope(scope, [&](NodeModel &m) {
        m.counts.resetRequests++;
        if (everything) {
            removed += remove_all(m);
            return;
        }
        for (uint32_t i = 0; i < m.slots; ++i) {
            if (m.removed.test(i)) continue;
            uint32_t slot = 0;
            Session s = make_session(m.node, i, &slot);
            if (!table_key_matches(tableKey, s.init)) continue;
            m.removed.set(i);
            count_session(m, s, slot, -1);
            m.counts.deleted[s.protoIndex]++;
            m.counts.removedByReset++;
            ++removed;
        }
    });
    return removed;
}

uint64_t reset_mcfs(uint16_t scope, std::span<const uint8_t> tableKey) {
    if (tableKey.size() != 64) return 0;
    uint64_t removed = 0;
    for_each_scope(scope, [&](NodeModel &m) {
        for (uint32_t f = 0; f < m.mcfsSlots; ++f) {
            if (m.mcfsRemoved.test(f)) continue;
            McfsEntry in = make_mcfs(m.node, f, 0);
            if (!table_key_matches(tableKey, in.s.init)) continue;
            m.mcfsRemoved.set(f);
            m.mcfs.flows--;
            m.mcfs.outbound -= mcfs_member_count(m.node, f) - 1;
            m.mcfs.packets -= in.s.packets[0];
            m.mcfs.bytes -= in.s.bytes[0];
            m.mcfs.deleted++;
            ++removed;
        }
    });
    return removed;
}

void reset_session_statistics(uint16_t scope) {
    for_each_scope(scope, [](NodeModel &m) {
        m.counts.created.fill(0);
        m.counts.deleted.fill(0);
    });
}

void reset_mcfs_statistics(uint16_t scope) {
    for_each_scope(scope, [](NodeModel &m) {
        m.mcfs.created = 0;
        m.mcfs.deleted = 0;
    });
}

uint32_t traffic_number(uint16_t node, uint64_t a, uint64_t b) {
    return static_cast<uint32_t>(rng_for(node, kCounterStream, mix64(a * 0x100000001B3ull + b)).next());
}

}  // namespace dpsvc
