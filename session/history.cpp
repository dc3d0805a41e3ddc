// SPDX-License-Identifier: Apache-2.0
// Session history: the kernel's samples of the past hour, 24 hours and 30
// days, read into a caller's buffer and averaged for the operator.
#include <cstdio>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

constexpr uint32_t kSampleBytes = 12;
constexpr uint32_t kSamplesPerBatch = 666;
constexpr uint32_t kSamplesPerPeriod = 720;

enum Period : uint32_t { kPastHour = 0, kPast24Hours = 1, kPast30Days = 2 };

}  // namespace

extern "C" {

DPMGMT_API uint32_t SESSION_GetHisStatics(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t bufferSize,
                                          void *buffer, uint32_t *count) {
    // The product is taken in 32 bits, as the kernel takes it.
    const uint32_t wanted = static_cast<uint32_t>(query->usSampleSize) * query->uiSamples;
    if (wanted > bufferSize) return DPMGMT_ERR_FAILED;

    constexpr auto kQuery = layout<SESSION_HISQUERY_S>({
        DPMGMT_FIELD(SESSION_HISQUERY_S, uiPeriod),
        DPMGMT_FIELD(SESSION_HISQUERY_S, uiSamples),
        DPMGMT_FIELD(SESSION_HISQUERY_S, usSampleSize),
    });
    const auto key = record_request(*query, kQuery);
    Dump dump(node, dump::kHistory, key.data(), key.size());
    if (!dump.opened()) return DPMGMT_ERR_FAILED;

    uint32_t received = 0;
    if (buffer != nullptr) {
        auto *out = static_cast<uint8_t *>(buffer);
        uint32_t remaining = bufferSize;
        for (;;) {
            uint32_t length = 0;
            const uint32_t rc = dump.pull(out + static_cast<std::size_t>(kSampleBytes) * received, remaining, &length);
            // A kernel that claims more than it was asked for is cut to
            // what it was asked for: the next pull must still fit.
            if (length > remaining) length = remaining;
            remaining -= length;
            if (rc != DPMGMT_DUMP_CONTINUE) break;
            const uint32_t n = length / kSampleBytes;
            received += n;
            if (n != kSamplesPerBatch) break;
        }
    }
    *count = received;
    return DPMGMT_OK;
}

DPMGMT_API void _session_HisComData_Get(uint16_t node, const SESSION_HISQUERY_S *query, uint32_t *countAverage,
                                        uint32_t *rateAverage) {
    const uint32_t size = static_cast<uint32_t>(query->usSampleSize) * query->uiSamples;
    HeapBuffer buf(size);
    if (!buf.ok()) return;
    uint32_t received = 0;
    SESSION_GetHisStatics(node, query, size, buf.data(), &received);

    uint64_t sessions = 0;
    uint64_t rate = 0;
    for (uint32_t i = 0; i < received; ++i) {
        const uint8_t *sample = buf.data() + static_cast<std::size_t>(kSampleBytes) * i;
        rate += load_be32(sample + 4);
        sessions += load_be32(sample + 8);
    }
    // Divided by the samples asked for: a short history lowers the average.
    const uint64_t samples = query->uiSamples;
    *countAverage = samples ? static_cast<uint32_t>(sessions / samples) : 0;
    *rateAverage = samples ? static_cast<uint32_t>(rate / samples) : 0;
}

DPMGMT_API void SESSION_HisCom_GetStatics(uint16_t node, SESSION_HISAVG_S *averages) {
    struct Slot {
        uint32_t period;
        int countIndex;
        int rateIndex;
    };
    static constexpr Slot kSlots[] = {{kPastHour, 1, 4}, {kPast24Hours, 2, 5}, {kPast30Days, 0, 3}};
    for (const Slot &s : kSlots) {
        const SESSION_HISQUERY_S query = {s.period, kSamplesPerPeriod, static_cast<uint16_t>(kSampleBytes), {0, 0}};
        _session_HisComData_Get(node, &query, &averages->auiAverage[s.countIndex], &averages->auiAverage[s.rateIndex]);
    }
}

DPMGMT_API void SESSION_HisCom_DisplayStatics(const SESSION_HISAVG_S *averages) {
    const uint32_t *a = averages->auiAverage;
    std::printf("History average sessions per second:\n\r");
    std::printf("      Past hour: %d\n\r      Past 24 hours: %d\n\r      Past 30 days: %d\n\r", static_cast<int>(a[1]),
                static_cast<int>(a[2]), static_cast<int>(a[0]));
    std::printf("History average session establishment rate:\n\r");
    std::printf("      Past hour: %d/s\n\r      Past 24 hours: %d/s\n\r      Past 30 days: %d/s\n\r\n\r",
                static_cast<int>(a[4]), static_cast<int>(a[5]), static_cast<int>(a[3]));
}

}  // extern "C"
