// SPDX-License-Identifier: Apache-2.0
// Type-length-value items of the kernel's call tables.
#include "platform/stlv.h"

#include <cstring>

extern "C" PLAT_API uint32_t STLV_Get(const void *chunk, uint32_t remaining, uint16_t *type, uint16_t *length,
                                      void **value) {
    if (chunk == nullptr || type == nullptr || length == nullptr || value == nullptr || remaining < 4) return 1;
    const auto *p = static_cast<const uint8_t *>(chunk);
    const uint16_t t = static_cast<uint16_t>(p[0] << 8 | p[1]);
    const uint16_t len = static_cast<uint16_t>(p[2] << 8 | p[3]);
    // An item whose value runs past the chunk ends the walk.
    if (static_cast<uint32_t>(len) > remaining - 4) return 1;
    *type = t;
    *length = len;
    *value = const_cast<uint8_t *>(p + 4);
    return 0;
}
