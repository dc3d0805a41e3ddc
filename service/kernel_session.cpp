// SPDX-License-Identifier: Apache-2.0
// The kernel's connection tables: sessions (0x140001), their kernel detail
// (0x140024), fast-forward entries (0x140006), Mcfs flows (0x140014),
// relations (0x140002) and relation detail (0x140025).  Every table is made
// record by record from the traffic model as the client pulls, so a dump of
// a million sessions holds one record at a time.
#include <algorithm>
#include <array>
#include <functional>

#include "traffic_wire.h"

namespace dpsvc {
namespace {

// Walks the session slots of a node, letting `make` write the record of a
// slot or skip it.
class SlotSource final : public RecordSource {
public:
    using Make = std::function<bool(uint32_t index, uint8_t *rec)>;
    SlotSource(uint32_t slots, Make make) : slots_(slots), make_(std::move(make)) {}
    bool next(uint8_t *rec) override {
        while (index_ < slots_) {
            if (make_(index_++, rec)) return true;
        }
        return false;
    }

private:
    uint32_t slots_;
    uint32_t index_ = 0;
    Make make_;
};

// The Mcfs table: each live flow whose inbound entry passes the key, its
// inbound entry first and then its outbound entries.
class McfsSource final : public RecordSource {
public:
    McfsSource(uint16_t node, std::array<uint8_t, 88> key) : node_(node), key_(key) {}
    bool next(uint8_t *rec) override {
        for (;;) {
            if (member_ < members_) {
                std::optional<McfsEntry> e = mcfs_entry_at(node_, flow_, member_++);
                if (!e) return false;
                write_table_info(rec, e->s);
                return true;
            }
            if (nextFlow_ >= mcfs_flow_slots(node_)) return false;
            flow_ = nextFlow_++;
            member_ = 0;
            members_ = 0;
            std::optional<McfsEntry> in = mcfs_entry_at(node_, flow_, 0);
            if (in && dump_key_matches(key_, in->s.init)) members_ = mcfs_members(node_, flow_);
        }
    }

private:
    uint16_t node_;
    std::array<uint8_t, 88> key_;
    uint32_t nextFlow_ = 0, flow_ = 0, member_ = 0, members_ = 0;
};

template <size_t N>
bool copy_key(std::span<const uint8_t> key, std::array<uint8_t, N> &out) {
    if (key.size() != N) return false;
    std::copy(key.begin(), key.end(), out.begin());
    return true;
}

std::unique_ptr<DumpCursor> stream(uint32_t slots, SlotSource::Make make, uint32_t size) {
    return std::make_unique<StreamCursor>(std::make_unique<SlotSource>(slots, std::move(make)), size);
}

// Streams the node's slots through `at` (sessions or relations): the items
// `keep` takes, each written by `write`.
template <class At, class Keep, class Write>
std::unique_ptr<DumpCursor> stream_items(uint16_t node, uint32_t size, At at, Keep keep, Write write) {
    return stream(session_slots(node), [node, at, keep, write](uint32_t i, uint8_t *rec) {
        const auto item = at(node, i);
        if (!item || !keep(*item)) return false;
        write(rec, *item);
        return true;
    }, size);
}

std::unique_ptr<DumpCursor> open_sessions(uint16_t node, std::span<const uint8_t> key, bool kernelDetail) {
    std::array<uint8_t, 88> k{};
    if (!traffic_node_served(node) || !copy_key(key, k)) return nullptr;
    return stream_items(
        node, kernelDetail ? kKernelInfoSize : kTableInfoSize, session_at,
        [k](const Session &s) { return dump_key_matches(k, s.init); },
        kernelDetail ? write_kernel_info : write_table_info);
}

std::unique_ptr<DumpCursor> open_fast_forward(uint16_t node, std::span<const uint8_t> key) {
    std::array<uint8_t, 64> k{};
    if (!traffic_node_served(node) || !copy_key(key, k)) return nullptr;
    return stream_items(
        node, kFastForwardSize, session_at,
        [k](const Session &s) { return is_established(s) && table_key_matches(k, s.init); }, write_fast_forward);
}

std::unique_ptr<DumpCursor> open_mcfs(uint16_t node, std::span<const uint8_t> key) {
    std::array<uint8_t, 88> k{};
    if (!traffic_node_served(node) || !copy_key(key, k)) return nullptr;
    return std::make_unique<StreamCursor>(std::make_unique<McfsSource>(node, k), kTableInfoSize);
}

// The relation table's one-byte key: 2 or 10 picks a family, anything else
// lists every relation.
std::unique_ptr<DumpCursor> open_relations(uint16_t node, std::span<const uint8_t> key) {
    if (!traffic_node_served(node) || key.size() != 1) return nullptr;
    uint8_t family = key[0];
    return stream_items(
        node, kRelationSize, relation_at,
        [family](const Relation &r) {
            if (family == kFamilyV4 && r.tuple.family != kFamilyV4) return false;
            return !(family == kFamilyV6 && r.tuple.family == kFamilyV4);
        },
        write_relation);
}

bool relation_key_matches(const std::array<uint8_t, 44> &k, const Tuple &t) {
    uint8_t family = k[40];
    if (family == 0) return true;
    bool wantV4 = family == kFamilyV4;
    if (wantV4 != (t.family == kFamilyV4)) return false;
    size_t alen = wantV4 ? 4 : 16;
    auto zero = [alen](const uint8_t *p) { return std::all_of(p, p + alen, [](uint8_t b) { return b == 0; }); };
    if (!zero(k.data()) && !std::equal(k.data(), k.data() + alen, t.src.data())) return false;
    if (!zero(k.data() + 16) && !std::equal(k.data() + 16, k.data() + 16 + alen, t.dst.data())) return false;
    return true;
}

std::unique_ptr<DumpCursor> open_relation_detail(uint16_t node, std::span<const uint8_t> key) {
    std::array<uint8_t, 44> k{};
    if (!traffic_node_served(node) || !copy_key(key, k)) return nullptr;
    return stream_items(
        node, kRelationAllSize, relation_at, [k](const Relation &r) { return relation_key_matches(k, r.tuple); },
        write_relation_all);
}

const bool registered = [] {
    register_dump(0x140001, [](uint16_t node, std::span<const uint8_t> key) {
        return open_sessions(node, key, false);
    });
    register_dump(0x140024, [](uint16_t node, std::span<const uint8_t> key) {
        return open_sessions(node, key, true);
    });
    register_dump(0x140006, open_fast_forward);
    register_dump(0x140014, open_mcfs);
    register_dump(0x140002, open_relations);
    register_dump(0x140025, open_relation_detail);
    return true;
}();

}  // namespace
}  // namespace dpsvc
