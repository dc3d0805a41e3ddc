// The kernel tables of a real dpservice, pulled through the platform's dump
// client as the library pulls them: chunk bounds for every dump type, the
// seeded model, agreement between tables and statistics, key selection,
// resets, large tables, and cursors that end with their dumps.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "kernel_harness.h"
#include "support/child_process.h"
#include "support/service_process.h"

namespace {

using namespace kerneltest;

constexpr uint16_t kNode = 1;  // the built-in profile's own node
constexpr uint16_t kPeer = 2;
constexpr uint32_t kCalls = 50;

Bytes stat_record(uint16_t node = kNode) { return single(node, 0x140003, Bytes(4), 512); }

Bytes call_key(uint32_t len, const std::string &id = "") {
    Bytes k(len);
    std::memcpy(k.data(), id.data(), std::min<size_t>(id.size(), len));
    return k;
}

std::string call_id(const uint8_t *item) {  // the value of an item starts with the call ID
    const char *text = reinterpret_cast<const char *>(item + 4);
    return std::string(text, strnlen(text, 65));
}

std::optional<uint32_t> control_u64_at8(uint32_t command) {  // active calls of a statistics record
    uint8_t reply[128];
    uint32_t len = 0;
    if (CIOCTL(kNode, command, 0, nullptr, sizeof reply, reply, &len) != 0 || len != 56) return std::nullopt;
    return static_cast<uint32_t>(be64(reply + 8));
}

// Resets sessions through the session service as the operator's command
// does: scope 0 (every node), then the 64-byte table key.
void reset(const dptest::ServiceProcess &svc, uint32_t type, uint8_t family, uint8_t protocol) {
    Bytes req(68);
    req[4] = family;
    req[5] = protocol;
    dptest::SvcClient client(svc.rundir());
    EXPECT_EQ(client.command(type, req), std::optional<uint32_t>(0));
}

class KernelTables : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        service_ = new dptest::ServiceProcess({"--sessions", "700", "--seed", "7", "--calls", std::to_string(kCalls)});
    }
    static void TearDownTestSuite() {
        delete service_;
        service_ = nullptr;
    }
    // Every dump a test opened is gone once it ends.
    void TearDown() override {
        EXPECT_TRUE(dptest::wait_until([] { return open_cursors(service_->rundir()) == 0u; }));
    }
    static dptest::ServiceProcess *service_;
};
dptest::ServiceProcess *KernelTables::service_ = nullptr;

