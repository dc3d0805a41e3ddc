/* SPDX-License-Identifier: Apache-2.0 */
/* Configuration database.
 *
 * A module (e.g. "connlmt") holds named databases ("gConnlmt", ...); each
 * database maps keys (byte strings of the given length, the terminating NUL
 * of a text key included) to a binary value or to a sorted list of
 * fixed-length elements.  Handles are 64-bit; all bits set (-1) is never a
 * valid handle. */
#ifndef PLATFORM_DBM_H
#define PLATFORM_DBM_H

#include "platform/plat_common.h"

#define DBM_INVALID_HANDLE UINT64_MAX

/* Sort-key type codes. */
#define DBM_KEYTYPE_UINT_HOST 2u /* unsigned integer in host byte order */
#define DBM_KEYTYPE_UINT_NET 19u /* unsigned integer in network byte order */

/* Batch operation codes and callback answers. */
#define DBM_BATCH_OP_MOVE 3u     /* move the keys the callback selects */
#define DBM_BATCH_CB_SKIP 0u
#define DBM_BATCH_CB_MOVE 2u     /* the callback's answer that moves a key */

/* Open descriptor: eight u32 words. */
typedef struct DBM_OPEN_DESC {
    uint32_t auiWord[8];
} DBM_OPEN_DESC_S;

/* Sort-key descriptor: where the key lies in an element, its length, its
 * type code, 0. */
typedef struct DBM_SORTKEY {
    uint32_t uiOffset;
    uint32_t uiLength;
    uint32_t uiType;
    uint32_t uiReserved;
} DBM_SORTKEY_S;

/* Called by DBM_Batch_Proc for every key of the source database, with the
 * key and its binary value (for a sorted list: its elements one after the
 * other) and the descriptor's argument word.  Answers DBM_BATCH_CB_MOVE to
 * have the key moved by a move batch. */
typedef uint32_t (*DBM_BATCH_CALLBACK)(uint64_t handle, const void *key, uint64_t keyLen,
                                       const void *value, uint64_t valueLen, uint64_t arg);

/* Batch descriptor: three 8-byte words. */
typedef struct DBM_BATCH {
    uint64_t ulOpCode;
    DBM_BATCH_CALLBACK pfCallback;
    uint64_t ulArg;
} DBM_BATCH_S;

PLAT_EXTERN_C_BEGIN

/* 0 and the handle on success.  Opening a database that this process has
 * open already returns the same handle. */
PLAT_API uint32_t DBM_Open(const char *dbName, const char *module, uint32_t mode,
                           const DBM_OPEN_DESC_S *desc, uint64_t *handle, uint32_t flag);
PLAT_API uint32_t DBM_OpenCfgDB(const char *firstDb, const char *secondDb, const char *module,
                                uint32_t reserved, const DBM_OPEN_DESC_S *desc, uint64_t *first,
                                uint64_t *second, uint32_t flag);
PLAT_API uint32_t DBM_Close(uint64_t handle);
/* Runs count batch descriptors from the source database against the target
 * (-1: no target; every key is visited with the callback).  A move batch
 * moves, in one transaction, every key whose callback answers
 * DBM_BATCH_CB_MOVE.  0 on success, negative on failure. */
PLAT_API int32_t DBM_Batch_Proc(uint64_t source, uint64_t target, const DBM_BATCH_S *batch, uint32_t count);
/* 1 when the key exists, 0 when not, negative on failure. */
PLAT_API int32_t DBM_IsKeyExist(uint64_t handle, const void *key, uint64_t keyLen);
/* Bytes read (> 0), at most size, from offset of the value; 0 or less on
 * failure or a missing key. */
PLAT_API int32_t DBM_GetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset,
                               uint32_t size, void *buf);
/* Writes the value; negative on failure. */
PLAT_API int32_t DBM_SetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset,
                               uint32_t size, const void *value, uint32_t attribute);
/* 0 on success, negative on failure (a missing key included). */
PLAT_API int32_t DBM_DeleteKey(uint64_t handle, const void *key, uint64_t keyLen);
/* Moves the key with its value from the source to the target database in
 * one transaction; 0 or negative. */
PLAT_API int32_t DBM_Move(uint64_t source, const void *key, uint64_t keyLen, uint64_t target);
/* Number of elements of a sorted list (1 for a binary value); negative on
 * failure. */
PLAT_API int32_t DBM_Len(uint64_t handle, const void *key, uint64_t keyLen);
PLAT_API int32_t DBM_CreateSortList(uint64_t handle, const void *key, uint64_t keyLen,
                                    const DBM_SORTKEY_S *sortKeys, uint32_t sortKeyCount, uint32_t listMode);
/* Inserts the element in sort-key order; an element whose sort key is
 * present replaces it.  Negative on failure (a missing list included). */
PLAT_API int32_t DBM_InsertSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen,
                                    const void *elem, uint32_t listMode);
/* Removes the element whose sort key equals the probe's; negative when
 * there is none. */
PLAT_API int32_t DBM_RemoveSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen,
                                    const void *probe);
/* Copies the next element (in sort-key order) into buf and returns its
 * length; 0 at the end, negative on failure.  *iterator starts null and
 * is released with DBM_FreeIterator. */
PLAT_API int32_t DBM_GetNextSortList(uint64_t handle, const void *key, uint64_t keyLen, void **iterator,
                                     uint32_t reserved1, uint32_t reserved2, uint32_t elemLen, void *buf);
PLAT_API void DBM_FreeIterator(void *iterator);

PLAT_EXTERN_C_END

#endif
