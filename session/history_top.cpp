// Top statistics: the samples of several nodes gathered into one
// contiguous array for the caller.
#include <cstdlib>

#include "channels/dump_walk.h"
#include "channels/wire.h"
#include "dpmgmt/session.h"

namespace {

constexpr uint32_t kDumpTopStat = 0x14001a;
constexpr uint32_t kSampleBytes = 24;
constexpr uint32_t kSamplesPerBatch = 333;
constexpr uint32_t kNodeBytes = 49152;  // what one node may deliver at most
constexpr uint32_t kSamplesWanted = 1024;

// The dump handles of every node, opened together: the requests go out to
// all nodes before the first pull.  Whatever is still open when the table
// goes is ended.
class HandleTable {
public:
    explicit HandleTable(uint32_t n)
        : handles_(static_cast<uint32_t *>(std::malloc(n ? sizeof(uint32_t) * n : 1))), n_(n) {
        if (handles_ != nullptr)
            for (uint32_t i = 0; i < n_; ++i) handles_[i] = DUMP_INVALID_HANDLE;
    }
    ~HandleTable() {
        if (handles_ == nullptr) return;
        for (uint32_t i = 0; i < n_; ++i) end(i);
        std::free(handles_);
    }
    HandleTable(const HandleTable &) = delete;
    HandleTable &operator=(const HandleTable &) = delete;

    bool ok() const { return handles_ != nullptr; }
    uint32_t &operator[](uint32_t i) { return handles_[i]; }
    void end(uint32_t i) {
        if (handles_[i] != DUMP_INVALID_HANDLE) DUMP_Terminate(handles_[i]);
        handles_[i] = DUMP_INVALID_HANDLE;
    }

private:
    uint32_t *handles_;
    uint32_t n_;
};

// Pulls one node's samples to dest; returns how many arrived.
uint32_t pull_node(uint32_t handle, uint8_t *dest) {
    uint32_t pulled = 0;
    uint32_t remaining = kNodeBytes;
    for (;;) {
        uint32_t length = 0;
        const uint32_t rc = DUMP_Pull(handle, remaining, dest, &length);
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
    HandleTable handles(nodeCount);
    if (!handles.ok()) return DPMGMT_ERR_FAILED;
    *count = 0;
    if (nodeCount == 0) return DPMGMT_OK;

    dpmgmt::Payload<8> key;
    key.put32(0, kSamplesWanted);
    key.put32(4, kSampleBytes);
    for (uint32_t i = 0; i < nodeCount; ++i) handles[i] = DUMP_Request(nodes[i], kDumpTopStat, key.data(), key.size());

    auto *out = static_cast<uint8_t *>(buffer);
    uint32_t total = 0;
    for (uint32_t i = 0; i < nodeCount; ++i) {
        if (handles[i] == DUMP_INVALID_HANDLE) continue;
        if (out != nullptr) total += pull_node(handles[i], out + static_cast<std::size_t>(kSampleBytes) * total);
        handles.end(i);
    }
    *count = total;
    return DPMGMT_OK;
}
