// SPDX-License-Identifier: Apache-2.0
// dpservice --data-plane netfilter: the session subsystem answered from
// the connection tracking of the network namespace dpservice runs in.
// docs/data-planes.md maps every message and table.
#ifndef DPSVC_NF_NETFILTER_H
#define DPSVC_NF_NETFILTER_H

#include <cstdint>

namespace dpsvc::nf {

struct FailureCounters;

// Checks for CAP_NET_ADMIN, switches connection-tracking accounting and
// timestamps on (saying so on stderr), and puts this data plane's handlers
// in place of the model's.  False after one line on stderr when dpservice
// cannot run this way.
bool start();

// Registration of the kernel dumps (nf_dumps.cpp) and of the session
// service messages (nf_messages.cpp).
void register_dumps();
void register_messages();

// Entries deleted by this service's resets since it started.
uint64_t removed_by_resets();
// The failure counters as they stood when they were last cleared.
const FailureCounters &failure_baseline();

}  // namespace dpsvc::nf

#endif
