// SPDX-License-Identifier: Apache-2.0
#include "prefetch_cursor.h"

#include <algorithm>
#include <cstring>

namespace dpsvc::nf {

PrefetchCursor::PrefetchCursor(uint32_t recordSize, uint32_t window, Produce produce)
    : size_(recordSize),
      window_(std::max<uint32_t>(window, 1)),
      handOver_(std::max<uint32_t>(window_ / 8, 1)),
      ring_(size_t{size_} * window_) {
    thread_ = std::thread([this, produce = std::move(produce)] {
        produce(*this);
        std::lock_guard lock(mu_);
        hand_over_locked();
        done_ = true;
        cv_.notify_all();
    });
}

PrefetchCursor::~PrefetchCursor() {
    {
        std::lock_guard lock(mu_);
        cancelled_ = true;
        cv_.notify_all();
    }
    thread_.join();
}

void PrefetchCursor::hand_over_locked() {
    count_ += made_;
    made_ = 0;
    if (pullerWaits_) cv_.notify_all();
}

uint8_t *PrefetchCursor::acquire() {
    if (cancelled_.load(std::memory_order_relaxed)) return nullptr;
    if (room_ == 0) {
        std::unique_lock lock(mu_);
        hand_over_locked();
        // Wait for a hand-over's worth of free slots, not for one: a
        // producer woken per freed slot would trade places with the
        // puller record by record.
        producerWaits_ = true;
        cv_.wait(lock, [this] { return cancelled_ || window_ - count_ >= handOver_; });
        producerWaits_ = false;
        if (cancelled_) return nullptr;
        room_ = window_ - count_;
        tail_ = (head_ + count_) % window_;
    }
    uint8_t *slot = ring_.data() + size_t{tail_} * size_;
    std::memset(slot, 0, size_);
    writing_ = true;
    return slot;
}

void PrefetchCursor::publish() {
    if (!writing_) return;
    writing_ = false;
    tail_ = (tail_ + 1) % window_;
    --room_;
    if (++made_ >= handOver_) {
        std::lock_guard lock(mu_);
        hand_over_locked();
    }
}

uint32_t PrefetchCursor::pull(std::vector<uint8_t> &out, uint32_t max) {
    const uint32_t room = max / size_;
    uint32_t given = 0;
    std::unique_lock lock(mu_);
    // A short chunk tells the client the table ended: fill the whole room
    // unless the table does end, taking records as the producer hands
    // them over.
    while (given < room) {
        pullerWaits_ = true;
        cv_.wait(lock, [this] { return done_ || count_ > 0; });
        pullerWaits_ = false;
        if (count_ == 0) break;  // done
        const uint32_t n = std::min(count_, room - given);
        // At most two runs: up to the end of the ring, then from its start.
        const uint32_t first = std::min(n, window_ - head_);
        const uint8_t *ring = ring_.data();
        out.insert(out.end(), ring + size_t{head_} * size_, ring + size_t{head_ + first} * size_);
        out.insert(out.end(), ring, ring + size_t{n - first} * size_);
        head_ = (head_ + n) % window_;
        count_ -= n;
        given += n;
        if (producerWaits_ && window_ - count_ >= handOver_) cv_.notify_all();
    }
    return given == 0 ? 0 : kDumpContinue;
}

}  // namespace dpsvc::nf
