/* dpmgmt: the session (connection) table.
 *
 * Records exchanged with the session service and the kernel, their byte
 * order converters, the session vocabulary, settings commands, displays,
 * statistics, history and hot backup.
 *
 * Keys handed to the library are in host order (IPv4 addresses as host-order
 * 32-bit numbers in the first 4 bytes of an address slot); entries delivered
 * by the kernel keep their addresses in network order and have only their
 * numeric fields converted. */
#ifndef DPMGMT_SESSION_H
#define DPMGMT_SESSION_H

#include "dpmgmt/channels.h"

DPMGMT_EXTERN_C_BEGIN

/* ======================================================= records (wire) == */

#define SESSION_AF_IPV4 2u
#define SESSION_AF_IPV6 10u
#define SESSION_TTL_NONE 0xFFFFFFFFu
#define SESSION_GRE_PROTOCOL 47u
#define SESSION_GRE_TYPE 0x880Bu

/* Flags of a tuple (byte 2). */
#define SESSION_TUPLE_FLAG_VLAN_MASK 0x03u /* the identifier at 44 is a VLAN ID */
#define SESSION_TUPLE_FLAG_VLL 0x04u       /* VLL / inline ID; Mcfs: inbound entry */

/* One direction of a connection, 48 bytes. */
typedef struct SESSION_TUPLE {
    uint8_t ucFamily;        /* 2 = IPv4, anything else IPv6 */
    uint8_t ucProtocol;      /* IP protocol number */
    uint8_t ucFlags;         /* SESSION_TUPLE_FLAG_* */
    uint8_t ucReserved;
    uint8_t aucSrcAddr[16];  /* IPv4 in the first 4 bytes */
    uint8_t aucDstAddr[16];
    uint16_t usSrcPort;      /* GRE 0x880B: the GRE protocol type */
    uint16_t usDstPort;      /* GRE 0x880B: the call ID */
    uint32_t uiReserved;
    uint16_t usVrfIndex;     /* VPN instance index, VLAN ID or VLL ID */
    uint8_t aucReserved[2];
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

/* Selects one session (resets, fast-forward dump key), 64 bytes. */
typedef struct SESSION_TABLEKEY {
    SESSION_TUPLE_S stTuple;
    uint32_t uiKeyWord1;
    uint32_t uiKeyWord2;
    uint8_t aucReserved[8];
} SESSION_TABLEKEY_S;
DPMGMT_CHECK_SIZE(SESSION_TABLEKEY_S, 64);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, stTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, uiKeyWord1, 48);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, uiKeyWord2, 52);
DPMGMT_CHECK_OFFSET(SESSION_TABLEKEY_S, aucReserved, 56);

/* Filter key of the session dumps, 88 bytes. */
typedef struct SESSION_DUMPKEY {
    uint8_t aucAddr1[16];
    uint8_t aucAddr2[16];
    uint8_t aucAddr3[16];
    uint8_t aucAddr4[16];
    uint16_t usFilter1;
    uint16_t usFilter2;
    uint16_t usFilter3;
    uint8_t aucReserved1[2];
    uint32_t uiFilter4;
    uint32_t uiFilter5;
    uint8_t ucFamily;        /* family of the four addresses, 2 = IPv4 */
    uint8_t aucReserved2[7];
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

/* One session of the session and Mcfs dumps, 172 bytes. */
typedef struct SESSION_TABLEINFO {
    SESSION_TUPLE_S astTuple[2];      /* initiator, responder */
    uint8_t aucDsLitePeer[2][16];     /* DS-Lite tunnel peers; all zero = none */
    uint32_t uiPacketsOrg;            /* initiator to responder */
    uint32_t uiPacketsRpl;            /* responder to initiator */
    uint32_t uiBytesOrg;
    uint32_t uiBytesRpl;
    uint32_t auiIfIndex[2];           /* inbound interface per direction */
    uint32_t uiStartTime;             /* seconds since the epoch */
    uint32_t uiTTL;                   /* 0xFFFFFFFF = none */
    uint32_t uiAppId;
    uint8_t ucState;
    uint8_t ucProtocolIndex;          /* 0-7 */
    uint16_t usReserved1;
    uint16_t usReserved2;
    uint8_t aucReserved[2];
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

/* One fast-forward entry, 140 bytes. */
typedef struct SESSION_FASTFORWARDTABLEINFO {
    SESSION_TUPLE_S astTuple[2];
    uint8_t aucDsLitePeer[2][16];
    uint32_t auiIfIndex[2];
    uint32_t uiTTL;
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

/* One relation (expected connection), 76 bytes. */
typedef struct SESSION_RELATIONINFO {
    SESSION_TUPLE_S stTuple;
    uint8_t aucDsLitePeer[16];
    uint32_t uiTTL;
    uint32_t uiAppId;
    uint16_t usReserved;
    uint8_t aucReserved[2];
} SESSION_RELATIONINFO_S;
DPMGMT_CHECK_SIZE(SESSION_RELATIONINFO_S, 76);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, stTuple, 0);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, aucDsLitePeer, 48);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiTTL, 64);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiAppId, 68);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, usReserved, 72);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, aucReserved, 74);

