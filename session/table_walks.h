// SPDX-License-Identifier: Apache-2.0
// The one walk of each session table: the dump opened with the caller's
// host-order key turned to network order, every entry converted to host
// order and handed over as a record.  The text displays and the record
// interface (dpmgmt/records.h) are both readers of these walks.
#ifndef DPMGMT_SESSION_TABLE_WALKS_H
#define DPMGMT_SESSION_TABLE_WALKS_H

#include "channels/dump_walk.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"
#include "session/record_layouts.h"

namespace dpmgmt::session {

// Records in one pull buffer: just under 8000 bytes each.
inline constexpr uint32_t kFastforwardsPerBatch = 57;
inline constexpr uint32_t kRelationsPerBatch = 105;
inline constexpr uint32_t kKernelSessionsPerBatch = 18;   // 18 x 432 = 7776 bytes
inline constexpr uint32_t kRelationDetailsPerBatch = 38;  // 38 x 208 = 7904 bytes

// A walk whose key record travels in network order: the caller's key is
// converted in a copy.
template <class Key, class Convert, class OnRecord>
uint32_t walk_keyed(uint16_t node, uint32_t dumpType, const Key &key, void (*toWire)(Key *), uint32_t perBatch,
                    Convert convert, OnRecord &onRecord) {
    Key wire = key;
    toWire(&wire);
    return walk_table(node, dumpType, &wire, sizeof wire, perBatch, convert, onRecord);
}

template <class OnRecord>
uint32_t walk_sessions(uint16_t node, uint32_t dumpType, const SESSION_DUMPKEY_S &key, OnRecord &&onRecord) {
    return walk_keyed(node, dumpType, key, SESSION_HTON_DUMPKEY, dump::kSessionsPerBatch, SESSION_NTOH_TABLEINFO,
                      onRecord);
}

// The session table (dump::kSession) and the Mcfs table (dump::kMcfs) share
// the entry and key.
template <class OnRecord>
uint32_t walk_session_table(uint16_t node, const SESSION_DUMPKEY_S &key, OnRecord &&onRecord) {
    return walk_sessions(node, dump::kSession, key, onRecord);
}

template <class OnRecord>
uint32_t walk_mcfs_table(uint16_t node, const SESSION_DUMPKEY_S &key, OnRecord &&onRecord) {
    return walk_sessions(node, dump::kMcfs, key, onRecord);
}

template <class OnRecord>
uint32_t walk_fastforward_table(uint16_t node, const SESSION_TABLEKEY_S &key, OnRecord &&onRecord) {
    return walk_keyed(node, dump::kFastForward, key, SESSION_HTON_TABLEKEY, kFastforwardsPerBatch,
                      SESSION_NTOH_FASTFORWARDTABLEINFO, onRecord);
}

// The relation table's key is one byte, sent as it is.
template <class OnRecord>
uint32_t walk_relation_table(uint16_t node, const uint8_t *key, OnRecord &&onRecord) {
    return walk_table(node, dump::kRelation, key, 1, kRelationsPerBatch, SESSION_NTOH_RELATIONINFO, onRecord);
}

// The kernel's own record of each session the key selects.  The two driver
// contexts come in host order and are left as delivered.
inline void convert_kernel_session(SESSION_KERNELINFO_S *e) {
    swap_fields(e, kKernelInfoFields);
}

template <class OnRecord>
uint32_t walk_session_kernel(uint16_t node, const SESSION_DUMPKEY_S &key, OnRecord &&onRecord) {
    return walk_keyed(node, dump::kSessionKernel, key, SESSION_HTON_DUMPKEY, kKernelSessionsPerBatch,
                      convert_kernel_session, onRecord);
}

// The kernel's own record of each relation the key selects.
template <class OnRecord>
uint32_t walk_relation_details(uint16_t node, const SESSION_RELATION_KEY_S &key, OnRecord &&onRecord) {
    return walk_keyed(node, dump::kRelationInfo, key, SESSION_HTON_RELATION_KEY, kRelationDetailsPerBatch,
                      SESSION_NTOH_RELATIONINFOALL, onRecord);
}

}  // namespace dpmgmt::session

#endif
