/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Declaration helpers of the public headers: export marking, C
 * linkage and compile-time layout checks.  Plain C99. */
#ifndef DPMGMT_API_H
#define DPMGMT_API_H

#include <stddef.h>
#include <stdint.h>

/** Marks a function or object the library exports. */
#define DPMGMT_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define DPMGMT_EXTERN_C_BEGIN extern "C" {
#define DPMGMT_EXTERN_C_END }
#define DPMGMT_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#else
/** Opens a block of C-linkage declarations (empty in C). */
#define DPMGMT_EXTERN_C_BEGIN
/** Closes a block of C-linkage declarations (empty in C). */
#define DPMGMT_EXTERN_C_END
/** A compile-time assertion that works in C99 and C++. */
#define DPMGMT_STATIC_ASSERT(cond, name) typedef char dpmgmt_static_assert_##name[(cond) ? 1 : -1]
#endif

/** Checks a record's size at compile time. */
#define DPMGMT_CHECK_SIZE(type, size) DPMGMT_STATIC_ASSERT(sizeof(type) == (size), size_of_##type)
/** Checks a field's offset at compile time. */
#define DPMGMT_CHECK_OFFSET(type, field, off) \
    DPMGMT_STATIC_ASSERT(offsetof(type, field) == (off), offset_of_##type##_##field)

#endif
