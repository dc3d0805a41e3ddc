// SPDX-License-Identifier: Apache-2.0
#include "ct_entry.h"

#include <arpa/inet.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack_sctp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

#include "traffic_wire.h"

namespace dpsvc::nf {

namespace {

constexpr uint8_t kTcpStateSlots = 10, kSctpStateSlots = 8, kDccpStateSlots = 8;
constexpr uint8_t kSctpEstablished = 4;
constexpr uint8_t kOpen = 1, kReady = 2;
constexpr uint32_t kNatMask = IPS_SRC_NAT | IPS_DST_NAT;

uint32_t cap32(uint64_t v) { return static_cast<uint32_t>(std::min<uint64_t>(v, std::numeric_limits<uint32_t>::max())); }

uint32_t u32_or_0(const nf_conntrack *ct, nf_conntrack_attr a) {
    return nfct_attr_is_set(ct, a) > 0 ? nfct_get_attr_u32(ct, a) : 0;
}

uint64_t u64_or_0(const nf_conntrack *ct, nf_conntrack_attr a) {
    return nfct_attr_is_set(ct, a) > 0 ? nfct_get_attr_u64(ct, a) : 0;
}

// The type that answers an ICMP query type (echo, timestamp, information,
// address mask; ICMPv6 echo and node information), as the kernel pairs
// them.
uint8_t icmp_answer(uint8_t protocol, uint8_t type) {
    using Pairs = std::span<const std::pair<uint8_t, uint8_t>>;
    static constexpr std::pair<uint8_t, uint8_t> kV4[] = {{8, 0}, {13, 14}, {15, 16}, {17, 18}};
    static constexpr std::pair<uint8_t, uint8_t> kV6[] = {{128, 129}, {139, 140}};
    for (const auto &[query, answer] : protocol == IPPROTO_ICMP ? Pairs(kV4) : Pairs(kV6))
        if (type == query) return answer;
    return type;
}

// One direction: orig = the attributes of the original direction.
void read_tuple(const nf_conntrack *ct, bool orig, Tuple &t) {
    const uint8_t l3 = nfct_get_attr_u8(ct, orig ? ATTR_ORIG_L3PROTO : ATTR_REPL_L3PROTO);
    t.family = l3 == AF_INET ? kFamilyV4 : kFamilyV6;
    t.protocol = nfct_get_attr_u8(ct, orig ? ATTR_ORIG_L4PROTO : ATTR_REPL_L4PROTO);
    t.src.fill(0);
    t.dst.fill(0);
    if (l3 == AF_INET) {
        const uint32_t s = nfct_get_attr_u32(ct, orig ? ATTR_ORIG_IPV4_SRC : ATTR_REPL_IPV4_SRC);
        const uint32_t d = nfct_get_attr_u32(ct, orig ? ATTR_ORIG_IPV4_DST : ATTR_REPL_IPV4_DST);
        std::memcpy(t.src.data(), &s, 4);
        std::memcpy(t.dst.data(), &d, 4);
    } else {
        const void *s = nfct_get_attr(ct, orig ? ATTR_ORIG_IPV6_SRC : ATTR_REPL_IPV6_SRC);
        const void *d = nfct_get_attr(ct, orig ? ATTR_ORIG_IPV6_DST : ATTR_REPL_IPV6_DST);
        if (s != nullptr) std::memcpy(t.src.data(), s, 16);
        if (d != nullptr) std::memcpy(t.dst.data(), d, 16);
    }
    // For ICMP the library keeps the identifier where the source port is
    // and type and code where the destination port is.
    const auto sp = orig ? ATTR_ORIG_PORT_SRC : ATTR_REPL_PORT_SRC;
    const auto dp = orig ? ATTR_ORIG_PORT_DST : ATTR_REPL_PORT_DST;
    t.srcPort = nfct_attr_is_set(ct, sp) > 0 ? ntohs(nfct_get_attr_u16(ct, sp)) : 0;
    t.dstPort = nfct_attr_is_set(ct, dp) > 0 ? ntohs(nfct_get_attr_u16(ct, dp)) : 0;
    // The library keeps no attribute for the reply's ICMP fields: the reply
    // has the same identifier and the answering type, as the kernel
    // inverts it.
    if ((t.protocol == IPPROTO_ICMP || t.protocol == IPPROTO_ICMPV6) && nfct_attr_is_set(ct, ATTR_ICMP_TYPE) > 0) {
        const uint8_t type = nfct_get_attr_u8(ct, ATTR_ICMP_TYPE);
        t.srcPort = ntohs(nfct_get_attr_u16(ct, ATTR_ICMP_ID));
        t.dstPort = static_cast<uint16_t>((orig ? type : icmp_answer(t.protocol, type)) << 8 |
                                          nfct_get_attr_u8(ct, ATTR_ICMP_CODE));
    }
    t.flags = 0;
    t.vrf = 0;
}

uint8_t state_of(const nf_conntrack *ct, uint8_t protoIndex, uint32_t status) {
    const auto bounded = [](uint8_t v, uint8_t slots) { return v < slots ? v : uint8_t{0}; };
    switch (protoIndex) {
    case 0:
        return nfct_attr_is_set(ct, ATTR_TCP_STATE) > 0 ? bounded(nfct_get_attr_u8(ct, ATTR_TCP_STATE), kTcpStateSlots) : 0;
    case 5: {
        if (nfct_attr_is_set(ct, ATTR_SCTP_STATE) <= 0) return 0;
        const uint8_t s = nfct_get_attr_u8(ct, ATTR_SCTP_STATE);
        return s == SCTP_CONNTRACK_HEARTBEAT_SENT ? kSctpEstablished : bounded(s, kSctpStateSlots);
    }
    case 6:
        return nfct_attr_is_set(ct, ATTR_DCCP_STATE) > 0 ? bounded(nfct_get_attr_u8(ct, ATTR_DCCP_STATE), kDccpStateSlots) : 0;
    default:
        return (status & IPS_SEEN_REPLY) != 0 ? kReady : kOpen;
    }
}

void put_address(uint8_t *rec, uint32_t off, const Address &a) { std::memcpy(rec + off, a.data(), a.size()); }

}  // namespace

uint32_t helper_app(std::string_view helper) {
    for (const HelperApp &h : kHelperApps)
        if (helper == h.helper) return h.appId;
    return 0;
}

uint8_t protocol_index(uint8_t protocol) {
    switch (protocol) {
    case IPPROTO_TCP: return 0;
    case IPPROTO_UDP: return 1;
    case IPPROTO_ICMP: return 2;
    case IPPROTO_ICMPV6: return 3;
    case IPPROTO_UDPLITE: return 4;
    case IPPROTO_SCTP: return 5;
    case IPPROTO_DCCP: return 6;
    default: return 7;
    }
}

void clear_conntrack(nf_conntrack *ct) {
    static constexpr nf_conntrack_attr kOptional[] = {
        ATTR_ORIG_PORT_SRC, ATTR_ORIG_PORT_DST, ATTR_REPL_PORT_SRC, ATTR_REPL_PORT_DST, ATTR_ICMP_TYPE,
        ATTR_ICMP_CODE, ATTR_ICMP_ID, ATTR_TCP_STATE, ATTR_SCTP_STATE, ATTR_DCCP_STATE, ATTR_TIMEOUT, ATTR_MARK,
        ATTR_ORIG_COUNTER_PACKETS, ATTR_REPL_COUNTER_PACKETS, ATTR_ORIG_COUNTER_BYTES, ATTR_REPL_COUNTER_BYTES,
        ATTR_USE, ATTR_ID, ATTR_STATUS, ATTR_HELPER_NAME, ATTR_ZONE, ATTR_SECCTX, ATTR_TIMESTAMP_START,
        ATTR_TIMESTAMP_STOP, ATTR_HELPER_INFO, ATTR_CONNLABELS, ATTR_CONNLABELS_MASK, ATTR_ORIG_ZONE,
        ATTR_REPL_ZONE, ATTR_SECMARK};
    for (nf_conntrack_attr a : kOptional) nfct_attr_unset(ct, a);
}

bool read_conntrack(const nf_conntrack *ct, Session &s, CtExtra &x) {
    if (nfct_attr_is_set(ct, ATTR_ORIG_L3PROTO) <= 0 || nfct_attr_is_set(ct, ATTR_REPL_L3PROTO) <= 0) return false;
    read_tuple(ct, true, s.init);
    read_tuple(ct, false, s.reply);
    x.id = u32_or_0(ct, ATTR_ID);
    x.use = u32_or_0(ct, ATTR_USE);
    x.status = u32_or_0(ct, ATTR_STATUS);
    x.mark = u32_or_0(ct, ATTR_MARK);
    x.zone = nfct_attr_is_set(ct, ATTR_ZONE) > 0 ? nfct_get_attr_u16(ct, ATTR_ZONE) : 0;
    s.index = x.id;
    s.protoIndex = protocol_index(s.init.protocol);
    s.state = state_of(ct, s.protoIndex, x.status);
    s.dsLite[0].fill(0);
    s.dsLite[1].fill(0);
    s.ifIndex[0] = s.ifIndex[1] = 0;  // the table does not record interfaces
    s.packets[0] = cap32(u64_or_0(ct, ATTR_ORIG_COUNTER_PACKETS));
    s.packets[1] = cap32(u64_or_0(ct, ATTR_REPL_COUNTER_PACKETS));
    s.bytes[0] = cap32(u64_or_0(ct, ATTR_ORIG_COUNTER_BYTES));
    s.bytes[1] = cap32(u64_or_0(ct, ATTR_REPL_COUNTER_BYTES));
    s.startTime = static_cast<uint32_t>(u64_or_0(ct, ATTR_TIMESTAMP_START) / 1000000000u);
    s.ttl = nfct_attr_is_set(ct, ATTR_TIMEOUT) > 0 ? nfct_get_attr_u32(ct, ATTR_TIMEOUT) : 0xFFFFFFFFu;
    const char *helper = nfct_attr_is_set(ct, ATTR_HELPER_NAME) > 0
                             ? static_cast<const char *>(nfct_get_attr(ct, ATTR_HELPER_NAME))
                             : nullptr;
    s.appId = helper != nullptr ? helper_app(helper) : 0;
    s.natted = (x.status & kNatMask) != 0;
    s.salt = 0;
    return true;
}

bool read_expectation(const nf_expect *exp, Relation &r, uint32_t &flags, uint32_t &klass) {
    const auto *expected = static_cast<const nf_conntrack *>(nfexp_get_attr(exp, ATTR_EXP_EXPECTED));
    if (expected == nullptr || nfct_attr_is_set(expected, ATTR_ORIG_L3PROTO) <= 0) return false;
    read_tuple(expected, true, r.tuple);
    r.index = 0;
    r.dsLite.fill(0);
    r.ttl = nfexp_attr_is_set(exp, ATTR_EXP_TIMEOUT) > 0 ? nfexp_get_attr_u32(exp, ATTR_EXP_TIMEOUT) : 0;
    const char *helper = nfexp_attr_is_set(exp, ATTR_EXP_HELPER_NAME) > 0
                             ? static_cast<const char *>(nfexp_get_attr(exp, ATTR_EXP_HELPER_NAME))
                             : nullptr;
    r.appId = helper != nullptr ? helper_app(helper) : 0;
    r.recvIfIndex = 0;
    r.salt = 0;
    flags = nfexp_attr_is_set(exp, ATTR_EXP_FLAGS) > 0 ? nfexp_get_attr_u32(exp, ATTR_EXP_FLAGS) : 0;
    klass = nfexp_attr_is_set(exp, ATTR_EXP_CLASS) > 0 ? nfexp_get_attr_u32(exp, ATTR_EXP_CLASS) : 0;
    return true;
}

void write_ct_table_info(uint8_t *rec, const Session &s, const CtExtra &x) {
    write_table_info(rec, s);
    put16(rec, 166, 0);
    put32(rec, 40, x.zone);
    put32(rec, 48 + 40, x.mark);
}

void write_ct_kernel_info(uint8_t *rec, const Session &s, const CtExtra &x) {
    // Directions, counters, times, state: as the table entry has them.
    write_tuple(rec, s.init);
    write_tuple(rec + 48, s.reply);
    put32(rec, 40, x.zone);
    put32(rec, 48 + 40, x.mark);
    write_counters(rec, s);
    // The kernel detail names no interfaces.
    put32(rec, 144, 0);
    put32(rec, 148, 0);
    put8(rec, 168, s.state);
    put8(rec, 169, s.protoIndex);
    // The base block: the entry's id as its identity, its reference count
    // and status bits.
    put64(rec, 176, x.id);
    put32(rec, 204, x.use);
    put16(rec, 212, static_cast<uint16_t>(x.status));
    put8(rec, 214, s.init.family == kFamilyV4 ? 1 : 2);
    put8(rec, 215, s.protoIndex);
    // The session block.
    put32(rec, 256, s.appId);
    put16(rec, 262, s.natted ? 0x0001 : 0x0000);
    put8(rec, 278, s.state);
    // Driver contexts are shown as the host holds them: mark and zone.
    const uint32_t zone = x.zone;
    std::memcpy(rec + 284, &x.mark, 4);
    std::memcpy(rec + 288, &zone, 4);
    // The log block.
    put32(rec, 340, s.packets[0]);
    put32(rec, 344, s.packets[1]);
    put32(rec, 348, s.bytes[0]);
    put32(rec, 352, s.bytes[1]);
    // The NAT block: present when the entry is translated; its flag word
    // carries the status bits of the translation.
    if (s.natted) put16(rec, 398, static_cast<uint16_t>(x.status & kNatMask));
}

void write_exp_relation_all(uint8_t *rec, const Relation &r, uint32_t flags, uint32_t klass) {
    write_tuple(rec, r.tuple);
    // Attach data: where the expected connection goes.
    if (r.tuple.family == kFamilyV4) std::memcpy(rec + 60, r.tuple.dst.data(), 4);
    put16(rec, 76, r.tuple.dstPort);
    put8(rec, 82, r.tuple.protocol);
    put_address(rec, 84, r.dsLite);
    put32(rec, 124, flags);
    put32(rec, 136, r.ttl);
    put32(rec, 140, r.appId);
    put32(rec, 152, klass);
}

}  // namespace dpsvc::nf
