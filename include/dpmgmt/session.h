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
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, aucSrcAddr, 4);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, aucDstAddr, 20);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usSrcPort, 36);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usDstPort, 38);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, uiReserved, 40);
DPMGMT_CHECK_OFFSET(SESSION_TUPLE_S, usVrfIndex, 44);

/* Selects one session (resets, fast-forward dump key), 64 bytes. */
typedef struct SESSION_TABLEKEY {
    SESSION_TUPLE_S stTuple;
    uint32_t uiKeyWord1;
    uint32_t uiKeyWord2;
    uint8_t aucReserved[8];
} SESSION_TABLEKEY_S;
DPMGMT_CHECK_SIZE(SESSION_TABLEKEY_S, 64);
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
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr2, 16);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr3, 32);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, aucAddr4, 48);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter1, 64);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter2, 66);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, usFilter3, 68);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, uiFilter4, 72);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, uiFilter5, 76);
DPMGMT_CHECK_OFFSET(SESSION_DUMPKEY_S, ucFamily, 80);

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
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, aucDsLitePeer, 96);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiPacketsOrg, 128);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiPacketsRpl, 132);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiBytesOrg, 136);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiBytesRpl, 140);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, auiIfIndex, 144);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiStartTime, 152);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiTTL, 156);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, uiAppId, 160);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, ucState, 164);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, ucProtocolIndex, 165);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, usReserved1, 166);
DPMGMT_CHECK_OFFSET(SESSION_TABLEINFO_S, usReserved2, 168);

/* One fast-forward entry, 140 bytes. */
typedef struct SESSION_FASTFORWARDTABLEINFO {
    SESSION_TUPLE_S astTuple[2];
    uint8_t aucDsLitePeer[2][16];
    uint32_t auiIfIndex[2];
    uint32_t uiTTL;
} SESSION_FASTFORWARDTABLEINFO_S;
DPMGMT_CHECK_SIZE(SESSION_FASTFORWARDTABLEINFO_S, 140);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, aucDsLitePeer, 96);
DPMGMT_CHECK_OFFSET(SESSION_FASTFORWARDTABLEINFO_S, auiIfIndex, 128);
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
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, aucDsLitePeer, 48);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiTTL, 64);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, uiAppId, 68);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFO_S, usReserved, 72);

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
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, aucAddr2, 16);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue1, 32);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, uiKeyValue2, 36);
DPMGMT_CHECK_OFFSET(SESSION_RELATION_KEY_S, ucFamily, 40);

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
DPMGMT_CHECK_OFFSET(SESSION_ATTACHINFO_S, uiExtDsLitePeer, 4);
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
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, stAttach, 48);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, aucDsLitePeer, 84);
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
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ulNatPortBlock, 168);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiRefCount, 176);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usNatFlag, 180);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usPortBlockPort, 182);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, uiFailGroupId, 184);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, usNatPBResFlag, 192);
DPMGMT_CHECK_OFFSET(SESSION_RELATIONINFOALL_S, ucLoadShareId, 194);
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
/* (declarations of the vocabulary, checks and start of the service) */

/* ============================================== settings commands ======= */
/* (declarations of the settings commands) */

/* ================================================= ranking heap ========= */
/* (declarations of the heap) */

/* ============================================= displays and statistics == */
/* (declarations of the table displays, kernel detail and statistics) */

/* ============================================= history and hot backup === */
/* (declarations of history, top statistics and hot backup) */

DPMGMT_EXTERN_C_END

#endif