/* Filter key of the relation detail dump, 44 bytes. */
typedef struct SESSION_RELATION_KEY {
    uint8_t aucAddr1[16];
    uint8_t aucAddr2[16];
    uint32_t uiKeyValue1;
    uint32_t uiKeyValue2;
    uint8_t ucFamily;
    uint8_t aucReserved[3];
} SESSION_RELATION_KEY_S;
DPMGMT_CHECK_SIZE(SESSION_RELATION_KEY_S, 44);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucAddr1, 0);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucAddr2, 16);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue1, 32);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue2, 36);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, ucFamily, 40);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucReserved, 41);

/* Attach data of a relation, 36 bytes. */
typedef struct SESSION_ATTACHINFO {
    uint32_t uiAlgLoadIfIndex;
    uint32_t uiExtDsLitePeer;
    uint8_t aucReserved1[4];
    uint8_t aucExtDstAddr[16];   /* IPv4 in the first 4 bytes, network order */
    uint16_t usExtDstPort;
    uint16_t usExtVrfIndex;      /* VPN instance index, VLAN ID or inline ID */
    uint16_t usExtQrmId;         /* device-context identifier */
    uint8_t ucExtProtocol;
    uint8_t ucExtArpPnpFlag;
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

/* Full kernel detail of one relation, 208 bytes. */
typedef struct SESSION_RELATIONINFOALL {
    SESSION_TUPLE_S stTuple;
    SESSION_ATTACHINFO_S stAttach;
    uint8_t aucDsLitePeer[16];
    uint8_t aucReserved1[4];
    uint64_t ulParent;            /* "pstParent" */
    uint64_t ulSelfRelation;      /* "pstSelfRelation" */
    uint32_t uiUpdateTime;
    uint32_t uiRelationFlag;
    uint32_t uiExpectChildDir;
    uint32_t uiRecvIfIndex;
    uint32_t uiTTL;
    uint32_t uiAppId;
    uint32_t uiTupleMask;
    uint32_t uiAgingType;
    uint32_t uiClass;
    uint16_t usTupleLockIndex;
    uint16_t usLocalLockIndex;
    uint16_t usBakupFlag;
    uint16_t usReserved1;
    uint16_t usCareParentFlag;
    uint8_t aucReserved2[2];
    uint64_t ulNatPortBlock;      /* "Nat portblock" */
    uint32_t uiRefCount;
    uint16_t usNatFlag;
    uint16_t usPortBlockPort;
    uint32_t uiFailGroupId;
    uint8_t aucReserved3[4];
    uint16_t usNatPBResFlag;
    uint8_t ucLoadShareId;
    uint8_t aucReserved4[5];
    uint64_t ulNatPatEntry;       /* "Nat PatEntry" */
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

/* Byte-order converters: each turns, in place, exactly the numeric fields
 * its record lists; byte fields, byte arrays and uninterpreted stretches are
 * never changed. */
DPMGMT_API void SESSION_HTON_TUPLE(SESSION_TUPLE_S *tuple);
DPMGMT_API void SESSION_NTOH_TUPLE(SESSION_TUPLE_S *tuple);
DPMGMT_API void SESSION_HTON_TABLEKEY(SESSION_TABLEKEY_S *key);
DPMGMT_API void SESSION_NTOH_TABLEKEY(SESSION_TABLEKEY_S *key);
DPMGMT_API void SESSION_HTON_DUMPKEY(SESSION_DUMPKEY_S *key);
DPMGMT_API void SESSION_NTOH_TABLEINFO(SESSION_TABLEINFO_S *info);
DPMGMT_API void SESSION_NTOH_FASTFORWARDTABLEINFO(SESSION_FASTFORWARDTABLEINFO_S *info);
DPMGMT_API void SESSION_NTOH_RELATIONINFO(SESSION_RELATIONINFO_S *info);
DPMGMT_API void SESSION_HTON_RELATION_KEY(SESSION_RELATION_KEY_S *key);
DPMGMT_API void SESSION_NTOH_ATTACHINFO(SESSION_ATTACHINFO_S *attach);
DPMGMT_API void SESSION_NTOH_RELATIONINFOALL(SESSION_RELATIONINFOALL_S *info);

/* ============================================ vocabulary and interfaces == */

#define SESSION_PROTOCOL_COUNT 8u      /* protocol indexes 0-7 */
#define SESSION_STATUS_PER_PROTOCOL 10u
#define SESSION_STATUS_NAME_COUNT 80u  /* protocol index x 10 + state */
#define SESSION_APP_COUNT 17u          /* application indexes 0-16 */
#define SESSION_L4_AGING_COUNT 19u     /* layer-4 aging state indexes 0-18 */
#define SESSION_SERVICE_NAME "SESSION"

/* Log policy record, 16 bytes: all four words 0 means no policy is set. */
typedef struct SESSION_LOGPOLICY {
    uint32_t auiWord[4];
} SESSION_LOGPOLICY_S;
DPMGMT_CHECK_SIZE(SESSION_LOGPOLICY_S, 16);

/* Traffic log record, 16 bytes: unset when the words at 0 and 8 are both
 * 0, whatever the 16-bit fields hold. */
typedef struct SESSION_TRAFFICLOG {
    uint32_t uiWord1;
    uint16_t usValue1;
    uint16_t usValue2;
    uint32_t uiWord2;
    uint16_t usValue3;
    uint16_t usValue4;
} SESSION_TRAFFICLOG_S;
DPMGMT_CHECK_SIZE(SESSION_TRAFFICLOG_S, 16);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, uiWord1, 0);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue1, 4);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue2, 6);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, uiWord2, 8);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue3, 12);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_S, usValue4, 14);

