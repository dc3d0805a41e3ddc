// SPDX-License-Identifier: Apache-2.0
// Runs the reading of a scrape on its own thread, bounded by a deadline.
#include "collector.h"

namespace exporter {

Collector::Collector(std::chrono::milliseconds deadline, bool withRelations)
    : deadline_(deadline), withRelations_(withRelations), reader_([this] { run(); }) {}

Collector::~Collector() {
    // A reader still stuck after the deadline is left to the process's end.
    if (reader_.joinable() && !stop()) reader_.detach();
}

void Collector::run() {
    std::unique_lock<std::mutex> hold(lock_);
    for (;;) {
        changed_.wait(hold, [this] { return stopping_ || asked_ != done_; });
        if (stopping_) {
            done_ = asked_;
            changed_.notify_all();
            return;
        }
        const uint64_t asked = asked_;
        hold.unlock();
        Snapshot snap;
        read_snapshot(snap, withRelations_);
        hold.lock();
        result_ = std::move(snap);
        done_ = asked;
        changed_.notify_all();
    }
}

void Collector::collect(Snapshot &out) {
    std::lock_guard<std::mutex> one(callers_);
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock<std::mutex> hold(lock_);
    // A read left behind by an earlier scrape is still under way: wait
    // for it too, within this scrape's deadline, before asking again.
    if (asked_ == done_) {
        ++asked_;
        changed_.notify_all();
    }
    const uint64_t want = asked_;
    if (changed_.wait_until(hold, start + deadline_, [&] { return done_ == want; })) {
        out = std::move(result_);
        return;
    }
    out = Snapshot{};  // both health metrics 0
    out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool Collector::stop() {
    if (!reader_.joinable()) return true;
    std::unique_lock<std::mutex> hold(lock_);
    stopping_ = true;
    changed_.notify_all();
    const bool idle = changed_.wait_for(hold, deadline_, [this] { return asked_ == done_; });
    hold.unlock();
    if (!idle) return false;
    reader_.join();
    return true;
}

}  // namespace exporter
