// SPDX-License-Identifier: Apache-2.0
// The host's connection-tracking table as the netfilter data plane reads
// and changes it: shared by the dumps, the statistics and the resets.
#ifndef DPSVC_NF_CT_TABLE_H
#define DPSVC_NF_CT_TABLE_H

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "netfilter/ct_entry.h"
#include "traffic.h"

namespace dpsvc::nf {

// The one node this data plane serves: the profile's local node.
bool served(uint16_t node);

// Walks the table of `family` (AF_UNSPEC: both) in one netlink dump, on
// the calling thread, calling fn for each entry until it answers false.
// False when the dump could not be had or ended early on a failure.
// The entry's message comes along (for deletions that name it).
bool walk_conntrack(uint8_t family, const std::function<bool(const Session &, const CtExtra &, const nlmsghdr *)> &fn);

// The same for the expectations.
bool walk_expectations(uint8_t family,
                       const std::function<bool(const Relation &, uint32_t, uint32_t, const nlmsghdr *)> &fn);

// The table's size and maximum (IPCTNL_MSG_CT_GET_STATS).
bool table_size(uint32_t &entries, uint32_t &maximum);

// Sums over every CPU of the table's failure counters.
struct FailureCounters {
    uint64_t insertFailed = 0, drop = 0, earlyDrop = 0, invalid = 0, error = 0, searchRestart = 0;
    uint64_t clashResolve = 0, chainTooLong = 0, found = 0;
};
bool failure_counters(FailureCounters &out);

// Deletes every entry whose initiator tuple the 64-byte table key (network
// order) selects; answers how many went.  Deletions go out in batches
// while the table is being walked.
uint64_t delete_matching(std::span<const uint8_t> tableKey);
// Deletes the expectations of one family (2, 10; anything else: all).
uint64_t delete_expectations(uint8_t familyByte);

// The family of a dump key's family byte: 0 both, 2 IPv4, other IPv6.
uint8_t family_of(uint8_t familyByte);

}  // namespace dpsvc::nf

#endif
