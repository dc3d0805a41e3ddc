// SPDX-License-Identifier: Apache-2.0
// The session, fast-forward, Mcfs and relation tables as the operator sees
// them.  Each entry is converted to host order where it lies in the pull
// buffer and printed at once.
#include <cstdio>
#include <ctime>

#include "dpmgmt/session.h"
#include "platform/platform.h"
#include "session/display_text.h"
#include "session/table_walks.h"

namespace {

using namespace dpmgmt::display;
using namespace dpmgmt::session;

constexpr uint16_t kVerbose = 1;

// Start time and TTL as the session and Mcfs entries print them; the Mcfs
// form indents the TTL by one space where the session form uses two.
void print_start_and_ttl(const SESSION_TABLEINFO_S &e, bool mcfs) {
    char when[kTimeTextSize];
    start_time(when, e.uiStartTime);
    std::printf("Start time: %s", when);
    if (e.uiTTL == SESSION_TTL_NONE)
        std::puts(mcfs ? " TTL: -\r" : "  TTL: -\r");
    else
        std::printf(mcfs ? " TTL: %us\r\n" : "  TTL: %us\r\n", e.uiTTL);
}

void print_session_state(const SESSION_TABLEINFO_S &e) {
    print_state_and_app(e, "\r\n");
    print_start_and_ttl(e, false);
    std::printf("Initiator->Responder:   %10u packets %10u bytes\r\n", e.uiPacketsOrg, e.uiBytesOrg);
    std::printf("Responder->Initiator:   %10u packets %10u bytes\r\n", e.uiPacketsRpl, e.uiBytesRpl);
}

// One direction of a session or fast-forward entry: 0 the initiator, 1 the
// responder.
template <typename Entry>
void print_direction(const Entry &e, int d) {
    std::puts(d == 0 ? "Initiator:\r" : "Responder:\r");
    print_direction_addresses(e.astTuple[d], e.aucDsLitePeer[d]);
    print_direction_vpn_protocol(e.astTuple[d], &e.auiIfIndex[d]);
}

void print_session(const SESSION_TABLEINFO_S &e, bool verbose) {
    print_direction(e, 0);
    if (verbose) {
        print_direction(e, 1);
        print_session_state(e);
    }
    std::puts("\r");
}

void print_fastforward(const SESSION_FASTFORWARDTABLEINFO_S &e, bool verbose) {
    print_direction(e, 0);
    if (verbose) {
        print_direction(e, 1);
        if (e.uiTTL == SESSION_TTL_NONE)
            std::puts("TTL: -\r");
        else
            std::printf("TTL: %us\r\n", e.uiTTL);
    }
    std::puts("\r");
}

void print_mcfs_direction(const SESSION_TABLEINFO_S &e, int d) {
    print_direction_addresses(e.astTuple[d], e.aucDsLitePeer[d]);
    print_direction_vpn_protocol(e.astTuple[d], nullptr);
}

void print_mcfs_verbose(const SESSION_TABLEINFO_S &e) {
    const bool inbound = (e.astTuple[0].ucFlags & SESSION_TUPLE_FLAG_VLL) != 0;
    std::puts(inbound ? "Inbound initiator:\r" : "Outbound initiator:\r");
    print_mcfs_direction(e, 0);
    std::puts(inbound ? "Inbound responder:\r" : "Outbound responder:\r");
    print_mcfs_direction(e, 1);
    char ifn[kIfNameSize];
    if (inbound) {
        if_name(ifn, e.auiIfIndex[0]);
        std::printf("Inbound interface: %s\r\n", ifn);
    } else {
        if_name(ifn, e.auiIfIndex[1]);
        std::printf("Outbound interface: %s\r\n", ifn);
    }
    const char *state = SESSION_GetStatusName(e.ucProtocolIndex, e.ucState);
    char app[kAppNameSize] = "-";
    if (e.uiAppId != 0) app_name(app, e.uiAppId);
    std::printf("State: %s\r\n", state);
    std::printf("Application: %s\r\n", app);
    print_start_and_ttl(e, true);
    std::printf("Initiator->Responder:   %10u packets %10u bytes\r\n", e.uiPacketsOrg, e.uiBytesOrg);
    std::puts("\r");
}

// Brief Mcfs form: an inbound entry opens a group (separated from the one
// before by a blank line) and each outbound entry after it adds one member
// to its outbound interface list.
void print_mcfs_brief(const SESSION_TABLEINFO_S &e, bool firstOfDump) {
    char ifn[kIfNameSize];
    if ((e.astTuple[0].ucFlags & SESSION_TUPLE_FLAG_VLL) == 0) {
        if_name(ifn, e.auiIfIndex[1]);
        std::printf("    %s\r\n", ifn);
        return;
    }
    if (!firstOfDump) std::puts("\r");
    std::puts("Inbound initiator:\r");
    print_mcfs_direction(e, 0);
    if_name(ifn, e.auiIfIndex[0]);
    std::printf("Inbound interface: %s\r\n", ifn);
    std::puts("Outbound interface list: \r");
}

void print_relation(const SESSION_RELATIONINFO_S &e) {
    print_relation_addresses(e.stTuple, e.aucDsLitePeer);
    print_relation_protocol(e.stTuple, e.uiTTL, e.uiAppId);
}

}  // namespace

extern "C" {

// The verbose session and Mcfs displays re-read the time zone before their
// start times: once per display, not per entry (glibc's tzset copies the
// zone's name and looks at the zone file each time it is called).
DPMGMT_API uint32_t SESSION_DisplaySession(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose) {
    if (verbose == kVerbose) tzset();
    return walk_session_table(node, *key, [&](const SESSION_TABLEINFO_S &e) { print_session(e, verbose == kVerbose); });
}

DPMGMT_API uint32_t SESSION_DisplayFastforwardSession(uint16_t node, const SESSION_TABLEKEY_S *key, uint16_t verbose) {
    return walk_fastforward_table(
        node, *key, [&](const SESSION_FASTFORWARDTABLEINFO_S &e) { print_fastforward(e, verbose == kVerbose); });
}

DPMGMT_API uint32_t SESSION_DisplayMcfsTable(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose) {
    if (verbose == kVerbose) tzset();
    uint32_t seen = 0;
    const uint32_t count = walk_mcfs_table(node, *key, [&](const SESSION_TABLEINFO_S &e) {
        if (verbose == kVerbose)
            print_mcfs_verbose(e);
        else
            print_mcfs_brief(e, seen == 0);
        ++seen;
    });
    // The brief form closes the last group's interface list.
    if (count != 0 && verbose != kVerbose) std::puts("\r");
    return count;
}

DPMGMT_API uint32_t SESSION_DisplayRelation(uint16_t node, const uint8_t *key) {
    return walk_relation_table(node, key, print_relation);
}

}  // extern "C"
