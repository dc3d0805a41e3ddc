// SPDX-License-Identifier: Apache-2.0
// The session vocabulary: every name in its slot, the shared empty string
// past the tables' edges, default aging times and the log-record checks.
#include <cstring>
#include <string>
#include <utility>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

namespace {

class Vocabulary : public FakePlatformTest {};

// Every name as the operator reads it: a swapped or misspelt entry shows.
TEST_F(Vocabulary, EveryNameInItsSlot) {
    const std::pair<uint32_t, const char *> slots[] = {
        {1, "TCP_SYN_SENT"},        {2, "TCP_SYN_RECV"},        {3, "TCP_ESTABLISHED"},
        {4, "TCP_FIN_WAIT"},        {5, "TCP_CLOSE_WAIT"},      {6, "TCP_LAST_ACK"},
        {7, "TCP_TIME_WAIT"},       {8, "TCP_CLOSE"},           {9, "TCP_SYN_SENT2"},
        {11, "UDP_OPEN"},           {12, "UDP_READY"},          {21, "ICMP_REQUEST"},
        {22, "ICMP_REPLY"},         {31, "ICMPV6_REQUEST"},     {32, "ICMPV6_REPLY"},
        {41, "UDPLITE_OPEN"},       {42, "UDPLITE_READY"},      {51, "SCTP_CLOSED"},
        {52, "SCTP_COOKIE_WAIT"},   {53, "SCTP_COOKIE_ECHOED"}, {54, "SCTP_ESTABLISHED"},
        {55, "SCTP_SHUTDOWN_SENT"}, {56, "SCTP_SHUTDOWN_RECD"}, {57, "SCTP_SHUTDOWN_ACK_SENT"},
        {61, "DCCP_REQUEST"},       {62, "DCCP_RESPOND"},       {63, "DCCP_PARTOPEN"},
        {64, "DCCP_OPEN"},          {65, "DCCP_CLOSEREQ"},      {66, "DCCP_CLOSING"},
        {67, "DCCP_TIMEWAIT"},      {71, "RAWIP_OPEN"},         {72, "RAWIP_READY"},
    };
    // Every other slot is the one shared empty string.
    const char *empty = SESSION_GetStatusName(1, 3);
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    size_t named = 0;
    for (uint32_t slot = 0; slot < 80; ++slot) {
        ASSERT_NE(g_apcSessionStatusName[slot], nullptr) << slot;
        if (g_apcSessionStatusName[slot][0] == '\0') EXPECT_EQ(g_apcSessionStatusName[slot], empty) << slot;
        else ++named;
    }
    EXPECT_EQ(named, 33u);
    for (const auto &[slot, name] : slots) {
        EXPECT_STREQ(g_apcSessionStatusName[slot], name) << slot;
        EXPECT_STREQ(SESSION_GetStatusName(slot / 10, static_cast<uint8_t>(slot % 10)), name) << slot;
    }
    const char *apps[] = {"DNS", "FTP",  "GTP", "H225", "H245", "RAS",  "RTSP",   "SIP",  "TFTP",
                          "ILS", "MGCP", "NBT", "PPTP", "RSH",  "SCCP", "SQLNET", "XDMCP"};
    for (uint32_t i = 0; i < 17; ++i) EXPECT_STREQ(SESSION_GetAppName(i), apps[i]) << i;
    const char *l4[] = {
        "SYN",        "TCP-EST",     "FIN",           "UDP-OPEN",       "UDP-READY",    "ICMP-REQUEST", "ICMP-REPLY",
        "RAWIP-OPEN", "RAWIP-READY", "UDPLITE-OPEN",  "UDPLITE-READY",  "DCCP-REQUEST", "DCCP-EST",     "DCCP-CLOSEREQ",
        "SCTP-INIT",  "SCTP-EST",    "SCTP-SHUTDOWN", "ICMPV6-REQUEST", "ICMPV6-REPLY"};
    for (uint32_t i = 0; i < 19; ++i) EXPECT_STREQ(SESSION_GetL4AgingStatusName(i), l4[i]) << i;
    const char *protocols[] = {"TCP", "UDP", "ICMP", "ICMPv6", "UDP-Lite", "SCTP", "DCCP", "RAWIP"};
    const uint32_t states[] = {10, 3, 3, 3, 3, 8, 8, 3};
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_STREQ(SESSION_GetProtocolName(i), protocols[i]);
        EXPECT_EQ(SESSION_GetProtocolStateCount(i), states[i]) << i;
    }
}