/* State names, slot = protocol index x 10 + state.  Every slot is a valid
 * string: the unnamed ones share one empty string. */
DPMGMT_API extern const char *g_apcSessionStatusName[80];

/* Names and defaults.  An index outside its table gives the shared empty
 * string (names) or 0 (counts, times, checks); nothing reads past a table.
 * The returned names are static and must not be freed. */
DPMGMT_API const char *SESSION_GetProtocolName(uint32_t protocol);
DPMGMT_API const char *SESSION_GetStatusName(uint32_t protocol, uint8_t state);
DPMGMT_API uint32_t SESSION_GetProtocolStateCount(uint32_t protocol);
DPMGMT_API const char *SESSION_GetAppName(uint32_t app);
DPMGMT_API const char *SESSION_GetL4AgingStatusName(uint32_t state);
DPMGMT_API uint32_t SESSION_GetAppDefaultAgingTime(uint32_t app);
DPMGMT_API uint32_t SESSION_GetL4DefaultAgingTime(uint32_t state);
/* 1 when seconds equal the default of the index, else 0. */
DPMGMT_API uint32_t SESSION_IsAppDefaultAgingTime(uint32_t app, uint32_t seconds);
DPMGMT_API uint32_t SESSION_IsL4DefaultAgingTime(uint32_t state, uint32_t seconds);

/* Log records: initialise to unset; 1 when unset, else 0 (null counts as
 * unset and is never written). */
DPMGMT_API void SESSION_InitLogPolicy(SESSION_LOGPOLICY_S *policy);
DPMGMT_API uint32_t SESSION_IsInvalidLogPolicy(const SESSION_LOGPOLICY_S *policy);
DPMGMT_API void SESSION_InitTrafficLog(SESSION_TRAFFICLOG_S *log);
DPMGMT_API uint32_t SESSION_IsInvalidTrafficLog(const SESSION_TRAFFICLOG_S *log);

/* Interface checks (1 yes, 0 no). */
/* Global: the interface's attribute (item 25) reads 4; unknown = not global. */
DPMGMT_API uint32_t SESSION_IsGlobalIF(uint32_t ifIndex);
/* The interface relies on the node. */
DPMGMT_API uint32_t SESSION_IsNodeIF(uint32_t ifIndex, uint16_t node);
/* The local node must process the interface's configuration: it is a
 * controller, or the interface is global, or relies on it. */
DPMGMT_API uint32_t SESSION_ifcfg_need_proc(uint32_t ifIndex);
/* 1 for a node that is not a controller, else the platform's team. */
DPMGMT_API uint32_t SESSION_GetControllerTeamByLip(uint16_t lip);

/* The session service on a node: 1 when it runs; starting it returns 0
 * when it already ran, else the platform's start result. */
DPMGMT_API uint32_t SESSION_Startup_IsRunning(uint16_t node);
DPMGMT_API uint32_t SESSION_Startup_Run(uint16_t node);

/* Writes the log-policy key "log-<full name>" of the interface into buf
 * (cut to size, always terminated) and returns its length with the
 * terminator; 0 and buf untouched when the interface has no name. */
DPMGMT_API uint32_t SESSION_DB_GetLogPolicyKeyByIfIndex(uint32_t ifIndex, uint32_t size, char *buf);
/* The interface of a "log-" key; 0 for any other key. */
DPMGMT_API uint32_t SESSION_DB_GetIfIndexByLogPolicyKey(const char *key);

/* ============================================== settings commands ======= */
/* Every command is one exchange with the session service.  Records are
 * handed over in host order and never changed by a request; a get command
 * writes its outputs only when the exchange succeeded.  A record query
 * receives into the caller's storage and then turns every field of its
 * reply in place, so a field a short reply did not carry is turned as it
 * stood.  Set, reset and
 * enable commands return the service's result code as it came; any failure
 * of the exchange (and a null record) returns 0x40010001. */

/* Aging setting: the service reads word 0 as the application or layer-4
 * state index and word 1 as the seconds. */
typedef struct SESSION_AGING {
    uint32_t uiIndex;
    uint32_t uiSeconds;
} SESSION_AGING_S;
DPMGMT_CHECK_SIZE(SESSION_AGING_S, 8);
DPMGMT_CHECK_OFFSET(SESSION_AGING_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_AGING_S, uiSeconds, 4);

/* Flow setting of the session log and of the traffic log. */
typedef struct SESSION_FLOW {
    uint32_t uiUnit;
    uint32_t uiThreshold;
} SESSION_FLOW_S;
DPMGMT_CHECK_SIZE(SESSION_FLOW_S, 8);
DPMGMT_CHECK_OFFSET(SESSION_FLOW_S, uiUnit, 0);
DPMGMT_CHECK_OFFSET(SESSION_FLOW_S, uiThreshold, 4);

