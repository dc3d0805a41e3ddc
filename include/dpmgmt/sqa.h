/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Voice call quality analysis (SQA) for SIP and H.323: store,
 * commands, call displays, statistics, DSCP keywords.
 *
 * Settings records are in host order in the caller's memory, except the
 * two address words of a filter, which callers hold in network order and
 * which are stored and sent exactly as given.  Call entries and statistics
 * come from the kernel in network order; the displays convert private
 * copies.  No function keeps a dump, socket or buffer between calls. */
#ifndef DPMGMT_SQA_H
#define DPMGMT_SQA_H

#include "dpmgmt/channels.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup sqa Voice call quality (SQA)
 * @brief SIP and H.323 settings store, commands, call displays, statistics and DSCP keywords.
 * @{ */

/* ============================================================ records == */

#define SQA_SIP_DEFAULT_PORT 5060u  /**< SIP port when none is configured */
#define SQA_H225_DEFAULT_PORT 1720u  /**< H.225 port when none is configured */
#define SQA_DB_INVALID_HANDLE UINT64_MAX  /**< no database handle */
#define SQA_MOS_NONE 0xFFFFFFFFu       /**< a MOS word that carries no score */
#define SQA_CALLID_SIZE 65u            /**< call ID text with its NUL */
#define SQA_DSCP_NONE 0xFFFFu          /**< SQA_CLI_DscpStr2Value: no keyword */

/** Address filter, 12 bytes. */
typedef struct SQA_FILTER {
    uint32_t uiFilterIp1;   /**< network order, never converted */
    uint32_t uiFilterIp2;   /**< network order, never converted */
    uint16_t usFilterFlag;  /**< host order; network order when stored */
    uint16_t usReserved;    /**< never converted */
} SQA_FILTER_S;
DPMGMT_CHECK_SIZE(SQA_FILTER_S, 12);
DPMGMT_CHECK_OFFSET(SQA_FILTER_S, uiFilterIp1, 0);
DPMGMT_CHECK_OFFSET(SQA_FILTER_S, uiFilterIp2, 4);
DPMGMT_CHECK_OFFSET(SQA_FILTER_S, usFilterFlag, 8);
DPMGMT_CHECK_OFFSET(SQA_FILTER_S, usReserved, 10);

/** SIP settings ("SQA-SIP"), 20 bytes. */
typedef struct SQA_SIP_DBVALUE {
    uint16_t usSipPort;  /**< SIP port */
    uint16_t usReserved1;  /**< reserved, carried as delivered */
    SQA_FILTER_S stFilter;  /**< Filter */
    uint16_t usEnable;      /**< 1 enabled, 0 disabled */
    uint16_t usReserved2;  /**< reserved, carried as delivered */
} SQA_SIP_DBVALUE_S;
DPMGMT_CHECK_SIZE(SQA_SIP_DBVALUE_S, 20);
DPMGMT_CHECK_OFFSET(SQA_SIP_DBVALUE_S, usSipPort, 0);
DPMGMT_CHECK_OFFSET(SQA_SIP_DBVALUE_S, usReserved1, 2);
DPMGMT_CHECK_OFFSET(SQA_SIP_DBVALUE_S, stFilter, 4);
DPMGMT_CHECK_OFFSET(SQA_SIP_DBVALUE_S, usEnable, 16);
DPMGMT_CHECK_OFFSET(SQA_SIP_DBVALUE_S, usReserved2, 18);

/** H.323 settings ("SQA-H323"), 16 bytes: the enable switch comes first. */
typedef struct SQA_H323_DBVALUE {
    uint16_t usEnable;  /**< Enable */
    uint16_t usH225Port;  /**< H 225 port */
    SQA_FILTER_S stFilter;  /**< Filter */
} SQA_H323_DBVALUE_S;
DPMGMT_CHECK_SIZE(SQA_H323_DBVALUE_S, 16);
DPMGMT_CHECK_OFFSET(SQA_H323_DBVALUE_S, usEnable, 0);
DPMGMT_CHECK_OFFSET(SQA_H323_DBVALUE_S, usH225Port, 2);
DPMGMT_CHECK_OFFSET(SQA_H323_DBVALUE_S, stFilter, 4);

/** Remark entry, 12 bytes; sorted by the two keys. */
typedef struct SQA_REMARK {
    uint32_t uiRemarkKey1;  /**< Remark key 1 */
    uint32_t uiRemarkKey2;  /**< Remark key 2 */
    uint16_t usRemarkFlag;  /**< 1 adds the entry, any other value removes it */
    uint16_t usRemarkValue;  /**< Remark value */
} SQA_REMARK_S;
DPMGMT_CHECK_SIZE(SQA_REMARK_S, 12);
DPMGMT_CHECK_OFFSET(SQA_REMARK_S, uiRemarkKey1, 0);
DPMGMT_CHECK_OFFSET(SQA_REMARK_S, uiRemarkKey2, 4);
DPMGMT_CHECK_OFFSET(SQA_REMARK_S, usRemarkFlag, 8);
DPMGMT_CHECK_OFFSET(SQA_REMARK_S, usRemarkValue, 10);

/** Switch and port query (message types 84, 85), 8 bytes. */
typedef struct SQA_SWITCH_QUERY {
    uint32_t uiProtocol;    /**< which protocol the service answers for */
    uint16_t usValue;       /**< the switch or the port */
    uint8_t aucReserved[2]; /**< travel as they stand, never converted */
} SQA_SWITCH_QUERY_S;
DPMGMT_CHECK_SIZE(SQA_SWITCH_QUERY_S, 8);
DPMGMT_CHECK_OFFSET(SQA_SWITCH_QUERY_S, uiProtocol, 0);
DPMGMT_CHECK_OFFSET(SQA_SWITCH_QUERY_S, usValue, 4);
DPMGMT_CHECK_OFFSET(SQA_SWITCH_QUERY_S, aucReserved, 6);

/** Filter query (message type 86), 16 bytes.  Unlike the filter setters,
 * the query converts all three 32-bit words. */
typedef struct SQA_FILTER_QUERY {
    uint32_t uiProtocol;  /**< Protocol */
    uint32_t uiFilterIp1;  /**< Filter IP 1 */
    uint32_t uiFilterIp2;  /**< Filter IP 2 */
    uint16_t usFilterFlag;  /**< Filter flag */
    uint8_t aucReserved[2];  /**< reserved, carried as delivered */
} SQA_FILTER_QUERY_S;
DPMGMT_CHECK_SIZE(SQA_FILTER_QUERY_S, 16);
DPMGMT_CHECK_OFFSET(SQA_FILTER_QUERY_S, uiProtocol, 0);
DPMGMT_CHECK_OFFSET(SQA_FILTER_QUERY_S, uiFilterIp1, 4);
DPMGMT_CHECK_OFFSET(SQA_FILTER_QUERY_S, uiFilterIp2, 8);
DPMGMT_CHECK_OFFSET(SQA_FILTER_QUERY_S, usFilterFlag, 12);
DPMGMT_CHECK_OFFSET(SQA_FILTER_QUERY_S, aucReserved, 14);

/** Start time of a call: the words as the kernel keeps them (no offset on
 * year or month), 36 bytes. */
typedef struct SQA_CALL_TIME {
    uint32_t uiSecond;  /**< Second */
    uint32_t uiMinute;  /**< Minute */
    uint32_t uiHour;  /**< Hour */
    uint32_t uiDay;  /**< Day */
    uint32_t uiMonth;  /**< Month */
    uint32_t uiYear;  /**< Year */
    uint32_t auiReserved[3];  /**< reserved, carried as delivered */
} SQA_CALL_TIME_S;
DPMGMT_CHECK_SIZE(SQA_CALL_TIME_S, 36);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiSecond, 0);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiMinute, 4);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiHour, 8);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiDay, 12);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiMonth, 16);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, uiYear, 20);
DPMGMT_CHECK_OFFSET(SQA_CALL_TIME_S, auiReserved, 24);

