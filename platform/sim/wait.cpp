// SPDX-License-Identifier: Apache-2.0
// Wait bounds and the fault record of this process.
#include "platform/wait.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

#include "wait_state.h"

namespace {

std::atomic<uint32_t> g_exchangeMs{0};
std::atomic<uint32_t> g_patientMs{0};

struct FaultRecord {
    std::mutex lock;
    PLAT_FAULT_S fault{};
    std::string line;
};

FaultRecord &faults() {
    static FaultRecord *record = new FaultRecord;  // outlives every static destructor
    return *record;
}

}  // namespace

namespace dpsim::detail {

uint32_t exchange_bound_ms() { return g_exchangeMs.load(std::memory_order_relaxed); }
uint32_t patient_bound_ms() { return g_patientMs.load(std::memory_order_relaxed); }
bool waits_bounded() { return exchange_bound_ms() != 0 || patient_bound_ms() != 0; }

int64_t now_ms() {
    timespec ts{};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void record_fault(uint32_t kind, int sysErrno, int64_t waitedMs, const std::string &endpoint,
                  const std::string &line) {
    FaultRecord &r = faults();
    std::lock_guard<std::mutex> guard(r.lock);
    if (r.fault.kind != PLAT_FAULT_NONE) return;
    r.fault.kind = kind;
    r.fault.sysErrno = sysErrno;
    r.fault.waitedMs = static_cast<uint32_t>(std::clamp<int64_t>(waitedMs, 0, UINT32_MAX));
    const size_t n = std::min(endpoint.size(), sizeof r.fault.endpoint - 1);
    std::memcpy(r.fault.endpoint, endpoint.data(), n);
    r.fault.endpoint[n] = '\0';
    r.line = line;
}

}  // namespace dpsim::detail

extern "C" {

PLAT_API void PLAT_SetWaitBounds(uint32_t exchangeMs, uint32_t patientMs) {
    g_exchangeMs = exchangeMs;
    g_patientMs = patientMs;
}

PLAT_API uint32_t PLAT_GetFault(PLAT_FAULT_S *fault) {
    FaultRecord &r = faults();
    std::lock_guard<std::mutex> guard(r.lock);
    if (fault != nullptr) *fault = r.fault;
    return r.fault.kind;
}

PLAT_API uint32_t PLAT_DescribeFault(char *line, uint32_t size) {
    FaultRecord &r = faults();
    std::lock_guard<std::mutex> guard(r.lock);
    if (line != nullptr && size > 0) {
        const size_t n = std::min<size_t>(r.line.size(), size - 1);
        std::memcpy(line, r.line.data(), n);
        line[n] = '\0';
    }
    return r.fault.kind;
}

PLAT_API void PLAT_ClearFault(void) {
    FaultRecord &r = faults();
    std::lock_guard<std::mutex> guard(r.lock);
    std::memset(&r.fault, 0, sizeof r.fault);
    r.line.clear();
}

}  // extern "C"