TEST_F(KernelTables, ChunksHoldWholeRecordsWithinAnyBuffer) {
    struct Table {
        uint32_t type;
        Bytes key;
        uint32_t recSize;   // a record, or an item with its 4-byte header
        uint16_t itemType;  // 0 for plain records
        uint32_t buffer;    // as the library pulls
        uint32_t perChunk;  // the kernel's own limit of records per chunk
    };
    const Table tables[] = {
        {0x140001, session_key(), 172, 0, 7912, 46},       {0x140024, session_key(), 432, 0, 7776, 18},
        {0x140006, Bytes(64), 140, 0, 7980, 57},           {0x140014, session_key(), 172, 0, 7912, 46},
        {0x140002, Bytes(1), 76, 0, 7980, 105},            {0x140025, Bytes(44), 208, 0, 7904, 38},
        {0x140017, {0, 0, 0, 0, 0, 0, 2, 0xD0, 0, 12, 0, 0}, 12, 0, 8640, 666},
        {0x14001a, {0, 0, 4, 0, 0, 0, 0, 24}, 24, 0, 49152, 333},
        {0x14001b, {}, 88, 27, 8000, 90},                  {0x14001c, Bytes(65), 388, 28, 8000, 20},
        {0x14001f, Bytes(84), 88, 31, 8000, 90},           {0x140020, Bytes(84), 476, 32, 8000, 16},
        {0x140021, Bytes(84), 476, 33, 8000, 16},
    };
    for (const Table &t : tables) {
        SCOPED_TRACE(testing::Message() << "dump " << std::hex << t.type);
        std::vector<uint32_t> chunks;
        const Bytes full = records(kNode, t.type, t.key, t.recSize, t.buffer, &chunks);
        ASSERT_FALSE(full.empty());
        for (size_t i = 0; i + 1 < chunks.size(); ++i) EXPECT_EQ(chunks[i], t.perChunk * t.recSize) << "chunk " << i;
        EXPECT_LE(chunks.back(), t.perChunk * t.recSize);
        for (size_t at = 0; t.itemType != 0 && at < full.size(); at += t.recSize) {
            ASSERT_EQ(be16(&full[at]), t.itemType);
            ASSERT_EQ(be16(&full[at + 2]), t.recSize - 4);
        }
        if (t.itemType != 0) {
            EXPECT_EQ(full.size() / t.recSize, kCalls);
        }
        // Smaller buffers get the same records, whole; one too small gets none.
        for (uint32_t buf : {t.recSize, 3 * t.recSize + t.recSize - 1, 1000u}) {
            if (buf >= t.recSize) {
                EXPECT_EQ(records(kNode, t.type, t.key, t.recSize, buf), full) << "buffer " << std::dec << buf;
            }
        }
        const auto tooSmall = walk(kNode, t.type, t.key, t.recSize - 1, 1);
        ASSERT_TRUE(tooSmall.has_value());
        EXPECT_TRUE(tooSmall->front().chunk.empty());
        // Unknown nodes are not served, nor session keys of the wrong length.
        EXPECT_EQ(walk(77, t.type, t.key, t.buffer), std::nullopt);
        Bytes longer = t.key;
        longer.push_back(0);
        if (t.itemType == 0) {
            EXPECT_EQ(walk(kNode, t.type, longer, t.buffer), std::nullopt);
        }
    }

    // Single-record dumps deliver once, and only into a buffer that holds
    // the whole record.
    const std::pair<uint32_t, Bytes> singles[] = {
        {0x140003, Bytes(4)},      {0x140016, {0, 0, 0, 1}}, {0x140015, Bytes(4)}, {0x140022, {0, 0, 0, 1}},
        {0x140027, Bytes(4)},      {0x140023, Bytes(4)},     {0x140029, Bytes(8)}, {0x14002b, {0, 0, 0, 1, 0, 1, 0, 0}},
        {0x140019, {}},            {0x140009, {kPeer, 0}},
    };
    const uint32_t sizes[] = {512, 68, 48, 80, 16, 928, 836, 8, 4, 32};
    for (size_t i = 0; i < std::size(singles); ++i) {
        const auto &[type, key] = singles[i];
        SCOPED_TRACE(testing::Message() << "dump " << std::hex << type);
        const auto cut = walk(kNode, type, key, sizes[i] - 1, 1);
        ASSERT_TRUE(cut.has_value());
        EXPECT_TRUE(cut->front().chunk.empty());
        const auto whole = walk(kNode, type, key, sizes[i] + 64, 2);
        ASSERT_TRUE(whole.has_value());
        EXPECT_EQ(whole->front().rc, 0u);
        EXPECT_EQ(whole->front().chunk.size(), sizes[i]);
        Bytes longer = key;
        longer.push_back(0);
        EXPECT_EQ(walk(kNode, type, longer, sizes[i]), std::nullopt);
    }
}

