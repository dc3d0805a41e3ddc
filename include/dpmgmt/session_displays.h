/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief Session table displays, statistics, history and hot backup. */
#ifndef DPMGMT_SESSION_DISPLAYS_H
#define DPMGMT_SESSION_DISPLAYS_H

#include "dpmgmt/session_records.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup session_displays Session displays and statistics
 * @brief Displays of the kernel's session tables, its counters, the history averages and hot backup.
 * @{ */

/* ============================================= displays and statistics == */

/** Table displays.  Each walks one kernel table dump on the node, prints
 * every entry with CR LF line ends and returns the number of entries it
 * received (0 when the dump cannot be opened); never an error code.  Keys
 * are in host order and are not changed.  verbose: 1 = verbose form, any
 * other value = brief form.  The caller prints headings and totals. */
DPMGMT_API uint32_t SESSION_DisplaySession(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose);
/** Prints the fast-forward table entries the key selects. */
DPMGMT_API uint32_t SESSION_DisplayFastforwardSession(uint16_t node, const SESSION_TABLEKEY_S *key,
                                                      uint16_t verbose);
/** Prints the Mcfs table entries the key selects. */
DPMGMT_API uint32_t SESSION_DisplayMcfsTable(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose);
/** key: one byte, sent to the kernel as it is. */
DPMGMT_API uint32_t SESSION_DisplayRelation(uint16_t node, const uint8_t *key);

/** The kernel's complete record of one session, 432 bytes.  Multi-byte
 * fields travel big-endian; the display converts them itself except the two
 * driver contexts, which are shown as delivered.  The 64-bit references are
 * kernel object identities, never followed. */
typedef struct SESSION_KERNELINFO {
    SESSION_TUPLE_S astTuple[2];        /**< initiator, responder */
    uint8_t aucDsLitePeer[2][16];       /**< all zero = none */
    uint32_t uiPacketsOrg;  /**< Packets, initiator to responder */
    uint32_t uiPacketsRpl;  /**< Packets, responder to initiator */
    uint32_t uiBytesOrg;  /**< Bytes, initiator to responder */
    uint32_t uiBytesRpl;  /**< Bytes, responder to initiator */
    uint32_t auiIfIndex[2];  /**< If index */
    uint32_t uiStartTime;               /**< seconds since the epoch */
    uint32_t uiTTL;                     /**< 0xFFFFFFFF = none */
    uint32_t uiAppId;  /**< App id */
    uint16_t usReserved1;  /**< reserved, carried as delivered */
    uint16_t usReserved2;  /**< reserved, carried as delivered */
    uint8_t ucState;  /**< State */
    uint8_t ucProtocolIndex;            /**< 0-7 */
    uint8_t aucReserved3[6];  /**< reserved, carried as delivered */
    /** base block */
    uint64_t ulSessionBase;
    uint64_t ulCacheOrg;  /**< Cache, initiator to responder (kernel reference, never followed) */
    uint64_t ulCacheRpl;  /**< Cache, responder to initiator (kernel reference, never followed) */
    uint32_t uiUpdateTime;  /**< Update time */
    uint32_t uiRefCount;  /**< Ref count */
    uint32_t uiReserved4;  /**< reserved, carried as delivered */
    uint16_t usTableFlag;  /**< Table flag */
    uint8_t ucSessionType;  /**< Session type */
    uint8_t ucSessionL4Type;  /**< Session L 4 type */
    uint16_t usBaseL3CheckSumDiff;  /**< Base L 3 check sum diff */
    uint16_t usBaseL4CheckSumDiff;  /**< Base L 4 check sum diff */
    uint8_t aucReserved5[4];  /**< reserved, carried as delivered */
    /** session block */
    uint64_t ulSessionNormal;
    uint64_t ulLogCb;  /**< Log cb (kernel reference, never followed) */
    uint64_t ulServiceCb;  /**< Service cb (kernel reference, never followed) */
    uint64_t ulServicePos;  /**< Service pos */
    uint32_t uiSessionAppId;  /**< Session app id */
    uint16_t usAttachFlag;  /**< Attach flag */
    uint16_t usModuleFlag;              /**< bit value 1: NAT block present */
    uint16_t usCfgSeq;  /**< Cfg seq */
    uint16_t usPeerLip;  /**< Peer lip */
    uint16_t usAlgFlag;  /**< Alg flag */
    uint8_t ucVrexActInbound;  /**< Vrex act inbound */
    uint8_t ucVrexActOutbound;  /**< Vrex act outbound */
    uint8_t ucVrexActZonePair;  /**< Vrex act zone pair */
    uint8_t ucAppStaticOrignalIn;  /**< App static orignal in */
    uint8_t ucAppStaticOrignalOut;  /**< App static orignal out */
    uint8_t ucAppStaticReplyIn;  /**< App static reply in */
    uint8_t ucAppStaticReplyOut;  /**< App static reply out */
    uint8_t ucArpPnpFlag;  /**< Arp pnp flag */
    uint8_t ucSessionState;  /**< Session state */
    uint8_t ucLogCfg;  /**< Log cfg */
    uint8_t ucBackupFlag;  /**< Backup flag */
    uint8_t ucUseServiceNum;  /**< Use service num */
    uint8_t ucAllocServiceNum;  /**< Alloc service num */
    uint8_t ucReserved6;  /**< reserved, carried as delivered */
    uint32_t auiDriverContext[2];       /**< as delivered, not converted */
    uint16_t usFDBFlag;  /**< FDB flag */
    uint8_t aucReserved7[2];  /**< reserved, carried as delivered */
    /** extension block */
    uint64_t ulExtSession;              /**< 0 = no extension block */
    uint64_t ulParent;  /**< Parent (kernel reference, never followed) */
    uint64_t ulAlgCb;  /**< Alg cb (kernel reference, never followed) */
    uint32_t uiSctpOrg;  /**< Sctp, initiator to responder */
    uint32_t uiSctpRpl;  /**< Sctp, responder to initiator */
    uint16_t usSessAlgType;  /**< Sess alg type */
    uint8_t ucDirAssociateParent;  /**< Dir associate parent */
    uint8_t ucVrexCfgSeq;  /**< Vrex cfg seq */
    uint8_t ucDccpOrg;  /**< Dccp, initiator to responder */
    uint8_t ucDccpRpl;  /**< Dccp, responder to initiator */
    uint8_t aucReserved8[2];  /**< reserved, carried as delivered */
    /** log block */
    uint32_t uiReserved9;
    uint32_t uiOrgPackets;  /**< Org packets */
    uint32_t uiRelyPackets;  /**< Rely packets */
    uint32_t uiOrgBytes;  /**< Org bytes */
    uint32_t uiRelyBytes;  /**< Rely bytes */
    uint16_t usReserved10;  /**< reserved, carried as delivered */
    uint8_t aucReserved11[2];  /**< reserved, carried as delivered */
    /** NAT block */
    uint64_t ulDnsSeq;
    uint64_t ulSrcNopatInfo;  /**< Src nopat info (kernel reference, never followed) */
    uint64_t ulDstNopatInfo;  /**< Dst nopat info (kernel reference, never followed) */
    uint64_t ulNatLogCb;  /**< Nat log cb (kernel reference, never followed) */
    uint16_t usCfgOrgSeq;  /**< Cfg org seq */
    uint16_t usCfgRplySeq;  /**< Cfg rply seq */
    uint8_t ucOrgFlag;  /**< Org flag */
    uint8_t ucRplyFlag;  /**< Rply flag */
    uint16_t usNatFlag;  /**< Nat flag */
    uint16_t usNatL3CheckSumDiff;  /**< Nat L 3 check sum diff */
    uint16_t usNatL4CheckSumDiff;  /**< Nat L 4 check sum diff */
    uint32_t uiIfIndexNatCfg;  /**< If index nat cfg */
    uint32_t uiIfIndexDns;  /**< If index dns */
    uint8_t ucChannel;  /**< Channel */
    uint8_t ucReserved12;  /**< reserved, carried as delivered */
    uint16_t usPortblockResFlag;  /**< Portblock res flag */
    uint8_t ucBackupMode;  /**< Backup mode */
    uint8_t ucPortblockDir;  /**< Portblock dir */
    uint8_t ucPortResDir;  /**< Port res dir */
    uint8_t ucReserved13;  /**< reserved, carried as delivered */
    uint8_t ucLoadShareId;  /**< Load share id */
    uint8_t aucReserved14[3];  /**< reserved, carried as delivered */
    uint64_t ulPatEntry;  /**< Pat entry (kernel reference, never followed) */
} SESSION_KERNELINFO_S;
DPMGMT_CHECK_SIZE(SESSION_KERNELINFO_S, 432);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, astTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucDsLitePeer, 96);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiPacketsOrg, 128);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiPacketsRpl, 132);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiBytesOrg, 136);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiBytesRpl, 140);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, auiIfIndex, 144);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiStartTime, 152);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiTTL, 156);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiAppId, 160);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usReserved1, 164);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usReserved2, 166);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucState, 168);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucProtocolIndex, 169);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved3, 170);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulSessionBase, 176);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulCacheOrg, 184);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulCacheRpl, 192);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiUpdateTime, 200);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiRefCount, 204);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiReserved4, 208);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usTableFlag, 212);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucSessionType, 214);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucSessionL4Type, 215);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usBaseL3CheckSumDiff, 216);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usBaseL4CheckSumDiff, 218);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved5, 220);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulSessionNormal, 224);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulLogCb, 232);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulServiceCb, 240);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulServicePos, 248);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiSessionAppId, 256);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usAttachFlag, 260);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usModuleFlag, 262);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usCfgSeq, 264);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usPeerLip, 266);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usAlgFlag, 268);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucVrexActInbound, 270);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucVrexActOutbound, 271);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucVrexActZonePair, 272);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucAppStaticOrignalIn, 273);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucAppStaticOrignalOut, 274);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucAppStaticReplyIn, 275);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucAppStaticReplyOut, 276);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucArpPnpFlag, 277);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucSessionState, 278);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucLogCfg, 279);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucBackupFlag, 280);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucUseServiceNum, 281);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucAllocServiceNum, 282);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucReserved6, 283);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, auiDriverContext, 284);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usFDBFlag, 292);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved7, 294);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulExtSession, 296);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulParent, 304);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulAlgCb, 312);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiSctpOrg, 320);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiSctpRpl, 324);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usSessAlgType, 328);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucDirAssociateParent, 330);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucVrexCfgSeq, 331);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucDccpOrg, 332);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucDccpRpl, 333);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved8, 334);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiReserved9, 336);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiOrgPackets, 340);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiRelyPackets, 344);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiOrgBytes, 348);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiRelyBytes, 352);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usReserved10, 356);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved11, 358);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulDnsSeq, 360);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulSrcNopatInfo, 368);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulDstNopatInfo, 376);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulNatLogCb, 384);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usCfgOrgSeq, 392);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usCfgRplySeq, 394);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucOrgFlag, 396);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucRplyFlag, 397);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usNatFlag, 398);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usNatL3CheckSumDiff, 400);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usNatL4CheckSumDiff, 402);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiIfIndexNatCfg, 404);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, uiIfIndexDns, 408);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucChannel, 412);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucReserved12, 413);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, usPortblockResFlag, 414);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucBackupMode, 416);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucPortblockDir, 417);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucPortResDir, 418);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucReserved13, 419);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ucLoadShareId, 420);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, aucReserved14, 421);
DPMGMT_CHECK_OFFSET(SESSION_KERNELINFO_S, ulPatEntry, 424);