/** Brief SIP call entry (item type 27), 84 bytes.  Addresses stay in
 * network order; ports are converted. */
typedef struct SQA_SIP_CALLENTRY {
    char szCallId[65];  /**< Call ID */
    uint8_t aucReserved1[3];  /**< reserved, carried as delivered */
    uint32_t uiCallerIp;  /**< Caller IP */
    uint16_t usCallerPort;  /**< Caller port */
    uint8_t aucReserved2[2];  /**< reserved, carried as delivered */
    uint32_t uiCalleeIp;  /**< Callee IP */
    uint16_t usCalleePort;  /**< Callee port */
    uint8_t aucReserved3[2];  /**< reserved, carried as delivered */
} SQA_SIP_CALLENTRY_S;
/** Checks the brief call entry's layout, under the name given. */
#define SQA_CHECK_CALLENTRY_LAYOUT(type) \
    DPMGMT_CHECK_SIZE(type, 84); \
    DPMGMT_CHECK_OFFSET(type, szCallId, 0); \
    DPMGMT_CHECK_OFFSET(type, aucReserved1, 65); \
    DPMGMT_CHECK_OFFSET(type, uiCallerIp, 68); \
    DPMGMT_CHECK_OFFSET(type, usCallerPort, 72); \
    DPMGMT_CHECK_OFFSET(type, aucReserved2, 74); \
    DPMGMT_CHECK_OFFSET(type, uiCalleeIp, 76); \
    DPMGMT_CHECK_OFFSET(type, usCalleePort, 80); \
    DPMGMT_CHECK_OFFSET(type, aucReserved3, 82)
