// SPDX-License-Identifier: Apache-2.0
// Session resets.  The scope of a reset is a node (from "slot N"), or 0 for
// every node.  The session key selects as the kernel matches it: the
// initiator tuple's non-zero fields select, the others match anything.
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "cli.h"
#include "dpmgmt/session.h"

namespace {

constexpr unsigned kResetFilters = cli::kFilterFamily | cli::kFilterAddresses | cli::kFilterProtocol |
                                   cli::kFilterPort | cli::kFilterSlot;

uint8_t family_byte(cli::Family f) {
    return f == cli::Family::kIpv4 ? SESSION_AF_IPV4 : f == cli::Family::kIpv6 ? SESSION_AF_IPV6 : 0;
}

// The key in host order: IPv4 addresses as host-order numbers in the first
// 4 bytes of their slots.
SESSION_TABLEKEY_S reset_key(const cli::SessionFilter &f) {
    SESSION_TABLEKEY_S key{};
    key.stTuple.ucFamily = family_byte(f.family);
    key.stTuple.ucProtocol = f.protocol;
    for (const auto &[addr, slot] : {std::pair{&f.source, key.stTuple.aucSrcAddr},
                                     std::pair{&f.destination, key.stTuple.aucDstAddr}}) {
        if (!*addr) continue;
        if ((*addr)->family == 4)
            std::memcpy(slot, &(*addr)->addr4, 4);
        else
            std::memcpy(slot, (*addr)->addr6, 16);
    }
    key.stTuple.usDstPort = f.destinationPort;
    return key;
}

uint16_t scope_of(const cli::SessionFilter &f) { return f.node ? *f.node : 0; }

// The live sessions of the scope, from the kernel's statistics; nothing
// when a node does not answer.
std::optional<uint64_t> live_sessions(uint16_t scope) {
    uint64_t total = 0;
    for (uint16_t node : scope == 0 ? cli::nodes_up() : std::vector<uint16_t>{scope}) {
        SESSION_STAT_S st{};
        if (SESSION_GetStatistics(node, &st) != 0) return std::nullopt;
        total += st.uiHeader1;
    }
    return total;
}

// Says how many sessions the reset removed: the statistics before and
// after.
int run_reset(cli::Args &args) {
    auto f = cli::parse_session_filter(args, kResetFilters);
    if (!f) return cli::kRefused;
    const SESSION_TABLEKEY_S key = reset_key(*f);
    const auto before = live_sessions(scope_of(*f));
    if (!before) return cli::failed("reading the session statistics", DPMGMT_ERR_FAILED);
    const uint32_t rc = SESSION_ResetSession(scope_of(*f), &key);
    if (rc != 0) return cli::failed("resetting sessions", rc);
    const auto after = live_sessions(scope_of(*f));
    if (!after) return cli::failed("reading the session statistics", DPMGMT_ERR_FAILED);
    const uint64_t removed = *before > *after ? *before - *after : 0;
    std::printf("Removed %llu session%s; %llu left\r\n", static_cast<unsigned long long>(removed),
                removed == 1 ? "" : "s", static_cast<unsigned long long>(*after));
    return cli::kOk;
}

int run_reset_mcfs(cli::Args &args) {
    auto f = cli::parse_session_filter(args, kResetFilters);
    if (!f) return 1;
    const SESSION_TABLEKEY_S key = reset_key(*f);
    const uint32_t rc = SESSION_ResetMcfsSession(scope_of(*f), &key);
    return rc == 0 ? 0 : cli::failed("resetting multicast flows", rc);
}

int run_reset_relation(cli::Args &args) {
    auto f = cli::parse_session_filter(args, cli::kFilterFamily | cli::kFilterSlot);
    if (!f) return 1;
    const uint8_t selector = family_byte(f->family);
    const uint32_t rc = SESSION_IPC_ResetRelation(scope_of(*f), &selector);
    return rc == 0 ? 0 : cli::failed("resetting relations", rc);
}

int run_reset_statistics(cli::Args &args) {
    auto f = cli::parse_session_filter(args, cli::kFilterSlot);
    if (!f) return 1;
    const uint32_t rc = SESSION_IPC_ResetStatistics(scope_of(*f));
    return rc == 0 ? 0 : cli::failed("resetting session statistics", rc);
}

int run_reset_hot_backup(cli::Args &args) {
    if (!args.finish()) return 1;
    const uint32_t rc = HOTBACKUP_Ipc_ResetStatistics(0);
    return rc == 0 ? 0 : cli::failed("resetting hot-backup statistics", rc);
}

const bool registered = cli::add({
    {"reset session", "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Remove the sessions the filter selects (all without one)", run_reset},
    {"reset session mcfs", "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Remove the multicast flows the filter selects", run_reset_mcfs},
    {"reset session relation", "[ipv4|ipv6] [slot SLOT]", "Remove relations (expected connections)",
     run_reset_relation},
    {"reset session statistics", "[slot SLOT]", "Clear the session statistics", run_reset_statistics},
    {"reset session hot-backup statistics", "", "Clear the hot-backup counters", run_reset_hot_backup},
});

}  // namespace
