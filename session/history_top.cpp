// SPDX-License-Identifier: Apache-2.0
// Top statistics: the samples of several nodes gathered into one
// contiguous array for the caller.
#include <memory>
#include <new>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

constexpr uint32_t kSampleBytes = 24;
constexpr uint32_t kSamplesPerBatch = 333;
constexpr uint32_t kNodeBytes = 49152;  // what one node may deliver at most
constexpr uint32_t kSamplesWanted = 1024;

// Pulls one node's samples to dest; returns how many arrived.
uint32_t pull_node(const Dump &dump, uint8_t *dest) {
    uint32_t pulled = 0;
    uint32_t remaining = kNodeBytes;
    for (;;) {
        uint32_t length = 0;
        const uint32_t rc = dump.pull(dest, remaining, &length);
        if (length > remaining) length = remaining;  // never trust more than asked
        remaining -= length;
        if (rc != DPMGMT_DUMP_CONTINUE) break;
        const uint32_t n = length / kSampleBytes;
        dest += static_cast<std::size_t>(kSampleBytes) * n;
        pulled += n;
        if (n != kSamplesPerBatch) break;
    }
    return pulled;
}

}  // namespace

extern "C" DPMGMT_API uint32_t Session_GetTopStatTick(uint32_t nodeCount, const uint16_t *nodes, uint32_t *count,
                                                      void *buffer) {
    // The dumps of every node, opened together: the requests go out to all
    // nodes before the first pull.  Whatever is still open at the end is
    // ended with the array.
    const std::unique_ptr<Dump[]> dumps(new (std::nothrow) Dump[nodeCount ? nodeCount : 1]);
    if (dumps == nullptr) return DPMGMT_ERR_FAILED;
    *count = 0;
    if (nodeCount == 0) return DPMGMT_OK;

    const auto key = Request<8>().put32(0, kSamplesWanted).put32(4, kSampleBytes);
    for (uint32_t i = 0; i < nodeCount; ++i) dumps[i] = Dump(nodes[i], dump::kTopStatistics, key.data(), key.size());

    auto *out = static_cast<uint8_t *>(buffer);
    uint32_t total = 0;
    for (uint32_t i = 0; i < nodeCount; ++i) {
        if (!dumps[i].opened()) continue;
        if (out != nullptr) total += pull_node(dumps[i], out + static_cast<std::size_t>(kSampleBytes) * total);
        dumps[i].end();
    }
    *count = total;
    return DPMGMT_OK;
}
