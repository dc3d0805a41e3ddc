// SPDX-License-Identifier: Apache-2.0
// History samples (0x140017) and top-statistics samples (0x14001a), both
// derived from the traffic model's live counts.
//
// History key (12 bytes, network order): u32 period (0 = past hour in 5 s
// steps, 1 = past 24 hours in 2 min steps, 2 = past 30 days in 1 h steps),
// u32 samples wanted, u16 sample size (must be 12), 2 bytes ignored.  A
// sample is {u32 end of its interval, seconds since the epoch; u32 session
// establishment rate per second; u32 sessions}, oldest first; the newest
// sessions sample is the live session count.  The past hour and the past
// 24 hours are full (720 samples); the node has kept its 30-day history
// for only 400 hours.  At most 666 samples go in one chunk.
//
// Top-statistics key (8 bytes, network order): u32 most samples wanted,
// u32 sample size (must be 24).  A sample is one initiator source host:
// 16-byte address (IPv4 in the first 4 bytes), u32 live sessions it
// started, u8 family (2 or 10), 3 bytes 0; busiest host first.  At most 333
// samples go in one chunk.
#include <algorithm>

#include "traffic_wire.h"

namespace dpsvc {
namespace {

constexpr uint32_t kHistoryPerChunk = 666;
constexpr uint32_t kTopPerChunk = 333;
constexpr uint32_t kTopMaxSamples = 2048;
constexpr uint32_t kHistoryNow = 1735689600 + 86400;
constexpr uint32_t kHistoryKept[3] = {720, 720, 400};
constexpr uint32_t kHistoryStep[3] = {5, 120, 3600};

class HistorySource final : public RecordSource {
public:
    HistorySource(uint16_t node, uint32_t period, uint32_t count)
        : node_(node), period_(period), count_(count), live_(session_counts(node).live) {}

    bool next(uint8_t *rec) override {
        if (k_ >= count_) return false;
        uint32_t age = count_ - 1 - k_;  // 0 = the newest sample
        uint32_t a = traffic_number(node_, period_, uint64_t{k_} * 2);
        uint32_t b = traffic_number(node_, period_, uint64_t{k_} * 2 + 1);
        uint32_t sessions = age == 0 ? live_ : static_cast<uint32_t>(uint64_t{live_} * (85 + a % 31) / 100);
        uint32_t rateBase = std::max<uint32_t>(1, live_ / 30);
        put32(rec, 0, kHistoryNow - age * kHistoryStep[period_]);
        put32(rec, 4, static_cast<uint32_t>(uint64_t{rateBase} * (70 + b % 61) / 100));
        put32(rec, 8, sessions);
        ++k_;
        return true;
    }

private:
    uint16_t node_;
    uint32_t period_, count_;
    uint32_t live_;
    uint32_t k_ = 0;
};

std::unique_ptr<DumpCursor> open_history(uint16_t node, std::span<const uint8_t> key) {
    if (!traffic_node_served(node) || key.size() != 12) return nullptr;
    uint32_t period = get32(key.data());
    uint32_t wanted = get32(key.data() + 4);
    if (period > 2 || get16(key.data() + 8) != 12) return nullptr;
    uint32_t count = std::min(wanted, kHistoryKept[period]);
    return std::make_unique<StreamCursor>(std::make_unique<HistorySource>(node, period, count), 12,
                                          kHistoryPerChunk);
}

class TopSource final : public RecordSource {
public:
    explicit TopSource(std::vector<SourceCount> top) : top_(std::move(top)) {}
    bool next(uint8_t *rec) override {
        if (k_ >= top_.size()) return false;
        const SourceCount &s = top_[k_++];
        std::copy(s.address.begin(), s.address.end(), rec);
        put32(rec, 16, s.sessions);
        put8(rec, 20, s.family);
        return true;
    }

private:
    std::vector<SourceCount> top_;  // at most kTopMaxSamples
    size_t k_ = 0;
};

std::unique_ptr<DumpCursor> open_top(uint16_t node, std::span<const uint8_t> key) {
    if (!traffic_node_served(node) || key.size() != 8) return nullptr;
    uint32_t wanted = get32(key.data());
    if (get32(key.data() + 4) != 24) return nullptr;
    auto top = top_sources(node, std::min(wanted, kTopMaxSamples));
    return std::make_unique<StreamCursor>(std::make_unique<TopSource>(std::move(top)), 24, kTopPerChunk);
}

const bool registered = [] {
    register_dump(0x140017, open_history);
    register_dump(0x14001a, open_top);
    return true;
}();

}  // namespace
}  // namespace dpsvc