/** @cond */
SQA_CHECK_CALLENTRY_LAYOUT(SQA_SIP_CALLENTRY_S);
/** @endcond */

/** Brief H.323 call entry (item type 31): the brief SIP layout. */
typedef SQA_SIP_CALLENTRY_S SQA_H323_CALLENTRY_S;
/** @cond */
SQA_CHECK_CALLENTRY_LAYOUT(SQA_H323_CALLENTRY_S);
/** @endcond */

/** Verbose SIP call entry (item type 28), 384 bytes.  The MOS words are in
 * host order as delivered; the driver contexts are not converted. */
typedef struct SQA_SIP_CALLENTRY_VERBOSE {
    char szCallId[65];  /**< Call ID */
    uint8_t aucReserved1[3];  /**< reserved, carried as delivered */
    uint32_t uiCallIndex;           /**< not displayed */
    uint8_t ucMediaType;            /**< 1 audio, any other value video */
    uint8_t aucReserved2[3];  /**< reserved, carried as delivered */
    uint32_t uiCallerIp;  /**< Caller IP */
    uint16_t usCallerPort;  /**< Caller port */
    uint8_t aucCallerMac[6];  /**< Caller MAC */
    uint32_t uiCalleeIp;  /**< Callee IP */
    uint16_t usCalleePort;  /**< Callee port */
    uint8_t aucReserved3[2];  /**< reserved, carried as delivered */
    uint64_t ulFwdPackets;  /**< Forward packets */
    uint64_t ulFwdOctets;  /**< Forward octets */
    uint64_t ulRevPackets;  /**< Reverse packets */
    uint64_t ulRevOctets;  /**< Reverse octets */
    uint16_t usVlanId;              /**< 0 and 65535: none */
    uint8_t aucReserved4[2];  /**< reserved, carried as delivered */
    uint32_t uiFwdMos;              /**< MOS x 100; SQA_MOS_NONE: none */
    uint32_t uiRevMos;  /**< Reverse MOS */
    uint8_t aucCalleeMac[6];  /**< Callee MAC */
    uint8_t aucReserved5[2];  /**< reserved, carried as delivered */
    uint32_t auiCallerDrvContext[8];  /**< Caller driver context */
    uint32_t auiCalleeDrvContext[8];  /**< Callee driver context */
    SQA_CALL_TIME_S stStartTime;  /**< Start time */
    char szCallerTag[65];  /**< Caller tag */
    char szCalleeTag[65];  /**< Callee tag */
    uint8_t aucReserved6[6];  /**< reserved, carried as delivered */
} SQA_SIP_CALLENTRY_VERBOSE_S;
DPMGMT_CHECK_SIZE(SQA_SIP_CALLENTRY_VERBOSE_S, 384);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, szCallId, 0);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved1, 65);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, uiCallIndex, 68);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, ucMediaType, 72);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved2, 73);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, uiCallerIp, 76);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, usCallerPort, 80);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucCallerMac, 82);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, uiCalleeIp, 88);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, usCalleePort, 92);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved3, 94);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdPackets, 96);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, ulFwdOctets, 104);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevPackets, 112);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, ulRevOctets, 120);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, usVlanId, 128);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved4, 130);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, uiFwdMos, 132);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, uiRevMos, 136);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucCalleeMac, 140);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved5, 146);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, auiCallerDrvContext, 148);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, auiCalleeDrvContext, 180);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, stStartTime, 212);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, szCallerTag, 248);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, szCalleeTag, 313);
DPMGMT_CHECK_OFFSET(SQA_SIP_CALLENTRY_VERBOSE_S, aucReserved6, 378);

