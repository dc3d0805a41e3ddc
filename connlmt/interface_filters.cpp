// SPDX-License-Identifier: Apache-2.0
// Whether a node must handle an interface's configuration change or event.
#include "dpmgmt/connlmt.h"
#include "dpmgmt/session.h"
#include "platform/dev.h"
#include "platform/iface.h"

namespace {

// The platform answers yes/no in the low 16 bits of a wider word: the
// interface tests accept exactly 1, the controller test any non-zero value.
bool low16_is_one(uint32_t answer) { return static_cast<uint16_t>(answer) == 1; }
bool low16_non_zero(uint32_t answer) { return static_cast<uint16_t>(answer) != 0; }

}  // namespace

extern "C" {

DPMGMT_API uint32_t CONNLMT_ifcfg_need_proc(uint32_t ifIndex) {
    if (low16_non_zero(DEV_IsController(DEV_GetSelf()))) return 1;
    if (low16_is_one(SESSION_IsGlobalIF(ifIndex))) return 1;
    return low16_is_one(IF_IsLocalIf(ifIndex)) ? 1 : 0;
}

DPMGMT_API uint32_t CONNLMT_if_need_proc(uint16_t node, uint32_t ifIndex) {
    if (low16_non_zero(DEV_IsController(node))) return 1;
    if (low16_is_one(SESSION_IsGlobalIF(ifIndex))) return 1;
    return low16_is_one(SESSION_IsNodeIF(ifIndex, node)) ? 1 : 0;
}

}  // extern "C"
