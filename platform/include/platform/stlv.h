/* SPDX-License-Identifier: Apache-2.0 */
/* Type-length-value items: a 16-bit type and a 16-bit value length, both in
 * network byte order, then the value. */
#ifndef PLATFORM_STLV_H
#define PLATFORM_STLV_H

#include "platform/plat_common.h"

PLAT_EXTERN_C_BEGIN

/* Reads the item at chunk, of which remaining bytes are left.  On success
 * returns 0 and sets *type, *length (16-bit, as the items carry them) and
 * *value to the item's value.  When no whole item is left (fewer than four
 * bytes, or a value running past remaining) *value is left as it was, which
 * callers preset to null, and a non-zero result is returned. */
PLAT_API uint32_t STLV_Get(const void *chunk, uint32_t remaining, uint16_t *type, uint16_t *length,
                           void **value);

PLAT_EXTERN_C_END

#endif
