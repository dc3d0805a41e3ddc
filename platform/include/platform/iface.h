/* SPDX-License-Identifier: Apache-2.0 */
/* Interfaces. */
#ifndef PLATFORM_IFACE_H
#define PLATFORM_IFACE_H

#include "platform/plat_common.h"

/* IF_GetDataByIfIndex items. */
#define IF_DATA_FULLNAME 10u /* full name, up to 48 bytes with its NUL */
#define IF_DATA_ATTRIBUTE 25u /* u32 attribute; 4 = global interface */
#define IF_NAME_SIZE 48u
#define IF_ATTRIBUTE_GLOBAL 4u

PLAT_EXTERN_C_BEGIN

/* 0 on success with the item in buf; non-zero for an unknown interface. */
PLAT_API uint32_t IF_GetDataByIfIndex(uint32_t ifIndex, uint32_t item, void *buf);
/* 0 when no interface has that name. */
PLAT_API uint32_t IF_GetIfIndexByFullName(const char *name);
/* A malloc'ed array of *count nodes the interface relies on; the caller
 * frees it.  Null when the interface is unknown. */
PLAT_API uint16_t *IF_GetRelyNodesByIfIndex(uint32_t ifIndex, uint64_t *count);
/* The following answer 1 in their low 16 bits for yes. */
PLAT_API uint32_t IF_IsLocalIf(uint32_t ifIndex);
PLAT_API uint32_t IF_IsTempIf(uint32_t ifIndex);
PLAT_API uint32_t IF_IsNodeUp(uint16_t node);
/* A malloc'ed array of the *count interface indexes the device has, in its
 * own order; the caller frees it.  Null and 0 when there are none. */
PLAT_API uint32_t *IF_GetAllIfIndexes(uint32_t *count);

PLAT_EXTERN_C_END

#endif
