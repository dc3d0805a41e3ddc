/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Settings commands of the session service and the ranking heap. */
#ifndef DPMGMT_SESSION_COMMANDS_H
#define DPMGMT_SESSION_COMMANDS_H

#include "dpmgmt/session_records.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup session_commands Session commands
 * @brief Settings, queries and resets exchanged with the session service.
 * @{ */

/* ============================================== settings commands ======= */
/* Every command is one exchange with the session service.  Records are
 * handed over in host order and never changed by a request; a get command
 * writes its outputs only when the exchange succeeded.  A record query
 * receives into the caller's storage and then turns every field of its
 * reply in place, so a field a short reply did not carry is turned as it
 * stood.  Set, reset and
 * enable commands return the service's result code as it came; any failure
 * of the exchange (and a null record) returns 0x40010001. */

/** Aging setting: the service reads word 0 as the application or layer-4
 * state index and word 1 as the seconds. */
typedef struct SESSION_AGING {
    uint32_t uiIndex;  /**< Index */
    uint32_t uiSeconds;  /**< Seconds */
} SESSION_AGING_S;
DPMGMT_CHECK_SIZE(SESSION_AGING_S, 8);
DPMGMT_CHECK_OFFSET(SESSION_AGING_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_AGING_S, uiSeconds, 4);

/** Flow setting of the session log and of the traffic log. */
typedef struct SESSION_FLOW {
    uint32_t uiUnit;  /**< Unit */
    uint32_t uiThreshold;  /**< Threshold */
} SESSION_FLOW_S;
DPMGMT_CHECK_SIZE(SESSION_FLOW_S, 8);
DPMGMT_CHECK_OFFSET(SESSION_FLOW_S, uiUnit, 0);
DPMGMT_CHECK_OFFSET(SESSION_FLOW_S, uiThreshold, 4);

/** Persistent-session setting: three words, as the service defines them. */
typedef struct SESSION_PERSIST {
    uint32_t auiWord[3];  /**< Word */
} SESSION_PERSIST_S;
DPMGMT_CHECK_SIZE(SESSION_PERSIST_S, 12);

/** Log policy request, 20 bytes: the interface, the policy value (what the
 * query fills in), two further words, a u16 and two bytes sent as given. */
typedef struct SESSION_LOGPOLICY_REQ {
    uint32_t uiIfIndex;  /**< If index */
    uint32_t uiPolicy;  /**< Policy */
    uint32_t auiWord[2];  /**< Word */
    uint16_t usOption;  /**< Option */
    uint8_t aucData[2];  /**< Data */
} SESSION_LOGPOLICY_REQ_S;
DPMGMT_CHECK_SIZE(SESSION_LOGPOLICY_REQ_S, 20);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, uiIfIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, uiPolicy, 4);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, auiWord, 8);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_LOGPOLICY_REQ_S, auiWord[1]) == 12, offset_of_SESSION_LOGPOLICY_REQ_S_word4);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, usOption, 16);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, aucData, 18);

/** Debug setting, 16 bytes: debug word index, bits, on (1) or off (0), a
 * u16 and two bytes sent as given. */
typedef struct SESSION_DEBUG {
    uint32_t uiIndex;  /**< Index */
    uint32_t uiBits;  /**< Bits */
    uint32_t uiEnable;  /**< Enable */
    uint16_t usValue;  /**< Value */
    uint8_t aucData[2];  /**< Data */
} SESSION_DEBUG_S;
DPMGMT_CHECK_SIZE(SESSION_DEBUG_S, 16);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiBits, 4);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiEnable, 8);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, usValue, 12);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, aucData, 14);

/** TCP debug setting, 12 bytes: index, bits, on/off as a u16, two bytes
 * sent as given. */
typedef struct SESSION_TCPDEBUG {
    uint32_t uiIndex;  /**< Index */
    uint32_t uiBits;  /**< Bits */
    uint16_t usEnable;  /**< Enable */
    uint8_t aucData[2];  /**< Data */
} SESSION_TCPDEBUG_S;
DPMGMT_CHECK_SIZE(SESSION_TCPDEBUG_S, 12);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, uiBits, 4);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, usEnable, 8);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, aucData, 10);

/** Traffic-log bill setting, 44 bytes: three u16 converted, every other
 * byte sent as given. */
typedef struct SESSION_TRAFFICLOG_BILL {
    uint16_t usEnable;  /**< Enable */
    uint8_t aucData1[2];  /**< Data 1 */
    uint16_t usFormat;  /**< Format */
    uint8_t aucData2[2];  /**< Data 2 */
    uint8_t aucHost[16];  /**< Host */
    uint16_t usPort;  /**< Port */
    uint8_t aucData3[18];  /**< Data 3 */
} SESSION_TRAFFICLOG_BILL_S;
DPMGMT_CHECK_SIZE(SESSION_TRAFFICLOG_BILL_S, 44);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usEnable, 0);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData1, 2);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usFormat, 4);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData2, 6);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucHost, 8);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usPort, 24);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData3, 26);

