// SPDX-License-Identifier: Apache-2.0
// The kernel's connection-limit side, as the session-service handlers see
// it.
#ifndef DPSVC_KERNEL_CONNLMT_H
#define DPSVC_KERNEL_CONNLMT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "registry.h"
#include "traffic.h"

namespace dpsvc {

// The statistic-node and counter dumps as both data planes answer them.
namespace connlmt_stats {

// Dump types, key sizes and record sizes: statistic nodes, then counters.
constexpr uint32_t kDumpStatNodes = 0x14000b, kDumpStatistics = 0x14000c;
constexpr size_t kNodeKeySize = 60, kStatisticsKeySize = 4;
constexpr uint32_t kNodeSize = 80, kStatisticsSize = 16;

// How a rule's third limit word groups sessions into nodes.
constexpr uint32_t kPerSource = 1u << 0, kPerDestination = 1u << 1, kPerService = 1u << 2;

// One statistic node; fields the rule does not group by stay zero.
struct StatNode {
    Address src{}, dst{}, peer{};
    uint16_t srcVrf = 0, dstVrf = 0;
    uint8_t protocol = 0;
    uint16_t port = 0;
    uint16_t ruleId = 0;
    bool denied = false;
    uint32_t aclNum = 0, upper = 0, lower = 0, sessions = 0, aclType = 0;
};

// The 60-byte key of the node dump: policy (0 all), family (0 IPv4, else
// IPv6), source and destination filters (all zero: any), rule (0 any).
struct NodeQuery {
    uint32_t policy;
    uint32_t family;  // 0 IPv4, 1 IPv6
    const uint8_t *srcFilter;
    const uint8_t *dstFilter;
    uint16_t ruleId;
};
NodeQuery parse_node_key(std::span<const uint8_t> key);

// Whether the node's address passes a filter of the key.
bool address_matches(const uint8_t *filter, const Address &address, uint32_t family);

// Keeps a node's deny state between the thresholds: denied from the upper
// one on, permitted again below the lower one.
bool update_denied(bool &denied, uint32_t sessions, uint32_t upper, uint32_t lower);

// Appends the node's 80-byte record, network order.
void append_node(std::vector<uint8_t> &records, const StatNode &n);

// The 16-byte counter record: new sessions permitted and denied.
std::unique_ptr<DumpCursor> statistics_cursor(uint64_t permitted, uint64_t denied);

}  // namespace connlmt_stats

// Clears the permitted / denied new-session counters of a policy (0: every
// policy) of one address family (0 IPv4, 1 IPv6) on every node, as the
// reset-statistics message asks.  Counters of other policies and of the
// other family keep counting.
void connlmt_reset_statistics(uint16_t policy, uint32_t family);

}  // namespace dpsvc

#endif