/** Verbose H.323 call entry (item types 32 and 33), 472 bytes.  Every
 * number is converted (the MOS words too), except the driver contexts. */
typedef struct SQA_H323_CALLENTRY_VERBOSE {
    char szCallId[65];  /**< Call ID */
    char szGuid[67];  /**< GUID */
    uint32_t uiH245Ip;  /**< H 245 IP */
    uint16_t usH245Port;  /**< H 245 port */
    uint8_t aucReserved1[2];  /**< reserved, carried as delivered */
    uint32_t uiSessionId;  /**< Session ID */
    uint16_t usMediaType;           /**< 1 audio, 2 video, other unknown */
    uint8_t aucReserved2[2];  /**< reserved, carried as delivered */
    uint32_t uiCallerIp;  /**< Caller IP */
    uint32_t uiCalleeIp;  /**< Callee IP */
    uint16_t usCallerPort;  /**< Caller port */
    uint16_t usCalleePort;  /**< Callee port */
    uint8_t ucAppProtoId;           /**< 0: none */
    uint8_t aucCallerMac[6];  /**< Caller MAC */
    uint8_t aucCalleeMac[6];  /**< Callee MAC */
    uint8_t aucReserved3[3];  /**< reserved, carried as delivered */
    uint64_t ulFwdPackets;  /**< Forward packets */
    uint64_t ulFwdOctets;  /**< Forward octets */
    uint64_t ulRevPackets;  /**< Reverse packets */
    uint64_t ulRevOctets;  /**< Reverse octets */
    uint16_t usVlanId;              /**< 0 and 65535: none */
    uint8_t aucReserved4[2];  /**< reserved, carried as delivered */
    SQA_CALL_TIME_S stStartTime;  /**< Start time */
    uint32_t uiFwdMos;              /**< MOS x 100; SQA_MOS_NONE: none */
    uint32_t uiRevMos;  /**< Reverse MOS */
    uint64_t ulReserved;            /**< not displayed */
    uint32_t auiCallerDrvContext[8];  /**< Caller driver context */
    uint32_t auiCalleeDrvContext[8];  /**< Callee driver context */
    char szSrcAlias[132];           /**< empty: none */
    uint32_t uiVxlanId;             /**< all ones: none */
    uint32_t uiSamplingRate;  /**< Sampling rate */
    uint8_t aucReserved5[4];  /**< reserved, carried as delivered */
} SQA_H323_CALLENTRY_VERBOSE_S;
DPMGMT_CHECK_SIZE(SQA_H323_CALLENTRY_VERBOSE_S, 472);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, szCallId, 0);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, szGuid, 65);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiH245Ip, 132);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, usH245Port, 136);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucReserved1, 138);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiSessionId, 140);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, usMediaType, 144);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucReserved2, 146);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiCallerIp, 148);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiCalleeIp, 152);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, usCallerPort, 156);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, usCalleePort, 158);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ucAppProtoId, 160);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucCallerMac, 161);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucCalleeMac, 167);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucReserved3, 173);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdPackets, 176);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ulFwdOctets, 184);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ulRevPackets, 192);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ulRevOctets, 200);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, usVlanId, 208);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucReserved4, 210);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, stStartTime, 212);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiFwdMos, 248);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiRevMos, 252);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, ulReserved, 256);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, auiCallerDrvContext, 264);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, auiCalleeDrvContext, 296);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, szSrcAlias, 328);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiVxlanId, 460);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, uiSamplingRate, 464);
DPMGMT_CHECK_OFFSET(SQA_H323_CALLENTRY_VERBOSE_S, aucReserved5, 468);

