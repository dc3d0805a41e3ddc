/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 * @brief The session table's records, their byte-order converters and vocabulary. */
#ifndef DPMGMT_SESSION_RECORDS_H
#define DPMGMT_SESSION_RECORDS_H

#include "dpmgmt/api.h"
#include "dpmgmt/result.h"

DPMGMT_EXTERN_C_BEGIN

/** @defgroup session_records Session records
 * @brief Records exchanged with the session service and the kernel, their converters, names and interface checks.
 *
 * Keys handed to the library are in host order (IPv4 addresses as host-order
 * 32-bit numbers in the first 4 bytes of an address slot); entries delivered
 * by the kernel keep their addresses in network order and have only their
 * numeric fields converted.
 * @{ */

#define SESSION_AF_IPV4 2u  /**< family byte of an IPv4 tuple or key */
#define SESSION_AF_IPV6 10u  /**< family byte of an IPv6 tuple or key */
#define SESSION_TTL_NONE 0xFFFFFFFFu  /**< an entry without a time to live */
#define SESSION_GRE_PROTOCOL 47u  /**< IP protocol number of GRE */
#define SESSION_GRE_TYPE 0x880Bu  /**< GRE protocol type whose ports are a call ID */

/** Flags of a tuple (byte 2). */
#define SESSION_TUPLE_FLAG_VLAN_MASK 0x03u /**< the identifier at 44 is a VLAN ID */
#define SESSION_TUPLE_FLAG_VLL 0x04u       /**< VLL / inline ID; Mcfs: inbound entry */

/** One direction of a connection, 48 bytes. */
typedef struct SESSION_TUPLE {
    uint8_t ucFamily;        /**< 2 = IPv4, anything else IPv6 */
    uint8_t ucProtocol;      /**< IP protocol number */
    uint8_t ucFlags;         /**< SESSION_TUPLE_FLAG_* */
    uint8_t ucReserved;  /**< reserved, carried as delivered */
    uint8_t aucSrcAddr[16];  /**< IPv4 in the first 4 bytes */
    uint8_t aucDstAddr[16];  /**< Dst addr */
    uint16_t usSrcPort;      /**< GRE 0x880B: the GRE protocol type */
    uint16_t usDstPort;      /**< GRE 0x880B: the call ID */
    uint32_t uiReserved;  /**< reserved, carried as delivered */
    uint16_t usVrfIndex;     /**< VPN instance index, VLAN ID or VLL ID */
    uint8_t aucReserved[2];  /**< reserved, carried as delivered */
} SESSION_TUPLE_S;
DPMGMT_CHECK_SIZE(SESSION_TUPLE_S, 48);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, ucFamily, 0);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, ucProtocol, 1);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, ucFlags, 2);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, ucReserved, 3);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, aucSrcAddr, 4);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, aucDstAddr, 20);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usSrcPort, 36);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usDstPort, 38);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, uiReserved, 40);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usVrfIndex, 44);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, aucReserved, 46);

/** Selects one session (resets, fast-forward dump key), 64 bytes. */
typedef struct SESSION_TABLEKEY {
    SESSION_TUPLE_S stTuple;  /**< Tuple */
    uint32_t uiKeyWord1;  /**< Key word 1 */
    uint32_t uiKeyWord2;  /**< Key word 2 */
    uint8_t aucReserved[8];  /**< reserved, carried as delivered */
} SESSION_TABLEKEY_S;
DPMGMT_CHECK_SIZE(SESSION_TABLEKEY_S, 64);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, stTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, uiKeyWord1, 48);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, uiKeyWord2, 52);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, aucReserved, 56);

/** Filter key of the session dumps, 88 bytes. */
typedef struct SESSION_DUMPKEY {
    uint8_t aucAddr1[16];  /**< Addr 1 */
    uint8_t aucAddr2[16];  /**< Addr 2 */
    uint8_t aucAddr3[16];  /**< Addr 3 */
    uint8_t aucAddr4[16];  /**< Addr 4 */
    uint16_t usFilter1;  /**< Filter 1 */
    uint16_t usFilter2;  /**< Filter 2 */
    uint16_t usFilter3;  /**< Filter 3 */
    uint8_t aucReserved1[2];  /**< reserved, carried as delivered */
    uint32_t uiFilter4;  /**< Filter 4 */
    uint32_t uiFilter5;  /**< Filter 5 */
    uint8_t ucFamily;        /**< family of the four addresses, 2 = IPv4 */
    uint8_t aucReserved2[7];  /**< reserved, carried as delivered */
} SESSION_DUMPKEY_S;
DPMGMT_CHECK_SIZE(SESSION_DUMPKEY_S, 88);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr1, 0);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr2, 16);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr3, 32);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr4, 48);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter1, 64);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter2, 66);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter3, 68);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucReserved1, 70);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, uiFilter4, 72);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, uiFilter5, 76);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, ucFamily, 80);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucReserved2, 81);

