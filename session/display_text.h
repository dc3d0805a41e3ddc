// SPDX-License-Identifier: Apache-2.0
// Names, addresses and line blocks shared by the session table displays and
// the kernel detail displays.
//
// Every text is formatted into a fixed local buffer first filled with its
// default, so a lookup that fails shows the default; nothing is allocated
// per entry.  Lines follow the session displays' convention: a literal
// ending in "\r" goes out through puts (which adds the LF), formats carry
// their own "\r\n".
#ifndef DPMGMT_SESSION_DISPLAY_TEXT_H
#define DPMGMT_SESSION_DISPLAY_TEXT_H

#include <cstdint>
#include <cstdio>

#include "dpmgmt/session.h"
#include "platform/names.h"

namespace dpmgmt::display {

constexpr uint32_t kIpv4TextSize = 16;
constexpr uint32_t kIpv6TextSize = 46;
constexpr uint32_t kProtoNameSize = APR_PROTO_NAME_SIZE;
constexpr uint32_t kVpnNameSize = 32;
constexpr uint32_t kAppNameSize = APR_APP_NAME_SIZE;
constexpr uint32_t kIfNameSize = 48;
constexpr uint32_t kTimeTextSize = 128;

// "-" or the dotted address of the first 4 bytes (network order).
void ipv4_text(char (&out)[kIpv4TextSize], const uint8_t *addr);
// The IPv6 text of 16 bytes, or the given default.
void ipv6_text(char (&out)[kIpv6TextSize], const uint8_t *addr, const char *fallback);
// The DS-Lite peer: "-" when all 16 bytes are zero.
void peer_text(char (&out)[kIpv6TextSize], const uint8_t *peer);
// A tuple's IPv4 addresses and the DS-Lite peer as text.
struct Ipv4Texts {
    char src[kIpv4TextSize];
    char dst[kIpv4TextSize];
    char dsl[kIpv6TextSize];
    Ipv4Texts(const SESSION_TUPLE_S &tuple, const uint8_t *peer) {
        ipv4_text(src, tuple.aucSrcAddr);
        ipv4_text(dst, tuple.aucDstAddr);
        peer_text(dsl, peer);
    }
};
// A tuple's IPv6 addresses as text, "---" for one that does not convert.
struct Ipv6Texts {
    char src[kIpv6TextSize];
    char dst[kIpv6TextSize];
    explicit Ipv6Texts(const SESSION_TUPLE_S &tuple) {
        ipv6_text(src, tuple.aucSrcAddr, "---");
        ipv6_text(dst, tuple.aucDstAddr, "---");
    }
};
// Upper-cased protocol name of an IP protocol number, or "-".
void proto_name(char (&out)[kProtoNameSize], uint32_t protocol);
// Upper-cased application name, or "-".
void app_name(char (&out)[kAppNameSize], uint32_t appId);
// Full interface name, or "N/A" (index 0 is not looked up).
void if_name(char (&out)[kIfNameSize], uint32_t ifIndex);
// VPN instance name: "-" for index 0, "Invalid(<index>)" when unknown.
void vpn_name(char (&out)[kVpnNameSize], uint16_t vrfIndex);
// "YYYY-MM-DD hh:mm:ss" in local time; empty when it cannot be converted.
void start_time(char (&out)[kTimeTextSize], uint32_t seconds);

// The address lines of one direction of a session, fast-forward or Mcfs
// entry (GRE and DS-Lite cases included).
void print_direction_addresses(const SESSION_TUPLE_S &tuple, const uint8_t *peer);
// The VPN and protocol lines of one direction; ifIndex null for Mcfs
// entries, which print no interface line.
void print_direction_vpn_protocol(const SESSION_TUPLE_S &tuple, const uint32_t *ifIndex);

// The address lines of a relation.
void print_relation_addresses(const SESSION_TUPLE_S &tuple, const uint8_t *peer);
// The VPN, protocol/TTL and application lines of a relation and its blank
// line.
void print_relation_protocol(const SESSION_TUPLE_S &tuple, uint32_t ttl, uint32_t appId);

// The state and application of an entry: `between` ends the state's line
// ("\r\n") or continues it with spaces.
template <class Entry>
void print_state_and_app(const Entry &e, const char *between) {
    const char *state = SESSION_GetStatusName(e.ucProtocolIndex, e.ucState);
    char app[kAppNameSize];
    app_name(app, e.uiAppId);
    std::printf("State: %s%sApplication: %s\r\n", state, between, app);
}

}  // namespace dpmgmt::display

#endif