/** Reply buffers the top-statistics commands need at the least: after a
 * successful exchange they convert this extent whatever the reply held. */
#define SESSION_TOP_STATISTICS_REPLY_SIZE 648u
#define SESSION_TOP_SAMPLES_REPLY_SIZE 2912u  /**< SESSION_IPC_GetTopStatistics */
#define SESSION_TOP_SAMPLE_TIME_REPLY_SIZE 2884u  /**< SESSION_IPC_GetTopSampleTime */

/** Words of the debug and TCP debug queries. */
#define SESSION_DEBUG_WORD_COUNT 19u
#define SESSION_TCP_DEBUG_WORD_COUNT 3u  /**< words of the TCP debug query */

/** Aging. */
DPMGMT_API uint32_t SESSION_IPC_SetAppAging(const SESSION_AGING_S *aging);
/** Sets the aging time of one layer-4 state (message type 1). */
DPMGMT_API uint32_t SESSION_IPC_SetL4Aging(const SESSION_AGING_S *aging);
/** Reads the aging times of all 17 applications, in seconds. */
DPMGMT_API uint32_t SESSION_IPC_GetAllAppAging(uint32_t out[17]);
/** Reads the aging times of all 19 layer-4 states, in seconds. */
DPMGMT_API uint32_t SESSION_IPC_GetAllL4Aging(uint32_t out[19]);

/** Logging.  The log policy query sends the record as the setting does;
 * it returns 0x40010005 and leaves the record alone when the interface has
 * no policy, else stores the policy in uiPolicy and returns 0.  The flow
 * and time queries send the caller's current value and replace it. */
DPMGMT_API uint32_t SESSION_IPC_SetLogPolicy(const SESSION_LOGPOLICY_REQ_S *req);
/** Reads the log policy of the interface in req->uiIfIndex into req->uiPolicy. */
DPMGMT_API uint32_t SESSION_IPC_GetLogPolicy(SESSION_LOGPOLICY_REQ_S *req);
/** Sets the session log's flow unit and threshold. */
DPMGMT_API uint32_t SESSION_IPC_SetLogFlow(const SESSION_FLOW_S *flow);
/** Reads the session log's flow setting, replacing *flow. */
DPMGMT_API uint32_t SESSION_IPC_GetLogFlow(SESSION_FLOW_S *flow);
/** Sets the session log's time interval. */
DPMGMT_API uint32_t SESSION_IPC_SetLogTime(const uint32_t *value);
/** Reads the session log's time interval, replacing *value. */
DPMGMT_API uint32_t SESSION_IPC_GetLogTime(uint32_t *value);
/** Sets the session log's number switch. */
DPMGMT_API uint32_t SESSION_IPC_SetNumLog(const uint16_t *value);

/** Persistent sessions. */
DPMGMT_API uint32_t SESSION_IPC_SetPersist(const SESSION_PERSIST_S *persist);
/** Reads the persistent-session setting, replacing *persist. */
DPMGMT_API uint32_t SESSION_IPC_GetPersist(SESSION_PERSIST_S *persist);

/** Debugging. */
DPMGMT_API uint32_t SESSION_IPC_SetDebug(const SESSION_DEBUG_S *debug);
/** Sets a TCP debugging word. */
DPMGMT_API uint32_t SESSION_IPC_SetTcpDebug(const SESSION_TCPDEBUG_S *debug);
DPMGMT_API uint32_t SESSION_IPC_GetAllDebug(uint32_t out[19]); /**< SESSION_DEBUG_WORD_COUNT */
/** Reads the three TCP debugging words. */
DPMGMT_API uint32_t SESSION_IPC_GetTcpDebug(uint32_t out[3]);

/** Top statistics: the reply lands in the caller's buffer, of at least the
 * SESSION_TOP_*_REPLY_SIZE of the command (replyMax bounds what is
 * received). */
DPMGMT_API uint32_t SESSION_IPC_DisTopStatistics(uint8_t selector, uint32_t replyMax, void *reply);
/** Reads the top-statistics samples selected by the three query words. */
DPMGMT_API uint32_t SESSION_IPC_GetTopStatistics(const uint32_t query[3], uint32_t replyMax, void *reply);
/** Reads the top-statistics sample times selected by the two query words. */
DPMGMT_API uint32_t SESSION_IPC_GetTopSampleTime(const uint32_t query[2], uint32_t replyMax, void *reply);

/** Resets.  The two session resets wait patiently: while the service works
 * they print "Resetting session", a dot a second and "Done.\r". */
