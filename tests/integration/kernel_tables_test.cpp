// SPDX-License-Identifier: Apache-2.0
// The kernel tables of a real dpservice, pulled through the platform's dump
// client as the library pulls them: chunk bounds, cursors that end with
// their dumps, and the connection-limit statistic nodes of a rule
// configured through the library.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "dpmgmt/connlmt.h"
#include "kernel_wire.h"
#include "platform/dev.h"
#include "platform/dump.h"
#include "support/service_process.h"

namespace {

constexpr uint32_t kContinue = 0x40010009u;
using dptest::Bytes;
using dptest::get_be16;
using dptest::get_be32;
using dptest::operator+;

struct Pull {
    uint32_t rc;
    Bytes chunk;
};

// Opens a dump and pulls until a result other than the continuation code
// (at most maxPulls times) into a buffer of bufLen bytes, failing the test
// on any byte written past it; then terminates the dump.  Nothing when the
// dump does not open.
std::optional<std::vector<Pull>> walk(uint16_t node, uint32_t type, const Bytes &key, uint32_t bufLen,
                                      size_t maxPulls = 100000) {
    const uint32_t h = DUMP_Request(node, type, key.empty() ? nullptr : key.data(), static_cast<uint32_t>(key.size()));
    if (h == DUMP_INVALID_HANDLE) return std::nullopt;
    std::vector<Pull> pulls;
    Bytes buf(bufLen + 16, 0xEE);
    for (size_t i = 0; i < maxPulls; ++i) {
        uint32_t got = 0;
        const uint32_t rc = DUMP_Pull(h, bufLen, buf.data(), &got);
        EXPECT_LE(got, bufLen);
        EXPECT_EQ(buf[bufLen], 0xEE) << "written past the buffer, dump " << std::hex << type;
        pulls.push_back(Pull{rc, Bytes(buf.begin(), buf.begin() + std::min(got, bufLen))});
        if (rc != kContinue) break;
    }
    DUMP_Terminate(h);
    return pulls;
}

// Every record of a multi-record dump, checking the kernel's contract on
// each chunk: whole records only, the continuation code with each chunk and
// an empty one with the code that ends the walk.
Bytes records(uint16_t node, uint32_t type, const Bytes &key, uint32_t recSize, uint32_t bufLen,
              std::vector<uint32_t> *chunks = nullptr) {
    const auto pulls = walk(node, type, key, bufLen);
    EXPECT_TRUE(pulls.has_value()) << "dump " << std::hex << type << " not served";
    Bytes out;
    for (const Pull &p : pulls.value_or(std::vector<Pull>{})) {
        if (p.rc != kContinue) {
            EXPECT_EQ(p.rc, 0u);
            EXPECT_TRUE(p.chunk.empty());
            break;
        }
        EXPECT_EQ(p.chunk.size() % recSize, 0u) << "partial record in dump " << std::hex << type;
        if (chunks != nullptr) chunks->push_back(static_cast<uint32_t>(p.chunk.size()));
        out.insert(out.end(), p.chunk.begin(), p.chunk.end());
    }
    return out;
}

// The session dump key (88 bytes) selecting a family and protocol.
Bytes session_key(uint8_t family = 0, uint16_t protocol = 0) {
    return Bytes(64) + dptest::be16(protocol) + Bytes(14) + Bytes{family} + Bytes(7);
}

// The number of dump cursors the service holds; nothing when it cannot be
// asked.
std::optional<uint32_t> open_cursors(const std::string &rundir) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un addr = dptest::unix_address(rundir + "/kernel.sock");
    std::optional<uint32_t> n;
    uint32_t frame[3] = {dpsim::kOpCursorCount, 0, 0};
    const timeval tv{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) == 0 && ::send(fd, frame, 8, 0) == 8 &&
        ::recv(fd, frame, sizeof frame, MSG_WAITALL) == sizeof frame && frame[1] == 4)
        n = frame[2];
    ::close(fd);
    return n;
}

constexpr uint16_t kNode = 1;  // the built-in profile's own node
constexpr uint32_t kCalls = 50;

class KernelTables : public ::testing::Test {
protected:
    // Every dump a test opened is gone once it ends.
    void TearDown() override {
        EXPECT_TRUE(dptest::wait_until([this] { return open_cursors(service_.rundir()) == 0u; }));
    }
    dptest::ServiceProcess service_{{"--sessions", "700", "--seed", "7", "--calls", std::to_string(kCalls)}};
};

