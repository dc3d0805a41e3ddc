/* SPDX-License-Identifier: Apache-2.0 */
/* The platform's runtime-library extensions. */
#ifndef PLATFORM_TEXTUTIL_H
#define PLATFORM_TEXTUTIL_H

#include "platform/plat_common.h"

PLAT_EXTERN_C_BEGIN

/* Bounded formatting that returns the number of characters stored (never
 * more than size - 1; 0 when size is 0).  Besides the C directives it knows
 * "%P", an IPv4 address given as a host-order u32, and "%Q", an IPv6 address
 * given by a pointer to its 16 bytes. */
PLAT_API int scnprintf(char *buf, size_t size, const char *fmt, ...);
PLAT_API size_t strlcpy(char *dst, const char *src, size_t size);
/* Upper-cases the text in place and returns it. */
PLAT_API char *uppercase(char *text);
/* inet_ntop: family 2 (IPv4) or 10 (IPv6); null when the text does not fit
 * or the family is unknown (dst then untouched). */
PLAT_API const char *__wrap_inet_ntop(int family, const void *src, char *dst, uint32_t size);

PLAT_EXTERN_C_END

#endif