TEST_F(KernelTables, StatisticsAgreeWithTheTables) {
    const Bytes sessions = records(kNode, 0x140001, session_key(), 172, 7912);
    const Bytes stat = stat_record();
    ASSERT_EQ(stat.size(), 512u);
    uint32_t perState[8][10] = {};
    uint32_t v6 = 0, established = 0;
    static constexpr uint8_t kEstablished[8] = {3, 2, 2, 2, 2, 4, 4, 2};
    for (size_t off = 0; off < sessions.size(); off += 172) {
        const uint8_t *r = &sessions[off];
        ASSERT_LT(r[165], 8);
        ASSERT_LT(r[164], 10);
        perState[r[165]][r[164]]++;
        v6 += r[0] != 2;
        established += r[164] == kEstablished[r[165]];
    }
    EXPECT_EQ(be32(&stat[0]), sessions.size() / 172);
    EXPECT_EQ(be32(&stat[4]), v6);
    for (int g = 0; g < 8; ++g) {
        uint32_t total = 0;
        for (int s = 0; s < 10; ++s) {
            EXPECT_EQ(be32(&stat[8 + 40 * g + 4 * s]), perState[g][s]) << g << "/" << s;
            total += perState[g][s];
        }
        EXPECT_EQ(be32(&stat[328 + 4 * g]), total);
    }
    EXPECT_EQ(count(kNode, 0x140024, session_key(), 432), sessions.size() / 172);
    EXPECT_EQ(count(kNode, 0x140006, Bytes(64), 140), established);
    EXPECT_EQ(count(kNode, 0x140002, {2}, 76) + count(kNode, 0x140002, {10}, 76), count(kNode, 0x140002, {0}, 76));

    // Multicast entries: an inbound entry (flag 4) heads each flow.
    const Bytes mcfs = records(kNode, 0x140014, session_key(), 172, 7912);
    uint32_t inbound = 0;
    for (size_t off = 0; off < mcfs.size(); off += 172) inbound += (mcfs[off + 2] & 4) != 0;
    const Bytes mcfsStat = single(kNode, 0x140015, Bytes(4), 48);
    ASSERT_EQ(mcfsStat.size(), 48u);
    EXPECT_EQ(be32(&mcfsStat[0]), inbound);
    EXPECT_EQ(be32(&mcfsStat[4]), mcfs.size() / 172 - inbound);

    // The aging queues hand out every core once, in batches of
    // {u16 count, u16 size, entries}; the first word of an entry is its
    // core's live sessions.
    const auto aging = walk(kNode, 0x140026, {0, 0, 0x1F, 0x40}, 8000);
    ASSERT_TRUE(aging.has_value());
    uint32_t cores = 0;
    uint64_t live = 0;
    for (const Pull &p : *aging) {
        if (p.chunk.empty()) break;
        const uint16_t n = be16(&p.chunk[0]), size = be16(&p.chunk[2]);
        ASSERT_EQ(p.chunk.size(), 4u + uint32_t{n} * size);
        for (uint16_t i = 0; i < n; ++i) live += be32(&p.chunk[4 + i * size]);
        cores += n;
    }
    EXPECT_GT(aging->size(), 2u) << "several batches";
    EXPECT_EQ(cores, 8u);
    EXPECT_EQ(live, be32(&stat[0]));

    // Call statistics: active calls are the calls listed.
    EXPECT_EQ(control_u64_at8(0x480062), count(kNode, 0x14001b, {}, 88));
    EXPECT_EQ(control_u64_at8(0x480068), count(kNode, 0x14001f, Bytes(84), 88));
}

