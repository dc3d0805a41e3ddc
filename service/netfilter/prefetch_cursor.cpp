// SPDX-License-Identifier: Apache-2.0
#include "prefetch_cursor.h"

#include <algorithm>
#include <cstring>

namespace dpsvc::nf {

PrefetchCursor::PrefetchCursor(uint32_t recordSize, uint32_t window, Produce produce)
    : size_(recordSize), window_(std::max<uint32_t>(window, 1)), ring_(size_t{size_} * window_) {
    thread_ = std::thread([this, produce = std::move(produce)] {
        produce(*this);
        std::lock_guard lock(mu_);
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

uint8_t *PrefetchCursor::acquire() {
    std::unique_lock lock(mu_);
    cv_.wait(lock, [this] { return cancelled_ || count_ < window_; });
    if (cancelled_) return nullptr;
    uint8_t *slot = ring_.data() + size_t{(head_ + count_) % window_} * size_;
    std::memset(slot, 0, size_);
    writing_ = true;
    return slot;
}

void PrefetchCursor::publish() {
    std::lock_guard lock(mu_);
    if (!writing_) return;
    writing_ = false;
    ++count_;
    cv_.notify_all();
}

uint32_t PrefetchCursor::pull(std::vector<uint8_t> &out, uint32_t max) {
    const uint32_t room = max / size_;
    uint32_t given = 0;
    std::unique_lock lock(mu_);
    // A short chunk tells the client the table ended: fill the whole room
    // unless the table does end, taking records as the producer makes them.
    while (given < room) {
        cv_.wait(lock, [this] { return done_ || count_ > 0; });
        if (count_ == 0) break;  // done
        const uint32_t n = std::min(count_, room - given);
        for (uint32_t i = 0; i < n; ++i) {
            const uint8_t *rec = ring_.data() + size_t{(head_ + i) % window_} * size_;
            out.insert(out.end(), rec, rec + size_);
        }
        head_ = (head_ + n) % window_;
        count_ -= n;
        given += n;
        cv_.notify_all();
    }
    return given == 0 ? 0 : kDumpContinue;
}

}  // namespace dpsvc::nf
