// SPDX-License-Identifier: Apache-2.0
// The brief call table, one line per call, shared by SIP and H.323.
#ifndef DPMGMT_SQA_CALL_BRIEF_H
#define DPMGMT_SQA_CALL_BRIEF_H

#include <cstdint>

namespace dpmgmt::sqa {

struct BriefTable {
    uint32_t dumpType;
    uint16_t itemType;
    const char *header;
    int columnWidth;
};

// Prints the header and a line per item.  0, or 0x40010001 when no buffer
// can be had; a dump that cannot be opened prints nothing and gives 0.
uint32_t show_brief_table(uint16_t node, const BriefTable &table, const void *key, uint32_t keyLen);

}  // namespace dpmgmt::sqa

#endif
