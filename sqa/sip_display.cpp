// SIP call entries: the brief table and the verbose blocks.
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/protocol.h"
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

// Prints every type-28 item of one chunk.  0 when the chunk is used up;
// 0x40010001 for no chunk or an item of another type, which ends the pulls.
uint32_t print_sip_chunk(uint32_t length, const uint8_t *chunk, uint16_t showContext) {
    SQA_SIP_CALLENTRY_VERBOSE_S entry;
    std::memset(&entry, 0, sizeof entry);
    if (chunk == nullptr || length == 0) return DPMGMT_ERR_FAILED;
    const ItemWalk end = walk_items(chunk, length, kItemSipVerbose, [&](const uint8_t *value, uint16_t n) {
        copy_value(&entry, sizeof entry, value, n);
        dpmgmt::swap_fields(&entry, kSipVerboseLayout);
        entry.szCallId[sizeof entry.szCallId - 1] = '\0';
        entry.szCallerTag[sizeof entry.szCallerTag - 1] = '\0';
        entry.szCalleeTag[sizeof entry.szCalleeTag - 1] = '\0';
        print_sip_block(entry, showContext);
    });
    return end == ItemWalk::kUsedUp ? DPMGMT_OK : DPMGMT_ERR_FAILED;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntry(uint16_t node) {
    return show_brief_table(node, kSipBrief, nullptr, 0);
}

DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntryVerbose(uint16_t node, const char *callId, uint16_t showContext) {
    // The kernel takes the caller's whole 65-byte buffer as the key, handed
    // over as it stands, a null buffer as a null key.
    const dpmgmt::Dump table(node, dump::kSipVerbose, callId, SQA_CALLID_SIZE);
    if (!table.opened()) return DPMGMT_OK;
    const dpmgmt::HeapBuffer buf(kCallDumpBufferSize);
    if (!buf.ok()) return DPMGMT_OK;
    dpmgmt::pull_chunks(table, buf, [&](const uint8_t *chunk, uint32_t length) {
        return print_sip_chunk(length, chunk, showContext) == DPMGMT_OK;
    });
    return DPMGMT_OK;
}

}  // extern "C"
