// SPDX-License-Identifier: Apache-2.0
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
    print_call_tail(e, 18, 8, showContext == 1);
}

// The one walk of the SIP verbose table.  The kernel takes the caller's
// whole 65-byte buffer as the key, handed over as it stands, a null buffer
// as a null key.  The number of entries.
template <class OnEntry>
uint32_t walk_sip(uint16_t node, const char *callId, OnEntry &&onEntry) {
    return count_calls(node, dump::kSipVerbose, callId, SQA_CALLID_SIZE, kItemSipVerbose, kSipVerboseLayout, onEntry);
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