/** Kernel detail displays: every field of the kernel's session and relation
 * objects.  Return the number of entries printed, 0 when the dump cannot be
 * opened. */
DPMGMT_API uint32_t SESSION_DisplaySessionKernel(uint16_t node, const SESSION_DUMPKEY_S *key);
/** Prints the kernel's full record of every relation the key selects. */
DPMGMT_API uint32_t SESSION_DisplayRelationInfo(uint16_t node, const SESSION_RELATION_KEY_S *key);

/** Statistics records: every listed field big-endian on the wire and in host
 * order once a query has succeeded.  The counters' meanings are the
 * kernel's. */
typedef struct SESSION_STAT {
    uint32_t uiHeader1;  /**< Header 1 */
    uint32_t uiHeader2;  /**< Header 2 */
    uint32_t auiStateCount[8][10];      /**< protocol index by state */
    uint32_t auiProtocolCount[8];  /**< Protocol count */
    uint64_t aulProtocolPair[8][2];  /**< Protocol pair */
    uint64_t ulCounter1;  /**< Counter 1 */
    uint64_t ulCounter2;  /**< Counter 2 */
    uint64_t ulCounter3;  /**< Counter 3 */
} SESSION_STAT_S;
DPMGMT_CHECK_SIZE(SESSION_STAT_S, 512);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, uiHeader1, 0);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, uiHeader2, 4);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, auiStateCount, 8);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, auiProtocolCount, 328);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, aulProtocolPair, 360);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, ulCounter1, 488);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, ulCounter2, 496);
DPMGMT_CHECK_OFFSET(SESSION_STAT_S, ulCounter3, 504);

