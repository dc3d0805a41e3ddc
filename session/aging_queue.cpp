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
#include "dpmgmt/records.h"
#include "dpmgmt/session.h"

using namespace dpmgmt;

namespace {

constexpr uint32_t kBatchBytes = 8000;
constexpr uint32_t kHeaderBytes = 4;
constexpr uint32_t kKnownRecordBytes = 20;

dpmgmt_aging_core read_core(const uint8_t *src, uint32_t size, uint32_t core) {
    uint8_t raw[kKnownRecordBytes] = {};
    std::memcpy(raw, src, std::min(size, kKnownRecordBytes));
    dpmgmt_aging_core r{};
    r.core = core;
    r.unstable = load_be32(raw);
    r.timer_active = load_be16(raw + 4);
    r.status = load_be32(raw + 8);
    r.reset_messages = load_be32(raw + 12);
    r.stop_qrm_local_index = load_be32(raw + 16);
    return r;
}

struct Totals {
    uint32_t unstable = 0;
    uint32_t resetMsg = 0;
};

void print_core(const dpmgmt_aging_core *r, void *context) {
    auto &totals = *static_cast<Totals *>(context);
    std::printf("CORE %u:\n", r->core);
    std::printf("bTimerActiveFlag    = %-10u\r\n", r->timer_active);
    std::printf("uiStatus            = %-10u\r\n", r->status);
    std::printf("ulUnstableNumber    = %-10u\r\n", r->unstable);
    std::printf("ulResetMsgNum       = %-10u\r\n", r->reset_messages);
    std::printf("uiStopQRMLocalIndex = %-10u\r\n", r->stop_qrm_local_index);
    // Both totals are 32-bit and wrap.
    totals.unstable += r->unstable;
    totals.resetMsg += r->reset_messages;
}

}  // namespace

extern "C" {

DPMGMT_API uint32_t dpmgmt_walk_aging_queues(uint16_t node, dpmgmt_aging_core_fn fn, void *context) {
    if (fn == nullptr) return DPMGMT_ERR_FAILED;
    const HeapBuffer buf(kBatchBytes);
    if (!buf.ok()) return DPMGMT_ERR_FAILED;
    const auto key = Request<4>().put32(0, kBatchBytes);
    Dump dump(node, dump::kAgingQueue, key.data(), key.size());
    if (!dump.opened()) return DPMGMT_ERR_NOT_EXIST;

    uint32_t core = 0;
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
            const dpmgmt_aging_core r = read_core(buf.data() + offset, size, core++);
            fn(&r, context);
        }
    }
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SESSION_GetAgingqueueState(uint16_t node) {
    Totals totals;
    const uint32_t rc = dpmgmt_walk_aging_queues(node, print_core, &totals);
    // A dump that cannot be opened prints nothing and is no failure.
    if (rc == DPMGMT_ERR_NOT_EXIST) return DPMGMT_OK;
    if (rc != DPMGMT_OK) return rc;
    std::puts("Total :");
    std::printf("ulUnstableNumber    = %-10u\r\n", totals.unstable);
    std::printf("ulResetMsgNum       = %-10u\r\n", totals.resetMsg);
    return DPMGMT_OK;
}

}  // extern "C"
