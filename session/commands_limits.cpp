// SPDX-License-Identifier: Apache-2.0
// Session limits and rates.  Settings make sure the session service runs on
// the system master first, since a limit set while it is down would be
// lost; queries never start it and read 0 when it does not run.
#include "dpmgmt/session.h"
#include "platform/dev.h"
#include "channels/exchange.h"
#include "channels/protocol.h"

using namespace dpmgmt;
using namespace dpmgmt::msg;

namespace {

// Selector 1 is not the session service's to limit: nothing is started and
// nothing is sent for it.
constexpr uint32_t kSelectorNotServed = 1;

uint32_t set_selector(uint32_t type, uint32_t selector, uint32_t value) {
    return svc_command(type, Request<8>().put32(0, selector).put32(4, value));
}

uint32_t set_on_master(uint32_t type, uint32_t selector, uint32_t value) {
    if (selector == kSelectorNotServed) return DPMGMT_OK;
    const uint32_t started = SESSION_Startup_Run(DEV_GetSystemMaster());
    if (started != DPMGMT_OK) return started;
    return set_selector(type, selector, value);
}

// A value, not a result code: 0 stands for "no value" and for failure.
uint32_t get_selector(uint32_t type, uint32_t selector) {
    if (SESSION_Startup_IsRunning(DEV_GetSystemMaster()) != 1) return 0;
    uint32_t value = 0;
    if (query_value<4>(type, Request<4>().put32(0, selector), 0, &value) != DPMGMT_OK) return 0;
    return value;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_IPC_SetMaximum(uint32_t selector, uint32_t value) {
    return set_selector(kSetMaximum, selector, value);
}

DPMGMT_API uint32_t SESSION_IPC_SetRate(uint32_t selector, uint32_t value) {
    return set_selector(kSetRate, selector, value);
}

DPMGMT_API uint32_t SESSION_SetMaximum(uint32_t selector, uint32_t value) {
    return set_on_master(kSetMaximum, selector, value);
}

DPMGMT_API uint32_t SESSION_SetRate(uint32_t selector, uint32_t value) {
    return set_on_master(kSetRate, selector, value);
}

DPMGMT_API uint32_t SESSION_GetMaximum(uint32_t selector) { return get_selector(kGetMaximum, selector); }

DPMGMT_API uint32_t SESSION_GetRate(uint32_t selector) { return get_selector(kGetRate, selector); }

}  // extern "C"
