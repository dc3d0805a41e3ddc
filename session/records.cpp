// SPDX-License-Identifier: Apache-2.0
// Byte order of the session records: each converter applies the layouts of
// session/record_layouts.h and nothing else, so byte fields, byte arrays and
// the stretches the kernel does not define come through untouched.
#include "session/record_layouts.h"

namespace {

using dpmgmt::swap_fields;
using namespace dpmgmt::session;

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
