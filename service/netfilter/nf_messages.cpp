// SPDX-License-Identifier: Apache-2.0
// The session service's messages answered against the host's connection
// tracking: aging times as the namespace's timeouts, the session limit as
// the table's maximum, resets as deletions.  Messages without a Linux
// counterpart answer the general failure (the error reply) or, for the
// settings dpservice only keeps, stay with the model's handlers.
#include <arpa/inet.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "config_state.h"
#include "dpsim.h"
#include "netfilter/ct_table.h"
#include "netfilter/netfilter.h"
#include "netfilter/sysctl.h"
#include "registry.h"

namespace dpsvc::nf {

namespace {

// The timeouts behind each layer-4 aging row.  A row is read from its
// first timeout and written to all of them; rows that name the same
// timeout share it.
struct AgingRow {
    const char *timeouts[5];
};
constexpr AgingRow kAgingRows[kL4StateCount] = {
    {{"nf_conntrack_tcp_timeout_syn_sent", "nf_conntrack_tcp_timeout_syn_recv"}},             // SYN
    {{"nf_conntrack_tcp_timeout_established"}},                                               // TCP-EST
    {{"nf_conntrack_tcp_timeout_fin_wait", "nf_conntrack_tcp_timeout_close_wait", "nf_conntrack_tcp_timeout_last_ack",
      "nf_conntrack_tcp_timeout_time_wait", "nf_conntrack_tcp_timeout_close"}},               // FIN
    {{"nf_conntrack_udp_timeout"}},                                                           // UDP-OPEN
    {{"nf_conntrack_udp_timeout_stream"}},                                                    // UDP-READY
    {{"nf_conntrack_icmp_timeout"}},                                                          // ICMP-REQUEST
    {{"nf_conntrack_icmp_timeout"}},                                                          // ICMP-REPLY
    {{"nf_conntrack_generic_timeout"}},                                                       // RAWIP-OPEN
    {{"nf_conntrack_generic_timeout"}},                                                       // RAWIP-READY
    {{"nf_conntrack_udp_timeout"}},                                                           // UDPLITE-OPEN
    {{"nf_conntrack_udp_timeout_stream"}},                                                    // UDPLITE-READY
    {{"nf_conntrack_dccp_timeout_request", "nf_conntrack_dccp_timeout_respond",
      "nf_conntrack_dccp_timeout_partopen"}},                                                 // DCCP-REQUEST
    {{"nf_conntrack_dccp_timeout_open"}},                                                     // DCCP-EST
    {{"nf_conntrack_dccp_timeout_closereq", "nf_conntrack_dccp_timeout_closing",
      "nf_conntrack_dccp_timeout_timewait"}},                                                 // DCCP-CLOSEREQ
    {{"nf_conntrack_sctp_timeout_cookie_wait", "nf_conntrack_sctp_timeout_cookie_echoed"}},  // SCTP-INIT
    {{"nf_conntrack_sctp_timeout_established", "nf_conntrack_sctp_timeout_heartbeat_sent"}},  // SCTP-EST
    {{"nf_conntrack_sctp_timeout_shutdown_sent", "nf_conntrack_sctp_timeout_shutdown_recd",
      "nf_conntrack_sctp_timeout_shutdown_ack_sent"}},                                        // SCTP-SHUTDOWN
    {{"nf_conntrack_icmpv6_timeout"}},                                                        // ICMPV6-REQUEST
    {{"nf_conntrack_icmpv6_timeout"}},                                                        // ICMPV6-REPLY
};

constexpr const char *kTableMaximum = "nf_conntrack_max";

uint64_t &removed() {
    static uint64_t n = 0;
    return n;
}

FailureCounters &baseline() {
    static FailureCounters b;
    return b;
}

Answer set_l4_aging(MsgContext &c) {
    const uint32_t index = get_be32(c.payload, 0);
    const uint32_t seconds = get_be32(c.payload, 4);
    if (index >= kL4StateCount) return answer_code(c, kFailed);
    bool ok = true;
    for (const char *name : kAgingRows[index].timeouts) {
        if (name == nullptr) break;
        ok = write_setting(name, seconds) && ok;
    }
    if (!ok) return answer_code(c, kFailed);
    config().session.l4Aging[index] = seconds;
    return answer_code(c, kOk);
}

// A row whose timeout this kernel lacks reads as the service keeps it.
Answer get_l4_aging(MsgContext &c) {
    for (uint32_t i = 0; i < kL4StateCount; ++i) {
        const std::optional<uint64_t> v = read_setting(kAgingRows[i].timeouts[0]);
        put_be32(c.reply, v ? static_cast<uint32_t>(*v) : config().session.l4Aging[i]);
    }
    return Answer::kReply;
}

Answer set_maximum(MsgContext &c) {
    const uint32_t selector = get_be32(c.payload, 0);
    if (selector != 0) return answer_code(c, kFailed);
    if (!write_setting(kTableMaximum, get_be32(c.payload, 4))) {
        std::fprintf(stderr, "dpservice: cannot set %s: %s\n", kTableMaximum,
                     errno == EACCES || errno == EROFS || errno == EPERM
                         ? "the kernel keeps it read-only in this network namespace"
                         : std::strerror(errno));
        return answer_code(c, kFailed);
    }
    return answer_code(c, kOk);
}

Answer get_maximum(MsgContext &c) {
    const std::optional<uint64_t> v = get_be32(c.payload, 0) == 0 ? read_setting(kTableMaximum) : std::nullopt;
    put_be32(c.reply, v ? static_cast<uint32_t>(*v) : 0);
    return Answer::kReply;
}

bool in_scope(uint16_t scope) { return scope == 0 || served(scope); }

// The reply goes out once the deletions are through: the client waits
// patiently (and shows its progress) meanwhile.
Answer reset_sessions(MsgContext &c) {
    const uint16_t scope = get_be16(c.payload, 0);
    if (in_scope(scope)) removed() += delete_matching(c.payload.subspan(4));
    config().resets.sessions++;
    config().resets.lastScope = scope;
    std::vector<uint8_t> reply;
    put_be32(reply, kOk);
    defer_reply(c.token, c.type, std::move(reply), 0);
    return Answer::kDeferred;
}

Answer reset_relations(MsgContext &c) {
    const uint16_t scope = get_be16(c.payload, 0);
    if (in_scope(scope)) delete_expectations(c.payload[2]);
    config().resets.relations++;
    config().resets.lastScope = scope;
    return answer_code(c, kOk);
}

Answer reset_stat_fail(MsgContext &c) {
    FailureCounters now;
    if (!failure_counters(now)) return answer_code(c, kFailed);
    baseline() = now;
    config().resets.statFail++;
    return answer_code(c, kOk);
}

Answer refuse(MsgContext &) { return Answer::kError; }

}  // namespace

uint64_t removed_by_resets() { return removed(); }
const FailureCounters &failure_baseline() { return baseline(); }

void register_messages() {
    register_message(0, 8, [](MsgContext &c) { return answer_code(c, kFailed); });  // application aging
    register_message(1, 8, set_l4_aging);
    register_message(14, 0, get_l4_aging);
    register_message(54, 8, set_maximum);
    register_message(56, 4, get_maximum);
    register_message(55, 8, [](MsgContext &c) { return answer_code(c, kFailed); });  // rate
    register_message(57, 4, [](MsgContext &c) {
        put_be32(c.reply, 0);
        return Answer::kReply;
    });
    register_message(20, 68, reset_sessions);
    register_message(58, 68, [](MsgContext &c) { return answer_code(c, kOk); });  // no multicast flows
    register_message(21, 4, reset_relations);
    register_message(22, 2, [](MsgContext &c) { return answer_code(c, kOk); });  // nothing counted to clear
    register_message(59, 2, [](MsgContext &c) { return answer_code(c, kOk); });
    register_message(60, 8, reset_stat_fail);
    // Top statistics, hot backup and the forwarding database: no counterpart.
    for (uint32_t type : {17u, 18u, 19u, 44u, 45u, 46u, 87u}) register_message(type, refuse);
}

}  // namespace dpsvc::nf