/** One session of the session and Mcfs dumps, 172 bytes. */
typedef struct SESSION_TABLEINFO {
    SESSION_TUPLE_S astTuple[2];      /**< initiator, responder */
    uint8_t aucDsLitePeer[2][16];     /**< DS-Lite tunnel peers; all zero = none */
    uint32_t uiPacketsOrg;            /**< initiator to responder */
    uint32_t uiPacketsRpl;            /**< responder to initiator */
    uint32_t uiBytesOrg;  /**< Bytes, initiator to responder */
    uint32_t uiBytesRpl;  /**< Bytes, responder to initiator */
    uint32_t auiIfIndex[2];           /**< inbound interface per direction */
    uint32_t uiStartTime;             /**< seconds since the epoch */
    uint32_t uiTTL;                   /**< 0xFFFFFFFF = none */
    uint32_t uiAppId;  /**< App id */
    uint8_t ucState;  /**< State */
    uint8_t ucProtocolIndex;          /**< 0-7 */
    uint16_t usReserved1;  /**< reserved, carried as delivered */
    uint16_t usReserved2;  /**< reserved, carried as delivered */
    uint8_t aucReserved[2];  /**< reserved, carried as delivered */
} SESSION_TABLEINFO_S;
DPMGMT_CHECK_SIZE(SESSION_TABLEINFO_S, 172);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, astTuple, 0);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_TABLEINFO_S, astTuple[1]) == 48, offset_of_SESSION_TABLEINFO_S_responder);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, aucDsLitePeer, 96);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_TABLEINFO_S, aucDsLitePeer[1]) == 112,
                     offset_of_SESSION_TABLEINFO_S_responder_peer);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiPacketsOrg, 128);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiPacketsRpl, 132);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiBytesOrg, 136);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiBytesRpl, 140);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, auiIfIndex, 144);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_TABLEINFO_S, auiIfIndex[1]) == 148,
                     offset_of_SESSION_TABLEINFO_S_responder_ifindex);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiStartTime, 152);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiTTL, 156);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiAppId, 160);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, ucState, 164);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, ucProtocolIndex, 165);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, usReserved1, 166);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, usReserved2, 168);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, aucReserved, 170);

/** One fast-forward entry, 140 bytes. */
typedef struct SESSION_FASTFORWARDTABLEINFO {
    SESSION_TUPLE_S astTuple[2];  /**< Tuple */
    uint8_t aucDsLitePeer[2][16];  /**< Ds lite peer */
    uint32_t auiIfIndex[2];  /**< If index */
    uint32_t uiTTL;  /**< TTL */
} SESSION_FASTFORWARDTABLEINFO_S;
DPMGMT_CHECK_SIZE(SESSION_FASTFORWARDTABLEINFO_S, 140);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, astTuple, 0);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_FASTFORWARDTABLEINFO_S, astTuple[1]) == 48,
                     offset_of_SESSION_FASTFORWARDTABLEINFO_S_responder);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, aucDsLitePeer, 96);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_FASTFORWARDTABLEINFO_S, aucDsLitePeer[1]) == 112,
                     offset_of_SESSION_FASTFORWARDTABLEINFO_S_responder_peer);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, auiIfIndex, 128);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_FASTFORWARDTABLEINFO_S, auiIfIndex[1]) == 132,
                     offset_of_SESSION_FASTFORWARDTABLEINFO_S_responder_ifindex);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, uiTTL, 136);

/** One relation (expected connection), 76 bytes. */
typedef struct SESSION_RELATIONINFO {
    SESSION_TUPLE_S stTuple;  /**< Tuple */
    uint8_t aucDsLitePeer[16];  /**< Ds lite peer */
    uint32_t uiTTL;  /**< TTL */
    uint32_t uiAppId;  /**< App id */
    uint16_t usReserved;  /**< reserved, carried as delivered */
    uint8_t aucReserved[2];  /**< reserved, carried as delivered */
} SESSION_RELATIONINFO_S;
DPMGMT_CHECK_SIZE(SESSION_RELATIONINFO_S, 76);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, stTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, aucDsLitePeer, 48);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiTTL, 64);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiAppId, 68);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, usReserved, 72);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, aucReserved, 74);

