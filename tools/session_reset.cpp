// Session resets.  The scope of a reset is a node (from "slot N"), or 0 for
// every node.  The session key selects as the kernel matches it: the
// initiator tuple's non-zero fields select, the others match anything.
#include <cstdio>
#include <cstring>
#include <utility>

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

int run_reset(cli::Args &args) {
    auto f = cli::parse_session_filter(args, kResetFilters);
    if (!f) return 1;
    const SESSION_TABLEKEY_S key = reset_key(*f);
    const uint32_t rc = SESSION_ResetSession(scope_of(*f), &key);
    return rc == 0 ? 0 : cli::failed("resetting sessions", rc);
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
    {"reset session", "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol P] [destination-port N] [slot N]",
     "Remove the sessions the filter selects (all without one)", run_reset},
    {"reset session mcfs", "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol P] [destination-port N] [slot N]",
     "Remove the multicast flows the filter selects", run_reset_mcfs},
    {"reset session relation", "[ipv4|ipv6] [slot N]", "Remove relations (expected connections)",
     run_reset_relation},
    {"reset session statistics", "[slot N]", "Clear the session statistics", run_reset_statistics},
    {"reset session hot-backup statistics", "", "Clear the hot-backup counters", run_reset_hot_backup},
});

}  // namespace
