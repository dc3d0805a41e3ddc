// SPDX-License-Identifier: Apache-2.0
// Keys of the connection-limit configuration store, and the family tables
// the store indexes with the caller's address-family index.
#ifndef DPMGMT_CONNLMT_STORE_KEYS_H
#define DPMGMT_CONNLMT_STORE_KEYS_H

#include <cstdint>

#include "dpmgmt/connlmt.h"
#include "platform/dbm.h"

namespace dpmgmt::connlmt {

inline constexpr const char *kModule = "connlmt";
inline constexpr uint32_t kFamilies = 2;  // 0 IPv4, 1 IPv6: the tables below have two entries

// The store refuses any other family before it indexes a table with it.
inline bool family_ok(uint32_t family) { return family < kFamilies; }

// A formatted key; its length counts the terminating NUL, 0 for the empty
// key of an interface whose name could not be had.
struct DbKey {
    char text[CONNLMT_DB_KEY_SIZE];
    uint64_t len;
};

DbKey policy_key(uint32_t family, uint16_t policyId);
// "description-%u" / "ipv6-description-%u".
void _db_GetDescriptionKeyAndLen(uint32_t family, uint16_t policyId, char *key, uint64_t *keyLen);
// "applied-global" for index 0, "applied-<interface name>" otherwise.
void _db_GetAppliedKeyAndLen(uint32_t ifIndex, char *key, uint64_t *keyLen);

inline DbKey description_key(uint32_t family, uint16_t policyId) {
    DbKey k;
    _db_GetDescriptionKeyAndLen(family, policyId, k.text, &k.len);
    return k;
}

inline DbKey applied_key(uint32_t ifIndex) {
    DbKey k;
    _db_GetAppliedKeyAndLen(ifIndex, k.text, &k.len);
    return k;
}

// The platform answers "exists" with 1 in the low 16 bits.
inline bool key_exists(uint64_t handle, const DbKey &k) {
    return static_cast<uint16_t>(DBM_IsKeyExist(handle, k.text, k.len)) == 1;
}

}  // namespace dpmgmt::connlmt

#endif
