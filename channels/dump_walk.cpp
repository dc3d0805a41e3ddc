// SPDX-License-Identifier: Apache-2.0
#include "channels/dump_walk.h"

namespace dpmgmt {

SingleRecord dump_single(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen, void *record,
                         uint32_t recordSize) {
    Dump dump(node, dumpType, key, keyLen);
    if (!dump.opened()) return {false, false, DPMGMT_ERR_FAILED};
    uint32_t delivered = 0;
    const uint32_t rc = dump.pull(record, recordSize, &delivered);
    return {true, delivered == recordSize, rc};
}

}  // namespace dpmgmt
