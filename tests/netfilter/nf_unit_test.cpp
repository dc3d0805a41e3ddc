// SPDX-License-Identifier: Apache-2.0
// The netfilter data plane's conversions and its prefetching cursor,
// without a kernel: entries are built with libnetfilter_conntrack and laid
// out as the kernel's messages (counters and timestamps, which it does not
// lay out, are checked by the namespace tests).
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack_sctp.h>
#include <libnetfilter_conntrack/libnetfilter_conntrack_tcp.h>
#include <linux/netfilter/nfnetlink.h>

#include <atomic>
#include <memory>

#include "netfilter/ct_entry.h"
#include "netfilter/prefetch_cursor.h"
#include "private_netns.h"
#include "traffic_wire.h"

namespace {

using dpsvc::Session;
using dpsvc::nf::CtExtra;

struct CtFree {
    void operator()(nf_conntrack *ct) const { nfct_destroy(ct); }
};
using Ct = std::unique_ptr<nf_conntrack, CtFree>;

// An IPv4 entry 10.0.0.1:1000 -> 10.0.0.2:2000 of the given protocol.
Ct make_ct(uint8_t protocol) {
    Ct ct(nfct_new());
    for (auto attr : {ATTR_ORIG_L3PROTO, ATTR_REPL_L3PROTO}) nfct_set_attr_u8(ct.get(), attr, AF_INET);
    for (auto attr : {ATTR_ORIG_L4PROTO, ATTR_REPL_L4PROTO}) nfct_set_attr_u8(ct.get(), attr, protocol);
    for (auto [attr, a] : {std::pair{ATTR_ORIG_IPV4_SRC, "10.0.0.1"}, std::pair{ATTR_ORIG_IPV4_DST, "10.0.0.2"},
                           std::pair{ATTR_REPL_IPV4_SRC, "10.0.0.2"}, std::pair{ATTR_REPL_IPV4_DST, "10.0.0.1"}})
        nfct_set_attr_u32(ct.get(), attr, inet_addr(a));
    using A = std::pair<nf_conntrack_attr, uint16_t>;
    for (auto [attr, port] : {A{ATTR_ORIG_PORT_SRC, 1000}, A{ATTR_ORIG_PORT_DST, 2000}, A{ATTR_REPL_PORT_SRC, 2000},
                              A{ATTR_REPL_PORT_DST, 1000}})
        nfct_set_attr_u16(ct.get(), attr, htons(port));
    return ct;
}

// The entry as the kernel would list it: libnetfilter_conntrack lays the
// object out as a netlink message, which the service reads.
struct Message {
    alignas(nlmsghdr) uint8_t buf[4096] = {};
    nlmsghdr *nlh = nullptr;
};
Message message_of(const nf_conntrack *ct) {
    Message m;
    m.nlh = mnl_nlmsg_put_header(m.buf);
    m.nlh->nlmsg_type = (NFNL_SUBSYS_CTNETLINK << 8) | IPCTNL_MSG_CT_NEW;
    auto *nfg = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(m.nlh, sizeof(nfgenmsg)));
    nfg->nfgen_family = nfct_get_attr_u8(ct, ATTR_ORIG_L3PROTO);
    nfct_nlmsg_build(m.nlh, ct);
    return m;
}

Session read(const nf_conntrack *ct, CtExtra *extra = nullptr) {
    Session s;
    CtExtra x;
    EXPECT_TRUE(dpsvc::nf::read_conntrack(message_of(ct).nlh, s, x));
    if (extra != nullptr) *extra = x;
    return s;
}

// Protocol class and state: the kernel's states keep their numbers where
// the status names follow them, the others follow the reply bit.
TEST(NetfilterEntry, ProtocolClassAndState) {
    struct Case {
        uint8_t protocol;
        nf_conntrack_attr stateAttr;  // ATTR_MAX: none
        uint8_t kernelState;
        uint32_t status;
        uint8_t protoIndex, state;
    } cases[] = {
        {IPPROTO_TCP, ATTR_TCP_STATE, TCP_CONNTRACK_SYN_SENT2, 0, 0, 9},
        {IPPROTO_TCP, ATTR_TCP_STATE, 42, 0, 0, 0},  // out of the table: slot 0
        {IPPROTO_SCTP, ATTR_SCTP_STATE, SCTP_CONNTRACK_SHUTDOWN_ACK_SENT, 0, 5, 7},
        {IPPROTO_DCCP, ATTR_DCCP_STATE, 7, 0, 6, 7},
        {IPPROTO_UDPLITE, ATTR_MAX, 0, IPS_SEEN_REPLY, 4, 2},
        {IPPROTO_GRE, ATTR_MAX, 0, 0, 7, 1},
    };
    for (const Case &c : cases) {
        Ct ct = make_ct(c.protocol);
        if (c.stateAttr != ATTR_MAX) nfct_set_attr_u8(ct.get(), c.stateAttr, c.kernelState);
        nfct_set_attr_u32(ct.get(), ATTR_STATUS, c.status);
        const Session s = read(ct.get());
        EXPECT_EQ(s.protoIndex, c.protoIndex) << int(c.protocol);
        EXPECT_EQ(s.state, c.state) << int(c.protocol) << " state " << int(c.kernelState);
    }
}

