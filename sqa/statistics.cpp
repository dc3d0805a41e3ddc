// SPDX-License-Identifier: Apache-2.0
// Call statistics and debugging switches, asked of the local node's kernel.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "channels/protocol.h"
#include "dpmgmt/records.h"
#include "platform/dev.h"
#include "platform/dump.h"
#include "sqa/layouts.h"

using namespace dpmgmt::sqa;

namespace {

namespace ctl = dpmgmt::ctl;

constexpr uint32_t kStatisticsReplySize = 128;
constexpr uint32_t kDebugReplySize = 8;
constexpr uint32_t kProtocolSip = 0;
constexpr uint32_t kProtocolH323 = 1;

struct DebugLines {
    const char *event;
    const char *error;
    const char *packet;
};
constexpr DebugLines kSipDebugLines{" SQASIP event debugging switch is on", " SQASIP error debugging switch is on",
                                    " SQASIP packet debugging switch is on"};
constexpr DebugLines kH323DebugLines{" H323-based SQA event debugging switch is on",
                                     " H323-based SQA error debugging switch is on",
                                     " H323-based SQA packet debugging switch is on"};

// Asks the local kernel with no input.  The number of bytes the kernel
// delivered, never more than the buffer, goes to *used.
uint32_t ask_kernel(uint32_t command, uint8_t *reply, uint32_t capacity, uint32_t *used) {
    uint32_t length = 0;
    const uint32_t rc = CIOCTL(DEV_GetSelf(), command, 0, nullptr, capacity, reply, &length);
    *used = std::min(length, capacity);
    return rc;
}

// One record of the kernel's reply, in a reply buffer of Capacity bytes:
// what the kernel did not deliver stays 0, and the listed fields are turned
// to host order.
template <uint32_t Capacity, class Record, std::size_t N>
uint32_t ask_record(uint32_t command, Record &record, const dpmgmt::Layout<Record, N> &layout) {
    uint8_t reply[Capacity] = {};
    uint32_t used = 0;
    const uint32_t rc = ask_kernel(command, reply, sizeof reply, &used);
    if (rc != 0) return rc;
    std::memset(&record, 0, sizeof record);
    std::memcpy(&record, reply, std::min<uint32_t>(used, sizeof record));
    dpmgmt::swap_fields(&record, layout);
    return DPMGMT_OK;
}

void print_call_statistics(const SQA_CALL_STATISTICS_S &s) {
    std::printf("Total calls      : %llu\n", static_cast<unsigned long long>(s.ulTotalCalls));
    std::printf("Successful calls : %llu ", static_cast<unsigned long long>(s.ulSuccessCalls));
    std::printf("(Active: %llu)\n", static_cast<unsigned long long>(s.ulActiveCalls));
    std::printf("Timeout calls    : %llu\n", static_cast<unsigned long long>(s.ulTimeoutCalls));
    std::printf("Abnormal calls   : %llu\n\n", static_cast<unsigned long long>(s.ulAbnormalCalls));
}

uint32_t show_statistics(uint32_t command) {
    SQA_CALL_STATISTICS_S stats;
    const uint32_t rc = ask_record<kStatisticsReplySize>(command, stats, kStatisticsLayout);
    if (rc != 0) return rc;
    print_call_statistics(stats);
    return DPMGMT_OK;
}

uint32_t show_debug_switches(uint32_t protocol, const DebugLines &lines) {
    SQA_DEBUG_SWITCH_S sw;
    const uint32_t rc = dpmgmt_sqa_debug_switches(protocol, &sw);
    if (rc != 0) return rc;
    if (sw.uiSwitchBits & SQA_DEBUG_EVENT) std::puts(lines.event);
    if (sw.uiSwitchBits & SQA_DEBUG_ERROR) std::puts(lines.error);
    if (sw.uiSwitchBits & SQA_DEBUG_PACKET) std::puts(lines.packet);
    return DPMGMT_OK;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t SQA_DUMP_DisSipCallEntryStatistics(void) { return show_statistics(ctl::kSipStatistics); }

DPMGMT_API uint32_t SQA_DUMP_DisH323CallEntryStatistics(void) { return show_statistics(ctl::kH323Statistics); }

// A short reply leaves the caller's later fields as they were, unconverted.
DPMGMT_API uint32_t SQA_DUMP_PullStatistics(uint32_t protocol, SQA_CALL_STATISTICS_S *statistics) {
    if (statistics == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t reply[kStatisticsReplySize] = {};
    uint32_t used = 0;
    const uint32_t rc =
        ask_kernel(protocol == kProtocolH323 ? ctl::kH323Statistics : ctl::kSipStatistics, reply, sizeof reply, &used);
    if (rc != 0) return rc;
    const uint32_t n = std::min<uint32_t>(used, sizeof *statistics);
    std::memcpy(statistics, reply, n);
    dpmgmt::swap_fields_within(statistics, n, kStatisticsLayout);
    return DPMGMT_OK;
}

DPMGMT_API uint32_t dpmgmt_sqa_debug_switches(uint32_t protocol, SQA_DEBUG_SWITCH_S *switches) {
    if (switches == nullptr) return DPMGMT_ERR_FAILED;
    return ask_record<kDebugReplySize>(protocol == kProtocolH323 ? ctl::kH323Debug : ctl::kSipDebug, *switches,
                                       kDebugSwitchLayout);
}

DPMGMT_API uint32_t SQA_DUMP_DisDebugFlag(void) { return show_debug_switches(kProtocolSip, kSipDebugLines); }

DPMGMT_API uint32_t SQA_DUMP_DisH323DebugFlag(void) { return show_debug_switches(kProtocolH323, kH323DebugLines); }

}  // extern "C"