/** Call statistics (the first 56 bytes of the kernel's reply), 56 bytes. */
typedef struct SQA_CALL_STATISTICS {
    uint64_t ulTotalCalls;  /**< Total calls */
    uint64_t ulActiveCalls;  /**< Active calls */
    uint64_t ulSuccessCalls;  /**< Success calls */
    uint64_t ulTimeoutCalls;  /**< Timeout calls */
    uint64_t ulReserved;            /**< counted by the kernel, not displayed */
    uint64_t ulAbnormalCalls;  /**< Abnormal calls */
    uint32_t uiReserved;            /**< not displayed */
    uint8_t aucReserved[4];  /**< reserved, carried as delivered */
} SQA_CALL_STATISTICS_S;
DPMGMT_CHECK_SIZE(SQA_CALL_STATISTICS_S, 56);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulTotalCalls, 0);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulActiveCalls, 8);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulSuccessCalls, 16);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulTimeoutCalls, 24);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulReserved, 32);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, ulAbnormalCalls, 40);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, uiReserved, 48);
DPMGMT_CHECK_OFFSET(SQA_CALL_STATISTICS_S, aucReserved, 52);

#define SQA_DEBUG_EVENT 0x1u   /**< event debugging is on */
#define SQA_DEBUG_ERROR 0x2u   /**< error debugging is on */
#define SQA_DEBUG_PACKET 0x4u  /**< packet debugging is on */
/** Debugging switches of one protocol, 8 bytes. */
typedef struct SQA_DEBUG_SWITCH {
    uint32_t uiSwitchBits;          /**< SQA_DEBUG_* */
    uint16_t usValue;               /**< not displayed */
    uint8_t aucReserved[2];  /**< reserved, carried as delivered */
} SQA_DEBUG_SWITCH_S;
DPMGMT_CHECK_SIZE(SQA_DEBUG_SWITCH_S, 8);
DPMGMT_CHECK_OFFSET(SQA_DEBUG_SWITCH_S, uiSwitchBits, 0);
DPMGMT_CHECK_OFFSET(SQA_DEBUG_SWITCH_S, usValue, 4);
DPMGMT_CHECK_OFFSET(SQA_DEBUG_SWITCH_S, aucReserved, 6);

/* ===================================================== configuration store ==
 * Database "gSqa" of module "sqa".  Numbers are stored in network order,
 * filter address words as given.  Call SQA_DB_Init before the setters,
 * SQA_DB_SetSqaView and SQA_DB_SetRemark; SQA_DB_Fini at the end.  No
 * locks: the caller serialises configuration changes. */

/** Handle of "gSqa"; SQA_DB_INVALID_HANDLE (-1) while closed. */
DPMGMT_API extern uint64_t g_hSqaGlobalCfgHandle;
/** The current settings in host order, loaded and refreshed by the caller;
 * the setters compare against them and never write them. */
DPMGMT_API extern SQA_SIP_DBVALUE_S g_stSqaSipDbValue;
DPMGMT_API extern SQA_H323_DBVALUE_S g_stSqaH323DbValue;  /**< the loaded H.323 record */

/** Opens "gSqa" with mode 7 into g_hSqaGlobalCfgHandle; 0 or 0x40010001. */
DPMGMT_API uint32_t SQA_DB_Init(void);
/** Closes the handle if open. */
DPMGMT_API void SQA_DB_Fini(void);
/** Opens the named database of module "sqa"; the handle or -1. */
DPMGMT_API uint64_t SQA_DB_Open(const char *dbName, uint32_t mode);
/** The open handle, else opens the named database with mode 1 and keeps its
 * handle; -1 on failure. */
DPMGMT_API uint64_t SQA_DB_OpenForRead(const char *dbName);
/** DBM_Batch_Proc over "gSqa" with no target; its result. */
DPMGMT_API int32_t SQA_DB_RecoverCfg(const void *batch, uint32_t count);

/** Setters: 0 (also when the value equals the loaded one: nothing is
 * written) or 0x40010001. */
