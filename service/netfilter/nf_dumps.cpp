// SPDX-License-Identifier: Apache-2.0
// The kernel's session tables and statistics answered from the host's
// connection tracking (dpservice --data-plane netfilter).
//
// Each display gets one netlink dump of the table: the dump runs on the
// cursor's own thread (PrefetchCursor), converting the kernel's entries
// into the session records a window ahead of the client's pulls.
#include <arpa/inet.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>

#include <algorithm>
#include <memory>

#include "netfilter/ct_table.h"
#include "netfilter/netfilter.h"
#include "netfilter/nl_socket.h"
#include "netfilter/prefetch_cursor.h"
#include "traffic_wire.h"

namespace dpsvc::nf {

namespace {

// Records fetched ahead of the client: a few of its batches of pulls.  The
// puller is handed an eighth of the window at a time, so that the two
// threads meet a few hundred times per 100,000 entries rather than once per
// chunk (each meeting is a futex wake-up).  At most 1.7 MiB (kernel detail
// records), whatever the size of the table.
constexpr uint32_t kWindow = 4096;

struct Producer {
    std::unique_ptr<NlSocket> sock;
    RecordSink *sink = nullptr;
    std::array<uint8_t, 88> key{};
    bool kernelDetail = false;
    Session s;
    CtExtra x;
};

int produce_conntrack(const nlmsghdr *nlh, void *data) {
    auto &p = *static_cast<Producer *>(data);
    if (!read_conntrack(nlh, p.s, p.x) || !dump_key_matches(p.key, p.s.init)) return MNL_CB_OK;
    uint8_t *rec = p.sink->acquire();
    if (rec == nullptr) return MNL_CB_STOP;
    if (p.kernelDetail)
        write_ct_kernel_info(rec, p.s, p.x);
    else
        write_ct_table_info(rec, p.s, p.x);
    p.sink->publish();
    return MNL_CB_OK;
}

// 0x140001 and 0x140024: the dump is asked for before the cursor exists,
// so that a kernel that refuses it fails the client's request at once.
std::unique_ptr<DumpCursor> open_sessions(uint16_t node, std::span<const uint8_t> key, bool kernelDetail) {
    if (!served(node) || key.size() != 88) return nullptr;
    auto p = std::make_shared<Producer>();
    std::copy(key.begin(), key.end(), p->key.begin());
    p->kernelDetail = kernelDetail;
    p->sock = std::make_unique<NlSocket>();
    std::string error;
    if (!p->sock->open(error) ||
        !p->sock->request(NFNL_SUBSYS_CTNETLINK, IPCTNL_MSG_CT_GET, NLM_F_DUMP, family_of(key[80])))
        return nullptr;
    const uint32_t size = kernelDetail ? kKernelInfoSize : kTableInfoSize;
    return std::make_unique<PrefetchCursor>(size, kWindow, [p](RecordSink &sink) {
        p->sink = &sink;
        while (p->sock->receive(produce_conntrack, p.get()) == MNL_CB_OK) {
        }
    });
}

// Relations: the expectations, with the family byte (0x140002) or the
// relation key (0x140025) as the model reads them.
bool relation_key_matches(const std::array<uint8_t, 44> &k, const Tuple &t) {
    const uint8_t family = k[40];
    if (family == 0) return true;
    const bool wantV4 = family == kFamilyV4;
    if (wantV4 != (t.family == kFamilyV4)) return false;
    const size_t alen = wantV4 ? 4 : 16;
    auto zero = [alen](const uint8_t *p) { return std::all_of(p, p + alen, [](uint8_t b) { return b == 0; }); };
    if (!zero(k.data()) && !std::equal(k.data(), k.data() + alen, t.src.data())) return false;
    if (!zero(k.data() + 16) && !std::equal(k.data() + 16, k.data() + 16 + alen, t.dst.data())) return false;
    return true;
}

std::unique_ptr<DumpCursor> open_relations(uint16_t node, std::span<const uint8_t> key, bool detail) {
    if (!served(node) || key.size() != (detail ? 44u : 1u)) return nullptr;
    std::array<uint8_t, 44> k{};
    if (detail) {
        std::copy(key.begin(), key.end(), k.begin());
    } else if (key[0] == kFamilyV4 || key[0] == kFamilyV6) {
        k[40] = key[0];
    }
    const uint8_t family = family_of(k[40]);
    return std::make_unique<PrefetchCursor>(
        detail ? kRelationAllSize : kRelationSize, kWindow, [k, family, detail](RecordSink &sink) {
            walk_expectations(family, [&](const Relation &r, uint32_t flags, uint32_t klass, const nlmsghdr *) {
                if (!relation_key_matches(k, r.tuple)) return true;
                uint8_t *rec = sink.acquire();
                if (rec == nullptr) return false;
                if (detail)
                    write_exp_relation_all(rec, r, flags, klass);
                else
                    write_relation(rec, r);
                sink.publish();
                return true;
            });
        });
}

std::unique_ptr<DumpCursor> single(std::vector<uint8_t> record) {
    return std::make_unique<SingleCursor>(std::move(record));
}

// 0x140003: live entries by protocol class and state, from one walk.  The
// created / deleted counters have no counterpart and stay 0; the last
// counter is what the resets of this service deleted.
std::unique_ptr<DumpCursor> open_stat(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() != 4) return nullptr;
    std::vector<uint8_t> rec(512);
    uint8_t *p = rec.data();
    uint32_t live = 0, liveV6 = 0;
    std::array<uint32_t, kProtocolClasses> byProtocol{};
    std::array<std::array<uint32_t, kStateSlots>, kProtocolClasses> byState{};
    const bool ok = walk_conntrack(AF_UNSPEC, [&](const Session &s, const CtExtra &, const nlmsghdr *) {
        ++live;
        if (s.init.family != kFamilyV4) ++liveV6;
        ++byProtocol[s.protoIndex];
        ++byState[s.protoIndex][s.state];
        return true;
    });
    if (!ok) return nullptr;
    put32(p, 0, live);
    put32(p, 4, liveV6);
    for (uint32_t g = 0; g < kProtocolClasses; ++g) {
        for (uint32_t st = 0; st < kStateSlots; ++st) put32(p, 8 + 40 * g + 4 * st, byState[g][st]);
        put32(p, 328 + 4 * g, byProtocol[g]);
    }
    put64(p, 504, removed_by_resets());
    return single(std::move(rec));
}

// 0x140016: the failure counters, summed over the CPUs, since the last
// clear (type 60): insert failed, drop, early drop, invalid, error, search
// restart, clash resolved, chain too long; the other nine words are 0.
std::unique_ptr<DumpCursor> open_stat_fail(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() != 4) return nullptr;
    FailureCounters now;
    if (!failure_counters(now)) return nullptr;
    const FailureCounters &base = failure_baseline();
    const uint64_t words[] = {now.insertFailed - base.insertFailed,
                              now.drop - base.drop,
                              now.earlyDrop - base.earlyDrop,
                              now.invalid - base.invalid,
                              now.error - base.error,
                              now.searchRestart - base.searchRestart,
                              now.clashResolve - base.clashResolve,
                              now.chainTooLong - base.chainTooLong};
    std::vector<uint8_t> rec(68);
    for (size_t i = 0; i < std::size(words); ++i)
        put32(rec.data(), 4 * static_cast<uint32_t>(i), static_cast<uint32_t>(words[i]));
    return single(std::move(rec));
}

