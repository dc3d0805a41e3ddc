// SPDX-License-Identifier: Apache-2.0
// Names of ACLs, applications and VPN instances from the device profile;
// protocol names from the system's protocol database, read once.
#include <netdb.h>

#include <array>
#include <cstring>

#include "dpsim.h"
#include "platform/names.h"

namespace {

constexpr uint32_t kUnknown = 1;

// Copies a name that is known to fit (the profile's limits see to that).
void put_name(char *dst, const std::string &name, size_t size) {
    const size_t n = name.size() < size - 1 ? name.size() : size - 1;
    std::memcpy(dst, name.data(), n);
    dst[n] = '\0';
}

// The system's protocol database, read once per process: the first name
// listed for each number, as a lookup by number finds it.  A name too long
// for the caller's buffer is no answer.
struct ProtoName {
    char text[APR_PROTO_NAME_SIZE] = {};
    uint8_t len = 0;  // 0: no answer
    bool seen = false;
};

std::array<ProtoName, 256> read_proto_names() {
    std::array<ProtoName, 256> names{};
    protoent entry{};
    protoent *found = nullptr;
    char scratch[4096];
    ::setprotoent(0);
    while (::getprotoent_r(&entry, scratch, sizeof scratch, &found) == 0 && found != nullptr) {
        if (found->p_proto < 0 || found->p_proto > 255 || found->p_name == nullptr) continue;
        ProtoName &slot = names[static_cast<size_t>(found->p_proto)];
        const size_t len = std::strlen(found->p_name);
        if (slot.seen) continue;
        slot.seen = true;
        if (len == 0 || len >= APR_PROTO_NAME_SIZE) continue;
        std::memcpy(slot.text, found->p_name, len + 1);
        slot.len = static_cast<uint8_t>(len);
    }
    ::endprotoent();
    return names;
}

const std::array<ProtoName, 256> &proto_names() {
    static const std::array<ProtoName, 256> names = read_proto_names();  // thread-safe, once
    return names;
}

}  // namespace

extern "C" {

PLAT_API uint32_t ACL_GetIndexByName(uint32_t aclType, const char *name) {
    if (name == nullptr) return 0;
    for (const dpsim::Acl &acl : dpsim::profile().acls)
        if (acl.type == aclType && acl.name == name) return acl.number;
    return 0;
}

PLAT_API uint32_t ACL_GetNameByIndex(uint32_t aclType, uint32_t aclNum, char *name) {
    if (name == nullptr) return kUnknown;
    for (const dpsim::Acl &acl : dpsim::profile().acls) {
        if (acl.type == aclType && acl.number == aclNum) {
            put_name(name, acl.name, ACL_NAME_SIZE);
            return 0;
        }
    }
    return kUnknown;
}

PLAT_API uint32_t APR_GetProtoNameByID(uint32_t protocol, char *name) {
    if (name == nullptr || protocol > 255) return kUnknown;
    const ProtoName &entry = proto_names()[protocol];
    if (entry.len == 0) return kUnknown;
    std::memcpy(name, entry.text, entry.len + 1u);
    return 0;
}

PLAT_API uint32_t APR_GetAppNameByID(uint32_t appId, char *name) {
    if (name == nullptr) return kUnknown;
    const auto &apps = dpsim::profile().applications;
    const auto it = apps.find(appId);
    if (it == apps.end()) return kUnknown;
    put_name(name, it->second, APR_APP_NAME_SIZE);
    return 0;
}

PLAT_API uint32_t L3VPN_GetNameByVrfIndex(uint32_t vrfIndex, uint32_t size, char *name) {
    if (name == nullptr || size == 0) return kUnknown;
    const auto &vpns = dpsim::profile().vpns;
    const auto it = vpns.find(vrfIndex);
    // A name that does not fit whole is not an answer.
    if (it == vpns.end() || it->second.size() >= size) return kUnknown;
    put_name(name, it->second, size);
    return 0;
}

}  // extern "C"