/** Filter key of the relation detail dump, 44 bytes. */
typedef struct SESSION_RELATION_KEY {
    uint8_t aucAddr1[16];  /**< Addr 1 */
    uint8_t aucAddr2[16];  /**< Addr 2 */
    uint32_t uiKeyValue1;  /**< Key value 1 */
    uint32_t uiKeyValue2;  /**< Key value 2 */
    uint8_t ucFamily;  /**< Family */
    uint8_t aucReserved[3];  /**< reserved, carried as delivered */
} SESSION_RELATION_KEY_S;
DPMGMT_CHECK_SIZE(SESSION_RELATION_KEY_S, 44);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucAddr1, 0);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucAddr2, 16);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue1, 32);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue2, 36);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, ucFamily, 40);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucReserved, 41);

/** Attach data of a relation, 36 bytes. */
typedef struct SESSION_ATTACHINFO {
    uint32_t uiAlgLoadIfIndex;  /**< Alg load if index */
    uint32_t uiExtDsLitePeer;  /**< Ext ds lite peer */
    uint8_t aucReserved1[4];  /**< reserved, carried as delivered */
    uint8_t aucExtDstAddr[16];   /**< IPv4 in the first 4 bytes, network order */
    uint16_t usExtDstPort;  /**< Ext dst port */
    uint16_t usExtVrfIndex;      /**< VPN instance index, VLAN ID or inline ID */
    uint16_t usExtQrmId;         /**< device-context identifier */
    uint8_t ucExtProtocol;  /**< Ext protocol */
    uint8_t ucExtArpPnpFlag;  /**< Ext arp pnp flag */
} SESSION_ATTACHINFO_S;
DPMGMT_CHECK_SIZE(SESSION_ATTACHINFO_S, 36);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, uiAlgLoadIfIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, uiExtDsLitePeer, 4);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, aucReserved1, 8);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, aucExtDstAddr, 12);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, usExtDstPort, 28);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, usExtVrfIndex, 30);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, usExtQrmId, 32);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, ucExtProtocol, 34);
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, ucExtArpPnpFlag, 35);

/** Full kernel detail of one relation, 208 bytes. */
typedef struct SESSION_RELATIONINFOALL {
    SESSION_TUPLE_S stTuple;  /**< Tuple */
    SESSION_ATTACHINFO_S stAttach;  /**< Attach */
    uint8_t aucDsLitePeer[16];  /**< Ds lite peer */
    uint8_t aucReserved1[4];  /**< reserved, carried as delivered */
    uint64_t ulParent;            /**< "pstParent" */
    uint64_t ulSelfRelation;      /**< "pstSelfRelation" */
    uint32_t uiUpdateTime;  /**< Update time */
    uint32_t uiRelationFlag;  /**< Relation flag */
    uint32_t uiExpectChildDir;  /**< Expect child dir */
    uint32_t uiRecvIfIndex;  /**< Recv if index */
    uint32_t uiTTL;  /**< TTL */
    uint32_t uiAppId;  /**< App id */
    uint32_t uiTupleMask;  /**< Tuple mask */
    uint32_t uiAgingType;  /**< Aging type */
    uint32_t uiClass;  /**< Class */
    uint16_t usTupleLockIndex;  /**< Tuple lock index */
    uint16_t usLocalLockIndex;  /**< Local lock index */
    uint16_t usBakupFlag;  /**< Bakup flag */
    uint16_t usReserved1;  /**< reserved, carried as delivered */
    uint16_t usCareParentFlag;  /**< Care parent flag */
    uint8_t aucReserved2[2];  /**< reserved, carried as delivered */
    uint64_t ulNatPortBlock;      /**< "Nat portblock" */
    uint32_t uiRefCount;  /**< Ref count */
    uint16_t usNatFlag;  /**< Nat flag */
    uint16_t usPortBlockPort;  /**< Port block port */
    uint32_t uiFailGroupId;  /**< Fail group id */
    uint8_t aucReserved3[4];  /**< reserved, carried as delivered */
    uint16_t usNatPBResFlag;  /**< Nat PB res flag */
    uint8_t ucLoadShareId;  /**< Load share id */
    uint8_t aucReserved4[5];  /**< reserved, carried as delivered */
    uint64_t ulNatPatEntry;       /**< "Nat PatEntry" */
} SESSION_RELATIONINFOALL_S;
DPMGMT_CHECK_SIZE(SESSION_RELATIONINFOALL_S, 208);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, stTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, stAttach, 48);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucDsLitePeer, 84);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucReserved1, 100);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ulParent, 104);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ulSelfRelation, 112);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiUpdateTime, 120);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiRelationFlag, 124);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiExpectChildDir, 128);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiRecvIfIndex, 132);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiTTL, 136);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiAppId, 140);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiTupleMask, 144);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiAgingType, 148);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiClass, 152);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usTupleLockIndex, 156);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usLocalLockIndex, 158);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usBakupFlag, 160);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usReserved1, 162);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usCareParentFlag, 164);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucReserved2, 166);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ulNatPortBlock, 168);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiRefCount, 176);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usNatFlag, 180);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usPortBlockPort, 182);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiFailGroupId, 184);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucReserved3, 188);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usNatPBResFlag, 192);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ucLoadShareId, 194);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucReserved4, 195);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ulNatPatEntry, 200);

