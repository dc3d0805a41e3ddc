// Wait bounds and the fault record of this process.
#include "platform/wait.h"

#include <atomic>
#include <cstring>
#include <mutex>

namespace {
std::atomic<uint32_t> g_exchangeMs{0};
std::atomic<uint32_t> g_patientMs{0};
std::mutex g_faultLock;
PLAT_FAULT_S g_fault{};
}  // namespace

extern "C" {

PLAT_API void PLAT_SetWaitBounds(uint32_t exchangeMs, uint32_t patientMs) {
    g_exchangeMs = exchangeMs;
    g_patientMs = patientMs;
}

PLAT_API uint32_t PLAT_GetFault(PLAT_FAULT_S *fault) {
    std::lock_guard<std::mutex> lock(g_faultLock);
    if (fault != nullptr) *fault = g_fault;
    return g_fault.kind;
}

PLAT_API void PLAT_ClearFault(void) {
    std::lock_guard<std::mutex> lock(g_faultLock);
    std::memset(&g_fault, 0, sizeof g_fault);
}

}  // extern "C"
