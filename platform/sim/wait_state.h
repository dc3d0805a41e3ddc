// SPDX-License-Identifier: Apache-2.0
// What the platform's calls share about bounded waits: the bounds this
// process set, a monotonic clock, and the record of the first failure.
#ifndef DPSIM_WAIT_STATE_H
#define DPSIM_WAIT_STATE_H

#include <cstdint>
#include <string>

namespace dpsim::detail {

// The bounds of PLAT_SetWaitBounds, in milliseconds; 0: none.
uint32_t exchange_bound_ms();
uint32_t patient_bound_ms();
// Whether the process asked for bounded waits at all: only then do the
// calls watch their peers while they wait.
bool waits_bounded();

// Milliseconds of the monotonic clock.
int64_t now_ms();

// Records a failure unless one is already recorded: its kind, the system's
// error number, how long the failed wait lasted, the endpoint concerned and
// one line for the operator (without a line end).
void record_fault(uint32_t kind, int sysErrno, int64_t waitedMs, const std::string &endpoint,
                  const std::string &line);

}  // namespace dpsim::detail

#endif