TEST_F(Vocabulary, PastTheEdgesTheSharedEmptyString) {
    const char *empty = SESSION_GetStatusName(1, 3);
    // (1, 11) would be slot 21, "ICMP_REQUEST".
    for (const char *name : {SESSION_GetStatusName(8, 0), SESSION_GetStatusName(0xFFFFFFFFu, 1),
                             SESSION_GetStatusName(1, 11), SESSION_GetStatusName(0, 255), SESSION_GetProtocolName(8),
                             SESSION_GetAppName(17), SESSION_GetL4AgingStatusName(19)})
        EXPECT_EQ(name, empty);
    EXPECT_EQ(SESSION_GetProtocolStateCount(8), 0u);
    EXPECT_EQ(SESSION_GetProtocolStateCount(0xFFFFFFFFu), 0u);
}

TEST_F(Vocabulary, DefaultAgingTimes) {
    const uint32_t apps[] = {1, 3600, 60, 3600, 3600, 300, 3600, 300, 60, 3600, 60, 3600, 3600, 60, 3600, 600, 3600};
    const uint32_t l4[] = {30, 3600, 30, 30, 60, 60, 30, 30, 60, 30, 60, 30, 3600, 30, 30, 3600, 30, 60, 30};
    for (uint32_t i = 0; i < 17; ++i) EXPECT_EQ(SESSION_GetAppDefaultAgingTime(i), apps[i]) << i;
    for (uint32_t i = 0; i < 19; ++i) EXPECT_EQ(SESSION_GetL4DefaultAgingTime(i), l4[i]) << i;
    EXPECT_EQ(SESSION_GetAppDefaultAgingTime(17), 0u);
    EXPECT_EQ(SESSION_GetL4DefaultAgingTime(19), 0u);

    EXPECT_EQ(SESSION_IsAppDefaultAgingTime(0, 1), 1u);
    EXPECT_EQ(SESSION_IsAppDefaultAgingTime(0, 0), 0u);
    EXPECT_EQ(SESSION_IsAppDefaultAgingTime(16, 3600), 1u);
    EXPECT_EQ(SESSION_IsL4DefaultAgingTime(1, 3600), 1u);
    EXPECT_EQ(SESSION_IsL4DefaultAgingTime(1, 60), 0u);
    // An index without a row has no default, not even 0.
    EXPECT_EQ(SESSION_IsAppDefaultAgingTime(17, 0), 0u);
    EXPECT_EQ(SESSION_IsL4DefaultAgingTime(19, 0), 0u);
}

TEST_F(Vocabulary, LogRecords) {
    SESSION_LOGPOLICY_S policy;
    std::memset(&policy, 0xFF, sizeof(policy));
    EXPECT_EQ(SESSION_IsInvalidLogPolicy(&policy), 0u);
    SESSION_InitLogPolicy(&policy);
    EXPECT_EQ(fake::hex(&policy, sizeof(policy)), fake::hex(fake::Bytes(16, 0)));
    EXPECT_EQ(SESSION_IsInvalidLogPolicy(&policy), 1u);
    for (int w = 0; w < 4; ++w) {
        SESSION_InitLogPolicy(&policy);
        policy.auiWord[w] = 1;
        EXPECT_EQ(SESSION_IsInvalidLogPolicy(&policy), 0u) << "word " << w;
    }

    SESSION_TRAFFICLOG_S log;
    std::memset(&log, 0xFF, sizeof(log));
    SESSION_InitTrafficLog(&log);
    EXPECT_EQ(fake::hex(&log, sizeof(log)), fake::hex(fake::Bytes(16, 0)));
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 1u);
    log.usValue1 = log.usValue2 = log.usValue3 = log.usValue4 = 1;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 1u);  // the u16 fields do not count
    log.uiWord2 = 5;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 0u);
    log.uiWord2 = 0;
    log.uiWord1 = 5;
    EXPECT_EQ(SESSION_IsInvalidTrafficLog(&log), 0u);
}

}  // namespace