/* Persistent-session setting: three words, as the service defines them. */
typedef struct SESSION_PERSIST {
    uint32_t auiWord[3];
} SESSION_PERSIST_S;
DPMGMT_CHECK_SIZE(SESSION_PERSIST_S, 12);

/* Log policy request, 20 bytes: the interface, the policy value (what the
 * query fills in), two further words, a u16 and two bytes sent as given. */
typedef struct SESSION_LOGPOLICY_REQ {
    uint32_t uiIfIndex;
    uint32_t uiPolicy;
    uint32_t auiWord[2];
    uint16_t usOption;
    uint8_t aucData[2];
} SESSION_LOGPOLICY_REQ_S;
DPMGMT_CHECK_SIZE(SESSION_LOGPOLICY_REQ_S, 20);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, uiIfIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, uiPolicy, 4);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, auiWord, 8);
DPMGMT_STATIC_ASSERT(offsetof(SESSION_LOGPOLICY_REQ_S, auiWord[1]) == 12, offset_of_SESSION_LOGPOLICY_REQ_S_word4);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, usOption, 16);
DPMGMT_CHECK_OFFSET(SESSION_LOGPOLICY_REQ_S, aucData, 18);

/* Debug setting, 16 bytes: debug word index, bits, on (1) or off (0), a
 * u16 and two bytes sent as given. */
typedef struct SESSION_DEBUG {
    uint32_t uiIndex;
    uint32_t uiBits;
    uint32_t uiEnable;
    uint16_t usValue;
    uint8_t aucData[2];
} SESSION_DEBUG_S;
DPMGMT_CHECK_SIZE(SESSION_DEBUG_S, 16);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiBits, 4);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, uiEnable, 8);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, usValue, 12);
DPMGMT_CHECK_OFFSET(SESSION_DEBUG_S, aucData, 14);

/* TCP debug setting, 12 bytes: index, bits, on/off as a u16, two bytes
 * sent as given. */
typedef struct SESSION_TCPDEBUG {
    uint32_t uiIndex;
    uint32_t uiBits;
    uint16_t usEnable;
    uint8_t aucData[2];
} SESSION_TCPDEBUG_S;
DPMGMT_CHECK_SIZE(SESSION_TCPDEBUG_S, 12);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, uiIndex, 0);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, uiBits, 4);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, usEnable, 8);
DPMGMT_CHECK_OFFSET(SESSION_TCPDEBUG_S, aucData, 10);

/* Traffic-log bill setting, 44 bytes: three u16 converted, every other
 * byte sent as given. */
typedef struct SESSION_TRAFFICLOG_BILL {
    uint16_t usEnable;
    uint8_t aucData1[2];
    uint16_t usFormat;
    uint8_t aucData2[2];
    uint8_t aucHost[16];
    uint16_t usPort;
    uint8_t aucData3[18];
} SESSION_TRAFFICLOG_BILL_S;
DPMGMT_CHECK_SIZE(SESSION_TRAFFICLOG_BILL_S, 44);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usEnable, 0);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData1, 2);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usFormat, 4);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData2, 6);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucHost, 8);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, usPort, 24);
DPMGMT_CHECK_OFFSET(SESSION_TRAFFICLOG_BILL_S, aucData3, 26);

/* Reply buffers the top-statistics commands need at the least: after a
 * successful exchange they convert this extent whatever the reply held. */
#define SESSION_TOP_STATISTICS_REPLY_SIZE 648u
#define SESSION_TOP_SAMPLES_REPLY_SIZE 2912u
#define SESSION_TOP_SAMPLE_TIME_REPLY_SIZE 2884u

/* Words of the debug and TCP debug queries. */
#define SESSION_DEBUG_WORD_COUNT 19u
#define SESSION_TCP_DEBUG_WORD_COUNT 3u

/* Aging. */
DPMGMT_API uint32_t SESSION_IPC_SetAppAging(const SESSION_AGING_S *aging);
DPMGMT_API uint32_t SESSION_IPC_SetL4Aging(const SESSION_AGING_S *aging);
DPMGMT_API uint32_t SESSION_IPC_GetAllAppAging(uint32_t out[17]);
DPMGMT_API uint32_t SESSION_IPC_GetAllL4Aging(uint32_t out[19]);

/* Logging.  The log policy query sends the record as the setting does;
 * it returns 0x40010005 and leaves the record alone when the interface has
 * no policy, else stores the policy in uiPolicy and returns 0.  The flow
 * and time queries send the caller's current value and replace it. */
DPMGMT_API uint32_t SESSION_IPC_SetLogPolicy(const SESSION_LOGPOLICY_REQ_S *req);
DPMGMT_API uint32_t SESSION_IPC_GetLogPolicy(SESSION_LOGPOLICY_REQ_S *req);
DPMGMT_API uint32_t SESSION_IPC_SetLogFlow(const SESSION_FLOW_S *flow);
DPMGMT_API uint32_t SESSION_IPC_GetLogFlow(SESSION_FLOW_S *flow);
DPMGMT_API uint32_t SESSION_IPC_SetLogTime(const uint32_t *value);
DPMGMT_API uint32_t SESSION_IPC_GetLogTime(uint32_t *value);
DPMGMT_API uint32_t SESSION_IPC_SetNumLog(const uint16_t *value);