DPMGMT_API uint32_t SESSION_ResetSession(uint16_t scope, const SESSION_TABLEKEY_S *key);
/** Clears the Mcfs sessions the key selects (patient wait). */
DPMGMT_API uint32_t SESSION_ResetMcfsSession(uint16_t scope, const SESSION_TABLEKEY_S *key);
/** Clears the relations of the scope and the one-byte selector. */
DPMGMT_API uint32_t SESSION_IPC_ResetRelation(uint16_t scope, const uint8_t *selector);
/** Clears the session statistics of the scope. */
DPMGMT_API uint32_t SESSION_IPC_ResetStatistics(uint16_t scope);
/** Clears the Mcfs statistics of the scope. */
DPMGMT_API uint32_t SESSION_IPC_ResetMcfsStatistics(uint16_t scope);
/** Clears the failure statistics (u16 scope, u32 selector). */
DPMGMT_API uint32_t SESSION_IPC_ResetStatFail(uint16_t first, uint32_t second);
/** Clears the event statistics (u32 first, u16 second on the wire). */
DPMGMT_API uint32_t SESSION_IPC_ResetEventStatistics(uint32_t first, uint16_t second);
/** Clears the fast-forward statistics (u16 scope, u32 selector). */
DPMGMT_API uint32_t SESSION_IPC_ResetFdbStatistics(uint16_t first, uint32_t second);

/** Switches. */
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncSwitch(uint16_t value);
/** Reads the session synchronisation switch. */
DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncSwitch(uint16_t *out);
/** Turns the session statistics on or off. */
DPMGMT_API uint32_t SESSION_IPC_SetStatEnable(uint16_t value);
/** Sets the per-application synchronisation switch. */
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncAppSwitch(uint16_t first, uint16_t second);
/** Reads the per-application synchronisation switch. */
DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncAppSwitch(uint16_t *out);
/** Turns the history and top statistics on or off. */
DPMGMT_API uint32_t SESSION_IPC_SetHisTopStatEnable(uint16_t value);
/** Reads the history and top statistics switch. */
DPMGMT_API uint32_t SESSION_IPC_GetHisTopStatEnable(uint16_t *out);

/** Limits and rates.  The SESSION_Set* wrappers do nothing for selector 1,
 * else make sure the service runs on the system master (starting it) and
 * send the setting.  The queries never start the service: they return the
 * value, or 0 when the service does not run or the exchange fails. */
DPMGMT_API uint32_t SESSION_IPC_SetMaximum(uint32_t selector, uint32_t value);
/** Sends a rate limit for the selector (no start of the service). */
DPMGMT_API uint32_t SESSION_IPC_SetRate(uint32_t selector, uint32_t value);
/** Sets a session maximum, starting the service on the system master first. */
DPMGMT_API uint32_t SESSION_SetMaximum(uint32_t selector, uint32_t value);
/** Sets a rate limit, starting the service on the system master first. */
DPMGMT_API uint32_t SESSION_SetRate(uint32_t selector, uint32_t value);
/** The session maximum of the selector; 0 when none or the service does not run. */
DPMGMT_API uint32_t SESSION_GetMaximum(uint32_t selector);
/** The rate limit of the selector; 0 when none or the service does not run. */
DPMGMT_API uint32_t SESSION_GetRate(uint32_t selector);

/** Traffic log. */
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogTime(const uint32_t *value);
/** Reads the traffic log's time interval, replacing *value. */
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogTime(uint32_t *value);
/** Sets the traffic log's flow unit and threshold. */
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogFlow(const SESSION_FLOW_S *flow);
/** Reads the traffic log's flow setting, replacing *flow. */
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogFlow(SESSION_FLOW_S *flow);
/** Sets the traffic log's begin switch. */
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogBegin(uint16_t value);
/** Reads the traffic log's begin switch. */
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogBegin(uint16_t *out);
/** Sets the traffic log's bill output. */
DPMGMT_API uint32_t SESSION_IPC_TrafficLogEnableBill(const SESSION_TRAFFICLOG_BILL_S *bill);

/* ================================================= ranking heap ========= */
/** An in-place binary heap over count 64-bit elements: the root is the
 * element that orders first under compare (negative: a before b).  Nothing
 * is allocated and nothing beyond count elements is touched.  All three
 * return 0. */
typedef int32_t (*SESSION_STATCK_COMPARE_PF)(uint64_t a, uint64_t b);

/** Restores heap order below position after it was overwritten. */
DPMGMT_API uint32_t Session_Statck_Modify(uint32_t position, SESSION_STATCK_COMPARE_PF compare, uint32_t count,
                                          uint64_t *array);
/** Builds heap order over an unordered array. */
DPMGMT_API uint32_t Session_Statck_Init(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array);
/** Orders a heap from the element that orders last to the one that orders
 * first. */
DPMGMT_API uint32_t Session_Statck_Sort(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array);

/** @} */

DPMGMT_EXTERN_C_END

#endif
