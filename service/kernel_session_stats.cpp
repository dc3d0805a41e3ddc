// SPDX-License-Identifier: Apache-2.0
// The kernel's session statistics: single-record dumps whose counts come
// from the traffic model (so they agree with the tables), the ALG counters
// and switch, and the per-core aging queues.
//
// Keys: 0x140003, 0x140015, 0x140023 and 0x14002a take a u32 (any value);
// 0x140016 and 0x140022 take a u32 the kernel does not interpret;
// 0x140027 takes an interface index (0 = every interface); 0x140029 takes
// two u32, not interpreted; 0x14002b takes {u32 switch, u16 value, 2
// bytes}; 0x140026 takes a u32 (the client's batch buffer size, 8000).  A
// key of another length is refused (the dump is not served).
//
// What the counters are (all network order):
//   0x140003  u32 0 live sessions, u32 4 live IPv6 sessions, u32 8 + 40g +
//             4s live sessions of protocol class g in state s, u32 328 + 4g
//             live sessions of class g, u64 360 + 16g / 368 + 16g sessions
//             of class g created / deleted since the statistics were reset
//             (created - deleted = live until then), u64 488 / 496 their
//             sums, u64 504 sessions removed by resets since start.
//   0x140015  u32 0 live flows, u32 4 their outbound entries, u32 8 all
//             entries, u64 16 / 24 flows created / deleted, u64 32 / 40
//             packets / bytes of the live flows.
//   0x140027  u32 0 / 4 live sessions entering on the interface as
//             initiator / responder, u32 8 fast-forward entries on it, u32 12
//             relations received on it.
//   0x140026  per core (a session's core is its index % 8): u32 0 live
//             sessions, u16 4 timer active (1 while the core holds any), u32
//             8 status 1, u32 12 resets that reached the node, u32 16 the
//             core's stop index; 24-byte records add a u32 queue depth.
//   0x140016, 0x140022, 0x140029: counters drawn from the seed; they read 0
//             once cleared (message types 60, 87 and dump 0x14002a).
#include <map>
#include <set>

#include "traffic_wire.h"

namespace dpsvc {
namespace {

// Counters the kernel was told to clear, per node.
struct Cleared {
    std::set<uint16_t> statFail, fdb, alg;
};
Cleared &cleared() {
    static Cleared c;
    return c;
}
std::map<uint16_t, std::pair<uint32_t, uint16_t>> &alg_switches() {
    static std::map<uint16_t, std::pair<uint32_t, uint16_t>> s;
    return s;
}

void clear_on(std::set<uint16_t> &set, uint16_t scope) {
    for (uint16_t node : traffic_nodes()) {
        if (scope == 0 || node == scope) set.insert(node);
    }
}

std::unique_ptr<DumpCursor> single(std::vector<uint8_t> record) {
    return std::make_unique<SingleCursor>(std::move(record));
}

// A single record of `size` zero bytes, filled in by `fill`.
template <class Fill>
std::unique_ptr<DumpCursor> single_record(size_t size, Fill fill) {
    std::vector<uint8_t> rec(size);
    fill(rec.data());
    return single(std::move(rec));
}

bool accept(uint16_t node, std::span<const uint8_t> key, size_t keyLen) {
    return traffic_node_served(node) && key.size() == keyLen;
}

// 0x140003: live sessions by protocol and state.
std::unique_ptr<DumpCursor> open_stat(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    const SessionCounts c = session_counts(node);
    return single_record(512, [&c](uint8_t *p) {
        put32(p, 0, c.live);
        put32(p, 4, c.liveV6);
        uint64_t created = 0, deleted = 0;
        for (uint32_t g = 0; g < kProtocolClasses; ++g) {
            for (uint32_t s = 0; s < kStateSlots; ++s) put32(p, 8 + 40 * g + 4 * s, c.byState[g][s]);
            put32(p, 328 + 4 * g, c.byProtocol[g]);
            put64(p, 360 + 16 * g, c.created[g]);
            put64(p, 368 + 16 * g, c.deleted[g]);
            created += c.created[g];
            deleted += c.deleted[g];
        }
        put64(p, 488, created);
        put64(p, 496, deleted);
        put64(p, 504, c.removedByReset);
    });
}

// Counters that do not follow from the tables: drawn from the seed, zero
// once cleared.
std::vector<uint8_t> drawn_words(uint16_t node, uint32_t dumpType, uint32_t words, uint32_t range, bool zero) {
    std::vector<uint8_t> rec(words * 4);
    for (uint32_t i = 0; i < words && !zero; ++i) put32(rec.data(), 4 * i, traffic_number(node, dumpType, i) % range);
    return rec;
}

std::unique_ptr<DumpCursor> open_stat_fail(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    return single(drawn_words(node, 0x140016, 17, 1000, cleared().statFail.count(node) != 0));
}

std::unique_ptr<DumpCursor> open_fdb(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    return single(drawn_words(node, 0x140022, 20, 100000, cleared().fdb.count(node) != 0));
}

std::unique_ptr<DumpCursor> open_alg_fail(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 8)) return nullptr;
    return single(drawn_words(node, 0x140029, 209, 100, cleared().alg.count(node) != 0));
}

