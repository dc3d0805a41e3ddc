// The kernel side of the session feature, pulled through the platform's
// dump client from a real dpservice on a fresh run directory: chunking and
// bounds, the seeded table, agreement between tables and statistics, and
// resets.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kernel_wire.h"
#include "platform/dump.h"
#include "support/service_process.h"

namespace {

constexpr uint16_t kNode = 1;  // the profile's own node
constexpr uint16_t kPeer = 2;
constexpr uint32_t kContinue = 0x40010009u;

uint32_t be32(const uint8_t *p) { return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3]; }
uint16_t be16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
uint64_t be64(const uint8_t *p) { return uint64_t{be32(p)} << 32 | be32(p + 4); }

// A device profile of the test's own, in force while it lives: services
// started meanwhile read it.
class ProfileFile {
public:
    explicit ProfileFile(const std::string &text) {
        char tmpl[] = "/tmp/dpks-profile-XXXXXX";
        dir_ = mkdtemp(tmpl);
        const std::string path = dir_ + "/profile.ini";
        FILE *f = fopen(path.c_str(), "w");
        fputs(text.c_str(), f);
        fclose(f);
        setenv("DPMGMT_PROFILE", path.c_str(), 1);
    }
    ~ProfileFile() {
        unsetenv("DPMGMT_PROFILE");
        std::filesystem::remove_all(dir_);
    }

private:
    std::string dir_;
};

// The number of dump cursors the service holds, asked over its kernel
// socket; nothing when it cannot be asked.
std::optional<uint32_t> open_cursors(const std::string &rundir) {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s/kernel.sock", rundir.c_str());
    std::optional<uint32_t> n;
    uint32_t frame[3] = {dpsim::kOpCursorCount, 0, 0};
    timeval tv{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 && send(fd, frame, 8, 0) == 8 &&
        recv(fd, frame, sizeof frame, MSG_WAITALL) == sizeof frame && frame[1] == 4) {
        n = frame[2];
    }
    close(fd);
    return n;
}

