#include "sqa/call_brief.h"

#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "sqa/call_format.h"
#include "sqa/item_walk.h"
#include "sqa/layouts.h"

namespace dpmgmt::sqa {

uint32_t show_brief_table(uint16_t node, const BriefTable &table, const void *key, uint32_t keyLen) {
    Dump dump(node, table.dumpType, key, keyLen);
    if (!dump.opened()) return DPMGMT_OK;
    const HeapBuffer buf(kCallDumpBufferSize);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;
    std::puts(table.header);

    SQA_SIP_CALLENTRY_S entry;
    pull_chunks(dump, buf, [&](const uint8_t *chunk, uint32_t length) {
        // Cleared once per chunk: a short value keeps the bytes of the entry
        // before it.
        std::memset(&entry, 0, sizeof entry);
        if (length == 0) return false;
        const ItemWalk end = walk_items(chunk, length, table.itemType, [&](const uint8_t *value, uint16_t n) {
            copy_value(&entry, sizeof entry, value, n);
            swap_fields(&entry, kCallEntryLayout);
            entry.szCallId[sizeof entry.szCallId - 1] = '\0';
            print_brief_column(entry.uiCallerIp, entry.usCallerPort, table.columnWidth);
            print_brief_column(entry.uiCalleeIp, entry.usCalleePort, table.columnWidth);
            std::puts(entry.szCallId);
        });
        return end == ItemWalk::kUsedUp;
    });
    return DPMGMT_OK;
}

}  // namespace dpmgmt::sqa