// 0x140015: the Mcfs table's counts.
std::unique_ptr<DumpCursor> open_mcfs_stat(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    const McfsCounts c = mcfs_counts(node);
    return single_record(48, [&c](uint8_t *p) {
        put32(p, 0, c.flows);
        put32(p, 4, c.outbound);
        put32(p, 8, c.flows + c.outbound);
        put64(p, 16, c.created);
        put64(p, 24, c.deleted);
        put64(p, 32, c.packets);
        put64(p, 40, c.bytes);
    });
}

// 0x140027: how much of the tables one interface (or, with 0, any
// interface) carries: sessions entering on it as initiator, as responder,
// their fast-forward entries, and relations received on it.
std::unique_ptr<DumpCursor> open_if_kernel(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    uint32_t ifIndex = get32(key.data());
    auto on = [ifIndex](uint32_t i) { return i != 0 && (ifIndex == 0 || i == ifIndex); };
    uint32_t init = 0, reply = 0, fast = 0, relations = 0;
    for_each_session(node, [&](const Session &s) {
        init += on(s.ifIndex[0]);
        reply += on(s.ifIndex[1]);
        if (is_established(s) && (on(s.ifIndex[0]) || on(s.ifIndex[1]))) ++fast;
        if (std::optional<Relation> r = relation_of(node, s); r && on(r->recvIfIndex)) ++relations;
    });
    std::vector<uint8_t> rec(16);
    put32(rec.data(), 0, init);
    put32(rec.data(), 4, reply);
    put32(rec.data(), 8, fast);
    put32(rec.data(), 12, relations);
    return single(std::move(rec));
}

// 0x140023: the kernel's global image; of its fields only the counters
// the client converts carry values.
std::unique_ptr<DumpCursor> open_global(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    static constexpr uint16_t kWords[] = {4,   12,  16,  44,  48,  84,  88,  124, 128, 164, 168, 212, 216, 220,
                                          244, 256, 260, 284, 288, 776, 780, 784, 788, 808, 840, 880, 884, 888,
                                          896, 900, 904, 908, 912};
    static constexpr uint16_t kLongs[] = {792, 800, 824, 832, 864, 872};
    static constexpr uint16_t kShorts[] = {816, 818, 820, 848, 850, 856, 916, 918, 920, 922, 924, 926};
    std::vector<uint8_t> rec(928);
    uint8_t *p = rec.data();
    for (uint16_t off : kWords) put32(p, off, traffic_number(node, 0x140023, off) % 100000);
    for (uint32_t off = 640; off <= 772; off += 4) put32(p, off, traffic_number(node, 0x140023, off) % 100000);
    for (uint16_t off : kLongs) put64(p, off, traffic_number(node, 0x140023, off) * uint64_t{1000});
    for (uint16_t off : kShorts) put16(p, off, static_cast<uint16_t>(traffic_number(node, 0x140023, off)));
    SessionCounts c = session_counts(node);
    put32(p, 4, c.live);
    put32(p, 12, session_slots(node));
    return single(std::move(rec));
}

