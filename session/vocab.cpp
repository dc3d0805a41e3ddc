// SPDX-License-Identifier: Apache-2.0
// The session feature's fixed vocabulary: protocol and state names,
// application and layer-4 aging names with their default lifetimes, and the
// two logging records' initialisers and checks.
//
// The kernel hands indexes over in its entries; an index the tables do not
// cover gives the shared empty string or 0 rather than a read past a table.
#include <array>
#include <cstring>

#include "dpmgmt/session.h"

namespace {

// Every unnamed status slot points here, so that callers can print any slot
// without a null check and compare against one address.
constexpr char kEmpty[] = "";

struct Protocol {
    const char *name;
    uint32_t stateCount;  // state slots, slot 0 included
};

constexpr std::array<Protocol, SESSION_PROTOCOL_COUNT> kProtocols = {{
    {"TCP", 10},
    {"UDP", 3},
    {"ICMP", 3},
    {"ICMPv6", 3},
    {"UDP-Lite", 3},
    {"SCTP", 8},
    {"DCCP", 8},
    {"RAWIP", 3},
}};

struct Aging {
    const char *name;
    uint32_t defaultSeconds;
};

constexpr std::array<Aging, SESSION_APP_COUNT> kApps = {{
    {"DNS", 1},     {"FTP", 3600},  {"GTP", 60},   {"H225", 3600}, {"H245", 3600},  {"RAS", 300},
    {"RTSP", 3600}, {"SIP", 300},   {"TFTP", 60},  {"ILS", 3600},  {"MGCP", 60},    {"NBT", 3600},
    {"PPTP", 3600}, {"RSH", 60},    {"SCCP", 3600}, {"SQLNET", 600}, {"XDMCP", 3600},
}};

constexpr std::array<Aging, SESSION_L4_AGING_COUNT> kL4States = {{
    {"SYN", 30},
    {"TCP-EST", 3600},
    {"FIN", 30},
    {"UDP-OPEN", 30},
    {"UDP-READY", 60},
    {"ICMP-REQUEST", 60},
    {"ICMP-REPLY", 30},
    {"RAWIP-OPEN", 30},
    {"RAWIP-READY", 60},
    {"UDPLITE-OPEN", 30},
    {"UDPLITE-READY", 60},
    {"DCCP-REQUEST", 30},
    {"DCCP-EST", 3600},
    {"DCCP-CLOSEREQ", 30},
    {"SCTP-INIT", 30},
    {"SCTP-EST", 3600},
    {"SCTP-SHUTDOWN", 30},
    {"ICMPV6-REQUEST", 60},
    {"ICMPV6-REPLY", 30},
}};

template <size_t N>
const Aging *aging_row(const std::array<Aging, N> &table, uint32_t index) {
    return index < N ? &table[index] : nullptr;
}

}  // namespace

