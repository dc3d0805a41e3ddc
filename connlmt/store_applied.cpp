// SPDX-License-Identifier: Apache-2.0
// Which policy is applied globally and at each interface.
//
// The global application lives in "gConnlmt"; an interface's in the used
// database, or in the unused one while the interface is temporary.  The
// 4-byte value belongs to the configuration process and is stored as is.
#include "connlmt/store_keys.h"
#include "platform/iface.h"

using namespace dpmgmt::connlmt;

namespace {

constexpr uint32_t kAppliedSize = 4;
constexpr uint32_t kGlobalAttribute = 2;
constexpr uint32_t kInterfaceAttribute = 3;

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_DB_UpdateAppliedPolicy(uint32_t ifIndex, const void *value) {
    uint64_t handle = g_hConnlmtGlobalCfgHandle;
    uint32_t attribute = kGlobalAttribute;
    if (ifIndex != 0) {
        attribute = kInterfaceAttribute;
        handle = static_cast<uint16_t>(IF_IsTempIf(ifIndex)) == 1 ? g_hConnlmtIFCfgUnusedHandle
                                                                   : g_hConnlmtIFCfgUsedHandle;
    }
    const DbKey k = applied_key(ifIndex);
    if (value == nullptr) return static_cast<uint32_t>(DBM_DeleteKey(handle, k.text, k.len));
    return static_cast<uint32_t>(DBM_SetBinary(handle, k.text, k.len, 0, kAppliedSize, value, attribute));
}

DPMGMT_API uint32_t CONNLMT_DB_GetAppliedPolicy(uint64_t handle, uint32_t ifIndex, void *value) {
    if (value == nullptr) return DPMGMT_ERR_FAILED;
    const DbKey k = applied_key(ifIndex);
    if (DBM_GetBinary(handle, k.text, k.len, 0, kAppliedSize, value) <= 0) return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_MoveAppliedPolicy(uint32_t first, uint32_t second, uint32_t ifIndex) {
    const DbKey k = applied_key(ifIndex);
    if (first == 0 && second == 1)
        return static_cast<uint32_t>(DBM_Move(g_hConnlmtIFCfgUsedHandle, k.text, k.len, g_hConnlmtIFCfgUnusedHandle));
    return static_cast<uint32_t>(DBM_Move(g_hConnlmtIFCfgUnusedHandle, k.text, k.len, g_hConnlmtIFCfgUsedHandle));
}

DPMGMT_API uint32_t CONNLMT_DB_IfDeactiveProc(uint32_t ifIndex) {
    const uint64_t handle = ifIndex == 0 ? g_hConnlmtGlobalCfgHandle : g_hConnlmtIFCfgUsedHandle;
    const DbKey k = applied_key(ifIndex);
    return static_cast<uint32_t>(DBM_DeleteKey(handle, k.text, k.len));
}

DPMGMT_API uint32_t CONNLMT_DB_DelAppliedPolicyFromUnused(uint32_t ifIndex) {
    const DbKey k = applied_key(ifIndex);
    return static_cast<uint32_t>(DBM_DeleteKey(g_hConnlmtIFCfgUnusedHandle, k.text, k.len));
}

}  // extern "C"
