// SPDX-License-Identifier: Apache-2.0
// Session displays: the session, fast-forward, Mcfs and relation tables,
// the kernel detail of sessions and relations, the session counts, the
// aging queues and the ALG counters.  The library prints the entries; the
// command prints the heading of the node and the total.  The dump keys
// come from session_keys.h.
#include <cstdio>
#include <cstring>

#include "cli.h"
#include "session_keys.h"
#include "dpmgmt/session.h"
#include "platform/dev.h"

namespace {

using cli::dump_key;
using cli::family_byte;
using cli::node_of;
using cli::put_address;
using cli::kTableFilters;
using cli::table_key;

void heading(uint16_t node) { std::printf("Slot %u:\r\n", LIP_GetSlotID(node)); }

std::optional<cli::SessionFilter> filter(cli::Args &args, unsigned allowed) {
    return cli::parse_session_filter(args, allowed);
}

int run_table(cli::Args &args) {
    auto f = filter(args, kTableFilters);
    if (!f) return 1;
    const SESSION_DUMPKEY_S key = dump_key(*f);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplaySession(node_of(*f), &key, f->verbose ? 1 : 0);
    std::printf("Total sessions found: %u\r\n", n);
    return 0;
}

int run_fast_forward(cli::Args &args) {
    auto f = filter(args, kTableFilters);
    if (!f) return 1;
    const SESSION_TABLEKEY_S key = table_key(*f);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplayFastforwardSession(node_of(*f), &key, f->verbose ? 1 : 0);
    std::printf("Total fast-forward entries found: %u\r\n", n);
    return 0;
}

int run_mcfs(cli::Args &args) {
    auto f = filter(args, kTableFilters);
    if (!f) return 1;
    const SESSION_DUMPKEY_S key = dump_key(*f);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplayMcfsTable(node_of(*f), &key, f->verbose ? 1 : 0);
    std::printf("Total multicast entries found: %u\r\n", n);
    return 0;
}

int run_relation(cli::Args &args) {
    auto f = filter(args, cli::kFilterFamily | cli::kFilterSlot);
    if (!f) return 1;
    // The relation dump's one-byte key: 2 IPv4, 10 IPv6, 0 every relation.
    const uint8_t key = family_byte(f->family);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplayRelation(node_of(*f), &key);
    std::printf("Total relations found: %u\r\n", n);
    return 0;
}

int run_kernel(cli::Args &args) {
    auto f = filter(args, kTableFilters & ~cli::kFilterVerbose);
    if (!f) return 1;
    const SESSION_DUMPKEY_S key = dump_key(*f);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplaySessionKernel(node_of(*f), &key);
    std::printf("Total sessions found: %u\r\n", n);
    return 0;
}

int run_relation_kernel(cli::Args &args) {
    auto f = filter(args, cli::kFilterFamily | cli::kFilterAddresses | cli::kFilterSlot);
    if (!f) return 1;
    SESSION_RELATION_KEY_S key{};
    key.ucFamily = family_byte(f->family);
    put_address(key.aucAddr1, f->source);
    put_address(key.aucAddr2, f->destination);
    heading(node_of(*f));
    const uint32_t n = SESSION_DisplayRelationInfo(node_of(*f), &key);
    std::printf("Total relations found: %u\r\n", n);
    return 0;
}

int run_statistics(cli::Args &args) {
    auto f = filter(args, kTableFilters & ~cli::kFilterVerbose);
    if (!f) return 1;
    const SESSION_DUMPKEY_S key = dump_key(*f);
    heading(node_of(*f));
    const uint32_t rc = SESSION_DisplayStatistics(node_of(*f), &key);
    return rc == 0 ? 0 : cli::failed("reading the session table", rc);
}

int run_aging_queue(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return 1;
    heading(*node);
    const uint32_t rc = SESSION_GetAgingqueueState(*node);
    return rc == 0 ? 0 : cli::failed("reading the aging queues", rc);
}

int run_alg_statistics(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return 1;
    const uint32_t key[2] = {0, 0};
    SESSION_ALGFAILCNT_S rec{};
    const uint32_t rc = SESSION_Get_AlgFailCnt(*node, key, &rec);
    if (rc != 0) return cli::failed("reading the ALG statistics", rc);
    heading(*node);
    std::printf("ALG failure counters (row: ALG, column: counter)\r\n");
    for (uint32_t r = 0; r < 18; ++r) {
        std::printf("%5u:", r);
        for (uint32_t c = 0; c < 11; ++c) std::printf(" %10u", rec.auiRow[r][c]);
        std::printf("\r\n");
    }
    std::printf("Total:");
    for (uint32_t c = 0; c < 11; ++c) std::printf(" %10u", rec.auiTotal[c]);
    std::printf("\r\n");
    return 0;
}

const bool registered = cli::add({
    {"display session table",
     "[ipv4|ipv6] [verbose] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Show the session table", run_table},
    {"display session fast-forward",
     "[ipv4|ipv6] [verbose] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Show the fast-forward table", run_fast_forward},
    {"display session mcfs",
     "[ipv4|ipv6] [verbose] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Show the multicast (Mcfs) table", run_mcfs},
    {"display session relation-table", "[ipv4|ipv6] [slot SLOT]", "Show the relation (expected connection) table",
     run_relation},
    {"display session kernel",
     "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Show the kernel's detail of sessions", run_kernel},
    {"display session relation-kernel", "[ipv4|ipv6] [source-ip A] [destination-ip A] [slot SLOT]",
     "Show the kernel's detail of relations", run_relation_kernel},
    {"display session statistics",
     "[ipv4|ipv6] [source-ip A] [destination-ip A] [protocol PROTOCOL] [destination-port PORT] [slot SLOT]",
     "Count the sessions, in total and per protocol", run_statistics},
    {"display session aging-queue", "[slot SLOT]", "Show the aging queue of every core", run_aging_queue},
    {"display session alg-statistics", "[slot SLOT]", "Show the ALG failure counters", run_alg_statistics},
});

}  // namespace
