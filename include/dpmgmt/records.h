/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief The session tables and their kernel detail, the aging queues,
 * limit statistic nodes, call tables and call analysis debugging switches
 * as records, for programs that format them themselves (structured
 * output, exporters).
 *
 * Each walk reads one kernel table of the node, the same walk the text
 * displays of dpmgmt/session_displays.h read, and hands every entry to the
 * caller's function, converted to host order (addresses stay in network
 * order, as in the displays).  Keys are in host order and are not changed.
 * The record is valid only during the call; the caller copies what it
 * keeps.  Nothing is printed.  These names form their own version node of
 * the library, DPMGMT_RECORDS_1.0. */
#ifndef DPMGMT_RECORDS_H
#define DPMGMT_RECORDS_H

#include "dpmgmt/connlmt.h"
#include "dpmgmt/session_displays.h"
#include "dpmgmt/session_records.h"
#include "dpmgmt/sqa.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup records Table records
 * @brief Walks of the session tables that yield records instead of text.
 * @{ */

/** Receives one session or Mcfs entry and the caller's context. */
typedef void (*dpmgmt_session_fn)(const SESSION_TABLEINFO_S *entry, void *context);
/** Receives one fast-forward entry and the caller's context. */
typedef void (*dpmgmt_fastforward_fn)(const SESSION_FASTFORWARDTABLEINFO_S *entry, void *context);
/** Receives one relation and the caller's context. */
typedef void (*dpmgmt_relation_fn)(const SESSION_RELATIONINFO_S *entry, void *context);

/** Walks the session table entries the key selects.
 * @return the number of entries handed over; 0 when the dump cannot be
 * opened, or key or fn is null. */
DPMGMT_API uint32_t dpmgmt_walk_sessions(uint16_t node, const SESSION_DUMPKEY_S *key, dpmgmt_session_fn fn,
                                         void *context);
/** Walks the Mcfs table entries the key selects; as dpmgmt_walk_sessions. */
DPMGMT_API uint32_t dpmgmt_walk_mcfs(uint16_t node, const SESSION_DUMPKEY_S *key, dpmgmt_session_fn fn,
                                     void *context);
/** Walks the fast-forward entries the key selects; as dpmgmt_walk_sessions. */
DPMGMT_API uint32_t dpmgmt_walk_fastforward(uint16_t node, const SESSION_TABLEKEY_S *key, dpmgmt_fastforward_fn fn,
                                            void *context);
/** Walks the relations; key is one byte, sent as it is.  As
 * dpmgmt_walk_sessions. */
DPMGMT_API uint32_t dpmgmt_walk_relations(uint16_t node, const uint8_t *key, dpmgmt_relation_fn fn, void *context);

/** Receives one session's kernel record and the caller's context. */
typedef void (*dpmgmt_session_kernel_fn)(const SESSION_KERNELINFO_S *entry, void *context);
/** Receives one relation's kernel record and the caller's context. */
typedef void (*dpmgmt_relation_detail_fn)(const SESSION_RELATIONINFOALL_S *entry, void *context);

/** Walks the kernel's records of the sessions the key selects (the
 * records SESSION_DisplaySessionKernel prints), converted to host order
 * except the two driver contexts, which stay as delivered.  As
 * dpmgmt_walk_sessions. */
DPMGMT_API uint32_t dpmgmt_walk_session_kernel(uint16_t node, const SESSION_DUMPKEY_S *key,
                                               dpmgmt_session_kernel_fn fn, void *context);
/** Walks the kernel's records of the relations the key selects (the
 * records SESSION_DisplayRelationInfo prints), tuple and attach data
 * converted.  As dpmgmt_walk_sessions. */
DPMGMT_API uint32_t dpmgmt_walk_relation_details(uint16_t node, const SESSION_RELATION_KEY_S *key,
                                                 dpmgmt_relation_detail_fn fn, void *context);

/** The aging queue state of one forwarding core, in host order. */
typedef struct dpmgmt_aging_core {
    uint32_t core;                  /**< the core's number, 0 for the first the kernel delivers */
    uint32_t timer_active;          /**< the queue's timer runs (kernel's 16-bit flag) */
    uint32_t status;                /**< the queue's state, the kernel's value */
    uint32_t unstable;              /**< the kernel's unstable count */
    uint32_t reset_messages;        /**< the kernel's reset message count */
    uint32_t stop_qrm_local_index;  /**< the kernel's stop local index */
} dpmgmt_aging_core;
DPMGMT_CHECK_SIZE(dpmgmt_aging_core, 24);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, core, 0);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, timer_active, 4);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, status, 8);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, unstable, 12);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, reset_messages, 16);
DPMGMT_CHECK_OFFSET(dpmgmt_aging_core, stop_qrm_local_index, 20);

