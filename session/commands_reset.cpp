// SPDX-License-Identifier: Apache-2.0
// Clearing sessions and counters in the session service.
#include <cstring>

#include "dpmgmt/session.h"
#include "channels/exchange.h"
#include "channels/protocol.h"

using namespace dpmgmt;
using namespace dpmgmt::msg;

namespace {

// Scope (u16), two zero bytes, then the table key in network order.  The
// service walks its whole table for these, so the exchange waits patiently
// and shows the user that it is working.
uint32_t reset_flows(uint32_t type, uint16_t scope, const SESSION_TABLEKEY_S *key) {
    if (key == nullptr) return DPMGMT_ERR_FAILED;
    constexpr std::size_t kKeyOffset = 4;
    SESSION_TABLEKEY_S wireKey;
    std::memcpy(&wireKey, key, sizeof(wireKey));
    SESSION_HTON_TABLEKEY(&wireKey);
    Request<kKeyOffset + sizeof(SESSION_TABLEKEY_S)> req;
    req.put16(0, scope).copy(kKeyOffset, &wireKey, sizeof(wireKey));
    return svc_command(type, req, Wait::kPatient);
}

// A u16 scope and a u32, two zero bytes between them.
uint32_t reset_scope_word(uint32_t type, uint16_t first, uint32_t second) {
    return svc_command(type, Request<8>().put16(0, first).put32(4, second));
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_ResetSession(uint16_t scope, const SESSION_TABLEKEY_S *key) {
    return reset_flows(kResetSession, scope, key);
}

DPMGMT_API uint32_t SESSION_ResetMcfsSession(uint16_t scope, const SESSION_TABLEKEY_S *key) {
    return reset_flows(kResetMcfsSession, scope, key);
}

DPMGMT_API uint32_t SESSION_IPC_ResetRelation(uint16_t scope, const uint8_t *selector) {
    if (selector == nullptr) return DPMGMT_ERR_FAILED;
    return svc_command(kResetRelation, Request<4>().put16(0, scope).put8(2, *selector));
}

DPMGMT_API uint32_t SESSION_IPC_ResetStatistics(uint16_t scope) {
    return svc_command(kResetStatistics, Request<2>().put16(0, scope));
}

DPMGMT_API uint32_t SESSION_IPC_ResetMcfsStatistics(uint16_t scope) {
    return svc_command(kResetMcfsStatistics, Request<2>().put16(0, scope));
}

DPMGMT_API uint32_t SESSION_IPC_ResetStatFail(uint16_t first, uint32_t second) {
    return reset_scope_word(kResetStatFail, first, second);
}

DPMGMT_API uint32_t SESSION_IPC_ResetFdbStatistics(uint16_t first, uint32_t second) {
    return reset_scope_word(kResetFdbStatistics, first, second);
}

// Here the word comes first and the u16 behind it.
DPMGMT_API uint32_t SESSION_IPC_ResetEventStatistics(uint32_t first, uint16_t second) {
    return svc_command(kResetEventStatistics, Request<8>().put32(0, first).put16(4, second));
}

}  // extern "C"
