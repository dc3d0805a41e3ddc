// SPDX-License-Identifier: Apache-2.0
// Whether the local node must handle an interface's configuration, the
// start of the session service, and the interface <-> log-policy key
// mapping of the configuration database.
#include <cstring>

#include "channels/heap_buffer.h"
#include "dpmgmt/session.h"
#include "platform/dev.h"
#include "platform/iface.h"
#include "platform/service.h"
#include "platform/textutil.h"

namespace {

constexpr char kLogKeyPrefix[] = "log-";
constexpr size_t kLogKeyPrefixLen = sizeof(kLogKeyPrefix) - 1;

// The platform answers true/false in the low 16 bits of a wider word; the
// connection-limit filters judge the same answers the same way.
bool is_controller(uint16_t node) { return static_cast<uint16_t>(DEV_IsController(node)) != 0; }

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_IsGlobalIF(uint32_t ifIndex) {
    // The preset stands for "not global" when the platform does not know the
    // interface and leaves the value alone; its result is not consulted.
    uint32_t attribute = 2;
    (void)IF_GetDataByIfIndex(ifIndex, IF_DATA_ATTRIBUTE, &attribute);
    return attribute == IF_ATTRIBUTE_GLOBAL ? 1 : 0;
}

DPMGMT_API uint32_t SESSION_IsNodeIF(uint32_t ifIndex, uint16_t node) {
    uint64_t count = 0;
    const dpmgmt::MallocPtr<uint16_t> nodes(IF_GetRelyNodesByIfIndex(ifIndex, &count));
    if (!nodes) return 0;
    for (uint64_t i = 0; i < count; ++i)
        if (nodes.get()[i] == node) return 1;
    return 0;
}

DPMGMT_API uint32_t SESSION_ifcfg_need_proc(uint32_t ifIndex) {
    const uint16_t self = DEV_GetSelf();
    if (is_controller(self)) return 1;
    if (SESSION_IsGlobalIF(ifIndex) == 1) return 1;
    return SESSION_IsNodeIF(ifIndex, self);
}

DPMGMT_API uint32_t SESSION_GetControllerTeamByLip(uint16_t lip) {
    if (!is_controller(lip)) return 1;
    return DEV_GetControllerTeamByLip(lip);
}

DPMGMT_API uint32_t SESSION_Startup_IsRunning(uint16_t node) {
    uint32_t status = 0;
    if (SERVICE_GetStatus(node, SESSION_SERVICE_NAME, 0, &status) != 0) return 0;
    return status == SERVICE_STATUS_RUNNING ? 1 : 0;
}

DPMGMT_API uint32_t SESSION_Startup_Run(uint16_t node) {
    if (SESSION_Startup_IsRunning(node) == 1) return 0;
    return SERVICE_Start(node, SESSION_SERVICE_NAME, 0, 0);
}

DPMGMT_API uint32_t SESSION_DB_GetLogPolicyKeyByIfIndex(uint32_t ifIndex, uint32_t size, char *buf) {
    // One byte beyond the platform's longest name keeps the text terminated
    // whatever the platform wrote.
    char name[IF_NAME_SIZE + 1] = {};
    if (IF_GetDataByIfIndex(ifIndex, IF_DATA_FULLNAME, name) != 0) return 0;
    if (buf == nullptr) return 0;
    const int stored = scnprintf(buf, size, "log-%s", name);
    return static_cast<uint32_t>(stored < 0 ? 0 : stored) + 1;
}

DPMGMT_API uint32_t SESSION_DB_GetIfIndexByLogPolicyKey(const char *key) {
    if (key == nullptr || std::strncmp(key, kLogKeyPrefix, kLogKeyPrefixLen) != 0) return 0;
    return IF_GetIfIndexByFullName(key + kLogKeyPrefixLen);
}

}  // extern "C"
