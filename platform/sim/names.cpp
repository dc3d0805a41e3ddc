// Names of ACLs, applications and VPN instances from the device profile;
// protocol names from the system's protocol database.
#include <netdb.h>

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
    protoent entry{};
    protoent *found = nullptr;
    char scratch[1024];
    if (getprotobynumber_r(static_cast<int>(protocol), &entry, scratch, sizeof scratch, &found) != 0 ||
        found == nullptr || found->p_name == nullptr)
        return kUnknown;
    const size_t len = std::strlen(found->p_name);
    if (len >= APR_PROTO_NAME_SIZE) return kUnknown;
    std::memcpy(name, found->p_name, len + 1);
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
