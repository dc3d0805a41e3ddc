// The kernel's connection-limit side, as the session-service handlers see
// it.
#ifndef DPSVC_KERNEL_CONNLMT_H
#define DPSVC_KERNEL_CONNLMT_H

#include <cstdint>

namespace dpsvc {

// Clears the permitted / denied new-session counters of a policy (0: every
// policy) of one address family (0 IPv4, 1 IPv6) on every node, as the
// reset-statistics message asks.  Counters of other policies and of the
// other family keep counting.
void connlmt_reset_statistics(uint16_t policy, uint32_t family);

}  // namespace dpsvc

#endif
