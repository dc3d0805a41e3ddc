// SPDX-License-Identifier: Apache-2.0
// A connection-tracking entry as the session tables show it: the
// conversion of the kernel's entries and expectations, read straight from
// its netlink messages, to the session model's Session and Relation, and
// the kernel-detail records written from them.
//
// Mapping (docs/data-planes.md lists it in full):
//   protocol class  TCP 6, UDP 17, ICMP 1, ICMPv6 58, UDP-Lite 136, SCTP
//                   132, DCCP 33; any other protocol is RAWIP;
//   state           TCP, SCTP and DCCP: the conntrack state, whose numbers
//                   are those of the status names (SCTP HEARTBEAT_SENT shows
//                   as ESTABLISHED); the other classes OPEN (slot 1) until a
//                   reply was seen, READY / REPLY (slot 2) after;
//   ports           ICMP and ICMPv6: the identifier as source port and
//                   type << 8 | code as destination port;
//   TTL             the remaining timeout; start time from the timestamp
//                   extension; counters from the accounting extension (the
//                   64-bit counters, capped at 2^32 - 1);
//   application     the helper, by kHelperApps below (0 = none);
//   zone, mark      the u32 at 40 of the initiator and of the responder
//                   tuple (a field the library carries but does not show),
//                   and the kernel detail's driver contexts 0 and 1.
#ifndef DPSVC_NF_CT_ENTRY_H
#define DPSVC_NF_CT_ENTRY_H

#include <linux/netlink.h>

#include <cstdint>
#include <string_view>

#include "traffic.h"

namespace dpsvc::nf {

// The helpers the session tables name, as application ids; the host
// profile names the same ids (platform/sim/profile.cpp).
struct HelperApp {
    const char *helper;  // the kernel's helper name
    uint32_t appId;
};
inline constexpr HelperApp kHelperApps[] = {
    {"ftp", 1}, {"tftp", 2},   {"sip", 3},  {"RAS", 4},   {"Q.931", 5},       {"H.245", 6},
    {"irc", 7}, {"amanda", 8}, {"pptp", 9}, {"sane", 10}, {"netbios-ns", 11}, {"snmp", 12},
};
uint32_t helper_app(std::string_view helper);

// What the kernel keeps about an entry beyond what a Session carries.
struct CtExtra {
    uint32_t id = 0, use = 0, status = 0, mark = 0;
    uint16_t zone = 0;
};

uint8_t protocol_index(uint8_t protocol);

// Fills s (and x) from one entry of the kernel's dump (an
// IPCTNL_MSG_CT_NEW message), its attributes validated before they are
// read; false for an entry without both tuples.
bool read_conntrack(const nlmsghdr *nlh, Session &s, CtExtra &x);
// Fills the tuple of an expectation's expected connection and its
// relation fields; false when the expectation carries none.
bool read_expectation(const nlmsghdr *nlh, Relation &r, uint32_t &flags, uint32_t &klass);

// The records of the two session dumps and the relation detail.
void write_ct_table_info(uint8_t *rec, const Session &s, const CtExtra &x);
void write_ct_kernel_info(uint8_t *rec, const Session &s, const CtExtra &x);
void write_exp_relation_all(uint8_t *rec, const Relation &r, uint32_t flags, uint32_t klass);

}  // namespace dpsvc::nf

#endif
