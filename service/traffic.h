// SPDX-License-Identifier: Apache-2.0
// The traffic model of the reference data plane: the sessions, multicast
// flows and expected connections that the kernel of every node holds.
//
// No session is stored.  Session `i` of a node is computed from the
// service's seed (--seed), the node and `i` alone, so a table of a million
// sessions (--sessions, per node) costs one bit per session (whether it has
// been reset away) plus a few fixed-size counters, and every dump walks the
// table by index.  The same seed and profile always give the same tables.
// A node's model is built the first time anything asks about it.
//
// What the model holds, per node of the profile:
//   - sessions: IPv4 and IPv6 over all eight protocol classes in their valid
//     states, GRE sessions (most with the PPTP protocol type 0x880B in the
//     source port field), DS-Lite peers on a few IPv4 sessions, VPN
//     instances of the profile and a few indexes the profile doesn't know,
//     VLAN (flag 1 or 2) and VLL (flag 4) entries, applications and
//     interfaces of the profile;
//   - fast-forward entries: one per live session in its protocol's
//     established state;
//   - relations (expected connections): one per live TCP/UDP session whose
//     destination port is an ALG port (21, 554, 1720, 5060, 69);
//   - multicast (Mcfs) flows: an inbound entry and one to three outbound
//     entries each, sessions / 16 + 2 flows.
// Removing a session removes it from the session, fast-forward, kernel
// detail and relation tables and from every count derived from them.
//
// Dump keys, as the kernel reads them (network order, as dpmgmt sends them):
//
// SESSION_DUMPKEY_S (88 bytes; dumps 0x140001, 0x140014, 0x140024):
//   byte 80 (family): 0 = every session; 2 = IPv4 only; any other value =
//     IPv6 only.  The two address filters below apply only when it is not
//     0.
//   address 1 (offset 0): initiator source address; all zero = any.
//   address 2 (offset 16): initiator destination address; all zero = any.
//     (IPv4: the first 4 bytes, network order; IPv6: all 16.)
//   filter value 1 (u16 at 64): IP protocol number; 0 = any.
//   filter value 2 (u16 at 66): initiator destination port; 0 = any.
//   Everything else (addresses 3 and 4, filter values 3 to 5) is ignored.
//   For the Mcfs dump the filter applies to a flow's inbound entry, and a
//   flow is listed or left out as a whole.
//
// SESSION_TABLEKEY_S (64 bytes; the fast-forward dump 0x140006 and the
// session resets): the initiator tuple's non-zero fields select, the others
// match anything:
//   byte 0 family (2 = IPv4, other non-zero = IPv6), byte 1 IP protocol,
//   source address (offset 4), destination address (offset 20), source port
//   (u16 at 36), destination port (u16 at 38), VPN/VLAN/VLL field (u16 at 44).
//   Addresses are compared as the family says (4 or 16 bytes); with family
//   0 they are compared over 16 bytes.  The flags byte, the u32 at 40 and the
//   key words at 48 and 52 are ignored.  An all-zero key selects everything.
//
// Relation dump 0x140002, 1-byte key: 2 = IPv4 relations, 10 = IPv6
// relations, anything else = every relation.
//
// SESSION_RELATION_KEY_S (44 bytes; dump 0x140025): byte 40 family as for
// the dump key (0 = all, 2 = IPv4, other = IPv6); address 1 = relation
// source, address 2 = relation destination (all zero = any; only with a
// non-zero family); the key values at 32 and 36 are ignored.
//
// Everything here runs on the service's one thread.
#ifndef DPSVC_TRAFFIC_H
#define DPSVC_TRAFFIC_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace dpsvc {

constexpr uint32_t kProtocolClasses = 8;  // TCP, UDP, ICMP, ICMPv6, UDP-Lite, SCTP, DCCP, RAWIP
constexpr uint32_t kStateSlots = 10;      // state slots per protocol class
constexpr uint8_t kFamilyV4 = 2;
constexpr uint8_t kFamilyV6 = 10;

using Address = std::array<uint8_t, 16>;  // network order; IPv4 in the first 4 bytes

// One direction of a connection, host order except the addresses.
struct Tuple {
    uint8_t family = 0;     // 2 or 10
    uint8_t protocol = 0;   // IP protocol number
    uint8_t flags = 0;      // 1/2: `vrf` is a VLAN ID; 4: a VLL ID (Mcfs: inbound entry)
    Address src{}, dst{};
    uint16_t srcPort = 0, dstPort = 0;  // GRE 0x880B: protocol type and call ID
    uint16_t vrf = 0;       // VPN instance index (0 = none), VLAN ID or VLL ID
};

// One session, computed from (seed, node, index).
struct Session {
    uint32_t index = 0;          // stable: the same session keeps it until removed
    uint8_t protoIndex = 0;      // 0-7
    uint8_t state = 0;           // valid slot of the protocol's status names
    Tuple init, reply;           // initiator and responder directions
    Address dsLite[2]{};         // DS-Lite tunnel peers; all zero = none
    uint32_t ifIndex[2]{};       // inbound interface per direction, 0 = none
    uint32_t packets[2]{}, bytes[2]{};  // initiator->responder, responder->initiator
    uint32_t startTime = 0;      // seconds since the epoch
    uint32_t ttl = 0;            // 0xFFFFFFFF = none
    uint32_t appId = 0;
    bool natted = false;         // the responder direction is translated
    uint64_t salt = 0;           // per-session random bits for the kernel's own fields
};

