// SPDX-License-Identifier: Apache-2.0
#include "session_keys.h"

#include <cstring>

#include "platform/dev.h"

namespace cli {

uint8_t family_byte(Family f) {
    switch (f) {
    case Family::kIpv4: return SESSION_AF_IPV4;
    case Family::kIpv6: return SESSION_AF_IPV6;
    default: return 0;
    }
}

void put_address(uint8_t *slot, const std::optional<Args::Address> &a) {
    if (!a) return;
    if (a->family == 4)
        std::memcpy(slot, &a->addr4, sizeof a->addr4);
    else
        std::memcpy(slot, a->addr6, 16);
}

SESSION_DUMPKEY_S dump_key(const SessionFilter &f) {
    SESSION_DUMPKEY_S key{};
    key.ucFamily = family_byte(f.family);
    put_address(key.aucAddr1, f.source);
    put_address(key.aucAddr2, f.destination);
    key.usFilter1 = f.protocol;
    key.usFilter2 = f.destinationPort;
    return key;
}

SESSION_TABLEKEY_S table_key(const SessionFilter &f) {
    SESSION_TABLEKEY_S key{};
    key.stTuple.ucFamily = family_byte(f.family);
    key.stTuple.ucProtocol = f.protocol;
    put_address(key.stTuple.aucSrcAddr, f.source);
    put_address(key.stTuple.aucDstAddr, f.destination);
    key.stTuple.usDstPort = f.destinationPort;
    return key;
}

uint16_t node_of(const SessionFilter &f) { return f.node ? *f.node : DEV_GetSelf(); }

}  // namespace cli
