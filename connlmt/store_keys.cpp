// SPDX-License-Identifier: Apache-2.0
#include "connlmt/store_keys.h"

#include "platform/iface.h"
#include "platform/textutil.h"

namespace dpmgmt::connlmt {

namespace {

constexpr const char *kPolicyFormat[kFamilies] = {"policy-%u", "ipv6-policy-%u"};
constexpr const char *kDescriptionFormat[kFamilies] = {"description-%u", "ipv6-description-%u"};

void format_family_key(const char *const (&formats)[kFamilies], uint32_t family, uint16_t policyId, uint64_t size,
                       char *key, uint64_t *keyLen) {
    if (key == nullptr || keyLen == nullptr) return;
    if (!family_ok(family) || size == 0) {
        if (size != 0) key[0] = '\0';
        *keyLen = 0;
        return;
    }
    const int n = scnprintf(key, static_cast<size_t>(size), formats[family], static_cast<unsigned>(policyId));
    *keyLen = static_cast<uint64_t>(n) + 1;
}

}  // namespace

DbKey policy_key(uint32_t family, uint16_t policyId) {
    DbKey k;
    CONNLMT_DB_GetPolicyKeyAndLen(family, policyId, sizeof k.text, k.text, &k.len);
    return k;
}

void _db_GetDescriptionKeyAndLen(uint32_t family, uint16_t policyId, char *key, uint64_t *keyLen) {
    format_family_key(kDescriptionFormat, family, policyId, CONNLMT_DB_KEY_SIZE, key, keyLen);
}

void _db_GetAppliedKeyAndLen(uint32_t ifIndex, char *key, uint64_t *keyLen) {
    key[0] = '\0';
    *keyLen = 0;
    char name[IF_NAME_SIZE] = {};
    if (ifIndex == 0) {
        scnprintf(name, sizeof name, "%s", "global");
    } else {
        if (IF_GetDataByIfIndex(ifIndex, IF_DATA_FULLNAME, name) != 0) return;
        name[sizeof name - 1] = '\0';  // the platform's name is trusted only as far as the buffer
    }
    const int n = scnprintf(key, CONNLMT_DB_KEY_SIZE, "applied-%s", name);
    *keyLen = static_cast<uint64_t>(n) + 1;
}

}  // namespace dpmgmt::connlmt

extern "C" {

DPMGMT_API void CONNLMT_DB_GetPolicyKeyAndLen(uint32_t family, uint16_t policyId, uint64_t size, char *key,
                                              uint64_t *keyLen) {
    dpmgmt::connlmt::format_family_key(dpmgmt::connlmt::kPolicyFormat, family, policyId, size, key, keyLen);
}

}  // extern "C"
