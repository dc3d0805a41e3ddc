// SPDX-License-Identifier: Apache-2.0
// The dump keys of the session displays, made from their filter words:
// the same for the text and the JSON form of a display.
//
// Filters reach the kernel as it reads them: the dump key's family byte is
// 0 (every session), 2 (IPv4) or 10 (IPv6), and only with a family do the
// two addresses filter (address 1 the initiator's source, address 2 its
// destination; all zero = any).  Filter value 1 is the IP protocol number,
// filter value 2 the initiator's destination port (0 = any).
#ifndef DPMGMT_TOOLS_SESSION_KEYS_H
#define DPMGMT_TOOLS_SESSION_KEYS_H

#include <cstdint>

#include "cli.h"
#include "dpmgmt/session.h"

namespace cli {

// The filter words of the session, fast-forward and Mcfs tables.
constexpr unsigned kTableFilters =
    kFilterFamily | kFilterVerbose | kFilterAddresses | kFilterProtocol | kFilterPort | kFilterSlot;

uint8_t family_byte(Family f);
// An address slot of a host-order key: IPv4 as a host-order u32 in its
// first 4 bytes, IPv6 as the 16 bytes.
void put_address(uint8_t *slot, const std::optional<Args::Address> &a);
SESSION_DUMPKEY_S dump_key(const SessionFilter &f);
SESSION_TABLEKEY_S table_key(const SessionFilter &f);
// The node "slot N" names, or the local node.
uint16_t node_of(const SessionFilter &f);

}  // namespace cli

#endif