/** Session creation failure counters. */
typedef struct SESSION_STATFAIL {
    uint32_t auiCount[17];  /**< Count */
} SESSION_STATFAIL_S;
DPMGMT_CHECK_SIZE(SESSION_STATFAIL_S, 68);

/** Mcfs counters. */
typedef struct SESSION_MCFSSTAT {
    uint32_t auiCount[3];  /**< Count */
    uint8_t aucReserved[4];             /**< passed as delivered */
    uint64_t aulCount[4];  /**< Count */
} SESSION_MCFSSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_MCFSSTAT_S, 48);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, auiCount, 0);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, aucReserved, 12);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, aulCount, 16);

/** Fast-forward counters. */
typedef struct SESSION_FDBSTAT {
    uint32_t auiCount[20];  /**< Count */
} SESSION_FDBSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_FDBSTAT_S, 80);

/** Per-interface kernel counters. */
typedef struct SESSION_IFKERNEL {
    uint32_t auiCount[4];  /**< Count */
} SESSION_IFKERNEL_S;
DPMGMT_CHECK_SIZE(SESSION_IFKERNEL_S, 16);

/** A kernel image of 928 bytes of which only some fields are converted (u32
 * at 4, 12, 16, 44, 48, 84, 88, 124, 128, 164, 168, 212, 216, 220, 244, 256,
 * 260, 284, 288, 640-772, 776-788, 808, 840, 880-888, 896-912; u64 at 792,
 * 800, 824, 832, 864, 872; u16 at 816-820, 848, 850, 856, 916-926); every
 * other byte is as the kernel delivered it.  Read fields with memcpy. */
