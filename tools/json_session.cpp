// SPDX-License-Identifier: Apache-2.0
// The session displays as JSON documents: the session, fast-forward, Mcfs
// and relation tables written entry by entry as the record walks hand them
// over, the session counts and the ALG counters.  The filters and dump
// keys are those of the text displays (session_keys.h).
#include <cstring>

#include "cli.h"
#include "dpmgmt/records.h"
#include "dpmgmt/session.h"
#include "json_entries.h"
#include "json_names.h"
#include "json_out.h"
#include "platform/wait.h"
#include "session_keys.h"

namespace {

using json::Document;
using json::direction;
using json::traffic;

struct TableWalk {
    Document &doc;
    bool verbose;
};

void write_session(const SESSION_TABLEINFO_S *e, void *context) {
    auto &c = *static_cast<TableWalk *>(context);
    Document &doc = c.doc;
    doc.w().StartObject();
    direction(doc, "initiator", e->astTuple[0], e->aucDsLitePeer[0], &e->auiIfIndex[0]);
    if (c.verbose) {
        direction(doc, "responder", e->astTuple[1], e->aucDsLitePeer[1], &e->auiIfIndex[1]);
        doc.str("state", SESSION_GetStatusName(e->ucProtocolIndex, e->ucState));
        json::application_name(doc, "application", e->uiAppId);
        doc.time("start_time", e->uiStartTime);
        json::ttl(doc, e->uiTTL);
        traffic(doc, "initiator_to_responder", e->uiPacketsOrg, e->uiBytesOrg);
        traffic(doc, "responder_to_initiator", e->uiPacketsRpl, e->uiBytesRpl);
    }
    doc.w().EndObject();
}

void write_fastforward(const SESSION_FASTFORWARDTABLEINFO_S *e, void *context) {
    auto &c = *static_cast<TableWalk *>(context);
    Document &doc = c.doc;
    doc.w().StartObject();
    direction(doc, "initiator", e->astTuple[0], e->aucDsLitePeer[0], &e->auiIfIndex[0]);
    if (c.verbose) {
        direction(doc, "responder", e->astTuple[1], e->aucDsLitePeer[1], &e->auiIfIndex[1]);
        json::ttl(doc, e->uiTTL);
    }
    doc.w().EndObject();
}

// An Mcfs entry: an inbound one opens a group whose outbound entries
// follow it, as the brief text form lists them.
void write_mcfs(const SESSION_TABLEINFO_S *e, void *context) {
    auto &c = *static_cast<TableWalk *>(context);
    Document &doc = c.doc;
    const bool inbound = (e->astTuple[0].ucFlags & SESSION_TUPLE_FLAG_VLL) != 0;
    doc.w().StartObject();
    doc.str("direction", inbound ? "inbound" : "outbound");
    json::interface_name(doc, "interface", inbound ? e->auiIfIndex[0] : e->auiIfIndex[1]);
    if (inbound || c.verbose) direction(doc, "initiator", e->astTuple[0], e->aucDsLitePeer[0], nullptr);
    if (c.verbose) {
        direction(doc, "responder", e->astTuple[1], e->aucDsLitePeer[1], nullptr);
        doc.str("state", SESSION_GetStatusName(e->ucProtocolIndex, e->ucState));
        if (e->uiAppId != 0)
            json::application_name(doc, "application", e->uiAppId);
        else
            doc.str("application", "-");
        doc.time("start_time", e->uiStartTime);
        json::ttl(doc, e->uiTTL);
        traffic(doc, "initiator_to_responder", e->uiPacketsOrg, e->uiBytesOrg);
    }
    doc.w().EndObject();
}

void write_relation(const SESSION_RELATIONINFO_S *e, void *context) {
    Document &doc = static_cast<TableWalk *>(context)->doc;
    doc.w().StartObject();
    json::relation_fields(doc, e->stTuple, e->aucDsLitePeer, e->uiTTL, e->uiAppId);
    doc.w().EndObject();
}

std::optional<cli::SessionFilter> filter(cli::Args &args, unsigned allowed) {
    return cli::parse_session_filter(args, allowed);
}

// The document of a table: "slot", "verbose", the entries under `list` as
// the walk hands them over, then "total".
template <typename Walk>
int table_document(const char *display, const cli::SessionFilter &f, const char *list, Walk walk) {
    Document doc(display);
    doc.slot(cli::node_of(f));
    doc.b("verbose", f.verbose);
    doc.key(list);
    doc.w().StartArray();
    TableWalk c{doc, f.verbose};
    const uint32_t n = walk(c);
    doc.w().EndArray();
    doc.u("total", n);
    return cli::kOk;
}

int run_table(cli::Args &args) {
    auto f = filter(args, cli::kTableFilters);
    if (!f) return cli::kRefused;
    const SESSION_DUMPKEY_S key = cli::dump_key(*f);
    return table_document("session table", *f, "sessions", [&](TableWalk &c) {
        return dpmgmt_walk_sessions(cli::node_of(*f), &key, write_session, &c);
    });
}

int run_fast_forward(cli::Args &args) {
    auto f = filter(args, cli::kTableFilters);
    if (!f) return cli::kRefused;
    const SESSION_TABLEKEY_S key = cli::table_key(*f);
    return table_document("session fast-forward", *f, "entries", [&](TableWalk &c) {
        return dpmgmt_walk_fastforward(cli::node_of(*f), &key, write_fastforward, &c);
    });
}

int run_mcfs(cli::Args &args) {
    auto f = filter(args, cli::kTableFilters);
    if (!f) return cli::kRefused;
    const SESSION_DUMPKEY_S key = cli::dump_key(*f);
    return table_document("session mcfs", *f, "entries", [&](TableWalk &c) {
        return dpmgmt_walk_mcfs(cli::node_of(*f), &key, write_mcfs, &c);
    });
}

int run_relation(cli::Args &args) {
    auto f = filter(args, cli::kFilterFamily | cli::kFilterSlot);
    if (!f) return cli::kRefused;
    const uint8_t key = cli::family_byte(f->family);
    return table_document("session relation-table", *f, "relations", [&](TableWalk &c) {
        return dpmgmt_walk_relations(cli::node_of(*f), &key, write_relation, &c);
    });
}

struct Counts {
    uint32_t perProtocol[SESSION_PROTOCOL_COUNT] = {};
};

void count_session(const SESSION_TABLEINFO_S *e, void *context) {
    auto &c = *static_cast<Counts *>(context);
    // An index the vocabulary does not know counts in the total only.
    if (e->ucProtocolIndex < SESSION_PROTOCOL_COUNT) ++c.perProtocol[e->ucProtocolIndex];
}

int run_statistics(cli::Args &args) {
    auto f = filter(args, cli::kTableFilters & ~cli::kFilterVerbose);
    if (!f) return cli::kRefused;
    const SESSION_DUMPKEY_S key = cli::dump_key(*f);
    Counts counts;
    const uint32_t total = dpmgmt_walk_sessions(cli::node_of(*f), &key, count_session, &counts);
    // The counts are written only when the whole table was read.
    PLAT_FAULT_S fault{};
    if (PLAT_GetFault(&fault) != PLAT_FAULT_NONE) return cli::failed("reading the session table", DPMGMT_ERR_FAILED);
    Document doc("session statistics");
    doc.slot(cli::node_of(*f));
    doc.u("total", total);
    doc.key("protocols");
    doc.w().StartArray();
    for (uint32_t i = 0; i < SESSION_PROTOCOL_COUNT; ++i) {
        // The text display shows at most 9 characters of the name.
        char name[10] = "";
        std::strncpy(name, SESSION_GetProtocolName(i), sizeof name - 1);
        doc.w().StartObject();
        doc.str("protocol", name);
        doc.u("sessions", counts.perProtocol[i]);
        doc.w().EndObject();
    }
    doc.w().EndArray();
    return cli::kOk;
}

int run_alg_statistics(cli::Args &args) {
    auto node = cli::parse_slot_only(args);
    if (!node) return cli::kRefused;
    const uint32_t key[2] = {0, 0};
    SESSION_ALGFAILCNT_S rec{};
    const uint32_t rc = SESSION_Get_AlgFailCnt(*node, key, &rec);
    if (rc != 0) return cli::failed("reading the ALG statistics", rc);
    Document doc("session alg-statistics");
    doc.slot(*node);
    doc.key("rows");
    doc.w().StartArray();
    for (const auto &row : rec.auiRow) {
        doc.w().StartArray();
        for (const uint32_t v : row) doc.w().Uint(v);
        doc.w().EndArray();
    }
    doc.w().EndArray();
    doc.key("total");
    doc.w().StartArray();
    for (const uint32_t v : rec.auiTotal) doc.w().Uint(v);
    doc.w().EndArray();
    return cli::kOk;
}

const bool registered = json::add({
    {"display session table", run_table},
    {"display session fast-forward", run_fast_forward},
    {"display session mcfs", run_mcfs},
    {"display session relation-table", run_relation},
    {"display session statistics", run_statistics},
    {"display session alg-statistics", run_alg_statistics},
});

}  // namespace