/* Persistent sessions. */
DPMGMT_API uint32_t SESSION_IPC_SetPersist(const SESSION_PERSIST_S *persist);
DPMGMT_API uint32_t SESSION_IPC_GetPersist(SESSION_PERSIST_S *persist);

/* Debugging. */
DPMGMT_API uint32_t SESSION_IPC_SetDebug(const SESSION_DEBUG_S *debug);
DPMGMT_API uint32_t SESSION_IPC_SetTcpDebug(const SESSION_TCPDEBUG_S *debug);
DPMGMT_API uint32_t SESSION_IPC_GetAllDebug(uint32_t out[19]); /* SESSION_DEBUG_WORD_COUNT */
DPMGMT_API uint32_t SESSION_IPC_GetTcpDebug(uint32_t out[3]);

/* Top statistics: the reply lands in the caller's buffer, of at least the
 * SESSION_TOP_*_REPLY_SIZE of the command (replyMax bounds what is
 * received). */
DPMGMT_API uint32_t SESSION_IPC_DisTopStatistics(uint8_t selector, uint32_t replyMax, void *reply);
DPMGMT_API uint32_t SESSION_IPC_GetTopStatistics(const uint32_t query[3], uint32_t replyMax, void *reply);
DPMGMT_API uint32_t SESSION_IPC_GetTopSampleTime(const uint32_t query[2], uint32_t replyMax, void *reply);

/* Resets.  The two session resets wait patiently: while the service works
 * they print "Resetting session", a dot a second and "Done.\r". */
DPMGMT_API uint32_t SESSION_ResetSession(uint16_t scope, const SESSION_TABLEKEY_S *key);
DPMGMT_API uint32_t SESSION_ResetMcfsSession(uint16_t scope, const SESSION_TABLEKEY_S *key);
DPMGMT_API uint32_t SESSION_IPC_ResetRelation(uint16_t scope, const uint8_t *selector);
DPMGMT_API uint32_t SESSION_IPC_ResetStatistics(uint16_t scope);
DPMGMT_API uint32_t SESSION_IPC_ResetMcfsStatistics(uint16_t scope);
DPMGMT_API uint32_t SESSION_IPC_ResetStatFail(uint16_t first, uint32_t second);
DPMGMT_API uint32_t SESSION_IPC_ResetEventStatistics(uint32_t first, uint16_t second);
DPMGMT_API uint32_t SESSION_IPC_ResetFdbStatistics(uint16_t first, uint32_t second);

/* Switches. */
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncSwitch(uint16_t value);
DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncSwitch(uint16_t *out);
DPMGMT_API uint32_t SESSION_IPC_SetStatEnable(uint16_t value);
DPMGMT_API uint32_t SESSION_IPC_SetSessionSyncAppSwitch(uint16_t first, uint16_t second);
DPMGMT_API uint32_t SESSION_IPC_GetSessionSyncAppSwitch(uint16_t *out);
DPMGMT_API uint32_t SESSION_IPC_SetHisTopStatEnable(uint16_t value);
DPMGMT_API uint32_t SESSION_IPC_GetHisTopStatEnable(uint16_t *out);

/* Limits and rates.  The SESSION_Set* wrappers do nothing for selector 1,
 * else make sure the service runs on the system master (starting it) and
 * send the setting.  The queries never start the service: they return the
 * value, or 0 when the service does not run or the exchange fails. */
DPMGMT_API uint32_t SESSION_IPC_SetMaximum(uint32_t selector, uint32_t value);
DPMGMT_API uint32_t SESSION_IPC_SetRate(uint32_t selector, uint32_t value);
DPMGMT_API uint32_t SESSION_SetMaximum(uint32_t selector, uint32_t value);
DPMGMT_API uint32_t SESSION_SetRate(uint32_t selector, uint32_t value);
DPMGMT_API uint32_t SESSION_GetMaximum(uint32_t selector);
DPMGMT_API uint32_t SESSION_GetRate(uint32_t selector);

/* Traffic log. */
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogTime(const uint32_t *value);
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogTime(uint32_t *value);
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogFlow(const SESSION_FLOW_S *flow);
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogFlow(SESSION_FLOW_S *flow);
DPMGMT_API uint32_t SESSION_IPC_SetTrafficLogBegin(uint16_t value);
DPMGMT_API uint32_t SESSION_IPC_GetTrafficLogBegin(uint16_t *out);
DPMGMT_API uint32_t SESSION_IPC_TrafficLogEnableBill(const SESSION_TRAFFICLOG_BILL_S *bill);

/* ================================================= ranking heap ========= */
/* An in-place binary heap over count 64-bit elements: the root is the
 * element that orders first under compare (negative: a before b).  Nothing
 * is allocated and nothing beyond count elements is touched.  All three
 * return 0. */
