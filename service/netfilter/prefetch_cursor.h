// SPDX-License-Identifier: Apache-2.0
// A dump cursor whose records are made on a thread of their own, a bounded
// window ahead of the puller: while the client formats one chunk, the next
// records are already being fetched from the kernel and converted.  Memory
// stays at the window, whatever the size of the table.
#ifndef DPSVC_NF_PREFETCH_CURSOR_H
#define DPSVC_NF_PREFETCH_CURSOR_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "registry.h"

namespace dpsvc::nf {

class PrefetchCursor;

// What the producing thread writes into.
class RecordSink {
public:
    // A zeroed record to fill, waiting while the window is full; null once
    // the puller has gone (the producer then stops).
    virtual uint8_t *acquire() = 0;
    // Hands the record last acquired to the puller.
    virtual void publish() = 0;
    virtual ~RecordSink() = default;
};

class PrefetchCursor final : public DumpCursor, private RecordSink {
public:
    // produce runs on the cursor's thread until it returns or acquire()
    // answers null; the records it publishes are served in order.
    using Produce = std::function<void(RecordSink &)>;
    PrefetchCursor(uint32_t recordSize, uint32_t window, Produce produce);
    ~PrefetchCursor() override;

    // As StreamCursor: as many whole records as `max` holds (fewer only at
    // the end of the table, whatever the window), 0x40010009; then 0 and
    // nothing.
    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override;

private:
    uint8_t *acquire() override;
    void publish() override;
    // Hands what the producer made since the last hand-over to the puller,
    // waking it if it waits; mu_ held.
    void hand_over_locked();

    const uint32_t size_;
    const uint32_t window_;
    const uint32_t handOver_;  // records made between two hand-overs
    std::vector<uint8_t> ring_;
    std::mutex mu_;
    std::condition_variable cv_;
    // Under mu_: the oldest record not yet served, records ready, who waits.
    uint32_t head_ = 0, count_ = 0;
    bool done_ = false, pullerWaits_ = false, producerWaits_ = false;
    std::atomic<bool> cancelled_{false};
    // The producer's own: the next slot, slots known free, records made
    // but not yet handed over, a record being written.
    uint32_t tail_ = 0, room_ = 0, made_ = 0;
    bool writing_ = false;
    std::thread thread_;
};

}  // namespace dpsvc::nf

#endif
