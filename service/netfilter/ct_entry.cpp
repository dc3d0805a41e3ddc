// SPDX-License-Identifier: Apache-2.0
#include "ct_entry.h"

#include <arpa/inet.h>
#include <linux/netfilter/nf_conntrack_common.h>
#include <linux/netfilter/nf_conntrack_sctp.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

#include "netfilter/nl_attrs.h"
#include "traffic_wire.h"

namespace dpsvc::nf {

namespace {

constexpr uint8_t kTcpStateSlots = 10, kSctpStateSlots = 8, kDccpStateSlots = 8;
constexpr uint8_t kSctpEstablished = 4;
constexpr uint8_t kOpen = 1, kReady = 2;
constexpr uint32_t kNatMask = IPS_SRC_NAT | IPS_DST_NAT;

uint32_t cap32(uint64_t v) {
    return static_cast<uint32_t>(std::min<uint64_t>(v, std::numeric_limits<uint32_t>::max()));
}

// What is read of an entry, by nest.
constexpr auto kEntry = kinds<CTA_MAX + 1>({{CTA_TUPLE_ORIG, kNest},
                                            {CTA_TUPLE_REPLY, kNest},
                                            {CTA_STATUS, kU32},
                                            {CTA_PROTOINFO, kNest},
                                            {CTA_HELP, kNest},
                                            {CTA_TIMEOUT, kU32},
                                            {CTA_MARK, kU32},
                                            {CTA_COUNTERS_ORIG, kNest},
                                            {CTA_COUNTERS_REPLY, kNest},
                                            {CTA_USE, kU32},
                                            {CTA_ID, kU32},
                                            {CTA_ZONE, kU16},
                                            {CTA_TIMESTAMP, kNest}});
constexpr auto kExpect = kinds<CTA_EXPECT_MAX + 1>({{CTA_EXPECT_TUPLE, kNest},
                                                    {CTA_EXPECT_TIMEOUT, kU32},
                                                    {CTA_EXPECT_HELP_NAME, kString},
                                                    {CTA_EXPECT_FLAGS, kU32},
                                                    {CTA_EXPECT_CLASS, kU32}});
constexpr auto kTuple = kinds<CTA_TUPLE_MAX + 1>({{CTA_TUPLE_IP, kNest}, {CTA_TUPLE_PROTO, kNest}});
constexpr auto kIp =
    kinds<CTA_IP_MAX + 1>({{CTA_IP_V4_SRC, kU32}, {CTA_IP_V4_DST, kU32}, {CTA_IP_V6_SRC, kV6}, {CTA_IP_V6_DST, kV6}});
constexpr auto kProto = kinds<CTA_PROTO_MAX + 1>({{CTA_PROTO_NUM, kU8},
                                                  {CTA_PROTO_SRC_PORT, kU16},
                                                  {CTA_PROTO_DST_PORT, kU16},
                                                  {CTA_PROTO_ICMP_ID, kU16},
                                                  {CTA_PROTO_ICMP_TYPE, kU8},
                                                  {CTA_PROTO_ICMP_CODE, kU8},
                                                  {CTA_PROTO_ICMPV6_ID, kU16},
                                                  {CTA_PROTO_ICMPV6_TYPE, kU8},
                                                  {CTA_PROTO_ICMPV6_CODE, kU8}});
constexpr auto kProtoInfo = kinds<CTA_PROTOINFO_MAX + 1>(
    {{CTA_PROTOINFO_TCP, kNest}, {CTA_PROTOINFO_DCCP, kNest}, {CTA_PROTOINFO_SCTP, kNest}});
// CTA_PROTOINFO_{TCP,DCCP,SCTP}_STATE, the one attribute read of each.
static_assert(CTA_PROTOINFO_TCP_STATE == 1 && CTA_PROTOINFO_DCCP_STATE == 1 && CTA_PROTOINFO_SCTP_STATE == 1);
constexpr auto kState = kinds<2>({{1, kU8}});
constexpr auto kCounters = kinds<CTA_COUNTERS_MAX + 1>({{CTA_COUNTERS_PACKETS, kU64},
                                                        {CTA_COUNTERS_BYTES, kU64},
                                                        {CTA_COUNTERS32_PACKETS, kU32},
                                                        {CTA_COUNTERS32_BYTES, kU32}});
constexpr auto kTimestamp = kinds<CTA_TIMESTAMP_MAX + 1>({{CTA_TIMESTAMP_START, kU64}});
constexpr auto kHelp = kinds<CTA_HELP_MAX + 1>({{CTA_HELP_NAME, kString}});

// A direction's counter: the 64-bit attribute, else the old 32-bit one.
uint64_t counter(const Attrs<CTA_COUNTERS_MAX + 1> &c, int wide, int narrow) {
    return c[wide] != nullptr ? be64_or_0(c[wide]) : be32_or_0(c[narrow]);
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

using TupleAttrs = Attrs<CTA_TUPLE_MAX + 1>;
using ProtoAttrs = Attrs<CTA_PROTO_MAX + 1>;

// A tuple nest and its protocol nest, each read once.
struct TupleNests {
    TupleAttrs tuple;
    ProtoAttrs proto;
};
TupleNests tuple_nests(const nlattr *nest) {
    const TupleAttrs tuple = nested(nest, kTuple);
    return {tuple, nested(tuple[CTA_TUPLE_PROTO], kProto)};
}

// One direction.  ICMP and ICMPv6 are keyed by the original direction's
// identifier, type and code in both: the reply has the same identifier
// and the answering type, as the kernel inverts it.
void read_tuple(const TupleNests &nests, uint8_t l3, const ProtoAttrs &origProto, bool orig, Tuple &t) {
    const auto ip = nested(nests.tuple[CTA_TUPLE_IP], kIp);
    const ProtoAttrs &proto = nests.proto;
    t.family = l3 == AF_INET ? kFamilyV4 : kFamilyV6;
    t.protocol = u8_or_0(proto[CTA_PROTO_NUM]);
    t.src.fill(0);
    t.dst.fill(0);
    const int src = l3 == AF_INET ? CTA_IP_V4_SRC : CTA_IP_V6_SRC, dst = l3 == AF_INET ? CTA_IP_V4_DST : CTA_IP_V6_DST;
    if (ip[src] != nullptr) std::memcpy(t.src.data(), mnl_attr_get_payload(ip[src]), l3 == AF_INET ? 4 : 16);
    if (ip[dst] != nullptr) std::memcpy(t.dst.data(), mnl_attr_get_payload(ip[dst]), l3 == AF_INET ? 4 : 16);
    t.srcPort = be16_or_0(proto[CTA_PROTO_SRC_PORT]);
    t.dstPort = be16_or_0(proto[CTA_PROTO_DST_PORT]);
    const bool v6 = t.protocol == IPPROTO_ICMPV6;
    const nlattr *type = origProto[v6 ? CTA_PROTO_ICMPV6_TYPE : CTA_PROTO_ICMP_TYPE];
    if ((t.protocol == IPPROTO_ICMP || v6) && type != nullptr) {
        const nlattr *id = origProto[v6 ? CTA_PROTO_ICMPV6_ID : CTA_PROTO_ICMP_ID];
        const uint8_t ty = mnl_attr_get_u8(type);
        t.srcPort = be16_or_0(id);
        t.dstPort = static_cast<uint16_t>((orig ? ty : icmp_answer(t.protocol, ty)) << 8 |
                                          u8_or_0(origProto[v6 ? CTA_PROTO_ICMPV6_CODE : CTA_PROTO_ICMP_CODE]));
    }
    t.flags = 0;
    t.vrf = 0;
}

uint8_t state_of(const nlattr *protoInfo, uint8_t protoIndex, uint32_t status) {
    const auto bounded = [](uint8_t v, uint8_t slots) { return v < slots ? v : uint8_t{0}; };
    const auto info = nested(protoInfo, kProtoInfo);
    const auto kernel_state = [&info](int which) { return u8_or_0(nested(info[which], kState)[1]); };
    switch (protoIndex) {
        case 0:
            return bounded(kernel_state(CTA_PROTOINFO_TCP), kTcpStateSlots);
        case 5: {
            const uint8_t s = kernel_state(CTA_PROTOINFO_SCTP);
            return s == SCTP_CONNTRACK_HEARTBEAT_SENT ? kSctpEstablished : bounded(s, kSctpStateSlots);
        }
        case 6:
            return bounded(kernel_state(CTA_PROTOINFO_DCCP), kDccpStateSlots);
        default:
            return (status & IPS_SEEN_REPLY) != 0 ? kReady : kOpen;
    }
}

void put_address(uint8_t *rec, uint32_t off, const Address &a) {
    std::memcpy(rec + off, a.data(), a.size());
}

}  // namespace

uint32_t helper_app(std::string_view helper) {
    for (const HelperApp &h : kHelperApps)
        if (helper == h.helper) return h.appId;
    return 0;
}

uint8_t protocol_index(uint8_t protocol) {
    switch (protocol) {
        case IPPROTO_TCP:
            return 0;
        case IPPROTO_UDP:
            return 1;
        case IPPROTO_ICMP:
            return 2;
        case IPPROTO_ICMPV6:
            return 3;
        case IPPROTO_UDPLITE:
            return 4;
        case IPPROTO_SCTP:
            return 5;
        case IPPROTO_DCCP:
            return 6;
        default:
            return 7;
    }
}

bool read_conntrack(const nlmsghdr *nlh, Session &s, CtExtra &x) {
    if (nlh->nlmsg_len < mnl_nlmsg_size(sizeof(nfgenmsg))) return false;
    const auto *nfg = static_cast<const nfgenmsg *>(mnl_nlmsg_get_payload(nlh));
    const uint8_t l3 = nfg->nfgen_family;
    const auto e = message_attrs(nlh, kEntry);
    if (e[CTA_TUPLE_ORIG] == nullptr || e[CTA_TUPLE_REPLY] == nullptr || (l3 != AF_INET && l3 != AF_INET6))
        return false;
    const TupleNests orig = tuple_nests(e[CTA_TUPLE_ORIG]);
    read_tuple(orig, l3, orig.proto, true, s.init);
    read_tuple(tuple_nests(e[CTA_TUPLE_REPLY]), l3, orig.proto, false, s.reply);
    x.id = be32_or_0(e[CTA_ID]);
    x.use = be32_or_0(e[CTA_USE]);
    x.status = be32_or_0(e[CTA_STATUS]);
    x.mark = be32_or_0(e[CTA_MARK]);
    x.zone = be16_or_0(e[CTA_ZONE]);
    s.index = x.id;
    s.protoIndex = protocol_index(s.init.protocol);
    s.state = state_of(e[CTA_PROTOINFO], s.protoIndex, x.status);
    s.dsLite[0].fill(0);
    s.dsLite[1].fill(0);
    s.ifIndex[0] = s.ifIndex[1] = 0;  // the table does not record interfaces
    const auto sent = nested(e[CTA_COUNTERS_ORIG], kCounters), repl = nested(e[CTA_COUNTERS_REPLY], kCounters);
    s.packets[0] = cap32(counter(sent, CTA_COUNTERS_PACKETS, CTA_COUNTERS32_PACKETS));
    s.packets[1] = cap32(counter(repl, CTA_COUNTERS_PACKETS, CTA_COUNTERS32_PACKETS));
    s.bytes[0] = cap32(counter(sent, CTA_COUNTERS_BYTES, CTA_COUNTERS32_BYTES));
    s.bytes[1] = cap32(counter(repl, CTA_COUNTERS_BYTES, CTA_COUNTERS32_BYTES));
    s.startTime =
        static_cast<uint32_t>(be64_or_0(nested(e[CTA_TIMESTAMP], kTimestamp)[CTA_TIMESTAMP_START]) / 1000000000u);
    s.ttl = e[CTA_TIMEOUT] != nullptr ? be32_or_0(e[CTA_TIMEOUT]) : 0xFFFFFFFFu;
    const nlattr *helper = nested(e[CTA_HELP], kHelp)[CTA_HELP_NAME];
    s.appId = helper != nullptr ? helper_app(mnl_attr_get_str(helper)) : 0;
    s.natted = (x.status & kNatMask) != 0;
    s.salt = 0;
    return true;
}

bool read_expectation(const nlmsghdr *nlh, Relation &r, uint32_t &flags, uint32_t &klass) {
    if (nlh->nlmsg_len < mnl_nlmsg_size(sizeof(nfgenmsg))) return false;
    const uint8_t l3 = static_cast<const nfgenmsg *>(mnl_nlmsg_get_payload(nlh))->nfgen_family;
    const auto e = message_attrs(nlh, kExpect);
    if (e[CTA_EXPECT_TUPLE] == nullptr || (l3 != AF_INET && l3 != AF_INET6)) return false;
    const TupleNests tuple = tuple_nests(e[CTA_EXPECT_TUPLE]);
    read_tuple(tuple, l3, tuple.proto, true, r.tuple);
    r.index = 0;
    r.dsLite.fill(0);
    r.ttl = be32_or_0(e[CTA_EXPECT_TIMEOUT]);
    r.appId = e[CTA_EXPECT_HELP_NAME] != nullptr ? helper_app(mnl_attr_get_str(e[CTA_EXPECT_HELP_NAME])) : 0;
    r.recvIfIndex = 0;
    r.salt = 0;
    flags = be32_or_0(e[CTA_EXPECT_FLAGS]);
    klass = be32_or_0(e[CTA_EXPECT_CLASS]);
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