typedef int32_t (*SESSION_STATCK_COMPARE_PF)(uint64_t a, uint64_t b);

/* Restores heap order below position after it was overwritten. */
DPMGMT_API uint32_t Session_Statck_Modify(uint32_t position, SESSION_STATCK_COMPARE_PF compare, uint32_t count,
                                          uint64_t *array);
/* Builds heap order over an unordered array. */
DPMGMT_API uint32_t Session_Statck_Init(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array);
/* Orders a heap from the element that orders last to the one that orders
 * first. */
DPMGMT_API uint32_t Session_Statck_Sort(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array);

/* ============================================= displays and statistics == */

/* Table displays.  Each walks one kernel table dump on the node, prints
 * every entry with CR LF line ends and returns the number of entries it
 * received (0 when the dump cannot be opened); never an error code.  Keys
 * are in host order and are not changed.  verbose: 1 = verbose form, any
 * other value = brief form.  The caller prints headings and totals. */
DPMGMT_API uint32_t SESSION_DisplaySession(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose);
DPMGMT_API uint32_t SESSION_DisplayFastforwardSession(uint16_t node, const SESSION_TABLEKEY_S *key,
                                                      uint16_t verbose);
DPMGMT_API uint32_t SESSION_DisplayMcfsTable(uint16_t node, const SESSION_DUMPKEY_S *key, uint16_t verbose);
/* key: one byte, sent to the kernel as it is. */
DPMGMT_API uint32_t SESSION_DisplayRelation(uint16_t node, const uint8_t *key);

/* The kernel's complete record of one session, 432 bytes.  Multi-byte
 * fields travel big-endian; the display converts them itself except the two
 * driver contexts, which are shown as delivered.  The 64-bit references are
 * kernel object identities, never followed. */
typedef struct SESSION_KERNELINFO {
    SESSION_TUPLE_S astTuple[2];        /* initiator, responder */
    uint8_t aucDsLitePeer[2][16];       /* all zero = none */
    uint32_t uiPacketsOrg;
    uint32_t uiPacketsRpl;
    uint32_t uiBytesOrg;
    uint32_t uiBytesRpl;
    uint32_t auiIfIndex[2];
    uint32_t uiStartTime;               /* seconds since the epoch */
    uint32_t uiTTL;                     /* 0xFFFFFFFF = none */
    uint32_t uiAppId;
    uint16_t usReserved1;
    uint16_t usReserved2;
    uint8_t ucState;
    uint8_t ucProtocolIndex;            /* 0-7 */
    uint8_t aucReserved3[6];
    /* base block */
    uint64_t ulSessionBase;
    uint64_t ulCacheOrg;
    uint64_t ulCacheRpl;
    uint32_t uiUpdateTime;
    uint32_t uiRefCount;
    uint32_t uiReserved4;
    uint16_t usTableFlag;
    uint8_t ucSessionType;
    uint8_t ucSessionL4Type;
    uint16_t usBaseL3CheckSumDiff;
    uint16_t usBaseL4CheckSumDiff;
    uint8_t aucReserved5[4];
    /* session block */
    uint64_t ulSessionNormal;
    uint64_t ulLogCb;
    uint64_t ulServiceCb;
    uint64_t ulServicePos;
    uint32_t uiSessionAppId;
    uint16_t usAttachFlag;
    uint16_t usModuleFlag;              /* bit value 1: NAT block present */
    uint16_t usCfgSeq;
    uint16_t usPeerLip;
    uint16_t usAlgFlag;
    uint8_t ucVrexActInbound;
    uint8_t ucVrexActOutbound;
    uint8_t ucVrexActZonePair;
    uint8_t ucAppStaticOrignalIn;
    uint8_t ucAppStaticOrignalOut;
    uint8_t ucAppStaticReplyIn;
    uint8_t ucAppStaticReplyOut;
    uint8_t ucArpPnpFlag;
    uint8_t ucSessionState;
    uint8_t ucLogCfg;
    uint8_t ucBackupFlag;
    uint8_t ucUseServiceNum;
    uint8_t ucAllocServiceNum;
    uint8_t ucReserved6;
    uint32_t auiDriverContext[2];       /* as delivered, not converted */
    uint16_t usFDBFlag;
    uint8_t aucReserved7[2];
    /* extension block */
    uint64_t ulExtSession;              /* 0 = no extension block */
    uint64_t ulParent;
    uint64_t ulAlgCb;
    uint32_t uiSctpOrg;
    uint32_t uiSctpRpl;
    uint16_t usSessAlgType;
    uint8_t ucDirAssociateParent;
    uint8_t ucVrexCfgSeq;
    uint8_t ucDccpOrg;
    uint8_t ucDccpRpl;
    uint8_t aucReserved8[2];
    /* log block */
    uint32_t uiReserved9;
    uint32_t uiOrgPackets;
    uint32_t uiRelyPackets;
    uint32_t uiOrgBytes;
    uint32_t uiRelyBytes;
    uint16_t usReserved10;
    uint8_t aucReserved11[2];
    /* NAT block */
    uint64_t ulDnsSeq;
    uint64_t ulSrcNopatInfo;
    uint64_t ulDstNopatInfo;
    uint64_t ulNatLogCb;
    uint16_t usCfgOrgSeq;
    uint16_t usCfgRplySeq;
    uint8_t ucOrgFlag;
    uint8_t ucRplyFlag;
    uint16_t usNatFlag;
    uint16_t usNatL3CheckSumDiff;
    uint16_t usNatL4CheckSumDiff;
    uint32_t uiIfIndexNatCfg;
    uint32_t uiIfIndexDns;
    uint8_t ucChannel;
    uint8_t ucReserved12;
    uint16_t usPortblockResFlag;
    uint8_t ucBackupMode;
    uint8_t ucPortblockDir;
    uint8_t ucPortResDir;
    uint8_t ucReserved13;
    uint8_t ucLoadShareId;
    uint8_t aucReserved14[3];
    uint64_t ulPatEntry;
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

/* Kernel detail displays: every field of the kernel's session and relation
 * objects.  Return the number of entries printed, 0 when the dump cannot be
 * opened. */
DPMGMT_API uint32_t SESSION_DisplaySessionKernel(uint16_t node, const SESSION_DUMPKEY_S *key);
DPMGMT_API uint32_t SESSION_DisplayRelationInfo(uint16_t node, const SESSION_RELATION_KEY_S *key);

/* Statistics records: every listed field big-endian on the wire and in host
 * order once a query has succeeded.  The counters' meanings are the
 * kernel's. */
typedef struct SESSION_STAT {
    uint32_t uiHeader1;
    uint32_t uiHeader2;
    uint32_t auiStateCount[8][10];      /* protocol index by state */
    uint32_t auiProtocolCount[8];
    uint64_t aulProtocolPair[8][2];
    uint64_t ulCounter1;
    uint64_t ulCounter2;
    uint64_t ulCounter3;
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

typedef struct SESSION_STATFAIL {
    uint32_t auiCount[17];
} SESSION_STATFAIL_S;
DPMGMT_CHECK_SIZE(SESSION_STATFAIL_S, 68);

typedef struct SESSION_MCFSSTAT {
    uint32_t auiCount[3];
    uint8_t aucReserved[4];             /* passed as delivered */
    uint64_t aulCount[4];
} SESSION_MCFSSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_MCFSSTAT_S, 48);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, auiCount, 0);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, aucReserved, 12);
DPMGMT_CHECK_OFFSET(SESSION_MCFSSTAT_S, aulCount, 16);