TEST_F(KernelTables, KeysSelectWhatTheyName) {
    const Bytes udp4 = records(kNode, 0x140001, session_key(2, 17), 172, 7912);
    ASSERT_FALSE(udp4.empty());
    for (size_t off = 0; off < udp4.size(); off += 172) {
        ASSERT_EQ(udp4[off], 2);
        ASSERT_EQ(udp4[off + 1], 17);
    }
    EXPECT_EQ(count(kNode, 0x140001, session_key(2), 172) + count(kNode, 0x140001, session_key(10), 172),
              count(kNode, 0x140001, session_key(), 172));

    // A verbose key selects exactly its call, and a near miss nothing.
    const struct {
        uint32_t brief, briefKey, keyed, keyLen;
    } pairs[] = {{0x14001b, 0, 0x14001c, 65}, {0x14001f, 84, 0x140020, 84}, {0x14001f, 84, 0x140021, 84}};
    for (const auto &p : pairs) {
        const Bytes brief = records(kNode, p.brief, Bytes(p.briefKey), 88, 8000);
        ASSERT_EQ(brief.size(), 88 * kCalls);
        for (size_t at = 0; at < brief.size(); at += 88) {
            const std::string id = call_id(&brief[at]);
            const size_t itemSize = p.keyed == 0x14001c ? 388 : 476;
            const Bytes found = records(kNode, p.keyed, call_key(p.keyLen, id), itemSize, 8000);
            ASSERT_EQ(found.size(), itemSize) << std::hex << p.keyed << " " << id;
            EXPECT_EQ(call_id(found.data()), id);
        }
    }
    const Bytes sip = records(kNode, 0x14001b, {}, 88, 8000);
    ASSERT_FALSE(sip.empty());
    std::string nearMiss = call_id(&sip[0]);
    nearMiss.back() = nearMiss.back() == 'x' ? 'y' : 'x';
    EXPECT_TRUE(records(kNode, 0x14001c, call_key(65, nearMiss), 388, 8000).empty());
    EXPECT_TRUE(records(kNode, 0x140020, call_key(84, call_id(&sip[0])), 476, 8000).empty())
        << "a SIP call is no H.323 call";
}

// ------------------------------------------------------------- processes ----