TEST_F(KernelTables, ChunksHoldWholeRecordsWithinAnyBuffer) {
    const struct {
        uint32_t type;
        Bytes key;
        uint32_t recSize;   // a record, or an item with its 4-byte header
        uint16_t itemType;  // 0 for plain records
        uint32_t buffer;    // as the library pulls
        uint32_t perChunk;  // the kernel's own limit of records per chunk
    } tables[] = {
        // One cursor serves every dump: a table of plain records and one of items.
        {0x140001, session_key(), 172, 0, 7912, 46},
        {0x14001b, {}, 88, 27, 8000, 90},
    };
    for (const auto &t : tables) {
        SCOPED_TRACE(testing::Message() << "dump " << std::hex << t.type);
        std::vector<uint32_t> chunks;
        const Bytes full = records(kNode, t.type, t.key, t.recSize, t.buffer, &chunks);
        ASSERT_FALSE(full.empty());
        for (size_t i = 0; i + 1 < chunks.size(); ++i) EXPECT_EQ(chunks[i], t.perChunk * t.recSize) << "chunk " << i;
        EXPECT_LE(chunks.back(), t.perChunk * t.recSize);
        for (size_t at = 0; t.itemType != 0 && at < full.size(); at += t.recSize) {
            ASSERT_EQ(get_be16(&full[at]), t.itemType);
            ASSERT_EQ(get_be16(&full[at + 2]), t.recSize - 4);
        }
        if (t.itemType != 0) {
            EXPECT_EQ(full.size() / t.recSize, kCalls);
        }
        // Smaller buffers get the same records, whole; one too small gets none.
        for (uint32_t buf : {t.recSize, 4 * t.recSize - 1})
            EXPECT_EQ(records(kNode, t.type, t.key, t.recSize, buf), full) << "buffer " << std::dec << buf;
        const auto tooSmall = walk(kNode, t.type, t.key, t.recSize - 1, 1);
        ASSERT_TRUE(tooSmall.has_value());
        EXPECT_TRUE(tooSmall->front().chunk.empty());
        EXPECT_EQ(walk(77, t.type, t.key, t.buffer), std::nullopt) << "an unknown node";
    }
}

// Terminate releases a cursor the walk left open, and its connection.
TEST_F(KernelTables, TerminateReleasesCursors) {
    const int fds = dptest::open_fd_count();
    Bytes b(7912);
    uint32_t got = 0;
    std::vector<uint32_t> handles;
    for (int i = 0; i < 3; ++i) {
        handles.push_back(DUMP_Request(kNode, 0x140001, session_key().data(), 88));
        ASSERT_NE(handles.back(), DUMP_INVALID_HANDLE);
        EXPECT_EQ(DUMP_Pull(handles.back(), 7912, b.data(), &got), kContinue);
    }
    EXPECT_EQ(open_cursors(service_.rundir()), std::optional<uint32_t>(3));
    for (const uint32_t h : handles) DUMP_Terminate(h);
    EXPECT_TRUE(dptest::wait_until([&] { return open_cursors(service_.rundir()) == 0u; }));
    EXPECT_EQ(dptest::open_fd_count(), fds);
}

// ------------------------------------------------------ connection limits ----

// A per-source rule configured through the library: its statistic nodes
// carry the rule's values and count between them every
// session its ACL selects (ACL 3000 of the built-in profile: TCP from
// 10.0.0.0/8).
TEST(ConnlmtKernel, PerSourceNodesCountTheSelectedSessions) {
    dptest::ServiceProcess service({"--seed", "5", "--sessions", "400"});
    const uint16_t self = DEV_GetSelf();
    const Bytes table = records(self, 0x140001, session_key(2), 172, 46 * 172);
    size_t selected = 0;
    for (size_t at = 0; at < table.size(); at += 172) selected += table[at + 1] == 6 && table[at + 4] == 10;
    ASSERT_GT(selected, 0u);
    // Policy 1 rule 5: ACL 3000 by number; upper 2, lower 1, per source.
    const CONNLMT_RULE_S r{2, 3000, "", 0, 1, 5, {2, 1, 1}, 1};
    ASSERT_EQ(CONNLMT_ipc_AddPolicy(1, 0), 0u);
    ASSERT_EQ(CONNLMT_ipc_AddRule(&r), 0u);
    ASSERT_EQ(CONNLMT_ipc_ApplyPolicy(0, 1, 0), 0u);

    const Bytes nodes = records(self, 0x14000b, dptest::be32(1) + Bytes(56), 80, 8000);
    ASSERT_FALSE(nodes.empty());
    size_t counted = 0;
    for (size_t at = 0; at < nodes.size(); at += 80) {
        const uint8_t *n = &nodes[at];
        counted += get_be32(n + 72);
        EXPECT_EQ(get_be32(n + 16), 0u) << "no destination in a per-source node";
        EXPECT_EQ(get_be16(n + 56), 5u);
        EXPECT_EQ(get_be32(n + 60), 3000u);
        EXPECT_EQ(get_be32(n + 64), 2u);
        EXPECT_EQ(get_be32(n + 68), 1u);
        EXPECT_EQ(get_be16(n + 58), get_be32(n + 72) >= 2 ? 2 : 1) << "deny from the upper threshold";
    }
    EXPECT_EQ(counted, selected);
}

}  // namespace
