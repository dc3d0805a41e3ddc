/* SPDX-License-Identifier: Apache-2.0 */
/* Kernel table dumps and control calls.
 *
 * A dump is opened on a node for one table (dump type 0x14xxxx) with an
 * optional filter key, pulled chunk by chunk and terminated.  Records travel
 * in network byte order.  Control calls carry a small request and reply. */
#ifndef PLATFORM_DUMP_H
#define PLATFORM_DUMP_H

#include "platform/plat_common.h"

#define DUMP_INVALID_HANDLE 0xFFFFFFFFu
/* DUMP_Pull's result when it delivered a chunk of a multi-record dump. */
#define DUMP_CONTINUE 0x40010009u

PLAT_EXTERN_C_BEGIN

/* Opens a dump; 0xFFFFFFFF when the node or the dump type is not served.
 * The key may be null with length 0. */
PLAT_API uint32_t DUMP_Request(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen);
/* Delivers at most bufLen bytes into buf and their number into *delivered.
 * Returns 0x40010009 when a chunk of a multi-record dump was delivered; any
 * other value ends a multi-record walk. */
PLAT_API uint32_t DUMP_Pull(uint32_t handle, uint32_t bufLen, void *buf, uint32_t *delivered);
/* Ends the dump and releases its cursor. */
PLAT_API void DUMP_Terminate(uint32_t handle);

/* Control call: 0 on success, the reply's length in *replyLen. */
PLAT_API uint32_t CIOCTL(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req,
                         uint32_t replyCap, void *reply, uint32_t *replyLen);
/* Fire-and-forget control call. */
PLAT_API uint32_t CIOCTL_Async(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req);

PLAT_EXTERN_C_END

#endif
