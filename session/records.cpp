// Byte order of the session records.
//
// Each record's numeric fields are listed once below; a converter applies
// its lists and nothing else, so byte fields, byte arrays and the stretches
// the kernel does not define come through untouched.  IPv4 addresses are
// numbers only in keys the caller hands over: the converters that take a
// key turn the first word of each address slot when the family byte says
// IPv4, while entries from the kernel keep their addresses in network
// order for the address formatter.
#include "channels/wire.h"
#include "dpmgmt/session.h"

namespace {

using dpmgmt::layout;
using dpmgmt::layout_run;
using dpmgmt::swap_fields;

constexpr auto kTupleNumbers = layout<sizeof(SESSION_TUPLE_S)>({{36, 2}, {38, 2}, {40, 4}, {44, 2}});
constexpr auto kTupleAddresses = layout<sizeof(SESSION_TUPLE_S)>({{4, 4}, {20, 4}});

constexpr auto kTableKeyWords = layout<sizeof(SESSION_TABLEKEY_S)>({{48, 4}, {52, 4}});

constexpr auto kDumpKeyAddresses = layout_run<sizeof(SESSION_DUMPKEY_S), 4>(0, 4, 16);
constexpr auto kDumpKeyNumbers = layout<sizeof(SESSION_DUMPKEY_S)>({{64, 2}, {66, 2}, {68, 2}, {72, 4}, {76, 4}});

// Both tuples of an entry are converted by the tuple converter; these are
// the entry's own fields.
constexpr auto kTableInfoNumbers = dpmgmt::join(layout_run<sizeof(SESSION_TABLEINFO_S), 9>(128, 4, 4),
                                                layout<sizeof(SESSION_TABLEINFO_S)>({{166, 2}, {168, 2}}));
constexpr auto kFastForwardNumbers = layout_run<sizeof(SESSION_FASTFORWARDTABLEINFO_S), 3>(128, 4, 4);
constexpr auto kRelationInfoNumbers = layout<sizeof(SESSION_RELATIONINFO_S)>({{64, 4}, {68, 4}, {72, 2}});

constexpr auto kRelationKeyAddresses = layout<sizeof(SESSION_RELATION_KEY_S)>({{0, 4}, {16, 4}});
constexpr auto kRelationKeyNumbers = layout<sizeof(SESSION_RELATION_KEY_S)>({{32, 4}, {36, 4}});

constexpr auto kAttachNumbers = layout<sizeof(SESSION_ATTACHINFO_S)>({{0, 4}, {4, 4}, {28, 2}, {30, 2}, {32, 2}});

constexpr auto kRelationAllNumbers = layout<sizeof(SESSION_RELATIONINFOALL_S)>({
    {104, 8}, {112, 8}, {168, 8}, {200, 8},
    {120, 4}, {124, 4}, {128, 4}, {132, 4}, {136, 4}, {140, 4}, {144, 4}, {148, 4}, {152, 4}, {176, 4}, {184, 4},
    {156, 2}, {158, 2}, {160, 2}, {162, 2}, {164, 2}, {180, 2}, {182, 2}, {192, 2},
});

bool is_ipv4(uint8_t family) { return family == SESSION_AF_IPV4; }

}  // namespace

extern "C" {

DPMGMT_API void SESSION_HTON_TUPLE(SESSION_TUPLE_S *tuple) {
    if (tuple == nullptr) return;
    if (is_ipv4(tuple->ucFamily)) swap_fields(tuple, kTupleAddresses);
    swap_fields(tuple, kTupleNumbers);
}

DPMGMT_API void SESSION_NTOH_TUPLE(SESSION_TUPLE_S *tuple) {
    if (tuple == nullptr) return;
    swap_fields(tuple, kTupleNumbers);
}

DPMGMT_API void SESSION_HTON_TABLEKEY(SESSION_TABLEKEY_S *key) {
    if (key == nullptr) return;
    SESSION_HTON_TUPLE(&key->stTuple);
    swap_fields(key, kTableKeyWords);
}

DPMGMT_API void SESSION_NTOH_TABLEKEY(SESSION_TABLEKEY_S *key) {
    if (key == nullptr) return;
    SESSION_NTOH_TUPLE(&key->stTuple);
    if (is_ipv4(key->stTuple.ucFamily)) swap_fields(&key->stTuple, kTupleAddresses);
    swap_fields(key, kTableKeyWords);
}

DPMGMT_API void SESSION_HTON_DUMPKEY(SESSION_DUMPKEY_S *key) {
    if (key == nullptr) return;
    if (is_ipv4(key->ucFamily)) swap_fields(key, kDumpKeyAddresses);
    swap_fields(key, kDumpKeyNumbers);
}

DPMGMT_API void SESSION_NTOH_TABLEINFO(SESSION_TABLEINFO_S *info) {
    if (info == nullptr) return;
    SESSION_NTOH_TUPLE(&info->astTuple[0]);
    SESSION_NTOH_TUPLE(&info->astTuple[1]);
    swap_fields(info, kTableInfoNumbers);
}

DPMGMT_API void SESSION_NTOH_FASTFORWARDTABLEINFO(SESSION_FASTFORWARDTABLEINFO_S *info) {
    if (info == nullptr) return;
    SESSION_NTOH_TUPLE(&info->astTuple[0]);
    SESSION_NTOH_TUPLE(&info->astTuple[1]);
    swap_fields(info, kFastForwardNumbers);
}

DPMGMT_API void SESSION_NTOH_RELATIONINFO(SESSION_RELATIONINFO_S *info) {
    if (info == nullptr) return;
    SESSION_NTOH_TUPLE(&info->stTuple);
    swap_fields(info, kRelationInfoNumbers);
}

DPMGMT_API void SESSION_HTON_RELATION_KEY(SESSION_RELATION_KEY_S *key) {
    if (key == nullptr) return;
    if (is_ipv4(key->ucFamily)) swap_fields(key, kRelationKeyAddresses);
    swap_fields(key, kRelationKeyNumbers);
}

DPMGMT_API void SESSION_NTOH_ATTACHINFO(SESSION_ATTACHINFO_S *attach) {
    if (attach == nullptr) return;
    swap_fields(attach, kAttachNumbers);
}

DPMGMT_API void SESSION_NTOH_RELATIONINFOALL(SESSION_RELATIONINFOALL_S *info) {
    if (info == nullptr) return;
    SESSION_NTOH_TUPLE(&info->stTuple);
    SESSION_NTOH_ATTACHINFO(&info->stAttach);
    swap_fields(info, kRelationAllNumbers);
}

}  // extern "C"