// 0x140023: of the global image, the live entries (u32 at 4) and the
// table's maximum (u32 at 12); the rest is 0.
std::unique_ptr<DumpCursor> open_global(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() != 4) return nullptr;
    uint32_t entries = 0, maximum = 0;
    if (!table_size(entries, maximum)) return nullptr;
    std::vector<uint8_t> rec(928);
    put32(rec.data(), 4, entries);
    put32(rec.data(), 12, maximum);
    return single(std::move(rec));
}

// Tables Linux does not have: served empty.
std::unique_ptr<DumpCursor> empty_table(uint16_t node, std::span<const uint8_t>, uint32_t recordSize) {
    if (!served(node)) return nullptr;
    return make_record_cursor({}, recordSize);
}

// 0x140015: no multicast flows, all counters 0.
std::unique_ptr<DumpCursor> open_mcfs_stat(uint16_t node, std::span<const uint8_t> key) {
    if (!served(node) || key.size() != 4) return nullptr;
    return single(std::vector<uint8_t>(48));
}

std::unique_ptr<DumpCursor> refuse(uint16_t, std::span<const uint8_t>) {
    return nullptr;
}

}  // namespace

void register_dumps() {
    register_dump(0x140001,
                  [](uint16_t node, std::span<const uint8_t> key) { return open_sessions(node, key, false); });
    register_dump(0x140024, [](uint16_t node, std::span<const uint8_t> key) { return open_sessions(node, key, true); });
    register_dump(0x140002,
                  [](uint16_t node, std::span<const uint8_t> key) { return open_relations(node, key, false); });
    register_dump(0x140025,
                  [](uint16_t node, std::span<const uint8_t> key) { return open_relations(node, key, true); });
    register_dump(0x140003, open_stat);
    register_dump(0x140016, open_stat_fail);
    register_dump(0x140023, open_global);
    register_dump(0x140015, open_mcfs_stat);
    register_dump(0x140006,
                  [](uint16_t node, std::span<const uint8_t> key) { return empty_table(node, key, kFastForwardSize); });
    register_dump(0x140014,
                  [](uint16_t node, std::span<const uint8_t> key) { return empty_table(node, key, kTableInfoSize); });
    // No counterpart: the client sees the general failure.
    for (uint32_t type :
         {0x140009u, 0x140017u, 0x140019u, 0x14001au, 0x140022u, 0x140026u, 0x140027u, 0x140029u, 0x14002au, 0x14002bu})
        register_dump(type, refuse);
}

}  // namespace dpsvc::nf