// Cursors are released when the client's connection closes, which the
// service notices on its own time: poll, bounded.
bool cursors_drop_to(const std::string &rundir, uint32_t want) {
    for (int i = 0; i < 250; ++i) {
        if (open_cursors(rundir) == want) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

struct Pulled {
    std::vector<uint8_t> bytes;     // every record, in order
    std::vector<uint32_t> chunks;   // bytes per non-empty chunk
    uint32_t pulls = 0;
};

// Walks a multi-record dump to its end, checking the kernel's contract on
// every chunk: whole records, never past the buffer, 0x40010009 with each
// chunk, 0 with the empty one that ends it.
Pulled pull_table(uint16_t node, uint32_t type, const std::vector<uint8_t> &key, uint32_t recSize, uint32_t buf) {
    Pulled out;
    uint32_t h = DUMP_Request(node, type, key.empty() ? nullptr : key.data(), static_cast<uint32_t>(key.size()));
    EXPECT_NE(h, DUMP_INVALID_HANDLE) << std::hex << type;
    if (h == DUMP_INVALID_HANDLE) return out;
    std::vector<uint8_t> b(buf + 16, 0xEE);
    for (;;) {
        uint32_t got = 0xFFFFFFFFu;
        uint32_t rc = DUMP_Pull(h, buf, b.data(), &got);
        ++out.pulls;
        EXPECT_LE(got, buf);
        EXPECT_EQ(b[buf], 0xEE) << "wrote past the buffer";
        if (got == 0 || got > buf) {
            EXPECT_EQ(rc, 0u) << std::hex << type;
            break;
        }
        EXPECT_EQ(rc, kContinue);
        EXPECT_EQ(got % recSize, 0u) << "partial record in dump " << std::hex << type;
        out.chunks.push_back(got);
        out.bytes.insert(out.bytes.end(), b.begin(), b.begin() + got);
        if (out.pulls > 100000) break;
    }
    DUMP_Terminate(h);
    return out;
}

std::vector<uint8_t> pull_single(uint16_t node, uint32_t type, const std::vector<uint8_t> &key, uint32_t size) {
    uint32_t h = DUMP_Request(node, type, key.empty() ? nullptr : key.data(), static_cast<uint32_t>(key.size()));
    if (h == DUMP_INVALID_HANDLE) return {};
    std::vector<uint8_t> rec(size);
    uint32_t got = 0;
    DUMP_Pull(h, size, rec.data(), &got);
    DUMP_Terminate(h);
    rec.resize(got);
    return rec;
}

std::vector<uint8_t> dump_key(uint8_t family = 0, uint16_t protocol = 0) {
    std::vector<uint8_t> k(88);
    k[80] = family;
    k[64] = static_cast<uint8_t>(protocol >> 8), k[65] = static_cast<uint8_t>(protocol);
    return k;
}

size_t count(uint16_t node, uint32_t type, const std::vector<uint8_t> &key, uint32_t size) {
    return pull_table(node, type, key, size, 8000).bytes.size() / size;
}

std::vector<uint8_t> stat_record(uint16_t node = kNode) { return pull_single(node, 0x140003, {0, 0, 0, 0}, 512); }

// Resets through the session service, as the operator's command does:
// scope 0 (every node), then the 64-byte table key.
void reset(const dptest::ServiceProcess &svc, uint8_t family, uint8_t protocol) {
    dptest::Bytes req(68);
    req[4] = family;
    req[5] = protocol;
    dptest::SvcClient client(svc.rundir());
    EXPECT_EQ(client.command(20, req), std::optional<uint32_t>(0));
}

struct Table {
    uint32_t type, keyLen, recSize, fullBatchBuffer;
};
constexpr Table kTables[] = {
    {0x140001, 88, 172, 7912}, {0x140024, 88, 432, 7776}, {0x140006, 64, 140, 7980},
    {0x140014, 88, 172, 7912}, {0x140002, 1, 76, 7980},   {0x140025, 44, 208, 7904},
};

// ------------------------------------------------------------------ tables --

class KernelSessionTables : public ::testing::Test {
protected:
    static void SetUpTestSuite() { service_ = new dptest::ServiceProcess({"--sessions", "700", "--seed", "7"}); }
    static void TearDownTestSuite() {
        delete service_;
        service_ = nullptr;
    }
    // Every dump a test opened is gone once it ends.
    void TearDown() override { EXPECT_TRUE(cursors_drop_to(service_->rundir(), 0)); }
    static dptest::ServiceProcess *service_;
};
dptest::ServiceProcess *KernelSessionTables::service_ = nullptr;

TEST_F(KernelSessionTables, ChunksHoldWholeRecordsForAnyBufferAndAddUpToTheSameTable) {
    for (const Table &t : kTables) {
        std::vector<uint8_t> key(t.keyLen);
        Pulled full = pull_table(kNode, t.type, key, t.recSize, t.fullBatchBuffer);
        ASSERT_FALSE(full.bytes.empty()) << std::hex << t.type;
        for (uint32_t buf : {t.recSize, t.recSize * 3 + t.recSize - 1, 1000u, 65536u}) {
            Pulled other = pull_table(kNode, t.type, key, t.recSize, buf);
            EXPECT_EQ(other.bytes, full.bytes) << std::hex << t.type << " buffer " << std::dec << buf;
        }
        // Every chunk but the last is full.
        for (size_t i = 0; i + 1 < full.chunks.size(); ++i) {
            EXPECT_EQ(full.chunks[i], t.fullBatchBuffer / t.recSize * t.recSize);
        }
    }
}

TEST_F(KernelSessionTables, BufferSmallerThanARecordGetsNothingAndLosesNothing) {
    uint32_t h = DUMP_Request(kNode, 0x140001, dump_key().data(), 88);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> b(172);
    uint32_t got = 99;
    EXPECT_EQ(DUMP_Pull(h, 171, b.data(), &got), kContinue);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(DUMP_Pull(h, 172, b.data(), &got), kContinue);
    EXPECT_EQ(got, 172u);
    DUMP_Terminate(h);
    Pulled all = pull_table(kNode, 0x140001, dump_key(), 172, 172);
    EXPECT_TRUE(std::equal(b.begin(), b.end(), all.bytes.begin()));
}

TEST_F(KernelSessionTables, KeysOfTheWrongLengthAndUnknownNodesAreNotServed) {
    for (const Table &t : kTables) {
        std::vector<uint8_t> key(t.keyLen + 1);
        EXPECT_EQ(DUMP_Request(kNode, t.type, key.data(), t.keyLen + 1), DUMP_INVALID_HANDLE) << std::hex << t.type;
        std::vector<uint8_t> good(t.keyLen);
        EXPECT_EQ(DUMP_Request(77, t.type, good.data(), t.keyLen), DUMP_INVALID_HANDLE) << std::hex << t.type;
    }
}

TEST_F(KernelSessionTables, SessionRecordsCarryValidVocabularyInNetworkOrder) {
    static constexpr uint8_t kStates[8] = {10, 3, 3, 3, 3, 8, 8, 3};
    static constexpr uint8_t kProto[8] = {6, 17, 1, 58, 136, 132, 33, 0};
    Pulled all = pull_table(kNode, 0x140001, dump_key(), 172, 7912);
    std::set<uint8_t> families, classes;
    size_t greType = 0, greOther = 0, dsLite = 0, vlan = 0, vll = 0, ttlNone = 0;
    for (size_t off = 0; off < all.bytes.size(); off += 172) {
        const uint8_t *r = all.bytes.data() + off;
        uint8_t state = r[164], cls = r[165];
        ASSERT_LT(cls, 8);
        EXPECT_GE(state, 1);
        EXPECT_LT(state, kStates[cls]);
        if (cls < 7) {
            EXPECT_EQ(r[1], kProto[cls]);
        }
        if (cls == 2) {
            EXPECT_EQ(r[0], 2);
        }
        if (cls == 3) {
            EXPECT_EQ(r[0], 10);
        }
        EXPECT_TRUE(r[0] == 2 || r[0] == 10);
        EXPECT_EQ(r[48], r[0]);
        if (r[0] == 2) {
            EXPECT_EQ(r[4], 10) << "IPv4 sources are 10.x.x.x, first byte first";
        }
        families.insert(r[0]);
        classes.insert(cls);
        if (r[1] == 47) (be16(r + 36) == 0x880B ? greType : greOther)++;
        if (std::any_of(r + 96, r + 112, [](uint8_t b) { return b != 0; })) ++dsLite;
        if (r[2] & 3) ++vlan;
        if (r[2] == 4) ++vll;
        if (be32(r + 156) == 0xFFFFFFFFu) ++ttlNone;
        EXPECT_GE(be32(r + 152), 1735689600u);
    }
    EXPECT_EQ(families.size(), 2u);
    EXPECT_EQ(classes.size(), 8u);
    EXPECT_GT(greType, 0u);
    EXPECT_GT(greOther, 0u);
    EXPECT_GT(dsLite, 0u);
    EXPECT_GT(vlan, 0u);
    EXPECT_GT(vll, 0u);
    EXPECT_GT(ttlNone, 0u);
}

TEST_F(KernelSessionTables, DumpKeyFiltersByFamilyProtocolAndAddress) {
    size_t all = count(kNode, 0x140001, dump_key(), 172);
    size_t v4 = count(kNode, 0x140001, dump_key(2), 172);
    size_t v6 = count(kNode, 0x140001, dump_key(10), 172);
    EXPECT_EQ(v4 + v6, all);
    EXPECT_GT(v6, 0u);
    Pulled udp4 = pull_table(kNode, 0x140001, dump_key(2, 17), 172, 7912);
    ASSERT_FALSE(udp4.bytes.empty());
    for (size_t off = 0; off < udp4.bytes.size(); off += 172) {
        EXPECT_EQ(udp4.bytes[off], 2);
        EXPECT_EQ(udp4.bytes[off + 1], 17);
    }
    // The source of the first session selects exactly the sessions from it.
    std::vector<uint8_t> key = dump_key(2);
    std::copy(udp4.bytes.begin() + 4, udp4.bytes.begin() + 8, key.begin());
    Pulled one = pull_table(kNode, 0x140001, key, 172, 7912);
    ASSERT_FALSE(one.bytes.empty());
    for (size_t off = 0; off < one.bytes.size(); off += 172) {
        EXPECT_TRUE(std::equal(key.begin(), key.begin() + 4, one.bytes.begin() + off + 4));
    }
    EXPECT_LT(one.bytes.size() / 172, v4);

    // The fast-forward key selects by the tuple's non-zero fields.
    std::vector<uint8_t> tableKey(64);
    tableKey[0] = 2;
    tableKey[38] = 0x01, tableKey[39] = 0xBB;  // destination port 443
    Pulled https = pull_table(kNode, 0x140006, tableKey, 140, 7980);
    ASSERT_FALSE(https.bytes.empty());
    for (size_t off = 0; off < https.bytes.size(); off += 140) {
        EXPECT_EQ(https.bytes[off], 2);
        EXPECT_EQ(be16(https.bytes.data() + off + 38), 443);
    }
    EXPECT_LT(https.bytes.size() / 140, count(kNode, 0x140006, std::vector<uint8_t>(64), 140));
}

TEST_F(KernelSessionTables, StatisticsAgreeWithEveryTable) {
    Pulled sessions = pull_table(kNode, 0x140001, dump_key(), 172, 7912);
    std::vector<uint8_t> stat = stat_record();
    ASSERT_EQ(stat.size(), 512u);
    uint32_t perState[8][10] = {};
    uint32_t v6 = 0, established = 0;
    static constexpr uint8_t kEstablished[8] = {3, 2, 2, 2, 2, 4, 4, 2};
    for (size_t off = 0; off < sessions.bytes.size(); off += 172) {
        const uint8_t *r = sessions.bytes.data() + off;
        perState[r[165]][r[164]]++;
        v6 += r[0] != 2;
        established += r[164] == kEstablished[r[165]];
    }
    EXPECT_EQ(be32(stat.data()), sessions.bytes.size() / 172);
    EXPECT_EQ(be32(stat.data() + 4), v6);
    for (int g = 0; g < 8; ++g) {
        uint32_t total = 0;
        for (int s = 0; s < 10; ++s) {
            EXPECT_EQ(be32(stat.data() + 8 + 40 * g + 4 * s), perState[g][s]) << g << "/" << s;
            total += perState[g][s];
        }
        EXPECT_EQ(be32(stat.data() + 328 + 4 * g), total);
        EXPECT_EQ(be64(stat.data() + 360 + 16 * g) - be64(stat.data() + 368 + 16 * g), total);
    }
    // Kernel detail lists the same sessions with the same state bytes.
    Pulled kernel = pull_table(kNode, 0x140024, dump_key(), 432, 7776);
    ASSERT_EQ(kernel.bytes.size() / 432, sessions.bytes.size() / 172);
    for (size_t i = 0; i < kernel.bytes.size() / 432; ++i) {
        const uint8_t *k = kernel.bytes.data() + 432 * i, *s = sessions.bytes.data() + 172 * i;
        ASSERT_EQ(std::memcmp(k, s, 160), 0) << i;
        EXPECT_EQ(k[168], s[164]);
        EXPECT_EQ(k[169], s[165]);
    }
    EXPECT_EQ(count(kNode, 0x140006, std::vector<uint8_t>(64), 140), established);
    EXPECT_EQ(count(kNode, 0x140002, {0}, 76), count(kNode, 0x140025, std::vector<uint8_t>(44), 208));
    EXPECT_EQ(count(kNode, 0x140002, {2}, 76) + count(kNode, 0x140002, {10}, 76), count(kNode, 0x140002, {0}, 76));
}

TEST_F(KernelSessionTables, KernelDetailCarriesItsOptionalBlocksOnSomeSessions) {
    Pulled kernel = pull_table(kNode, 0x140024, dump_key(), 432, 7776);
    size_t ext = 0, nat = 0;
    for (size_t off = 0; off < kernel.bytes.size(); off += 432) {
        const uint8_t *k = kernel.bytes.data() + off;
        bool hasExt = be64(k + 296) != 0, hasNat = (be16(k + 262) & 1) != 0;
        ext += hasExt, nat += hasNat;
        if (!hasNat) {
            EXPECT_EQ(be64(k + 424), 0u);
        }
        EXPECT_EQ(be32(k + 340), be32(k + 128));  // the log block repeats the counters
    }
    EXPECT_GT(ext, 0u);
    EXPECT_LT(ext, kernel.bytes.size() / 432);
    EXPECT_GT(nat, 0u);
    EXPECT_LT(nat, kernel.bytes.size() / 432);
}

TEST_F(KernelSessionTables, McfsFlowsListAnInboundEntryBeforeItsOutboundEntries) {
    Pulled mcfs = pull_table(kNode, 0x140014, dump_key(), 172, 7912);
    ASSERT_FALSE(mcfs.bytes.empty());
    EXPECT_EQ(mcfs.bytes[2] & 4, 4) << "the first entry is an inbound entry";
    uint32_t inbound = 0, outbound = 0;
    const uint8_t *group = nullptr;
    for (size_t off = 0; off < mcfs.bytes.size(); off += 172) {
        const uint8_t *r = mcfs.bytes.data() + off;
        if (r[2] & 4) {
            ++inbound;
            group = r;
        } else {
            ++outbound;
            ASSERT_NE(group, nullptr);
            EXPECT_EQ(std::memcmp(r + 4, group + 4, 32), 0) << "an outbound entry of another flow";
            EXPECT_EQ(be32(r + 144), be32(group + 144)) << "one inbound interface per flow";
        }
    }
    std::vector<uint8_t> stat = pull_single(kNode, 0x140015, {0, 0, 0, 0}, 48);
    ASSERT_EQ(stat.size(), 48u);
    EXPECT_EQ(be32(stat.data()), inbound);
    EXPECT_EQ(be32(stat.data() + 4), outbound);
}

TEST_F(KernelSessionTables, SingleRecordDumpsDeliverOnceAndOnlyIntoABufferThatHoldsThem) {
    struct Single {
        uint32_t type;
        std::vector<uint8_t> key;
        uint32_t size;
    };
    const Single singles[] = {
        {0x140003, {0, 0, 0, 0}, 512}, {0x140016, {0, 0, 0, 1}, 68},  {0x140015, {0, 0, 0, 0}, 48},
        {0x140022, {0, 0, 0, 1}, 80},  {0x140027, {0, 0, 0, 0}, 16},  {0x140023, {0, 0, 0, 0}, 928},
        {0x140029, std::vector<uint8_t>(8), 836}, {0x14002a, {0, 0, 0, 0}, 8},
        {0x14002b, {0, 0, 0, 1, 0, 1, 0, 0}, 8}, {0x140019, {}, 4},
        {0x140009, {static_cast<uint8_t>(kPeer), static_cast<uint8_t>(kPeer >> 8)}, 32},
    };
    for (const Single &s : singles) {
        uint32_t h = DUMP_Request(kNode, s.type, s.key.empty() ? nullptr : s.key.data(),
                                  static_cast<uint32_t>(s.key.size()));
        ASSERT_NE(h, DUMP_INVALID_HANDLE) << std::hex << s.type;
        std::vector<uint8_t> b(s.size + 64);
        uint32_t got = 0;
        DUMP_Pull(h, s.size - 1, b.data(), &got);
        EXPECT_EQ(got, 0u) << std::hex << s.type;
        EXPECT_EQ(DUMP_Pull(h, s.size + 64, b.data(), &got), 0u) << std::hex << s.type;
        EXPECT_EQ(got, s.size) << std::hex << s.type;
        DUMP_Pull(h, s.size + 64, b.data(), &got);
        EXPECT_EQ(got, 0u) << std::hex << s.type;
        DUMP_Terminate(h);
        std::vector<uint8_t> longer = s.key;
        longer.push_back(0);
        EXPECT_EQ(DUMP_Request(kNode, s.type, longer.data(), static_cast<uint32_t>(longer.size())),
                  DUMP_INVALID_HANDLE)
            << std::hex << s.type;
    }
    std::vector<uint8_t> reply = pull_single(kNode, 0x14002a, {0, 0, 0, 0}, 8);
    ASSERT_EQ(reply.size(), 8u);
    EXPECT_EQ(be32(reply.data()), 0u);
    std::vector<uint8_t> alg = pull_single(kNode, 0x140029, std::vector<uint8_t>(8), 836);
    EXPECT_EQ(alg, std::vector<uint8_t>(836, 0)) << "ALG counters are cleared by 0x14002a";
}

TEST_F(KernelSessionTables, AgingQueuesComeInSeveralBatchesCoveringEveryCore) {
    uint32_t h = DUMP_Request(kNode, 0x140026, std::vector<uint8_t>{0, 0, 0x1F, 0x40}.data(), 4);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> b(8000);
    uint32_t cores = 0, batches = 0;
    uint64_t unstable = 0;
    std::set<uint16_t> sizes;
    for (;;) {
        uint32_t got = 0;
        DUMP_Pull(h, 8000, b.data(), &got);
        if (got == 0) break;
        ASSERT_GE(got, 4u);
        uint16_t n = be16(b.data()), size = be16(b.data() + 2);
        ASSERT_EQ(got, 4u + uint32_t{n} * size);
        sizes.insert(size);
        for (uint16_t i = 0; i < n; ++i) unstable += be32(b.data() + 4 + i * size);
        cores += n;
        ++batches;
        ASSERT_LT(batches, 100u);
    }
    DUMP_Terminate(h);
    EXPECT_GT(batches, 1u);
    EXPECT_EQ(sizes, (std::set<uint16_t>{20, 24}));
    EXPECT_EQ(cores, 8u);
    EXPECT_EQ(unstable, be32(stat_record().data()));
}

TEST_F(KernelSessionTables, HistoryAndTopSamplesRespectTheirChunkLimits) {
    auto history_key = [](uint32_t period, uint32_t samples) {
        std::vector<uint8_t> k(12);
        k[3] = static_cast<uint8_t>(period);
        k[6] = static_cast<uint8_t>(samples >> 8), k[7] = static_cast<uint8_t>(samples);
        k[9] = 12;
        return k;
    };
    Pulled hour = pull_table(kNode, 0x140017, history_key(0, 720), 12, 8640);
    EXPECT_EQ(hour.chunks, (std::vector<uint32_t>{666 * 12, 54 * 12}));
    EXPECT_EQ(be32(hour.bytes.data() + hour.bytes.size() - 4), be32(stat_record().data()))
        << "the newest sessions sample is the live count";
    Pulled month = pull_table(kNode, 0x140017, history_key(2, 720), 12, 8640);
    EXPECT_GT(month.bytes.size() / 12, 0u);
    EXPECT_LT(month.bytes.size() / 12, 720u);
    EXPECT_EQ(pull_table(kNode, 0x140017, history_key(1, 720), 12, 1200).bytes,
              pull_table(kNode, 0x140017, history_key(1, 720), 12, 8640).bytes);
    EXPECT_EQ(DUMP_Request(kNode, 0x140017, history_key(3, 720).data(), 12), DUMP_INVALID_HANDLE);

    std::vector<uint8_t> topKey{0, 0, 4, 0, 0, 0, 0, 24};
    Pulled top = pull_table(kNode, 0x14001a, topKey, 24, 49152);
    ASSERT_FALSE(top.bytes.empty());
    uint64_t sum = 0;
    for (size_t off = 0; off < top.bytes.size(); off += 24) {
        uint32_t n = be32(top.bytes.data() + off + 16);
        if (off > 0) {
            EXPECT_LE(n, be32(top.bytes.data() + off - 8)) << "busiest first";
        }
        sum += n;
    }
    for (uint32_t c : top.chunks) EXPECT_LE(c, 333u * 24);
    EXPECT_EQ(sum, be32(stat_record().data())) << "every live session has one source host";
}

TEST_F(KernelSessionTables, HotBackupRowsOnlyForPeersThatAreUp) {
    std::vector<uint8_t> remain = pull_single(kNode, 0x140019, {}, 4);
    EXPECT_EQ(remain.size(), 4u);
    uint16_t self = kNode, peer = kPeer;
    std::vector<uint8_t> selfKey(2), peerKey(2);
    std::memcpy(selfKey.data(), &self, 2);
    std::memcpy(peerKey.data(), &peer, 2);
    EXPECT_EQ(pull_single(kNode, 0x140009, selfKey, 32).size(), 0u);
    std::vector<uint8_t> row = pull_single(kNode, 0x140009, peerKey, 32);
    ASSERT_EQ(row.size(), 32u);
    uint64_t sent = 0;
    std::memcpy(&sent, row.data(), 8);  // host order
    EXPECT_GT(sent, 0u);
    EXPECT_LT(sent, 1u << 24);
}

// ------------------------------------------------------- seeds and resets --

TEST(KernelSessionSeed, SameSeedSameTableOtherSeedOtherTable) {
    std::vector<uint8_t> first, again, other;
    {
        dptest::ServiceProcess s({"--sessions", "200", "--seed", "42"});
        first = pull_table(kNode, 0x140001, dump_key(), 172, 7912).bytes;
    }
    {
        dptest::ServiceProcess s({"--sessions", "200", "--seed", "42"});
        again = pull_table(kNode, 0x140001, dump_key(), 172, 7912).bytes;
    }
    {
        dptest::ServiceProcess s({"--sessions", "200", "--seed", "43"});
        other = pull_table(kNode, 0x140001, dump_key(), 172, 7912).bytes;
    }
    EXPECT_EQ(first.size(), 200u * 172);
    EXPECT_EQ(first, again);
    EXPECT_NE(first, other);
}

TEST(KernelSessionBatches, FortySixSessionsTakeTwoPullsFortySevenTakeTwoChunks) {
    {
        dptest::ServiceProcess s({"--sessions", "46"});
        Pulled p = pull_table(kNode, 0x140001, dump_key(), 172, 7912);
        EXPECT_EQ(p.chunks, std::vector<uint32_t>{7912});
        EXPECT_EQ(p.pulls, 2u);
    }
    {
        dptest::ServiceProcess s({"--sessions", "47"});
        Pulled p = pull_table(kNode, 0x140001, dump_key(), 172, 7912);
        EXPECT_EQ(p.chunks, (std::vector<uint32_t>{7912, 172}));
    }
}

TEST(KernelSessionReset, ResetsLowerTablesAndStatisticsTogether) {
    dptest::ServiceProcess s({"--sessions", "600", "--seed", "3"});
    size_t before = count(kNode, 0x140001, dump_key(), 172);
    size_t tcp4 = count(kNode, 0x140001, dump_key(2, 6), 172);
    size_t relBefore = count(kNode, 0x140002, {0}, 76);
    ASSERT_GT(tcp4, 0u);
    reset(s, 2, 6);
    EXPECT_EQ(count(kNode, 0x140001, dump_key(2, 6), 172), 0u);
    EXPECT_EQ(count(kNode, 0x140001, dump_key(), 172), before - tcp4);
    EXPECT_EQ(count(kNode, 0x140024, dump_key(), 432), before - tcp4);
    EXPECT_LT(count(kNode, 0x140002, {0}, 76), relBefore) << "FTP/H.225/RTSP relations went with their sessions";
    std::vector<uint8_t> stat = stat_record();
    EXPECT_EQ(be32(stat.data()), before - tcp4);
    EXPECT_EQ(be64(stat.data() + 504), tcp4);
    // The other node was reset too (scope 0 is every node).
    EXPECT_EQ(count(kPeer, 0x140001, dump_key(2, 6), 172), 0u);

    // Mcfs flows have their own reset.
    ASSERT_GT(count(kNode, 0x140014, dump_key(), 172), 0u);
    dptest::SvcClient client(s.rundir());
    EXPECT_EQ(client.command(58, dptest::Bytes(68)), std::optional<uint32_t>(0));
    EXPECT_EQ(count(kNode, 0x140014, dump_key(), 172), 0u);
    std::vector<uint8_t> mcfs = pull_single(kNode, 0x140015, {0, 0, 0, 0}, 48);
    ASSERT_EQ(mcfs.size(), 48u);
    EXPECT_EQ(be32(mcfs.data() + 8), 0u);
    EXPECT_GT(count(kNode, 0x140001, dump_key(), 172), 0u) << "sessions are not multicast flows";

    reset(s, 0, 0);
    EXPECT_EQ(count(kNode, 0x140001, dump_key(), 172), 0u);
    EXPECT_EQ(count(kNode, 0x140006, std::vector<uint8_t>(64), 140), 0u);
    EXPECT_EQ(count(kNode, 0x140002, {0}, 76), 0u);
    stat = stat_record();
    EXPECT_EQ(be32(stat.data()), 0u);
    for (int g = 0; g < 8; ++g) EXPECT_EQ(be32(stat.data() + 328 + 4 * g), 0u);
}

TEST(KernelSessionProfile, ANodeThatIsDownHasNoTablesAndNoHotBackupRow) {
    const char *profile =
        "[device]\nself = 1\nmaster = 1\n"
        "[node 1]\nchassis = 1\nslot = 1\ncontroller = yes\n"
        "[node 2]\nchassis = 1\nslot = 2\nup = no\n"
        "[node 3]\nchassis = 1\nslot = 3\n";
    ProfileFile file(profile);
    dptest::ServiceProcess s({"--sessions", "50"});
    auto key = [](uint16_t n) {
        std::vector<uint8_t> k(2);
        std::memcpy(k.data(), &n, 2);
        return k;
    };
    EXPECT_EQ(pull_single(kNode, 0x140009, key(2), 32).size(), 0u);
    EXPECT_EQ(pull_single(kNode, 0x140009, key(3), 32).size(), 32u);
    EXPECT_EQ(DUMP_Request(2, 0x140001, dump_key().data(), 88), DUMP_INVALID_HANDLE);
    EXPECT_EQ(count(3, 0x140001, dump_key(), 172), 50u);
}

// A million sessions per node: the table is made as it is pulled, so the
// service answers at once and streams with flat memory; a few chunks do.
TEST(KernelSessionLarge, MillionSessionTableStreamsQuickly) {
    dptest::ServiceProcess s({"--sessions", "1000000"});
    std::vector<uint8_t> stat = stat_record();
    ASSERT_EQ(stat.size(), 512u);
    EXPECT_EQ(be32(stat.data()), 1000000u);
    uint32_t h = DUMP_Request(kNode, 0x140001, dump_key().data(), 88);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> b(7912);
    for (int i = 0; i < 5; ++i) {
        uint32_t got = 0;
        EXPECT_EQ(DUMP_Pull(h, 7912, b.data(), &got), kContinue);
        EXPECT_EQ(got, 7912u);
    }
    EXPECT_EQ(open_cursors(s.rundir()), std::optional<uint32_t>(1));
    DUMP_Terminate(h);
    EXPECT_TRUE(cursors_drop_to(s.rundir(), 0)) << "a terminated dump keeps its cursor";
}

}  // namespace
