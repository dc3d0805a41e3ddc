// SPDX-License-Identifier: Apache-2.0
// Keys and open parameters of the SQA configuration store.
#ifndef DPMGMT_SQA_STORE_KEYS_H
#define DPMGMT_SQA_STORE_KEYS_H

#include <cstdint>

#include "dpmgmt/sqa.h"
#include "platform/dbm.h"
#include "platform/textutil.h"

namespace dpmgmt::sqa {

inline constexpr const char *kModule = "sqa";
inline constexpr const char *kGlobalDb = "gSqa";
inline constexpr uint32_t kInitOpenMode = 7;
inline constexpr uint32_t kViewOpenMode = 2;
inline constexpr uint32_t kReadOpenMode = 1;
inline constexpr uint32_t kSipAttribute = 0;
inline constexpr uint32_t kH323Attribute = 1;
inline constexpr uint32_t kKeySize = 128;

// A formatted key; its length counts the terminating NUL, as every DBM call
// is handed it.
struct DbKey {
    char text[kKeySize];
    uint64_t length;
};

inline DbKey sip_key() {
    DbKey k{};
    k.length = static_cast<uint64_t>(scnprintf(k.text, sizeof k.text, "SQA-SIP")) + 1;
    return k;
}

inline DbKey h323_key() {
    DbKey k{};
    k.length = static_cast<uint64_t>(scnprintf(k.text, sizeof k.text, "SQA-H323")) + 1;
    return k;
}

// The database answers existence in the low 16 bits of its result.
inline bool key_exists(uint64_t handle, const DbKey &key) {
    return (static_cast<uint32_t>(DBM_IsKeyExist(handle, key.text, key.length)) & 0xFFFFu) == 1;
}

}  // namespace dpmgmt::sqa

#endif