/** Receives one core's aging queue and the caller's context. */
typedef void (*dpmgmt_aging_core_fn)(const dpmgmt_aging_core *core, void *context);

/** Walks the aging queues of every forwarding core of the node (those
 * SESSION_GetAgingqueueState prints).  Fields the kernel's record is too
 * short to carry read 0.
 * @return 0 when the dump was read to its end; 0x40010005 when it cannot
 * be opened (no core is handed over); 0x40010001 when fn is null or the
 * walk's buffer cannot be had. */
DPMGMT_API uint32_t dpmgmt_walk_aging_queues(uint16_t node, dpmgmt_aging_core_fn fn, void *context);

/** Receives one connection-limit statistic node and the caller's context. */
typedef void (*dpmgmt_limit_node_fn)(const CONNLMT_STATNODE_S *entry, void *context);

/** Walks the connection-limit statistic nodes the filter selects (the
 * nodes CONNLMT_Dump_DisStatNodes prints), converted to host order;
 * addresses stay in network order.
 * @return 0x40010001 when the dump cannot be opened, its buffer cannot be
 * had, or filter or fn is null; otherwise the result of the pull that
 * ended the dump. */
DPMGMT_API uint32_t dpmgmt_walk_limit_nodes(uint16_t node, uint32_t keyWord, const CONNLMT_STATNODE_FILTER_S *filter,
                                            dpmgmt_limit_node_fn fn, void *context);

/** Receives one SIP call entry and the caller's context. */
typedef void (*dpmgmt_sip_call_fn)(const SQA_SIP_CALLENTRY_VERBOSE_S *entry, void *context);
/** Receives one H.323 call entry and the caller's context. */
typedef void (*dpmgmt_h323_call_fn)(const SQA_H323_CALLENTRY_VERBOSE_S *entry, void *context);

/** Walks the SIP call entries (the verbose table), texts terminated.
 * callId is the kernel's key: a buffer of SQA_CALLID_SIZE bytes sent as it
 * stands, or null.
 * @return the number of entries handed over; 0 when the dump cannot be
 * opened or fn is null. */
DPMGMT_API uint32_t dpmgmt_walk_sip_calls(uint16_t node, const char *callId, dpmgmt_sip_call_fn fn, void *context);
/** Walks the H.323 call entries with every field (the probe table), texts
 * terminated; callId: text, at most 64 characters used, or null.  As
 * dpmgmt_walk_sip_calls. */
DPMGMT_API uint32_t dpmgmt_walk_h323_calls(uint16_t node, const char *callId, dpmgmt_h323_call_fn fn,
                                           void *context);

/** Reads the debugging switches of call quality analysis from the local
 * node's kernel (the record SQA_DUMP_DisDebugFlag and
 * SQA_DUMP_DisH323DebugFlag print) into switches, in host order.
 * protocol 1: H.323, any other: SIP.
 * @return 0; 0x40010001 when switches is null; otherwise the control
 * call's result, switches untouched. */
DPMGMT_API uint32_t dpmgmt_sqa_debug_switches(uint32_t protocol, SQA_DEBUG_SWITCH_S *switches);

/** @} */

DPMGMT_EXTERN_C_END

#endif