DPMGMT_API uint32_t SQA_DB_SetSipEnable(uint16_t enable);
/** Stores the SIP port. */
DPMGMT_API uint32_t SQA_DB_SetSipPort(uint16_t port);
/** Stores the SIP address filter. */
DPMGMT_API uint32_t SQA_DB_SetSipFilterIp(const SQA_FILTER_S *filter);
/** Stores the H.323 switch. */
DPMGMT_API uint32_t SQA_DB_SetH323Enable(uint16_t enable);
/** Stores the H.225 port. */
DPMGMT_API uint32_t SQA_DB_SetH225Port(uint16_t port);
/** Stores the H.323 address filter. */
DPMGMT_API uint32_t SQA_DB_SetH323FilterIp(const SQA_FILTER_S *filter);
/** Operation 1 writes the record under "SQA-H323" (0x40010006 when the key
 * exists); any other deletes the key if present. */
DPMGMT_API uint32_t SQA_DB_SetSqaView(uint16_t operation, const SQA_H323_DBVALUE_S *value);

/** Readers: the byte count the database gave (> 0), or <= 0.  A shorter
 * value is padded with zeros, a longer one cut.  The SIP reader leaves the
 * out record's two reserved words as they were. */
DPMGMT_API int32_t SQA_DB_GetSipValue(uint64_t handle, const void *key, uint64_t keyLen, SQA_SIP_DBVALUE_S *value);
/** Reads the stored SIP record under its own key. */
DPMGMT_API int32_t SQA_DB_GetSipDBValue(uint64_t handle, SQA_SIP_DBVALUE_S *value);
/** Reads an H.323 record stored under key. */
DPMGMT_API int32_t SQA_DB_GetH323Value(uint64_t handle, const void *key, uint64_t keyLen,
                                       SQA_H323_DBVALUE_S *value);
/** Reads the stored H.323 record under its own key. */
DPMGMT_API int32_t SQA_DB_GetH323DBValue(uint64_t handle, SQA_H323_DBVALUE_S *value);
/** The loaded SIP record the setters compare against. */
DPMGMT_API SQA_SIP_DBVALUE_S *SQA_DB_GetGlobalSipDbValue(void);
/** The loaded H.323 record the setters compare against. */
DPMGMT_API SQA_H323_DBVALUE_S *SQA_DB_GetGlobalH323DbValue(void);

/** The view ("SQA-SIP" exists).  These open "gSqa" themselves (mode 2). */
DPMGMT_API uint32_t SQA_DB_AddSqaView(void);
/** 1 when the view exists, else 0. */
DPMGMT_API uint32_t SQA_DB_ChkSqaViewExist(void);
/** Deletes the view. */
DPMGMT_API uint32_t SQA_DB_DelSqaView(void);

/** Formats "SQA-REMARK" into buffer; returns its length plus one. */
DPMGMT_API uint32_t sqa_db_GetRemarkKey(uint32_t size, char *buffer);
/** Adds (usRemarkFlag 1) or removes the entry; removing the last one
 * deletes the list.  0 or 0x40010001. */
DPMGMT_API uint32_t SQA_DB_SetRemark(const SQA_REMARK_S *remark);

/* ================================================================ commands ==
 * One exchange with the session service each.  Set commands return the
 * service's result code; get commands return 0 and replace the caller's
 * record, or 0x40010001 and leave it as it was. */