typedef struct SESSION_STATGLOBALKERNEL {
    uint8_t aucData[928];  /**< Data */
} SESSION_STATGLOBALKERNEL_S;
DPMGMT_CHECK_SIZE(SESSION_STATGLOBALKERNEL_S, 928);

/** ALG failure counters: 18 rows of 11 and their totals. */
typedef struct SESSION_ALGFAILCNT {
    uint32_t auiRow[18][11];  /**< Row */
    uint32_t auiTotal[11];  /**< Total */
} SESSION_ALGFAILCNT_S;
DPMGMT_CHECK_SIZE(SESSION_ALGFAILCNT_S, 836);
DPMGMT_CHECK_OFFSET(SESSION_ALGFAILCNT_S, auiRow, 0);
DPMGMT_CHECK_OFFSET(SESSION_ALGFAILCNT_S, auiTotal, 792);

/** Prints the number of sessions the key selects, in total and per protocol.
 * 0, or 0x40010001 when the dump cannot be opened or its buffer cannot be
 * had (nothing printed). */
DPMGMT_API uint32_t SESSION_DisplayStatistics(uint16_t node, const SESSION_DUMPKEY_S *key);
/** Single-record queries: 0 when exactly the record came back (converted to
 * host order), else 0x40010001 and the record must not be used.  Keys are
 * host-order u32 values sent in network order. */
DPMGMT_API uint32_t SESSION_GetStatistics(uint16_t node, SESSION_STAT_S *record);
/** Reads the session failure counters. */
DPMGMT_API uint32_t SESSION_GetStatFail(uint16_t node, const uint32_t *key, SESSION_STATFAIL_S *record);
/** Reads the Mcfs counters. */
DPMGMT_API uint32_t SESSION_GetMcfsStatistics(uint16_t node, SESSION_MCFSSTAT_S *record);
/** Reads the fast-forward counters. */
DPMGMT_API uint32_t SESSION_GetFDBStatistics(uint16_t node, const uint32_t *key, SESSION_FDBSTAT_S *record);
/** Reads the per-interface kernel counters. */
DPMGMT_API uint32_t SESSION_GetIFKernelAll(uint16_t node, const uint32_t *key, SESSION_IFKERNEL_S *record);
/** On a short record: what DUMP_Pull returned. */
DPMGMT_API uint32_t SESSION_GetStatGlobalKernelAll(uint16_t node, SESSION_STATGLOBALKERNEL_S *record);
/** key: two host-order u32. */
DPMGMT_API uint32_t SESSION_Get_AlgFailCnt(uint16_t node, const uint32_t *key, SESSION_ALGFAILCNT_S *record);
/** The kernel's result code, or 0x40010001. */
DPMGMT_API uint32_t SESSION_ResetAlgStatistics(uint16_t node);
/** key: 8 bytes, a host-order u32, a host-order u16 and two bytes sent as
 * they are.  The kernel's result code, or 0x40010001. */
