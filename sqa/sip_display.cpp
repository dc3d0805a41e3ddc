// SIP call entries: the brief table and the verbose blocks.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/protocol.h"
#include "dpmgmt/records.h"
#include "sqa/call_brief.h"
#include "sqa/call_format.h"
#include "sqa/item_walk.h"
#include "sqa/layouts.h"

using namespace dpmgmt::sqa;

namespace {

namespace dump = dpmgmt::dump;

constexpr uint16_t kItemSipBrief = 27;
constexpr uint16_t kItemSipVerbose = 28;
constexpr int kMediaAudio = 1;

constexpr BriefTable kSipBrief{dump::kSipBrief, kItemSipBrief, "Caller                 Callee                 Call ID",
                               23};

void print_sip_block(const SQA_SIP_CALLENTRY_VERBOSE_S &e, uint16_t showContext) {
    std::printf("Call ID: %s\n", e.szCallId);
    std::puts("  Caller information:");
    print_endpoint(e.uiCallerIp, e.usCallerPort, e.aucCallerMac);
    std::printf("    Tag: %s\n", e.szCallerTag);
    std::puts("  Callee information:");
    print_endpoint(e.uiCalleeIp, e.usCalleePort, e.aucCalleeMac);
    std::printf("    Tag: %s\n", e.szCalleeTag);
    std::fputs(e.ucMediaType == kMediaAudio ? "  Type: Audio     " : "  Type: Video     ", stdout);
    print_vlan(e.usVlanId, 18);
    print_start_time(e.stStartTime);
    print_mos(e.uiFwdMos, e.uiRevMos, 8);
    print_flows(e.ulFwdOctets, e.ulFwdPackets, e.ulRevOctets, e.ulRevPackets);
    if (showContext == 1) print_driver_contexts(e.auiCallerDrvContext, e.auiCalleeDrvContext);
    std::putchar('\n');
}

// The one walk of the SIP verbose table.  The kernel takes the caller's
// whole 65-byte buffer as the key, handed over as it stands, a null buffer
// as a null key.  The number of entries.
template <class OnEntry>
uint32_t walk_sip(uint16_t node, const char *callId, OnEntry &&onEntry) {
    const dpmgmt::Dump table(node, dump::kSipVerbose, callId, SQA_CALLID_SIZE);
    if (!table.opened()) return 0;
    const dpmgmt::HeapBuffer buf(kCallDumpBufferSize);
    if (!buf.ok()) return 0;
    uint32_t count = 0;
    walk_calls(table, buf, kItemSipVerbose, kSipVerboseLayout, [&](const SQA_SIP_CALLENTRY_VERBOSE_S &e) {
        ++count;
        onEntry(e);
    });
    return count;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntry(uint16_t node) {
    return show_brief_table(node, kSipBrief, nullptr, 0);
}

DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntryVerbose(uint16_t node, const char *callId, uint16_t showContext) {
    walk_sip(node, callId, [&](const SQA_SIP_CALLENTRY_VERBOSE_S &e) { print_sip_block(e, showContext); });
    return DPMGMT_OK;
}

DPMGMT_API uint32_t dpmgmt_walk_sip_calls(uint16_t node, const char *callId, dpmgmt_sip_call_fn fn, void *context) {
    if (fn == nullptr) return 0;
    return walk_sip(node, callId, [&](const SQA_SIP_CALLENTRY_VERBOSE_S &e) { fn(&e, context); });
}

}  // extern "C"