// One expected connection, derived from its parent session.
struct Relation {
    uint32_t index = 0;          // the parent session's index
    Tuple tuple;
    Address dsLite{};
    uint32_t ttl = 0, appId = 0, recvIfIndex = 0;
    uint64_t salt = 0;
};

// One Mcfs entry: a flow's inbound entry (member 0, flag 4 on the initiator
// tuple) or one of its outbound entries (ifIndex[1] = outbound interface).
struct McfsEntry {
    uint32_t flow = 0, member = 0;
    Session s;
};

struct SessionCounts {
    uint32_t live = 0;
    uint32_t liveV6 = 0;
    std::array<uint32_t, kProtocolClasses> byProtocol{};
    std::array<std::array<uint32_t, kStateSlots>, kProtocolClasses> byState{};
    std::array<uint64_t, kProtocolClasses> created{};  // since the statistics were last reset
    std::array<uint64_t, kProtocolClasses> deleted{};
    uint64_t removedByReset = 0;   // sessions removed by resets since start
    uint32_t resetRequests = 0;    // resets that reached this node since start
};

struct McfsCounts {
    uint32_t flows = 0;       // live inbound entries
    uint32_t outbound = 0;    // their outbound entries
    uint64_t created = 0, deleted = 0, packets = 0, bytes = 0;
};

// The nodes of the profile, in the profile's order.
const std::vector<uint16_t> &traffic_nodes();
// True when the node is in the profile and up: only those have tables.
bool traffic_node_served(uint16_t node);

// Number of session slots of a node (--sessions), live or removed; 0 for a
// node that has no tables.
uint32_t session_slots(uint16_t node);
// Session `index` of the node; nothing when out of range or removed.
std::optional<Session> session_at(uint16_t node, uint32_t index);
// Calls fn for each live session of the node, in index order.
void for_each_session(uint16_t node, const std::function<void(const Session &)> &fn);
// Live counts of the node (all zero for a node without tables).
SessionCounts session_counts(uint16_t node);

// Relation of session `index`, when that session is live and has one.
std::optional<Relation> relation_at(uint16_t node, uint32_t index);
// The relation of a session already in hand (from for_each_session).
std::optional<Relation> relation_of(uint16_t node, const Session &s);
// True when the session is in its protocol's established state: such a
// session has a fast-forward entry.
bool is_established(const Session &s);

// Mcfs flows (live or removed) of the node, and one entry of a live flow.
uint32_t mcfs_flow_slots(uint16_t node);
uint32_t mcfs_members(uint16_t node, uint32_t flow);  // outbound entries + 1; 0 when removed
std::optional<McfsEntry> mcfs_entry_at(uint16_t node, uint32_t flow, uint32_t member);
McfsCounts mcfs_counts(uint16_t node);

// Per-core live session counts (a session belongs to core index % 8) and
// the per-source-host counts behind the top statistics.
constexpr uint32_t kCores = 8;
std::array<uint32_t, kCores> core_counts(uint16_t node);
struct SourceCount {
    uint8_t family;
    Address address;
    uint32_t sessions;
};
// The initiator source hosts of the node's live sessions, most sessions
// first (ties by address), at most `limit` of them.
std::vector<SourceCount> top_sources(uint16_t node, uint32_t limit);

// True when a session's initiator tuple matches a 64-byte table key
// (network order); the rule is in the header comment above.
bool table_key_matches(std::span<const uint8_t> tableKey, const Tuple &t);
// True when a tuple passes an 88-byte dump key (network order).
bool dump_key_matches(std::span<const uint8_t> dumpKey, const Tuple &t);

// Removes the sessions a 64-byte SESSION_TABLEKEY_S (network order, as the
// service receives it) selects, on the node `scope` names, or on every node
// when scope is 0; returns how many were removed.  A key of another length
// removes nothing.  Removed sessions stay removed until the service exits.
uint64_t reset_sessions(uint16_t scope, std::span<const uint8_t> tableKey);
// The same for Mcfs flows, matched by their inbound entry's initiator tuple.
uint64_t reset_mcfs(uint16_t scope, std::span<const uint8_t> tableKey);
// Clears the created/deleted counters of the session statistics (and of the
// Mcfs statistics), on one node or (scope 0) on every node.
void reset_session_statistics(uint16_t scope);
void reset_mcfs_statistics(uint16_t scope);

// Clear the kernel's session failure counters (dump 0x140016) and its
// forwarding-database counters (dump 0x140022), on one node or (scope 0)
// on every node.  Once cleared they read 0: the model sees no new failures.
void reset_stat_fail(uint16_t scope);
void reset_fdb_statistics(uint16_t scope);

// Clears the hot-backup counters of every peer, as seen from every node.
void reset_hotbackup_statistics();

// A number drawn from (seed, node, a, b): for the kernel's counters that
// are not derived from the tables.
uint32_t traffic_number(uint16_t node, uint64_t a, uint64_t b);

}  // namespace dpsvc

#endif
