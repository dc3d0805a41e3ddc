// SPDX-License-Identifier: Apache-2.0
// The kernel's aging-queue dump: batches of {u16 count, u16 record size}
// followed by that many per-core records, big-endian.  Only the first 20
// bytes of a record are read; a shorter record reads as zero beyond its end.
#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/dump.h"
#include "snapshot.h"

namespace exporter {

namespace {

constexpr uint32_t kAgingDumpType = 0x140026;
constexpr uint32_t kBatchBytes = 8000;  // also the dump's key
constexpr uint32_t kHeaderBytes = 4;
constexpr uint32_t kRecordBytes = 20;
constexpr uint32_t kUnstableAt = 0, kTimerAt = 4, kResetAt = 12;
// A kernel that keeps answering is cut off after this many batches.
constexpr uint32_t kMaxBatches = 4096;

class DumpHandle {
public:
    explicit DumpHandle(uint32_t handle) : handle_(handle) {}
    DumpHandle(const DumpHandle &) = delete;
    DumpHandle &operator=(const DumpHandle &) = delete;
    ~DumpHandle() {
        if (valid()) DUMP_Terminate(handle_);
    }
    bool valid() const { return handle_ != DUMP_INVALID_HANDLE; }
    uint32_t get() const { return handle_; }

private:
    uint32_t handle_;
};

uint32_t load32(const uint8_t *p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return ntohl(v);
}

uint16_t load16(const uint8_t *p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return ntohs(v);
}

}  // namespace

bool read_aging_queues(uint16_t node, std::vector<AgingCore> &cores) {
    cores.clear();
    const uint32_t key = htonl(kBatchBytes);
    DumpHandle dump(DUMP_Request(node, kAgingDumpType, &key, sizeof(key)));
    if (!dump.valid()) return false;
    auto buf = std::make_unique<uint8_t[]>(kBatchBytes);
    for (uint32_t batch = 0; batch < kMaxBatches; ++batch) {
        uint32_t got = 0;
        (void)DUMP_Pull(dump.get(), kBatchBytes, buf.get(), &got);
        if (got == 0) break;
        got = std::min(got, kBatchBytes);
        if (got < kHeaderBytes) continue;
        const uint32_t count = load16(buf.get());
        const uint32_t size = load16(buf.get() + 2);
        if (size == 0) continue;
        // Records stay within the bytes received, whatever the header says.
        const uint32_t fit = std::min(count, (got - kHeaderBytes) / size);
        for (uint32_t i = 0; i < fit; ++i) {
            uint8_t rec[kRecordBytes] = {};
            std::memcpy(rec, buf.get() + kHeaderBytes + i * size, std::min(size, kRecordBytes));
            cores.push_back({load32(rec + kUnstableAt), load16(rec + kTimerAt), load32(rec + kResetAt)});
        }
    }
    return true;
}

}  // namespace exporter
