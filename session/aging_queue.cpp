// SPDX-License-Identifier: Apache-2.0
// The aging queue state of every forwarding core.
//
// The kernel answers in batches: a 4-byte header (record count, record
// size) and the per-core records.  The record size is the kernel's; only
// the first 20 bytes of each record are known here, and a smaller record
// reads as zero beyond its end.  The header is not trusted: records are
// read only as far as the bytes actually received.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "channels/dump_walk.h"
#include "channels/exchange.h"
#include "channels/protocol.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

constexpr uint32_t kBatchBytes = 8000;
constexpr uint32_t kHeaderBytes = 4;
constexpr uint32_t kKnownRecordBytes = 20;

struct CoreRecord {
    uint32_t unstable;
    uint16_t timerActive;
    uint32_t status;
    uint32_t resetMsg;
    uint32_t stopQrmLocalIndex;
};

CoreRecord read_core(const uint8_t *src, uint32_t size) {
    uint8_t raw[kKnownRecordBytes] = {};
    std::memcpy(raw, src, std::min(size, kKnownRecordBytes));
    return CoreRecord{load_be32(raw), load_be16(raw + 4), load_be32(raw + 8), load_be32(raw + 12),
                      load_be32(raw + 16)};
}

}  // namespace

extern "C" DPMGMT_API uint32_t SESSION_GetAgingqueueState(uint16_t node) {
    const HeapBuffer buf(kBatchBytes);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;
    const auto key = Request<4>().put32(0, kBatchBytes);
    Dump dump(node, dump::kAgingQueue, key.data(), key.size());
    if (!dump.opened()) return DPMGMT_OK;

    uint32_t core = 0;
    uint32_t unstableTotal = 0;
    uint32_t resetTotal = 0;
    for (;;) {
        buf.clear();
        uint32_t length = 0;
        // The pull's own result says nothing here; only the length counts.
        dump.pull(buf.data(), kBatchBytes, &length);
        if (length == 0) break;
        length = std::min(length, kBatchBytes);
        if (length < kHeaderBytes) continue;
        const uint32_t records = load_be16(buf.data());
        const uint32_t size = load_be16(buf.data() + 2);
        const uint32_t take = std::min(size, kKnownRecordBytes);
        for (uint32_t i = 0; i < records; ++i) {
            const uint64_t offset = kHeaderBytes + static_cast<uint64_t>(i) * size;
            if (offset + take > length) break;
            const CoreRecord r = read_core(buf.data() + offset, size);
            std::printf("CORE %u:\n", core++);
            std::printf("bTimerActiveFlag    = %-10u\r\n", static_cast<unsigned>(r.timerActive));
            std::printf("uiStatus            = %-10u\r\n", r.status);
            std::printf("ulUnstableNumber    = %-10u\r\n", r.unstable);
            std::printf("ulResetMsgNum       = %-10u\r\n", r.resetMsg);
            std::printf("uiStopQRMLocalIndex = %-10u\r\n", r.stopQrmLocalIndex);
            unstableTotal += r.unstable;
            resetTotal += r.resetMsg;
        }
    }
    std::puts("Total :");
    std::printf("ulUnstableNumber    = %-10u\r\n", unstableTotal);
    std::printf("ulResetMsgNum       = %-10u\r\n", resetTotal);
    return DPMGMT_OK;
}
