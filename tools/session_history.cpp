// SPDX-License-Identifier: Apache-2.0
// History and top statistics, and hot backup.
//
// A top-statistics sample, as every node's kernel delivers it (24 bytes):
// the initiator source host (16 bytes, IPv4 in the first 4), a u32 of the
// live sessions it started (network order), its family byte (2 or 10) and
// 3 bytes 0.  The samples of all nodes are summed per host and the busiest
// hosts ranked with the library's heap.
#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "cli.h"
#include "top_hosts.h"
#include "dpmgmt/session.h"
#include "platform/dev.h"

namespace {

constexpr uint32_t kTopSampleSize = 24;
constexpr uint32_t kTopBytesPerNode = 49152;
constexpr uint32_t kTopShown = 10;
constexpr uint32_t kHotBackupDebugBit = 0x1;

int run_history(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return 1;
    SESSION_HISAVG_S averages{};
    SESSION_HisCom_GetStatics(*node, &averages);
    SESSION_HisCom_DisplayStatics(&averages);
    return 0;
}

// A host of the ranking: family byte and address.
using Host = std::array<uint8_t, 17>;

struct Ranked {
    Host host;
    uint64_t sessions;
};

// The ranking's elements are indexes into the host list, their session
// counts in the upper half: ordered by sessions, and on a tie the earlier
// host (the lower address) orders last, so that it ranks first.
int32_t by_sessions(uint64_t a, uint64_t b) {
    const uint32_t sa = static_cast<uint32_t>(a >> 32), sb = static_cast<uint32_t>(b >> 32);
    if (sa != sb) return sa < sb ? -1 : 1;
    const uint32_t ia = static_cast<uint32_t>(a), ib = static_cast<uint32_t>(b);
    return ia == ib ? 0 : (ia > ib ? -1 : 1);
}

}  // namespace

namespace top {

int rank(std::vector<Shown> &shown, size_t &hostCount) {
    shown.clear();
    hostCount = 0;
    const std::vector<uint16_t> nodes = cli::nodes_up();
    std::vector<uint8_t> buffer(static_cast<size_t>(kTopBytesPerNode) * (nodes.empty() ? 1 : nodes.size()));
    uint32_t count = 0;
    const uint32_t rc =
        Session_GetTopStatTick(static_cast<uint32_t>(nodes.size()), nodes.data(), &count, buffer.data());
    if (rc != 0) return cli::failed("collecting the top statistics", rc);
    if (static_cast<uint64_t>(count) * kTopSampleSize > buffer.size()) count = 0;  // never read past the buffer
    std::map<Host, uint64_t> perHost;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t *s = buffer.data() + static_cast<size_t>(i) * kTopSampleSize;
        Host h{};
        h[0] = s[20];
        std::memcpy(h.data() + 1, s, 16);
        uint32_t sessions = 0;
        std::memcpy(&sessions, s + 16, 4);
        perHost[h] += ntohl(sessions);
    }
    std::vector<Ranked> hosts;
    for (const auto &[h, n] : perHost) hosts.push_back({h, n});
    std::vector<uint64_t> heap;
    auto element = [&](uint32_t i) {
        const uint64_t n = hosts[i].sessions > UINT32_MAX ? UINT32_MAX : hosts[i].sessions;
        return n << 32 | i;
    };
    const uint32_t kept = std::min<uint32_t>(kTopShown, static_cast<uint32_t>(hosts.size()));
    for (uint32_t i = 0; i < kept; ++i) heap.push_back(element(i));
    Session_Statck_Init(by_sessions, kept, heap.data());
    for (uint32_t i = kept; i < hosts.size(); ++i) {
        // The root is the least of the kept ones: a busier host replaces it.
        if (by_sessions(heap[0], element(i)) < 0) {
            heap[0] = element(i);
            Session_Statck_Modify(0, by_sessions, kept, heap.data());
        }
    }
    Session_Statck_Sort(by_sessions, kept, heap.data());
    for (uint32_t r = 0; r < kept; ++r) {
        const Ranked &h = hosts[static_cast<uint32_t>(heap[r])];
        Shown out{};
        out.family = h.host[0];
        std::memcpy(out.address, h.host.data() + 1, 16);
        out.sessions = h.sessions;
        shown.push_back(out);
    }
    hostCount = hosts.size();
    return cli::kOk;
}

}  // namespace top

namespace {

int run_top(cli::Args &args) {
    if (!args.finish()) return 1;
    std::vector<top::Shown> shown;
    size_t hostCount = 0;
    if (const int status = top::rank(shown, hostCount); status != cli::kOk) return status;
    std::printf("Rank  Source IP                                 Sessions\r\n");
    for (uint32_t r = 0; r < shown.size(); ++r) {
        const top::Shown &h = shown[r];
        char text[INET6_ADDRSTRLEN] = "-";
        if (h.family == SESSION_AF_IPV4)
            inet_ntop(AF_INET, h.address, text, sizeof text);
        else
            inet_ntop(AF_INET6, h.address, text, sizeof text);
        std::printf("%-5u %-41s %llu\r\n", r + 1, text, static_cast<unsigned long long>(h.sessions));
    }
    std::printf("Total source hosts: %zu\r\n", hostCount);
    return 0;
}

int run_hot_backup_statistics(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return 1;
    HOTBACKUP_DisplayStatistics(*node);
    return 0;
}

int run_hot_backup_debug(cli::Args &args) {
    const int i = args.choose("switch", {"enable", "disable"});
    if (i < 0 || !args.finish()) return 1;
    const uint32_t rc = HOTBACKUP_Ipc_SetDebug(kHotBackupDebugBit, i == 0 ? 1 : 0);
    return rc == 0 ? 0 : cli::failed("switching hot-backup debugging", rc);
}

int run_display_hot_backup_debug(cli::Args &args) {
    if (!args.finish()) return 1;
    uint32_t bits = 0;
    const uint32_t rc = HOTBACKUP_Ipc_GetDebug(&bits);
    if (rc != 0) return cli::failed("reading the hot-backup debugging switch", rc);
    std::printf("Hot-backup debugging: %s (0x%08x)\r\n", (bits & kHotBackupDebugBit) ? "enabled" : "disabled", bits);
    return 0;
}

const bool registered = cli::add({
    {"display session statistics history", "[slot SLOT]", "Show the history averages of sessions and rates",
     run_history},
    {"display session top-statistics", "", "Rank the source hosts with the most sessions over every node", run_top},
    {"display session hot-backup statistics", "[slot SLOT]", "Show the hot-backup counters of every peer",
     run_hot_backup_statistics},
    {"hot-backup debug", "(enable|disable)", "Switch hot-backup debugging", run_hot_backup_debug},
    {"display hot-backup debug", "", "Show the hot-backup debugging switch", run_display_hot_backup_debug},
});

}  // namespace
