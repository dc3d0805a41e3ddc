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

inline constexpr auto kTupleNumbers = layout<SESSION_TUPLE_S>({
    DPMGMT_FIELD(SESSION_TUPLE_S, usSrcPort),
    DPMGMT_FIELD(SESSION_TUPLE_S, usDstPort),
    DPMGMT_FIELD(SESSION_TUPLE_S, uiReserved),
    DPMGMT_FIELD(SESSION_TUPLE_S, usVrfIndex),
});
inline constexpr auto kTupleAddresses = layout<SESSION_TUPLE_S>({
    DPMGMT_ADDRESS_WORD(SESSION_TUPLE_S, aucSrcAddr),
    DPMGMT_ADDRESS_WORD(SESSION_TUPLE_S, aucDstAddr),
});

// The tuple numbers of both directions of an entry with astTuple[2].
template <class Entry>
consteval auto both_tuples() {
    return join(nest<Entry>(kTupleNumbers, offsetof(Entry, astTuple[0])),
                nest<Entry>(kTupleNumbers, offsetof(Entry, astTuple[1])));
}

inline constexpr auto kTableKeyWords = layout<SESSION_TABLEKEY_S>({
    DPMGMT_FIELD(SESSION_TABLEKEY_S, uiKeyWord1),
    DPMGMT_FIELD(SESSION_TABLEKEY_S, uiKeyWord2),
});

inline constexpr auto kDumpKeyAddresses = layout<SESSION_DUMPKEY_S>({
    DPMGMT_ADDRESS_WORD(SESSION_DUMPKEY_S, aucAddr1),
    DPMGMT_ADDRESS_WORD(SESSION_DUMPKEY_S, aucAddr2),
    DPMGMT_ADDRESS_WORD(SESSION_DUMPKEY_S, aucAddr3),
    DPMGMT_ADDRESS_WORD(SESSION_DUMPKEY_S, aucAddr4),
});
inline constexpr auto kDumpKeyNumbers = layout<SESSION_DUMPKEY_S>({
    DPMGMT_FIELD(SESSION_DUMPKEY_S, usFilter1),
    DPMGMT_FIELD(SESSION_DUMPKEY_S, usFilter2),
    DPMGMT_FIELD(SESSION_DUMPKEY_S, usFilter3),
    DPMGMT_FIELD(SESSION_DUMPKEY_S, uiFilter4),
    DPMGMT_FIELD(SESSION_DUMPKEY_S, uiFilter5),
});

// An entry's own numbers; its tuples go through the tuple converter.
inline constexpr auto kTableInfoNumbers = layout<SESSION_TABLEINFO_S>({
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiPacketsOrg),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiPacketsRpl),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiBytesOrg),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiBytesRpl),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, auiIfIndex[0]),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, auiIfIndex[1]),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiStartTime),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiTTL),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, uiAppId),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, usReserved1),
    DPMGMT_FIELD(SESSION_TABLEINFO_S, usReserved2),
});
inline constexpr auto kFastForwardNumbers = layout<SESSION_FASTFORWARDTABLEINFO_S>({
    DPMGMT_FIELD(SESSION_FASTFORWARDTABLEINFO_S, auiIfIndex[0]),
    DPMGMT_FIELD(SESSION_FASTFORWARDTABLEINFO_S, auiIfIndex[1]),
    DPMGMT_FIELD(SESSION_FASTFORWARDTABLEINFO_S, uiTTL),
});
inline constexpr auto kRelationInfoNumbers = layout<SESSION_RELATIONINFO_S>({
    DPMGMT_FIELD(SESSION_RELATIONINFO_S, uiTTL),
    DPMGMT_FIELD(SESSION_RELATIONINFO_S, uiAppId),
    DPMGMT_FIELD(SESSION_RELATIONINFO_S, usReserved),
});

inline constexpr auto kRelationKeyAddresses = layout<SESSION_RELATION_KEY_S>({
    DPMGMT_ADDRESS_WORD(SESSION_RELATION_KEY_S, aucAddr1),
    DPMGMT_ADDRESS_WORD(SESSION_RELATION_KEY_S, aucAddr2),
});
inline constexpr auto kRelationKeyNumbers = layout<SESSION_RELATION_KEY_S>({
    DPMGMT_FIELD(SESSION_RELATION_KEY_S, uiKeyValue1),
    DPMGMT_FIELD(SESSION_RELATION_KEY_S, uiKeyValue2),
});

inline constexpr auto kAttachNumbers = layout<SESSION_ATTACHINFO_S>({
    DPMGMT_FIELD(SESSION_ATTACHINFO_S, uiAlgLoadIfIndex),
    DPMGMT_FIELD(SESSION_ATTACHINFO_S, uiExtDsLitePeer),
    DPMGMT_FIELD(SESSION_ATTACHINFO_S, usExtDstPort),
    DPMGMT_FIELD(SESSION_ATTACHINFO_S, usExtVrfIndex),
    DPMGMT_FIELD(SESSION_ATTACHINFO_S, usExtQrmId),
});

// The relation detail's own numbers; its tuple and attach data go through
// their converters.
inline constexpr auto kRelationAllNumbers = layout<SESSION_RELATIONINFOALL_S>({
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, ulParent),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, ulSelfRelation),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiUpdateTime),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiRelationFlag),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiExpectChildDir),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiRecvIfIndex),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiTTL),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiAppId),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiTupleMask),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiAgingType),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiClass),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usTupleLockIndex),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usLocalLockIndex),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usBakupFlag),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usReserved1),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usCareParentFlag),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, ulNatPortBlock),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiRefCount),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usNatFlag),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usPortBlockPort),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, uiFailGroupId),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, usNatPBResFlag),
    DPMGMT_FIELD(SESSION_RELATIONINFOALL_S, ulNatPatEntry),
});

}  // namespace dpmgmt::session

#endif