TEST(NetfilterEntry, TimeoutHelperZoneMark) {
    Ct ct = make_ct(IPPROTO_TCP);
    nfct_set_attr_u32(ct.get(), ATTR_TIMEOUT, 117);
    nfct_set_attr(ct.get(), ATTR_HELPER_NAME, "ftp");
    nfct_set_attr_u16(ct.get(), ATTR_ZONE, 3);
    nfct_set_attr_u32(ct.get(), ATTR_MARK, 0xBEEF);
    CtExtra x;
    const Session s = read(ct.get(), &x);
    EXPECT_EQ(s.ttl, 117u);
    EXPECT_EQ(s.appId, 1u);

    uint8_t rec[dpsvc::kTableInfoSize] = {};
    dpsvc::nf::write_ct_table_info(rec, s, x);
    EXPECT_EQ(dpsvc::get32(rec + 40), 3u);       // zone: initiator tuple's u32 at 40
    EXPECT_EQ(dpsvc::get32(rec + 88), 0xBEEFu);  // mark: responder tuple's
    EXPECT_EQ(dpsvc::get32(rec + 156), 117u);    // TTL, big-endian

    // What one entry had must not leak into the next read into the same
    // records.
    Ct plain = make_ct(IPPROTO_TCP);
    nfct_set_attr_u8(plain.get(), ATTR_TCP_STATE, TCP_CONNTRACK_ESTABLISHED);
    const Session next = read(plain.get(), &x);
    EXPECT_EQ(next.appId, 0u);
    EXPECT_EQ(next.ttl, 0xFFFFFFFFu);
    EXPECT_EQ(x.mark, 0u);
}

TEST(NetfilterEntry, EntryWithoutTuplesOrTruncatedIsSkipped) {
    Session s;
    CtExtra x;
    Ct empty(nfct_new());
    nfct_set_attr_u8(empty.get(), ATTR_ORIG_L3PROTO, AF_INET);
    EXPECT_FALSE(dpsvc::nf::read_conntrack(message_of(empty.get()).nlh, s, x));
    // A message cut inside its attributes: what is cut off is not read.
    Message m = message_of(make_ct(IPPROTO_TCP).get());
    m.nlh->nlmsg_len = mnl_nlmsg_size(sizeof(nfgenmsg)) + 8;
    EXPECT_FALSE(dpsvc::nf::read_conntrack(m.nlh, s, x));
    m.nlh->nlmsg_len = 4;
    EXPECT_FALSE(dpsvc::nf::read_conntrack(m.nlh, s, x));
}

// --------------------------------------------------------------- cursor --

constexpr uint32_t kSize = 8;

std::unique_ptr<dpsvc::nf::PrefetchCursor> counting(uint32_t records, uint32_t window) {
    return std::make_unique<dpsvc::nf::PrefetchCursor>(kSize, window, [records](dpsvc::nf::RecordSink &sink) {
        for (uint32_t i = 0; i < records; ++i) {
            uint8_t *rec = sink.acquire();
            if (rec == nullptr) return;
            dpsvc::put32(rec, 0, i);
            sink.publish();
        }
    });
}

// Chunks are full until the table ends (a short chunk ends the client's
// walk), in order, then 0 with nothing; whatever the window.  A buffer that
// holds no whole record ends the walk at once.
TEST(PrefetchCursor, FullChunksInOrderThenEnd) {
    const struct {
        uint32_t records, window, max;
        std::vector<size_t> chunks;
    } cases[] = {{100, 1, 46 * kSize + 3, {46, 46, 8}},
                 {100, 5, 46 * kSize + 3, {46, 46, 8}},
                 {100, 46, 46 * kSize + 3, {46, 46, 8}},
                 {100, 1024, 46 * kSize + 3, {46, 46, 8}},
                 {0, 16, 4096, {}},
                 {1, 16, kSize - 1, {}}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.records << " records, window " << c.window << ", buffer " << c.max);
        auto cursor = counting(c.records, c.window);
        std::vector<uint8_t> got;
        std::vector<size_t> chunks;
        for (;;) {
            std::vector<uint8_t> chunk;
            const uint32_t rc = cursor->pull(chunk, c.max);
            if (rc != dpsvc::kDumpContinue) {
                EXPECT_EQ(rc, 0u);
                EXPECT_TRUE(chunk.empty());
                break;
            }
            chunks.push_back(chunk.size() / kSize);
            got.insert(got.end(), chunk.begin(), chunk.end());
        }
        EXPECT_EQ(chunks, c.chunks);
        for (uint32_t i = 0; i < got.size() / kSize; ++i) EXPECT_EQ(dpsvc::get32(got.data() + i * kSize), i);
    }
}

// A client that ends the dump early: the producer, blocked on a full
// window of an endless table, stops and the cursor goes away.
TEST(PrefetchCursor, EndingEarlyStopsTheProducer) {
    std::atomic<bool> stopped{false};
    {
        dpsvc::nf::PrefetchCursor cursor(kSize, 4, [&stopped](dpsvc::nf::RecordSink &sink) {
            while (uint8_t *rec = sink.acquire()) {
                rec[0] = 1;
                sink.publish();
            }
            stopped = true;
        });
        std::vector<uint8_t> chunk;
        EXPECT_EQ(cursor.pull(chunk, 2 * kSize), dpsvc::kDumpContinue);
        EXPECT_EQ(chunk.size(), 2 * kSize);
    }
    EXPECT_TRUE(stopped);
}

}  // namespace
