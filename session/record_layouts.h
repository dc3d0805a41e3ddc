// SPDX-License-Identifier: Apache-2.0
// Where the numbers of the session records lie, described once against the
// public records and shared by the converters and the displays.
//
// IPv4 addresses are numbers only in keys the caller hands over: the
// address layouts list the first word of each address slot, which the key
// converters turn when the family byte says IPv4; entries from the kernel
// keep their addresses in network order for the address formatter.
#ifndef DPMGMT_SESSION_RECORD_LAYOUTS_H
#define DPMGMT_SESSION_RECORD_LAYOUTS_H

#include "channels/wire.h"
#include "dpmgmt/session.h"

namespace dpmgmt::session {

// The first word of an address slot.
#define DPMGMT_ADDRESS_WORD(Record, member) \
    ::dpmgmt::Field { static_cast<uint16_t>(offsetof(Record, member)), 4 }

#define TUPLE(m) DPMGMT_FIELD(SESSION_TUPLE_S, m)
inline constexpr auto kTupleNumbers =
    layout<SESSION_TUPLE_S>({TUPLE(usSrcPort), TUPLE(usDstPort), TUPLE(uiReserved), TUPLE(usVrfIndex)});
#undef TUPLE
inline constexpr auto kTupleAddresses = layout<SESSION_TUPLE_S>(
    {DPMGMT_ADDRESS_WORD(SESSION_TUPLE_S, aucSrcAddr), DPMGMT_ADDRESS_WORD(SESSION_TUPLE_S, aucDstAddr)});

// The tuple numbers of both directions of an entry with astTuple[2].
template <class Entry>
consteval auto both_tuples() {
    return join(nest<Entry>(kTupleNumbers, offsetof(Entry, astTuple[0])),
                nest<Entry>(kTupleNumbers, offsetof(Entry, astTuple[1])));
}

inline constexpr auto kTableKeyWords = layout<SESSION_TABLEKEY_S>(
    {DPMGMT_FIELD(SESSION_TABLEKEY_S, uiKeyWord1), DPMGMT_FIELD(SESSION_TABLEKEY_S, uiKeyWord2)});

#define KEY(m) DPMGMT_FIELD(SESSION_DUMPKEY_S, m)
#define KEY_ADDRESS(m) DPMGMT_ADDRESS_WORD(SESSION_DUMPKEY_S, m)
inline constexpr auto kDumpKeyAddresses = layout<SESSION_DUMPKEY_S>(
    {KEY_ADDRESS(aucAddr1), KEY_ADDRESS(aucAddr2), KEY_ADDRESS(aucAddr3), KEY_ADDRESS(aucAddr4)});
inline constexpr auto kDumpKeyNumbers =
    layout<SESSION_DUMPKEY_S>({KEY(usFilter1), KEY(usFilter2), KEY(usFilter3), KEY(uiFilter4), KEY(uiFilter5)});
#undef KEY
#undef KEY_ADDRESS

// An entry's own numbers; its tuples go through the tuple converter.
#define ENTRY(m) DPMGMT_FIELD(SESSION_TABLEINFO_S, m)
inline constexpr auto kTableInfoNumbers = layout<SESSION_TABLEINFO_S>({
    ENTRY(uiPacketsOrg), ENTRY(uiPacketsRpl), ENTRY(uiBytesOrg), ENTRY(uiBytesRpl), ENTRY(auiIfIndex[0]),
    ENTRY(auiIfIndex[1]), ENTRY(uiStartTime), ENTRY(uiTTL), ENTRY(uiAppId), ENTRY(usReserved1), ENTRY(usReserved2),
});
#undef ENTRY
#define ENTRY(m) DPMGMT_FIELD(SESSION_FASTFORWARDTABLEINFO_S, m)
inline constexpr auto kFastForwardNumbers =
    layout<SESSION_FASTFORWARDTABLEINFO_S>({ENTRY(auiIfIndex[0]), ENTRY(auiIfIndex[1]), ENTRY(uiTTL)});
#undef ENTRY
#define ENTRY(m) DPMGMT_FIELD(SESSION_RELATIONINFO_S, m)
inline constexpr auto kRelationInfoNumbers =
    layout<SESSION_RELATIONINFO_S>({ENTRY(uiTTL), ENTRY(uiAppId), ENTRY(usReserved)});
#undef ENTRY

inline constexpr auto kRelationKeyAddresses = layout<SESSION_RELATION_KEY_S>(
    {DPMGMT_ADDRESS_WORD(SESSION_RELATION_KEY_S, aucAddr1), DPMGMT_ADDRESS_WORD(SESSION_RELATION_KEY_S, aucAddr2)});
inline constexpr auto kRelationKeyNumbers = layout<SESSION_RELATION_KEY_S>(
    {DPMGMT_FIELD(SESSION_RELATION_KEY_S, uiKeyValue1), DPMGMT_FIELD(SESSION_RELATION_KEY_S, uiKeyValue2)});

#define ATTACH(m) DPMGMT_FIELD(SESSION_ATTACHINFO_S, m)
inline constexpr auto kAttachNumbers = layout<SESSION_ATTACHINFO_S>(
    {ATTACH(uiAlgLoadIfIndex), ATTACH(uiExtDsLitePeer), ATTACH(usExtDstPort), ATTACH(usExtVrfIndex), ATTACH(usExtQrmId)});
#undef ATTACH

// The relation detail's own numbers; its tuple and attach data go through
// their converters.
#define DETAIL(m) DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, m)
inline constexpr auto kRelationAllNumbers = layout<SESSION_RELATIONINFOALL_S>({
    DETAIL(ulParent), DETAIL(ulSelfRelation), DETAIL(uiUpdateTime), DETAIL(uiRelationFlag), DETAIL(uiExpectChildDir),
    DETAIL(uiRecvIfIndex), DETAIL(uiTTL), DETAIL(uiAppId), DETAIL(uiTupleMask), DETAIL(uiAgingType), DETAIL(uiClass),
    DETAIL(usTupleLockIndex), DETAIL(usLocalLockIndex), DETAIL(usBakupFlag), DETAIL(usReserved1),
    DETAIL(usCareParentFlag), DETAIL(ulNatPortBlock), DETAIL(uiRefCount), DETAIL(usNatFlag), DETAIL(usPortBlockPort),
    DETAIL(uiFailGroupId), DETAIL(usNatPBResFlag), DETAIL(ulNatPatEntry),
});
#undef DETAIL

// Every numeric field of the kernel session record except the two driver
// contexts, which the kernel hands over in host order.
#define KERNEL_FIELD(member) DPMGMT_FIELD(SESSION_KERNELINFO_S, member)
inline constexpr auto kKernelInfoFields = join(
    both_tuples<SESSION_KERNELINFO_S>(),
    layout<SESSION_KERNELINFO_S>({
        KERNEL_FIELD(uiPacketsOrg), KERNEL_FIELD(uiPacketsRpl), KERNEL_FIELD(uiBytesOrg), KERNEL_FIELD(uiBytesRpl),
        KERNEL_FIELD(auiIfIndex[0]), KERNEL_FIELD(auiIfIndex[1]), KERNEL_FIELD(uiStartTime), KERNEL_FIELD(uiTTL),
        KERNEL_FIELD(uiAppId), KERNEL_FIELD(usReserved1), KERNEL_FIELD(usReserved2),
        // base block
        KERNEL_FIELD(ulSessionBase), KERNEL_FIELD(ulCacheOrg), KERNEL_FIELD(ulCacheRpl), KERNEL_FIELD(uiUpdateTime),
        KERNEL_FIELD(uiRefCount), KERNEL_FIELD(uiReserved4), KERNEL_FIELD(usTableFlag),
        KERNEL_FIELD(usBaseL3CheckSumDiff), KERNEL_FIELD(usBaseL4CheckSumDiff),
        // session block
        KERNEL_FIELD(ulSessionNormal), KERNEL_FIELD(ulLogCb), KERNEL_FIELD(ulServiceCb), KERNEL_FIELD(ulServicePos),
        KERNEL_FIELD(uiSessionAppId), KERNEL_FIELD(usAttachFlag), KERNEL_FIELD(usModuleFlag), KERNEL_FIELD(usCfgSeq),
        KERNEL_FIELD(usPeerLip), KERNEL_FIELD(usAlgFlag), KERNEL_FIELD(usFDBFlag),
        // extension block
        KERNEL_FIELD(ulExtSession), KERNEL_FIELD(ulParent), KERNEL_FIELD(ulAlgCb), KERNEL_FIELD(uiSctpOrg),
        KERNEL_FIELD(uiSctpRpl), KERNEL_FIELD(usSessAlgType),
        // log block
        KERNEL_FIELD(uiReserved9), KERNEL_FIELD(uiOrgPackets), KERNEL_FIELD(uiRelyPackets), KERNEL_FIELD(uiOrgBytes),
        KERNEL_FIELD(uiRelyBytes), KERNEL_FIELD(usReserved10),
        // NAT block
        KERNEL_FIELD(ulDnsSeq), KERNEL_FIELD(ulSrcNopatInfo), KERNEL_FIELD(ulDstNopatInfo), KERNEL_FIELD(ulNatLogCb),
        KERNEL_FIELD(usCfgOrgSeq), KERNEL_FIELD(usCfgRplySeq), KERNEL_FIELD(usNatFlag),
        KERNEL_FIELD(usNatL3CheckSumDiff), KERNEL_FIELD(usNatL4CheckSumDiff), KERNEL_FIELD(uiIfIndexNatCfg),
        KERNEL_FIELD(uiIfIndexDns), KERNEL_FIELD(usPortblockResFlag), KERNEL_FIELD(ulPatEntry),
    }));
#undef KERNEL_FIELD

}  // namespace dpmgmt::session

#endif
