// SPDX-License-Identifier: Apache-2.0
// What the traffic model takes from the device profile: the nodes, and the
// interfaces, VPN instances and applications that sessions refer to.
#ifndef DPSVC_TRAFFIC_PROFILE_H
#define DPSVC_TRAFFIC_PROFILE_H

#include <cstdint>
#include <map>
#include <vector>

namespace dpsvc {

struct TrafficProfile {
    std::vector<uint16_t> nodes;        // every node, in the profile's order
    std::vector<uint16_t> vpns;         // known VPN instance indexes, ascending
    std::vector<uint32_t> apps;         // known application identifiers, ascending
    uint16_t unknownVpnBase = 1000;     // from here on no VPN instance is known
    uint32_t unknownAppBase = 100000;   // from here on no application is known

    // The interfaces a node's sessions arrive on: those that rely on the
    // node, or every interface when none does.
    const std::vector<uint32_t> &interfaces(uint16_t node) const;

    // The application a well-known server port names, when the profile
    // has an application of that name (80 -> "http", 21 -> "ftp", ...).
    std::map<uint16_t, uint32_t> appByPort;

    std::vector<uint32_t> allInterfaces;                 // ascending
    std::map<uint16_t, std::vector<uint32_t>> byNode;    // ascending per node
};

// Read once, on first use.
const TrafficProfile &traffic_profile();

// True when the node is in the profile and up.
bool traffic_node_up(uint16_t node);

}  // namespace dpsvc

#endif