typedef struct SESSION_FDBSTAT {
    uint32_t auiCount[20];
} SESSION_FDBSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_FDBSTAT_S, 80);

typedef struct SESSION_IFKERNEL {
    uint32_t auiCount[4];
} SESSION_IFKERNEL_S;
DPMGMT_CHECK_SIZE(SESSION_IFKERNEL_S, 16);

/* A kernel image of 928 bytes of which only some fields are converted (u32
 * at 4, 12, 16, 44, 48, 84, 88, 124, 128, 164, 168, 212, 216, 220, 244, 256,
 * 260, 284, 288, 640-772, 776-788, 808, 840, 880-888, 896-912; u64 at 792,
 * 800, 824, 832, 864, 872; u16 at 816-820, 848, 850, 856, 916-926); every
 * other byte is as the kernel delivered it.  Read fields with memcpy. */
typedef struct SESSION_STATGLOBALKERNEL {
    uint8_t aucData[928];
} SESSION_STATGLOBALKERNEL_S;
DPMGMT_CHECK_SIZE(SESSION_STATGLOBALKERNEL_S, 928);

typedef struct SESSION_ALGFAILCNT {
    uint32_t auiRow[18][11];
    uint32_t auiTotal[11];
} SESSION_ALGFAILCNT_S;
DPMGMT_CHECK_SIZE(SESSION_ALGFAILCNT_S, 836);
DPMGMT_CHECK_OFFSET(SESSION_ALGFAILCNT_S, auiRow, 0);
DPMGMT_CHECK_OFFSET(SESSION_ALGFAILCNT_S, auiTotal, 792);

/* Prints the number of sessions the key selects, in total and per protocol.
 * 0, or 0x40010001 when the dump cannot be opened or its buffer cannot be
 * had (nothing printed). */
DPMGMT_API uint32_t SESSION_DisplayStatistics(uint16_t node, const SESSION_DUMPKEY_S *key);
/* Single-record queries: 0 when exactly the record came back (converted to
 * host order), else 0x40010001 and the record must not be used.  Keys are
 * host-order u32 values sent in network order. */
