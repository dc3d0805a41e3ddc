// SPDX-License-Identifier: Apache-2.0
// Runs the reading of a scrape on its own thread, so that a scrape answers
// within its deadline even when the service or the kernel falls silent:
// a read still under way at the deadline gives a snapshot with both health
// metrics at 0, and no second read starts until the first has returned.
#ifndef DPMGMT_EXPORTER_COLLECTOR_H
#define DPMGMT_EXPORTER_COLLECTOR_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "snapshot.h"

namespace exporter {

class Collector {
public:
    Collector(std::chrono::milliseconds deadline, bool withRelations);
    Collector(const Collector &) = delete;
    Collector &operator=(const Collector &) = delete;
    ~Collector();

    // The newest snapshot, read for this call; on a late read, one with
    // the health metrics at 0 and nothing else.  One caller at a time.
    void collect(Snapshot &out);

    // Ends the reader; false when it is still stuck in a read after the
    // deadline: the process must then end without destroying the collector
    // (std::_Exit), as the reader still uses it.
    bool stop();

private:
    void run();

    const std::chrono::milliseconds deadline_;
    const bool withRelations_;
    std::mutex callers_;  // one scrape at a time
    std::mutex lock_;     // guards what follows
    std::condition_variable changed_;
    uint64_t asked_ = 0, done_ = 0;
    bool stopping_ = false;
    Snapshot result_;
    std::thread reader_;
};

}  // namespace exporter

#endif
