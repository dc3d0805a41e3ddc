// SPDX-License-Identifier: Apache-2.0
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

    walk_calls(dump, buf, table.itemType, kCallEntryLayout, [&](const SQA_SIP_CALLENTRY_S &entry) {
        print_brief_column(entry.uiCallerIp, entry.usCallerPort, table.columnWidth);
        print_brief_column(entry.uiCalleeIp, entry.usCalleePort, table.columnWidth);
        std::puts(entry.szCallId);
    });
    return DPMGMT_OK;
}

}  // namespace dpmgmt::sqa
