// SPDX-License-Identifier: Apache-2.0
// H.323 call entries: the brief table, the verbose blocks and the probe
// form, which adds the H.245 channel, sampling rate, VXLAN and the driver
// contexts.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/names.h"
#include "dpmgmt/records.h"
#include "channels/protocol.h"
#include "platform/names.h"
#include "platform/textutil.h"
#include "sqa/call_brief.h"
#include "sqa/call_format.h"
#include "sqa/item_walk.h"
#include "sqa/layouts.h"

using namespace dpmgmt::sqa;

namespace {

namespace dump = dpmgmt::dump;

constexpr uint32_t kKeySize = 84;
constexpr uint32_t kVxlanNone = 0xFFFFFFFFu;

constexpr BriefTable kH323Brief{dump::kH323Brief, kItemH323Brief, "Caller                Callee                Call ID",
                                22};

const char *media_text(uint16_t type) {
    switch (type) {
    case 1: return "  Type: Audio          ";
    case 2: return "  Type: Video          ";
    default: return "  Type: -              ";
    }
}

void print_protocol(uint8_t id) {
    char name[APR_PROTO_NAME_SIZE];
    strlcpy(name, "-", sizeof name);
    if (id != 0) dpmgmt::protocol_name(name, id, dpmgmt::LetterCase::kUpper);
    std::printf("  Protocol: %s(%u)\n", name, static_cast<unsigned>(id));
}

void print_h323_block(const SQA_H323_CALLENTRY_VERBOSE_S &e, uint16_t probe) {
    std::printf("Call ID: %s\n", e.szCallId);
    if (probe == 1) {
        std::puts("  H.245 information:");
        if (e.szSrcAlias[0] != '\0')
            std::printf("    Source alias address: %s\n", e.szSrcAlias);
        else
            std::puts("    Source alias address: -");
        char ip[kIpTextSize];
        ipv4_text(e.uiH245Ip, ip);
        std::printf("    H.245 address: %-19sH.245 port: %u\n", ip, static_cast<unsigned>(e.usH245Port));
    }
    std::puts("  Caller information:");
    print_endpoint(e.uiCallerIp, e.usCallerPort, e.aucCallerMac);
    std::puts("  Callee information:");
    print_endpoint(e.uiCalleeIp, e.usCalleePort, e.aucCalleeMac);
    std::printf("  GUID: %s\n", e.szGuid);
    print_protocol(e.ucAppProtoId);
    if (probe == 1) {
        std::printf("  Sampling rate: %u\n", e.uiSamplingRate);
        std::printf("  Session ID: %u", e.uiSessionId);
        if (e.uiVxlanId == kVxlanNone)
            std::puts("        VXLAN: -");
        else
            std::printf("        VXLAN: %u\n", e.uiVxlanId);
    } else {
        std::printf("  Session ID: %u\n", e.uiSessionId);
    }
    std::fputs(media_text(e.usMediaType), stdout);
    print_call_tail(e, 13, 13, probe == 1);
}

// The one walk of the H.323 verbose and probe tables: the key is the call
// ID, at most 64 characters, in 84 cleared bytes.  The number of entries.
template <class OnEntry>
uint32_t walk_h323(uint16_t node, const char *callId, uint32_t dumpType, uint16_t itemType, OnEntry &&onEntry) {
    char key[kKeySize] = {};
    if (callId != nullptr) strlcpy(key, callId, SQA_CALLID_SIZE);
    return count_calls(node, dumpType, key, sizeof key, itemType, kH323VerboseLayout, onEntry);
}

uint32_t show_h323_blocks(uint16_t node, const char *callId, uint32_t dumpType, uint16_t itemType, uint16_t probe) {
    walk_h323(node, callId, dumpType, itemType,
              [&](const SQA_H323_CALLENTRY_VERBOSE_S &e) { print_h323_block(e, probe); });
    return DPMGMT_OK;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntry(uint16_t node) {
    const uint8_t key[kKeySize] = {};
    return show_brief_table(node, kH323Brief, key, sizeof key);
}

DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntryVerbose(uint16_t node, const char *callId) {
    return show_h323_blocks(node, callId, dump::kH323Verbose, kItemH323Verbose, 0);
}

DPMGMT_API uint32_t dpmgmt_walk_h323_calls(uint16_t node, const char *callId, dpmgmt_h323_call_fn fn,
                                           void *context) {
    if (fn == nullptr) return 0;
    return walk_h323(node, callId, dump::kH323Probe, kItemH323Probe,
                     [&](const SQA_H323_CALLENTRY_VERBOSE_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t SQA_DUMP_ProbeDisH323CallEntry(uint16_t node, const char *callId) {
    return show_h323_blocks(node, callId, dump::kH323Probe, kItemH323Probe, 1);
}

}  // extern "C"
