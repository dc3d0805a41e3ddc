/* SPDX-License-Identifier: Apache-2.0 */
/* Bounded waits and the cause of the last failed wait.
 *
 * A program that links the library (the command line) may bound how long
 * this process waits on a silent peer: a service socket's receive, a dump
 * pull, a control call.  Without a bound every wait blocks as the seam's
 * calls always have; the library itself never sets one.
 *
 * exchangeMs bounds a receive on a socket without a receive time-out and
 * every kernel wait (dump request, pull, control call).  patientMs bounds
 * the whole of a receive loop on a socket that has a receive time-out set
 * (SO_RCVTIMEO): each time-out still ends the receive with EAGAIN, but once
 * patientMs have passed since the socket's last send, the receive fails
 * with ETIMEDOUT instead.  0 means no bound.
 *
 * When a wait fails the platform records why (the first failure since the
 * last PLAT_ClearFault): a live peer that did not answer in time, a peer
 * that went away (the service exited, the kernel channel was cut in the
 * middle of a dump), or no peer at all.  A peer that went away ends a
 * receive with ECONNRESET and a pull with a failure, never with EAGAIN, so
 * that no loop waits on a dead service.
 *
 * With a bound set, a receive on a service socket also watches the service
 * while it waits (every 100 ms): a socket file that is gone, replaced, or
 * that nobody is bound to any more means the service went away.  A dump
 * pull ends with a failure when the kernel answers "more" with an empty
 * chunk 64 times in a row (PLAT_FAULT_STALLED). */
#ifndef PLATFORM_WAIT_H
#define PLATFORM_WAIT_H

#include "platform/plat_common.h"

#define PLAT_FAULT_NONE 0u
#define PLAT_FAULT_TIMEOUT 1u     /* the peer is there but did not answer in time */
#define PLAT_FAULT_GONE 2u        /* the peer went away while we waited on it */
#define PLAT_FAULT_UNREACHABLE 3u /* nobody listens at the endpoint */
#define PLAT_FAULT_UNTRUSTED 4u   /* the endpoint or its directory belongs to another user */
#define PLAT_FAULT_START 5u       /* the service could not be started (endpoint: its binary) */
#define PLAT_FAULT_DIRECTORY 6u   /* the run or data directory was refused (endpoint: its path) */
#define PLAT_FAULT_STALLED 7u     /* the kernel kept answering "more" with nothing (endpoint: its socket) */

#define PLAT_ENDPOINT_SIZE 108u

typedef struct {
    uint32_t kind;                      /* PLAT_FAULT_* */
    int32_t sysErrno;                   /* the system's error number, 0 if none */
    uint32_t waitedMs;                  /* how long the failed wait lasted */
    char endpoint[PLAT_ENDPOINT_SIZE];  /* the socket, binary or directory concerned */
} PLAT_FAULT_S;

PLAT_EXTERN_C_BEGIN

PLAT_API void PLAT_SetWaitBounds(uint32_t exchangeMs, uint32_t patientMs);
/* The first fault since the last clear; returns its kind (PLAT_FAULT_NONE
 * when there is none, and then *fault is zeroed). fault may be null. */
PLAT_API uint32_t PLAT_GetFault(PLAT_FAULT_S *fault);
PLAT_API void PLAT_ClearFault(void);
/* One line (no line end) describing the first fault since the last clear,
 * for the operator: what was refused or did not answer, and why.  Empty
 * when there is none.  Returns the fault's kind. */
PLAT_API uint32_t PLAT_DescribeFault(char *line, uint32_t size);

PLAT_EXTERN_C_END

#endif