extern "C" {

// Ten slots per protocol index.
DPMGMT_API const char *g_apcSessionStatusName[SESSION_STATUS_NAME_COUNT] = {
    // TCP
    kEmpty, "TCP_SYN_SENT", "TCP_SYN_RECV", "TCP_ESTABLISHED", "TCP_FIN_WAIT", "TCP_CLOSE_WAIT", "TCP_LAST_ACK",
    "TCP_TIME_WAIT", "TCP_CLOSE", "TCP_SYN_SENT2",
    // UDP
    kEmpty, "UDP_OPEN", "UDP_READY", kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty,
    // ICMP
    kEmpty, "ICMP_REQUEST", "ICMP_REPLY", kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty,
    // ICMPv6
    kEmpty, "ICMPV6_REQUEST", "ICMPV6_REPLY", kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty,
    // UDP-Lite
    kEmpty, "UDPLITE_OPEN", "UDPLITE_READY", kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty,
    // SCTP
    kEmpty, "SCTP_CLOSED", "SCTP_COOKIE_WAIT", "SCTP_COOKIE_ECHOED", "SCTP_ESTABLISHED", "SCTP_SHUTDOWN_SENT",
    "SCTP_SHUTDOWN_RECD", "SCTP_SHUTDOWN_ACK_SENT", kEmpty, kEmpty,
    // DCCP
    kEmpty, "DCCP_REQUEST", "DCCP_RESPOND", "DCCP_PARTOPEN", "DCCP_OPEN", "DCCP_CLOSEREQ", "DCCP_CLOSING",
    "DCCP_TIMEWAIT", kEmpty, kEmpty,
    // RAWIP
    kEmpty, "RAWIP_OPEN", "RAWIP_READY", kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty, kEmpty,
};

DPMGMT_API const char *SESSION_GetProtocolName(uint32_t protocol) {
    return protocol < kProtocols.size() ? kProtocols[protocol].name : kEmpty;
}

DPMGMT_API const char *SESSION_GetStatusName(uint32_t protocol, uint8_t state) {
    // A state of 10 or more would land in the next protocol's slots.
    if (protocol >= SESSION_PROTOCOL_COUNT || state >= SESSION_STATUS_PER_PROTOCOL) return kEmpty;
    return g_apcSessionStatusName[protocol * SESSION_STATUS_PER_PROTOCOL + state];
}

DPMGMT_API uint32_t SESSION_GetProtocolStateCount(uint32_t protocol) {
    return protocol < kProtocols.size() ? kProtocols[protocol].stateCount : 0;
}

DPMGMT_API const char *SESSION_GetAppName(uint32_t app) {
    const Aging *row = aging_row(kApps, app);
    return row != nullptr ? row->name : kEmpty;
}

DPMGMT_API const char *SESSION_GetL4AgingStatusName(uint32_t state) {
    const Aging *row = aging_row(kL4States, state);
    return row != nullptr ? row->name : kEmpty;
}

DPMGMT_API uint32_t SESSION_GetAppDefaultAgingTime(uint32_t app) {
    const Aging *row = aging_row(kApps, app);
    return row != nullptr ? row->defaultSeconds : 0;
}

DPMGMT_API uint32_t SESSION_GetL4DefaultAgingTime(uint32_t state) {
    const Aging *row = aging_row(kL4States, state);
    return row != nullptr ? row->defaultSeconds : 0;
}

// An index without a default has no default time to equal.
DPMGMT_API uint32_t SESSION_IsAppDefaultAgingTime(uint32_t app, uint32_t seconds) {
    const Aging *row = aging_row(kApps, app);
    return (row != nullptr && row->defaultSeconds == seconds) ? 1 : 0;
}

DPMGMT_API uint32_t SESSION_IsL4DefaultAgingTime(uint32_t state, uint32_t seconds) {
    const Aging *row = aging_row(kL4States, state);
    return (row != nullptr && row->defaultSeconds == seconds) ? 1 : 0;
}

DPMGMT_API void SESSION_InitLogPolicy(SESSION_LOGPOLICY_S *policy) {
    if (policy != nullptr) std::memset(policy, 0, sizeof(*policy));
}

DPMGMT_API uint32_t SESSION_IsInvalidLogPolicy(const SESSION_LOGPOLICY_S *policy) {
    if (policy == nullptr) return 1;
    for (uint32_t word : policy->auiWord)
        if (word != 0) return 0;
    return 1;
}

DPMGMT_API void SESSION_InitTrafficLog(SESSION_TRAFFICLOG_S *log) {
    if (log != nullptr) std::memset(log, 0, sizeof(*log));
}

// Only the two words decide: the 16-bit fields qualify a setting and may
// hold anything while it is unset.
DPMGMT_API uint32_t SESSION_IsInvalidTrafficLog(const SESSION_TRAFFICLOG_S *log) {
    if (log == nullptr) return 1;
    return (log->uiWord1 == 0 && log->uiWord2 == 0) ? 1 : 0;
}

}  // extern "C"
