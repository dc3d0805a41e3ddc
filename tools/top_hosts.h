// SPDX-License-Identifier: Apache-2.0
// The busiest source hosts over every node (display session
// top-statistics), for its text and its JSON form.
#ifndef DPMGMT_TOOLS_TOP_HOSTS_H
#define DPMGMT_TOOLS_TOP_HOSTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace top {

// A ranked host: its family byte (2 or 10), address (IPv4 in the first 4
// bytes, network order) and live sessions summed over the nodes.
struct Shown {
    uint8_t family;
    uint8_t address[16];
    uint64_t sessions;
};

// The ten busiest hosts, busiest first, and how many hosts there were;
// kOk, or the status after reporting.
int rank(std::vector<Shown> &shown, size_t &hostCount);

}  // namespace top

#endif
