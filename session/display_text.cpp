// SPDX-License-Identifier: Apache-2.0
#include "session/display_text.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "channels/names.h"
#include "platform/platform.h"

namespace dpmgmt::display {

namespace {

constexpr int kFamilyIpv4 = 2;
constexpr int kFamilyIpv6 = 10;

// The default goes in by a plain copy: the only platform calls a buffer
// sees are the lookup or conversion that names it.
template <std::size_t N>
void preset(char (&out)[N], const char *text) {
    std::size_t i = 0;
    for (; i + 1 < N && text[i] != '\0'; ++i) out[i] = text[i];
    out[i] = '\0';
}

bool all_zero(const uint8_t *p, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i)
        if (p[i] != 0) return false;
    return true;
}

bool vlan_flags(const SESSION_TUPLE_S &tuple) {
    return (tuple.ucFlags & SESSION_TUPLE_FLAG_VLAN_MASK) != 0;
}

// The VPN column of the session and relation displays.
void print_vpn_line(const SESSION_TUPLE_S &tuple) {
    if (!vlan_flags(tuple)) {
        char vpn[kVpnNameSize];
        vpn_name(vpn, tuple.usVrfIndex);
        std::printf("  VPN instance/VLAN ID/VLL ID: %s/-/-\r\n", vpn);
    } else {
        std::printf("  VPN instance/VLAN ID/VLL ID: -/%u/-\r\n", static_cast<unsigned>(tuple.usVrfIndex));
    }
}

}  // namespace

void ipv4_text(char (&out)[kIpv4TextSize], const uint8_t *addr) {
    preset(out, "-");
    __wrap_inet_ntop(kFamilyIpv4, addr, out, kIpv4TextSize);
}

void ipv6_text(char (&out)[kIpv6TextSize], const uint8_t *addr, const char *fallback) {
    preset(out, fallback);
    __wrap_inet_ntop(kFamilyIpv6, addr, out, kIpv6TextSize);
}

void peer_text(char (&out)[kIpv6TextSize], const uint8_t *peer) {
    preset(out, "-");
    if (!all_zero(peer, 16)) __wrap_inet_ntop(kFamilyIpv6, peer, out, kIpv6TextSize);
}

void proto_name(char (&out)[kProtoNameSize], uint32_t protocol) {
    preset(out, "-");
    protocol_name(out, protocol, LetterCase::kUpper);
}

void app_name(char (&out)[kAppNameSize], uint32_t appId) {
    preset(out, "-");
    application_name(out, appId, LetterCase::kUpper);
}

void if_name(char (&out)[kIfNameSize], uint32_t ifIndex) {
    preset(out, "N/A");
    if (ifIndex != 0) IF_GetDataByIfIndex(ifIndex, IF_DATA_FULLNAME, out);
    out[kIfNameSize - 1] = '\0';
}

void vpn_name(char (&out)[kVpnNameSize], uint16_t vrfIndex) {
    preset(out, "-");
    if (vrfIndex == 0) return;
    if (L3VPN_GetNameByVrfIndex(vrfIndex, kVpnNameSize, out) != 0)
        scnprintf(out, kVpnNameSize, "Invalid(%d)", static_cast<int>(vrfIndex));
    out[kVpnNameSize - 1] = '\0';
}

void start_time(char (&out)[kTimeTextSize], uint32_t seconds) {
    out[0] = '\0';
    const time_t t = static_cast<time_t>(seconds);
    struct tm tmv;
    if (localtime_r(&t, &tmv) == nullptr) return;
    scnprintf(out, kTimeTextSize, "%d-%02d-%02d %02d:%02d:%02d", tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday,
              tmv.tm_hour, tmv.tm_min, tmv.tm_sec);
}

void print_direction_addresses(const SESSION_TUPLE_S &tuple, const uint8_t *peer) {
    if (tuple.ucFamily == SESSION_AF_IPV4) {
        const Ipv4Texts a(tuple, peer);
        if (tuple.ucProtocol == SESSION_GRE_PROTOCOL && tuple.usSrcPort == SESSION_GRE_TYPE) {
            std::printf("  Source      IP/type  : %s/%u\r\n", a.src, static_cast<unsigned>(tuple.usSrcPort));
            std::printf("  Destination IP/callId: %s/%u\r\n", a.dst, static_cast<unsigned>(tuple.usDstPort));
        } else {
            std::printf("  Source      IP/port: %s/%u\r\n", a.src, static_cast<unsigned>(tuple.usSrcPort));
            std::printf("  Destination IP/port: %s/%u\r\n", a.dst, static_cast<unsigned>(tuple.usDstPort));
        }
        std::printf("  DS-Lite tunnel peer: %s\r\n", a.dsl);
    } else {
        const Ipv6Texts a(tuple);
        std::printf("  Source      IP/port: %s/%u\r\n", a.src, static_cast<unsigned>(tuple.usSrcPort));
        std::printf("  Destination IP/port: %s/%u\r\n", a.dst, static_cast<unsigned>(tuple.usDstPort));
    }
}

void print_direction_vpn_protocol(const SESSION_TUPLE_S &tuple, const uint32_t *ifIndex) {
    char proto[kProtoNameSize];
    proto_name(proto, tuple.ucProtocol);
    char ifn[kIfNameSize];
    if (ifIndex != nullptr) if_name(ifn, *ifIndex);
    print_vpn_line(tuple);
    std::printf("  Protocol: %s(%u)\r\n", proto, static_cast<unsigned>(tuple.ucProtocol));
    if (ifIndex != nullptr) std::printf("  Inbound interface: %s\r\n", ifn);
}

void print_relation_addresses(const SESSION_TUPLE_S &tuple, const uint8_t *peer) {
    if (tuple.ucFamily == SESSION_AF_IPV4) {
        char src[kIpv4TextSize];
        char dst[kIpv4TextSize];
        char dsl[kIpv6TextSize];
        preset(src, "-");
        ipv4_text(dst, tuple.aucDstAddr);
        // A wildcard source (address 0) is shown as "-".
        if (!all_zero(tuple.aucSrcAddr, 4)) __wrap_inet_ntop(kFamilyIpv4, tuple.aucSrcAddr, src, kIpv4TextSize);
        peer_text(dsl, peer);
        if (tuple.usSrcPort != 0)
            std::printf("Source IP/port:      %s/%u\r\n", src, static_cast<unsigned>(tuple.usSrcPort));
        else
            std::printf("Source IP/port:      %s/%s\r\n", src, "-");
        std::printf("Destination IP/port: %s/%u\r\n", dst, static_cast<unsigned>(tuple.usDstPort));
        std::printf("DS-Lite tunnel peer: %s\r\n", dsl);
    } else {
        const Ipv6Texts a(tuple);
        std::printf("Source IP:           %s\r\n", a.src);
        std::printf("Destination IP/port: %s/%u\r\n", a.dst, static_cast<unsigned>(tuple.usDstPort));
    }
}

void print_relation_protocol(const SESSION_TUPLE_S &tuple, uint32_t ttl, uint32_t appId) {
    char proto[kProtoNameSize];
    char app[kAppNameSize];
    proto_name(proto, tuple.ucProtocol);
    app_name(app, appId);
    print_vpn_line(tuple);
    std::printf("Protocol: %s(%u)    TTL: %us\r\n", proto, static_cast<unsigned>(tuple.ucProtocol), ttl);
    std::printf("Application: %s\r\n", app);
    std::puts("\r");
}

}  // namespace dpmgmt::display