/** Byte-order converters: each turns, in place, exactly the numeric fields
 * its record lists; byte fields, byte arrays and uninterpreted stretches are
 * never changed. */
DPMGMT_API void SESSION_HTON_TUPLE(SESSION_TUPLE_S *tuple);
/** Turns a tuple from the kernel to host order (addresses stay network order). */
DPMGMT_API void SESSION_NTOH_TUPLE(SESSION_TUPLE_S *tuple);
/** Turns a host-order table key to network order, IPv4 addresses included. */
DPMGMT_API void SESSION_HTON_TABLEKEY(SESSION_TABLEKEY_S *key);
/** Turns a network-order table key to host order, IPv4 addresses included. */
DPMGMT_API void SESSION_NTOH_TABLEKEY(SESSION_TABLEKEY_S *key);
/** Turns a host-order dump key to network order, IPv4 addresses included. */
DPMGMT_API void SESSION_HTON_DUMPKEY(SESSION_DUMPKEY_S *key);
/** Turns a session entry from the kernel to host order. */
DPMGMT_API void SESSION_NTOH_TABLEINFO(SESSION_TABLEINFO_S *info);
/** Turns a fast-forward entry from the kernel to host order. */
DPMGMT_API void SESSION_NTOH_FASTFORWARDTABLEINFO(SESSION_FASTFORWARDTABLEINFO_S *info);
/** Turns a relation entry from the kernel to host order. */
DPMGMT_API void SESSION_NTOH_RELATIONINFO(SESSION_RELATIONINFO_S *info);
/** Turns a host-order relation key to network order, IPv4 addresses included. */
DPMGMT_API void SESSION_HTON_RELATION_KEY(SESSION_RELATION_KEY_S *key);
/** Turns a relation's attach data to host order. */
DPMGMT_API void SESSION_NTOH_ATTACHINFO(SESSION_ATTACHINFO_S *attach);
/** Turns a relation detail record, its tuple and attach data to host order. */
DPMGMT_API void SESSION_NTOH_RELATIONINFOALL(SESSION_RELATIONINFOALL_S *info);

/* ============================================ vocabulary and interfaces == */

#define SESSION_PROTOCOL_COUNT 8u      /**< protocol indexes 0-7 */
#define SESSION_STATUS_PER_PROTOCOL 10u  /**< state slots per protocol index */
#define SESSION_STATUS_NAME_COUNT 80u  /**< protocol index x 10 + state */
#define SESSION_APP_COUNT 17u          /**< application indexes 0-16 */
#define SESSION_L4_AGING_COUNT 19u     /**< layer-4 aging state indexes 0-18 */
#define SESSION_SERVICE_NAME "SESSION"  /**< the session service's name on the platform */

/** Log policy record, 16 bytes: all four words 0 means no policy is set. */
typedef struct SESSION_LOGPOLICY {
    uint32_t auiWord[4];  /**< Word */
} SESSION_LOGPOLICY_S;
DPMGMT_CHECK_SIZE(SESSION_LOGPOLICY_S, 16);

/** Traffic log record, 16 bytes: unset when the words at 0 and 8 are both
 * 0, whatever the 16-bit fields hold. */