std::vector<uint8_t> result_reply(uint32_t code) {
    std::vector<uint8_t> rec(8);
    put32(rec.data(), 0, code);
    return rec;
}

// 0x14002a clears the ALG failure counters; 0x14002b records the ALG
// statistics switch.  Both answer {u32 result, 4 bytes}.
std::unique_ptr<DumpCursor> open_alg_reset(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    cleared().alg.insert(node);
    return single(result_reply(0));
}

std::unique_ptr<DumpCursor> open_alg_switch(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 8)) return nullptr;
    alg_switches()[node] = {get32(key.data()), get16(key.data() + 4)};
    return single(result_reply(0));
}

// 0x140026: the per-core aging queues, handed out in several batches of
// {u16 count, u16 record size} and the records, so that the client's core
// numbering runs on from batch to batch.  Records are 24 bytes in some
// batches and 20 in others, as kernels of different builds send them.
class AgingCursor final : public DumpCursor {
public:
    explicit AgingCursor(uint16_t node) : node_(node), cores_(core_counts(node)) {
        resets_ = session_counts(node).resetRequests;
    }

    uint32_t pull(std::vector<uint8_t> &out, uint32_t max) override {
        static constexpr struct {
            uint32_t first, count, size;
        } kBatches[] = {{0, 3, 24}, {3, 3, 20}, {6, 2, 24}};
        if (batch_ >= std::size(kBatches)) return 0;
        const auto &b = kBatches[batch_];
        uint32_t left = b.count - done_;
        uint32_t fit = max < 4 ? 0 : (max - 4) / b.size;
        uint32_t n = left < fit ? left : fit;
        if (n == 0) return kDumpContinue;
        size_t at = out.size();
        out.resize(at + 4 + size_t{n} * b.size, 0);
        uint8_t *p = out.data() + at;
        put16(p, 0, static_cast<uint16_t>(n));
        put16(p, 2, static_cast<uint16_t>(b.size));
        for (uint32_t i = 0; i < n; ++i) {
            uint32_t core = b.first + done_ + i;
            uint8_t *r = p + 4 + i * b.size;
            put32(r, 0, cores_[core]);
            put16(r, 4, cores_[core] != 0 ? 1 : 0);
            put32(r, 8, 1);
            put32(r, 12, resets_);
            put32(r, 16, 0x100 * (node_ & 0xFF) + core);
            if (b.size >= 24) put32(r, 20, traffic_number(node_, 0x140026, core) % 64);
        }
        done_ += n;
        if (done_ == b.count) ++batch_, done_ = 0;
        return kDumpContinue;
    }

private:
    uint16_t node_;
    std::array<uint32_t, kCores> cores_;
    uint32_t resets_ = 0;
    uint32_t batch_ = 0, done_ = 0;
};

std::unique_ptr<DumpCursor> open_aging(uint16_t node, std::span<const uint8_t> key) {
    if (!accept(node, key, 4)) return nullptr;
    return std::make_unique<AgingCursor>(node);
}

const bool registered = [] {
    register_dump(0x140003, open_stat);
    register_dump(0x140016, open_stat_fail);
    register_dump(0x140015, open_mcfs_stat);
    register_dump(0x140022, open_fdb);
    register_dump(0x140027, open_if_kernel);
    register_dump(0x140023, open_global);
    register_dump(0x140029, open_alg_fail);
    register_dump(0x14002a, open_alg_reset);
    register_dump(0x14002b, open_alg_switch);
    register_dump(0x140026, open_aging);
    return true;
}();

}  // namespace

void reset_stat_fail(uint16_t scope) { clear_on(cleared().statFail, scope); }
void reset_fdb_statistics(uint16_t scope) { clear_on(cleared().fdb, scope); }

}  // namespace dpsvc