DPMGMT_API uint32_t SESSION_Set_AlgStatSwitch(uint16_t node, const void *key);
/** Prints the aging queue state of every core and the totals.  0, or
 * 0x40010001 when its buffer cannot be had. */
DPMGMT_API uint32_t SESSION_GetAgingqueueState(uint16_t node);

/* ============================================= history and hot backup === */

/** A history query, host order. */
typedef struct SESSION_HISQUERY {
    uint32_t uiPeriod;                  /**< 0 past hour, 1 past 24 hours, 2 past 30 days */
    uint32_t uiSamples;                 /**< samples wanted */
    uint16_t usSampleSize;              /**< bytes of one sample */
    uint8_t aucReserved[2];             /**< passed to the kernel as they are */
} SESSION_HISQUERY_S;
DPMGMT_CHECK_SIZE(SESSION_HISQUERY_S, 12);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, uiPeriod, 0);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, uiSamples, 4);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, usSampleSize, 8);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, aucReserved, 10);

/** History averages, host order: sessions over 30 days, hour, 24 hours, then
 * establishment rate over 30 days, hour, 24 hours. */
typedef struct SESSION_HISAVG {
    uint32_t auiAverage[6];  /**< Average */
} SESSION_HISAVG_S;
DPMGMT_CHECK_SIZE(SESSION_HISAVG_S, 24);

/** Reads one period's samples (12 bytes each, left in network order) into
 * buffer, never past bufferSize.  0 and *count = samples received, or
 * 0x40010001 (count untouched) when the samples asked for exceed bufferSize
 * or the dump cannot be opened. */
DPMGMT_API uint32_t SESSION_GetHisStatics(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t bufferSize,
                                          void *buffer, uint32_t *count);
/** The two averages of one period; both left untouched when memory is
 * short.  The sums are divided by the samples asked for. */
DPMGMT_API void _session_HisComData_Get(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t *countAverage,
                                        uint32_t *rateAverage);
/** Fills the six history averages of the node. */
DPMGMT_API void SESSION_HisCom_GetStatics(uint16_t node, SESSION_HISAVG_S *averages);
/** Prints the averages; lines end in LF CR. */
DPMGMT_API void SESSION_HisCom_DisplayStatics(const SESSION_HISAVG_S *averages);
/** Collects the 24-byte top-statistics samples of every node, one node's
 * after the other's, into buffer (allow 49152 bytes per node); *count
 * receives their number.  0, or 0x40010001 when memory is short. */
DPMGMT_API uint32_t Session_GetTopStatTick(uint32_t nodeCount, const uint16_t *nodes, uint32_t *count,
                                           void *buffer);

/** Hot backup.  The message exchanges return the transport failure, else
 * the reply's value in host order. */
DPMGMT_API uint32_t HOTBACKUP_Ipc_GetDebug(uint32_t *setting);
/** Sets the hot-backup debugging switch. */
DPMGMT_API uint32_t HOTBACKUP_Ipc_SetDebug(uint32_t value32, uint16_t value16);
/** Clears the hot-backup statistics. */
DPMGMT_API uint32_t HOTBACKUP_Ipc_ResetStatistics(uint16_t value16);

/** The hot-backup counters of one peer, 32 bytes, in host order as the
 * kernel keeps them (not converted). */
typedef struct SESSION_HOTBACKSTAT {
    uint64_t ulSendOk;  /**< Send ok */
    uint64_t ulSendFail;  /**< Send fail */
    uint64_t ulRecvOk;  /**< Recv ok */
    uint8_t aucReserved[8];  /**< reserved, carried as delivered */
} SESSION_HOTBACKSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_HOTBACKSTAT_S, 32);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulSendOk, 0);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulSendFail, 8);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulRecvOk, 16);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, aucReserved, 24);

/** Backup messages still waiting on the node; 0 when they cannot be read. */
DPMGMT_API uint32_t SESSION_GetHotBackRemainMsg(uint16_t node);
/** 0 when the whole record came back, else 0x40010001. */
DPMGMT_API uint32_t SESSION_GetHotBackStatistics(uint16_t node, uint16_t peer, SESSION_HOTBACKSTAT_S *record);
/** Prints the remaining messages and the counters of every other node that
 * is up. */
DPMGMT_API void HOTBACKUP_DisplayStatistics(uint16_t node);

/** @} */

DPMGMT_EXTERN_C_END

#endif
