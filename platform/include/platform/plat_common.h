/* SPDX-License-Identifier: Apache-2.0 */
/* Shared definitions of the platform seam. */
#ifndef PLATFORM_PLAT_COMMON_H
#define PLATFORM_PLAT_COMMON_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define PLAT_EXTERN_C_BEGIN extern "C" {
#define PLAT_EXTERN_C_END }
#else
#define PLAT_EXTERN_C_BEGIN
#define PLAT_EXTERN_C_END
#endif

#define PLAT_API __attribute__((visibility("default")))

#endif