TEST(KernelModel, SameSeedSameTablesOtherSeedOthers) {
    auto snapshot = [](const char *seed) {
        dptest::ServiceProcess s({"--sessions", "200", "--calls", "30", "--seed", seed});
        Bytes all = records(kNode, 0x140001, session_key(), 172, 7912);
        EXPECT_EQ(all.size(), 200u * 172);
        for (const Bytes &more :
             {records(kNode, 0x14001c, Bytes(65), 388, 8000), single(kNode, 0x140003, Bytes(4), 512)})
            all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    const Bytes first = snapshot("42");
    EXPECT_EQ(first, snapshot("42"));
    EXPECT_NE(first, snapshot("43"));
}

TEST(KernelModel, FortySixSessionsTakeTwoPullsFortySevenTwoChunks) {
    for (const auto &[sessions, expected] : {std::pair{"46", std::vector<uint32_t>{7912}},
                                             std::pair{"47", std::vector<uint32_t>{7912, 172}}}) {
        dptest::ServiceProcess s({"--sessions", sessions});
        const auto pulls = walk(kNode, 0x140001, session_key(), 7912);
        ASSERT_TRUE(pulls.has_value());
        std::vector<uint32_t> chunks;
        for (const Pull &p : *pulls)
            if (!p.chunk.empty()) chunks.push_back(static_cast<uint32_t>(p.chunk.size()));
        EXPECT_EQ(chunks, expected) << sessions;
        EXPECT_EQ(pulls->size(), expected.size() + 1) << "a full batch is followed by a pull that ends the walk";
    }
}

TEST(KernelModel, ResetsLowerTablesAndStatisticsTogether) {
    dptest::ServiceProcess s({"--sessions", "600", "--seed", "3"});
    const size_t before = count(kNode, 0x140001, session_key(), 172);
    const size_t tcp4 = count(kNode, 0x140001, session_key(2, 6), 172);
    const size_t relations = count(kNode, 0x140002, {0}, 76);
    ASSERT_GT(tcp4, 0u);
    reset(s, 20, 2, 6);
    EXPECT_EQ(count(kNode, 0x140001, session_key(2, 6), 172), 0u);
    EXPECT_EQ(count(kNode, 0x140001, session_key(), 172), before - tcp4);
    EXPECT_EQ(count(kNode, 0x140024, session_key(), 432), before - tcp4);
    EXPECT_LT(count(kNode, 0x140002, {0}, 76), relations) << "relations go with their sessions";
    EXPECT_EQ(be32(stat_record().data()), before - tcp4);
    EXPECT_EQ(count(kPeer, 0x140001, session_key(2, 6), 172), 0u) << "scope 0 is every node";

    ASSERT_GT(count(kNode, 0x140014, session_key(), 172), 0u);
    reset(s, 58, 0, 0);
    EXPECT_EQ(count(kNode, 0x140014, session_key(), 172), 0u);
    EXPECT_EQ(be32(&single(kNode, 0x140015, Bytes(4), 48)[8]), 0u);
    EXPECT_EQ(count(kNode, 0x140001, session_key(), 172), before - tcp4) << "sessions are not multicast flows";

    reset(s, 20, 0, 0);
    EXPECT_EQ(count(kNode, 0x140001, session_key(), 172), 0u);
    EXPECT_EQ(count(kNode, 0x140006, Bytes(64), 140), 0u);
    EXPECT_EQ(count(kNode, 0x140002, {0}, 76), 0u);
    const Bytes stat = stat_record();
    EXPECT_EQ(be32(&stat[0]), 0u);
    for (int g = 0; g < 8; ++g) EXPECT_EQ(be32(&stat[328 + 4 * g]), 0u);
}

// A million sessions and 100,000 calls per node: tables are made as they
// are pulled, so a few chunks come at once.
TEST(KernelModel, LargeTablesStream) {
    dptest::ServiceProcess s({"--sessions", "1000000", "--calls", "100000"});
    EXPECT_EQ(be32(stat_record().data()), 1000000u);
    EXPECT_EQ(control_u64_at8(0x480062), 100000u);
    const struct {
        uint32_t type;
        Bytes key;
        uint32_t buffer, chunk;
    } tables[] = {{0x140001, session_key(), 7912, 7912}, {0x14001b, {}, 8000, 90 * 88}};
    for (const auto &t : tables) {
        const uint32_t h = DUMP_Request(kNode, t.type, t.key.empty() ? nullptr : t.key.data(),
                                        static_cast<uint32_t>(t.key.size()));
        ASSERT_NE(h, DUMP_INVALID_HANDLE);
        Bytes b(t.buffer);
        for (int i = 0; i < 5; ++i) {
            uint32_t got = 0;
            EXPECT_EQ(DUMP_Pull(h, t.buffer, b.data(), &got), kContinue);
            EXPECT_EQ(got, t.chunk);
        }
        EXPECT_EQ(open_cursors(s.rundir()), std::optional<uint32_t>(1));
        DUMP_Terminate(h);
        EXPECT_TRUE(dptest::wait_until([&] { return open_cursors(s.rundir()) == 0u; })) << "a terminated dump's cursor";
    }
}

TEST(KernelModel, TerminateReleasesCursorsAndAKilledServiceEndsTheWalk) {
    dptest::ServiceProcess s({"--sessions", "500"});
    const int fds = dptest::open_fd_count();
    std::vector<uint32_t> handles;
    Bytes b(7912);
    uint32_t got = 0;
    for (int i = 0; i < 3; ++i) {
        handles.push_back(DUMP_Request(kNode, 0x140001, session_key().data(), 88));
        ASSERT_NE(handles.back(), DUMP_INVALID_HANDLE);
        EXPECT_EQ(DUMP_Pull(handles.back(), 7912, b.data(), &got), kContinue);
    }
    EXPECT_EQ(open_cursors(s.rundir()), std::optional<uint32_t>(3));
    for (const uint32_t h : handles) DUMP_Terminate(h);
    EXPECT_TRUE(dptest::wait_until([&] { return open_cursors(s.rundir()) == 0u; }));
    EXPECT_EQ(dptest::open_fd_count(), fds);

    const uint32_t h = DUMP_Request(kNode, 0x140001, session_key().data(), 88);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    EXPECT_EQ(DUMP_Pull(h, 7912, b.data(), &got), kContinue);
    s.kill9();
    got = 99;
    EXPECT_NE(DUMP_Pull(h, 7912, b.data(), &got), kContinue);
    EXPECT_EQ(got, 0u);
    DUMP_Terminate(h);
    EXPECT_EQ(dptest::open_fd_count(), fds);
}

}  // namespace
