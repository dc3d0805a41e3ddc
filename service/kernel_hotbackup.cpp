// SPDX-License-Identifier: Apache-2.0
// Hot-backup counters: the backup messages still queued on a node
// (0x140019, no key, one u32 in network order) and, per peer node, the
// messages sent, failed and received (0x140009, 2-byte key = the peer in
// host order, one record of three u64 in host order and 8 bytes 0).  A peer
// that is down, not in the profile, or the node itself has no counters:
// its dump is not served.
#include <cstring>

#include "traffic_wire.h"

namespace dpsvc {
namespace {

bool &counters_cleared() {
    static bool cleared = false;
    return cleared;
}

std::unique_ptr<DumpCursor> open_remaining(uint16_t node, std::span<const uint8_t> key) {
    if (!traffic_node_served(node) || !key.empty()) return nullptr;
    std::vector<uint8_t> rec(4);
    // What is queued follows the node's load: a message per 50 live sessions
    // and a few that are always in flight.
    put32(rec.data(), 0, session_counts(node).live / 50 + traffic_number(node, 0x140019, 0) % 8);
    return std::make_unique<SingleCursor>(std::move(rec));
}

std::unique_ptr<DumpCursor> open_peer(uint16_t node, std::span<const uint8_t> key) {
    if (!traffic_node_served(node) || key.size() != 2) return nullptr;
    uint16_t peer = 0;
    std::memcpy(&peer, key.data(), 2);
    if (peer == node || !traffic_node_served(peer)) return nullptr;
    uint64_t counters[4] = {};
    if (!counters_cleared()) {
        uint64_t live = session_counts(node).live;
        counters[0] = live * 4 + traffic_number(node, peer, 1) % 1000;
        counters[1] = traffic_number(node, peer, 2) % 16;
        counters[2] = uint64_t{session_counts(peer).live} * 4 + traffic_number(node, peer, 3) % 1000;
    }
    std::vector<uint8_t> rec(32);
    std::memcpy(rec.data(), counters, sizeof counters);
    return std::make_unique<SingleCursor>(std::move(rec));
}

const bool registered = [] {
    register_dump(0x140019, open_remaining);
    register_dump(0x140009, open_peer);
    return true;
}();

}  // namespace

void reset_hotbackup_statistics() { counters_cleared() = true; }

}  // namespace dpsvc