DPMGMT_API uint32_t SESSION_GetStatistics(uint16_t node, SESSION_STAT_S *record);
DPMGMT_API uint32_t SESSION_GetStatFail(uint16_t node, const uint32_t *key, SESSION_STATFAIL_S *record);
DPMGMT_API uint32_t SESSION_GetMcfsStatistics(uint16_t node, SESSION_MCFSSTAT_S *record);
DPMGMT_API uint32_t SESSION_GetFDBStatistics(uint16_t node, const uint32_t *key, SESSION_FDBSTAT_S *record);
DPMGMT_API uint32_t SESSION_GetIFKernelAll(uint16_t node, const uint32_t *key, SESSION_IFKERNEL_S *record);
/* On a short record: what DUMP_Pull returned. */
DPMGMT_API uint32_t SESSION_GetStatGlobalKernelAll(uint16_t node, SESSION_STATGLOBALKERNEL_S *record);
/* key: two host-order u32. */
DPMGMT_API uint32_t SESSION_Get_AlgFailCnt(uint16_t node, const uint32_t *key, SESSION_ALGFAILCNT_S *record);
/* The kernel's result code, or 0x40010001. */
DPMGMT_API uint32_t SESSION_ResetAlgStatistics(uint16_t node);
/* key: 8 bytes, a host-order u32, a host-order u16 and two bytes sent as
 * they are.  The kernel's result code, or 0x40010001. */
DPMGMT_API uint32_t SESSION_Set_AlgStatSwitch(uint16_t node, const void *key);
/* Prints the aging queue state of every core and the totals.  0, or
 * 0x40010001 when its buffer cannot be had. */
DPMGMT_API uint32_t SESSION_GetAgingqueueState(uint16_t node);

/* ============================================= history and hot backup === */

/* A history query, host order. */
typedef struct SESSION_HISQUERY {
    uint32_t uiPeriod;                  /* 0 past hour, 1 past 24 hours, 2 past 30 days */
    uint32_t uiSamples;                 /* samples wanted */
    uint16_t usSampleSize;              /* bytes of one sample */
    uint8_t aucReserved[2];             /* passed to the kernel as they are */
} SESSION_HISQUERY_S;
DPMGMT_CHECK_SIZE(SESSION_HISQUERY_S, 12);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, uiPeriod, 0);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, uiSamples, 4);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, usSampleSize, 8);
DPMGMT_CHECK_OFFSET(SESSION_HISQUERY_S, aucReserved, 10);

/* History averages, host order: sessions over 30 days, hour, 24 hours, then
 * establishment rate over 30 days, hour, 24 hours. */
typedef struct SESSION_HISAVG {
    uint32_t auiAverage[6];
} SESSION_HISAVG_S;
DPMGMT_CHECK_SIZE(SESSION_HISAVG_S, 24);

/* Reads one period's samples (12 bytes each, left in network order) into
 * buffer, never past bufferSize.  0 and *count = samples received, or
 * 0x40010001 (count untouched) when the samples asked for exceed bufferSize
 * or the dump cannot be opened. */
DPMGMT_API uint32_t SESSION_GetHisStatics(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t bufferSize,
                                          void *buffer, uint32_t *count);
/* The two averages of one period; both left untouched when memory is
 * short.  The sums are divided by the samples asked for. */
DPMGMT_API void _session_HisComData_Get(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t *countAverage,
                                        uint32_t *rateAverage);
DPMGMT_API void SESSION_HisCom_GetStatics(uint16_t node, SESSION_HISAVG_S *averages);
/* Prints the averages; lines end in LF CR. */
DPMGMT_API void SESSION_HisCom_DisplayStatics(const SESSION_HISAVG_S *averages);
/* Collects the 24-byte top-statistics samples of every node, one node's
 * after the other's, into buffer (allow 49152 bytes per node); *count
 * receives their number.  0, or 0x40010001 when memory is short. */
DPMGMT_API uint32_t Session_GetTopStatTick(uint32_t nodeCount, const uint16_t *nodes, uint32_t *count,
                                           void *buffer);

/* Hot backup.  The message exchanges return the transport failure, else
 * the reply's value in host order. */
DPMGMT_API uint32_t HOTBACKUP_Ipc_GetDebug(uint32_t *setting);
DPMGMT_API uint32_t HOTBACKUP_Ipc_SetDebug(uint32_t value32, uint16_t value16);
DPMGMT_API uint32_t HOTBACKUP_Ipc_ResetStatistics(uint16_t value16);

/* The hot-backup counters of one peer, 32 bytes, in host order as the
 * kernel keeps them (not converted). */
typedef struct SESSION_HOTBACKSTAT {
    uint64_t ulSendOk;
    uint64_t ulSendFail;
    uint64_t ulRecvOk;
    uint8_t aucReserved[8];
} SESSION_HOTBACKSTAT_S;
DPMGMT_CHECK_SIZE(SESSION_HOTBACKSTAT_S, 32);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulSendOk, 0);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulSendFail, 8);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, ulRecvOk, 16);
DPMGMT_CHECK_OFFSET(SESSION_HOTBACKSTAT_S, aucReserved, 24);

/* Backup messages still waiting on the node; 0 when they cannot be read. */
DPMGMT_API uint32_t SESSION_GetHotBackRemainMsg(uint16_t node);
/* 0 when the whole record came back, else 0x40010001. */
DPMGMT_API uint32_t SESSION_GetHotBackStatistics(uint16_t node, uint16_t peer, SESSION_HOTBACKSTAT_S *record);
/* Prints the remaining messages and the counters of every other node that
 * is up. */
DPMGMT_API void HOTBACKUP_DisplayStatistics(uint16_t node);

DPMGMT_EXTERN_C_END

#endif