typedef struct SESSION_TRAFFICLOG {
    uint32_t uiWord1;  /**< Word 1 */
    uint16_t usValue1;  /**< Value 1 */
    uint16_t usValue2;  /**< Value 2 */
    uint32_t uiWord2;  /**< Word 2 */
    uint16_t usValue3;  /**< Value 3 */
    uint16_t usValue4;  /**< Value 4 */
} SESSION_TRAFFICLOG_S;
DPMGMT_CHECK_SIZE(SESSION_TRAFFICLOG_S, 16);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, uiWord1, 0);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue1, 4);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue2, 6);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, uiWord2, 8);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue3, 12);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue4, 14);

/** State names, slot = protocol index x 10 + state.  Every slot is a valid
 * string: the unnamed ones share one empty string. */
DPMGMT_API extern const char *g_apcSessionStatusName[80];

/** Names and defaults.  An index outside its table gives the shared empty
 * string (names) or 0 (counts, times, checks); nothing reads past a table.
 * The returned names are static and must not be freed. */
DPMGMT_API const char *SESSION_GetProtocolName(uint32_t protocol);
/** The name of a protocol index's state. */
DPMGMT_API const char *SESSION_GetStatusName(uint32_t protocol, uint8_t state);
/** The number of states of a protocol index. */
DPMGMT_API uint32_t SESSION_GetProtocolStateCount(uint32_t protocol);
/** The name of an application index. */
DPMGMT_API const char *SESSION_GetAppName(uint32_t app);
/** The name of a layer-4 aging state index. */
DPMGMT_API const char *SESSION_GetL4AgingStatusName(uint32_t state);
/** The default aging time of an application index, in seconds. */
DPMGMT_API uint32_t SESSION_GetAppDefaultAgingTime(uint32_t app);
/** The default aging time of a layer-4 state index, in seconds. */
DPMGMT_API uint32_t SESSION_GetL4DefaultAgingTime(uint32_t state);
/** 1 when seconds equal the default of the index, else 0. */
DPMGMT_API uint32_t SESSION_IsAppDefaultAgingTime(uint32_t app, uint32_t seconds);
/** 1 when seconds equal the default of the layer-4 state, else 0. */
DPMGMT_API uint32_t SESSION_IsL4DefaultAgingTime(uint32_t state, uint32_t seconds);

/** Log records: initialise to unset; 1 when unset, else 0 (null counts as
 * unset and is never written). */
DPMGMT_API void SESSION_InitLogPolicy(SESSION_LOGPOLICY_S *policy);
/** 1 when the log policy is unset (or null), else 0. */
DPMGMT_API uint32_t SESSION_IsInvalidLogPolicy(const SESSION_LOGPOLICY_S *policy);
/** Initialises a traffic log record to unset. */
DPMGMT_API void SESSION_InitTrafficLog(SESSION_TRAFFICLOG_S *log);
/** 1 when the traffic log record is unset (or null), else 0. */
DPMGMT_API uint32_t SESSION_IsInvalidTrafficLog(const SESSION_TRAFFICLOG_S *log);

/* Interface checks (1 yes, 0 no). */
/** Global: the interface's attribute (item 25) reads 4; unknown = not global. */
DPMGMT_API uint32_t SESSION_IsGlobalIF(uint32_t ifIndex);
/** The interface relies on the node. */
DPMGMT_API uint32_t SESSION_IsNodeIF(uint32_t ifIndex, uint16_t node);
/** The local node must process the interface's configuration: it is a
 * controller, or the interface is global, or relies on it. */
DPMGMT_API uint32_t SESSION_ifcfg_need_proc(uint32_t ifIndex);
/** 1 for a node that is not a controller, else the platform's team. */
DPMGMT_API uint32_t SESSION_GetControllerTeamByLip(uint16_t lip);

/** The session service on a node: 1 when it runs; starting it returns 0
 * when it already ran, else the platform's start result. */
DPMGMT_API uint32_t SESSION_Startup_IsRunning(uint16_t node);
/** Starts the session service on the node unless it runs. */
DPMGMT_API uint32_t SESSION_Startup_Run(uint16_t node);

/** Writes the log-policy key "log-<full name>" of the interface into buf
 * (cut to size, always terminated) and returns its length with the
 * terminator; 0 and buf untouched when the interface has no name. */
DPMGMT_API uint32_t SESSION_DB_GetLogPolicyKeyByIfIndex(uint32_t ifIndex, uint32_t size, char *buf);
/** The interface of a "log-" key; 0 for any other key. */
DPMGMT_API uint32_t SESSION_DB_GetIfIndexByLogPolicyKey(const char *key);

/** @} */

DPMGMT_EXTERN_C_END

#endif