/** Turns SIP analysis on or off in the service. */
DPMGMT_API uint32_t SQA_IPC_SetSipEnable(uint16_t enable);
/** Sets the SIP port in the service. */
DPMGMT_API uint32_t SQA_IPC_SetSipPort(uint16_t port);
/** Sets the SIP debugging switches in the service. */
DPMGMT_API uint32_t SQA_IPC_SetSipDbg(uint32_t first, uint16_t second);
/** The address words are sent exactly as given (network order). */
DPMGMT_API uint32_t SQA_IPC_SetSipFilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag);
/** Turns H.323 analysis on or off in the service. */
DPMGMT_API uint32_t SQA_IPC_SetH323Enable(uint16_t enable);
/** Sets the H.225 port in the service. */
DPMGMT_API uint32_t SQA_IPC_SetH225Port(uint16_t port);
/** Sets the H.323 address filter in the service. */
DPMGMT_API uint32_t SQA_IPC_SetH323FilterIp(uint32_t uiFilterIp1, uint32_t uiFilterIp2, uint16_t usFilterFlag);
/** Sets the view in the service. */
DPMGMT_API uint32_t SQA_IPC_SetSqaView(uint16_t value);
/** Sets the H.323 debugging switches in the service. */
DPMGMT_API uint32_t SQA_IPC_SetH323Dbg(uint32_t first, uint16_t second);
/** Adds or removes a remark entry in the service. */
DPMGMT_API uint32_t SQA_IPC_SetRemark(const SQA_REMARK_S *remark);
/** Reads a remark entry, replacing *remark on success. */
DPMGMT_API uint32_t SQA_IPC_GetRemark(SQA_REMARK_S *remark);
/** Reads a protocol's switch, replacing *query_ on success. */
DPMGMT_API uint32_t SQA_IPC_GetSqaEnable(SQA_SWITCH_QUERY_S *query);
/** Reads a protocol's port, replacing *query_ on success. */
DPMGMT_API uint32_t SQA_IPC_GetListeningPort(SQA_SWITCH_QUERY_S *query);
/** Reads a protocol's address filter, replacing *query_ on success. */
DPMGMT_API uint32_t SQA_IPC_GetFilterAddress(SQA_FILTER_QUERY_S *query);

/* ================================================================ displays ==
 * Write to standard output, lines ending in LF.  A dump that cannot be
 * opened prints nothing and returns 0. */

/** Brief table of the SIP calls on node; 0x40010001 when no buffer. */
DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntry(uint16_t node);
/** Verbose blocks of the SIP calls matching callId (a 65-byte buffer, the
 * dump key); showContext 1 adds the driver contexts.  Returns 0. */
DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntryVerbose(uint16_t node, const char *callId, uint16_t showContext);
/** Brief table of the H.323 calls on node; 0x40010001 when no buffer. */
DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntry(uint16_t node);
/** Verbose and probe blocks of the H.323 calls matching callId (text, at
 * most 64 characters used).  Return 0. */
DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntryVerbose(uint16_t node, const char *callId);
/** Prints the probe blocks of the H.323 calls matching callId. */
DPMGMT_API uint32_t SQA_DUMP_ProbeDisH323CallEntry(uint16_t node, const char *callId);

/** Call statistics and debugging switches of the local node: 0 or the
 * control call's result (nothing printed then). */
DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntryStatistics(void);
/** Prints the H.323 call statistics. */
DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntryStatistics(void);
/** protocol 1: H.323, any other: SIP.  Fills statistics in host order; a
 * short reply leaves the rest of the record as it was.  0, 0x40010001 for
 * a null record, or the control call's result (record untouched). */
DPMGMT_API uint32_t SQA_DUMP_PullStatistics(uint32_t protocol, SQA_CALL_STATISTICS_S *statistics);
/** Prints the SIP debugging switches that are on. */
DPMGMT_API uint32_t SQA_DUMP_DisDebugFlag(void);
/** Prints the H.323 debugging switches that are on. */
DPMGMT_API uint32_t SQA_DUMP_DisH323DebugFlag(void);

/* ============================================================ DSCP keywords ==
 * A typed text matches a keyword when it is a leading part of it, letter
 * case aside. */

/** 0 when the text selects exactly one keyword, else 0x40010001. */
DPMGMT_API uint32_t SQA_CLI_CheckDscp(const char *text);
/** The value of the first keyword the text matches, or SQA_DSCP_NONE. */
DPMGMT_API uint16_t SQA_CLI_DscpStr2Value(const char *text);
/** The keyword of the value, or the value in decimal in a 16-byte buffer
 * owned by the library and overwritten by the next such call. */
DPMGMT_API const char *SQA_CLI_DscpValue2Str(uint16_t value);
/** Adds a help line for every keyword the text matches ("?": all). */
DPMGMT_API uint32_t SQA_CLI_HelpDscp(const char *typed, uint32_t unused1, uint32_t unused2, void *helpContext);
/** "sip" (0), "h323" (1), null for any other index. */
DPMGMT_API const char *sqa_GetAppProtoName(uint32_t index);

/** @} */

DPMGMT_EXTERN_C_END

#endif
