// SPDX-License-Identifier: Apache-2.0
// History and top statistics and hot backup as JSON documents.  The
// hot-backup counters, hexadecimal in the text display, are plain numbers.
#include <cstdint>
#include <vector>

#include "cli.h"
#include "dpmgmt/session.h"
#include "json_out.h"
#include "platform/dev.h"
#include "top_hosts.h"

namespace {

using json::Document;

constexpr uint32_t kHotBackupDebugBit = 0x1;

// Past hour, 24 hours and 30 days of an average triple (stored 30 days
// first), as signed numbers as the text shows them.
void periods(Document &doc, const char *k, const uint32_t *a) {
    doc.key(k);
    doc.w().StartObject();
    doc.i("past_hour", static_cast<int32_t>(a[1]));
    doc.i("past_24_hours", static_cast<int32_t>(a[2]));
    doc.i("past_30_days", static_cast<int32_t>(a[0]));
    doc.w().EndObject();
}

int run_history(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return cli::kRefused;
    SESSION_HISAVG_S averages{};
    SESSION_HisCom_GetStatics(*node, &averages);
    Document doc("session statistics history");
    doc.slot(*node);
    periods(doc, "sessions", &averages.auiAverage[0]);
    periods(doc, "establishment_rate_per_second", &averages.auiAverage[3]);
    return cli::kOk;
}

int run_top(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    std::vector<top::Shown> shown;
    size_t hostCount = 0;
    if (const int status = top::rank(shown, hostCount); status != cli::kOk) return status;
    Document doc("session top-statistics");
    doc.key("hosts");
    doc.w().StartArray();
    uint32_t rank = 0;
    for (const top::Shown &h : shown) {
        doc.w().StartObject();
        doc.u("rank", ++rank);
        doc.address("source_ip", h.family, h.address);
        doc.u("sessions", h.sessions);
        doc.w().EndObject();
    }
    doc.w().EndArray();
    doc.u("total_hosts", hostCount);
    return cli::kOk;
}

int run_hot_backup_statistics(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return cli::kRefused;
    Document doc("session hot-backup statistics");
    doc.slot(*node);
    doc.u("remaining_messages", SESSION_GetHotBackRemainMsg(*node));
    doc.key("peers");
    doc.w().StartArray();
    // Only other nodes that are up have a backup link to this one.
    for (const uint16_t peer : cli::nodes_up()) {
        if (peer == *node) continue;
        SESSION_HOTBACKSTAT_S stat{};
        if (SESSION_GetHotBackStatistics(*node, peer, &stat) != 0) continue;
        doc.w().StartObject();
        doc.u("chassis", LIP_GetChassID(peer));
        doc.u("slot", LIP_GetSlotID(peer));
        doc.u("sent", stat.ulSendOk);
        doc.u("send_failed", stat.ulSendFail);
        doc.u("received", stat.ulRecvOk);
        doc.w().EndObject();
    }
    doc.w().EndArray();
    return cli::kOk;
}

int run_hot_backup_debug(cli::Args &args) {
    if (!args.finish()) return cli::kRefused;
    uint32_t bits = 0;
    const uint32_t rc = HOTBACKUP_Ipc_GetDebug(&bits);
    if (rc != 0) return cli::failed("reading the hot-backup debugging switch", rc);
    Document doc("hot-backup debug");
    doc.b("enabled", (bits & kHotBackupDebugBit) != 0);
    doc.u("bits", bits);
    return cli::kOk;
}

const bool registered = json::add({
    {"display session statistics history", run_history},
    {"display session top-statistics", run_top},
    {"display session hot-backup statistics", run_hot_backup_statistics},
    {"display hot-backup debug", run_hot_backup_debug},
});

}  // namespace
