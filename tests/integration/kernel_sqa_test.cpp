// The call-quality tables of a real dpservice, read over the kernel socket
// as the library reads them: item framing and chunk bounds, the seeded
// model, byte orders, key selection, statistics and debug switches.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "kernel_harness.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

using namespace kerneltest;

constexpr uint32_t kCalls = 50;

struct Item {
    uint16_t type;
    std::vector<uint8_t> value;
};

// Splits a chunk into items; false when bytes are left that do not make a
// whole item.
bool split(const std::vector<uint8_t> &chunk, std::vector<Item> &out)
{
    size_t at = 0;
    while (at + 4 <= chunk.size()) {
        const uint16_t len = be16(&chunk[at + 2]);
        if (at + 4 + len > chunk.size()) return false;
        out.push_back(Item{be16(&chunk[at]), std::vector<uint8_t>(chunk.begin() + at + 4, chunk.begin() + at + 4 + len)});
        at += 4 + len;
    }
    return at == chunk.size();
}

struct Table {
    const char *name;
    uint32_t dumpType;
    uint32_t keyLen;
    uint16_t itemType;
    uint16_t valueSize;
};

const Table kTables[] = {
    {"sip brief", 0x14001b, 0, 27, 84},
    {"sip verbose", 0x14001c, 65, 28, 384},
    {"h323 brief", 0x14001f, 84, 31, 84},
    {"h323 verbose", 0x140020, 84, 32, 472},
    {"h323 probe", 0x140021, 84, 33, 472},
};

// Every item of a table, checking the framing of every chunk on the way.
std::vector<Item> items_of(const Table &t, uint32_t bufLen, const char *callId = "")
{
    std::vector<uint8_t> key(t.keyLen, 0);
    if (t.keyLen != 0) std::strncpy(reinterpret_cast<char *>(key.data()), callId, 64);
    Walk w = walk(DEV_GetSelf(), t.dumpType, t.keyLen ? key.data() : nullptr, t.keyLen, bufLen);
    std::vector<Item> items;
    EXPECT_TRUE(w.opened) << t.name;
    for (size_t i = 0; i < w.pulls.size(); ++i) {
        const Pull &p = w.pulls[i];
        SCOPED_TRACE(std::string(t.name) + " pull " + std::to_string(i));
        EXPECT_LE(p.chunk.size(), bufLen);
        if (p.rc != kContinue) {
            EXPECT_TRUE(p.chunk.empty()) << "the end carries no items";
            break;
        }
        EXPECT_FALSE(p.chunk.empty()) << "a continuation carries items";
        std::vector<Item> chunkItems;
        EXPECT_TRUE(split(p.chunk, chunkItems)) << "chunk cut inside an item";
        for (Item &it : chunkItems) {
            EXPECT_EQ(it.type, t.itemType);
            EXPECT_EQ(it.value.size(), t.valueSize);
            items.push_back(std::move(it));
        }
    }
    return items;
}

std::string call_id(const Item &it)
{
    const char *text = reinterpret_cast<const char *>(it.value.data());
    return std::string(text, strnlen(text, 65));
}

std::vector<uint8_t> control(uint32_t command, uint32_t capacity, uint32_t &rc)
{
    std::vector<uint8_t> reply(capacity);
    uint32_t len = 0;
    rc = CIOCTL(DEV_GetSelf(), command, 0, nullptr, capacity, reply.data(), &len);
    reply.resize(rc == 0 ? std::min(len, capacity) : 0);
    return reply;
}

uint32_t host32(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

class SqaKernel : public ::testing::Test {
protected:
    dptest::ServiceProcess service{{"--seed", "7", "--calls", std::to_string(kCalls)}};
};

TEST_F(SqaKernel, ChunksHoldWholeItemsWithinTheBuffer)
{
    // 8000 as the displays pull; 476 holds exactly one verbose H.323 item;
    // 1000 leaves a remainder for every item size.
    for (const Table &t : kTables) {
        for (uint32_t buf : {8000u, 1000u, 476u}) {
            if (buf < 4u + t.valueSize) continue;
            EXPECT_EQ(items_of(t, buf).size(), kCalls) << t.name << " buffer " << buf;
        }
    }
}

TEST_F(SqaKernel, BufferSmallerThanOneItemGetsNoPartialItem)
{
    Walk w = walk(DEV_GetSelf(), 0x140020, std::vector<uint8_t>(84).data(), 84, 400);
    ASSERT_TRUE(w.opened);
    ASSERT_EQ(w.pulls.size(), 1u);
    EXPECT_NE(w.pulls[0].rc, kContinue);
    EXPECT_TRUE(w.pulls[0].chunk.empty());
}

TEST_F(SqaKernel, CallIdsAreUniqueAndSomeFillTheField)
{
    for (const Table &t : {kTables[0], kTables[2]}) {
        std::set<std::string> ids;
        size_t full = 0;
        for (const Item &it : items_of(t, 8000)) {
            const std::string id = call_id(it);
            ASSERT_LE(id.size(), 64u);
            ASSERT_FALSE(id.empty());
            full += id.size() == 64;
            ids.insert(id);
        }
        EXPECT_EQ(ids.size(), kCalls) << t.name;
        EXPECT_GT(full, 0u) << t.name;
    }
}

TEST_F(SqaKernel, BriefAndVerboseDescribeTheSameCalls)
{
    const auto sipBrief = items_of(kTables[0], 8000), sipVerbose = items_of(kTables[1], 8000);
    const auto h323Brief = items_of(kTables[2], 8000), h323Verbose = items_of(kTables[3], 8000),
               probe = items_of(kTables[4], 8000);
    ASSERT_EQ(sipBrief.size(), kCalls);
    ASSERT_EQ(sipVerbose.size(), kCalls);
    ASSERT_EQ(h323Verbose.size(), kCalls);
    ASSERT_EQ(probe.size(), kCalls);
    for (uint32_t i = 0; i < kCalls; ++i) {
        const auto &b = sipBrief[i].value, &v = sipVerbose[i].value;
        EXPECT_EQ(call_id(sipBrief[i]), call_id(sipVerbose[i]));
        EXPECT_EQ(0, std::memcmp(&b[68], &v[76], 6)) << "caller address and port";
        EXPECT_EQ(0, std::memcmp(&b[76], &v[88], 6)) << "callee address and port";
        const auto &hb = h323Brief[i].value, &hv = h323Verbose[i].value;
        EXPECT_EQ(call_id(h323Brief[i]), call_id(h323Verbose[i]));
        EXPECT_EQ(0, std::memcmp(&hb[68], &hv[148], 4));
        EXPECT_EQ(0, std::memcmp(&hb[72], &hv[156], 2));
        EXPECT_EQ(0, std::memcmp(&hb[76], &hv[152], 4));
        EXPECT_EQ(0, std::memcmp(&hb[80], &hv[158], 2));
        EXPECT_EQ(hv, probe[i].value) << "the probe table carries the verbose entries";
    }
}

// The SIP scores travel in host order, every other number in network
// order: read each the way the display does and the values must be sane.
TEST_F(SqaKernel, NumbersTravelInTheirByteOrders)
{
    auto mos_ok = [](uint32_t m) { return m == 0xFFFFFFFFu || (m >= 100 && m <= 450); };
    std::set<uint32_t> sipMedia, h323Media, protocols, vlans;
    size_t bothMissing = 0, oneMissing = 0, emptyAlias = 0, noVxlan = 0, wideOctets = 0;
    for (const Item &it : items_of(kTables[1], 8000)) {
        const uint8_t *v = it.value.data();
        const uint32_t f = host32(v + 132), r = host32(v + 136);
        EXPECT_TRUE(mos_ok(f) && mos_ok(r)) << f << " " << r;
        bothMissing += f == 0xFFFFFFFFu && r == 0xFFFFFFFFu;
        oneMissing += (f == 0xFFFFFFFFu) != (r == 0xFFFFFFFFu);
        sipMedia.insert(v[72]);
        vlans.insert(be16(v + 128));
        EXPECT_GE(be32(v + 212 + 20), 2020u);  // year
        EXPECT_LE(be32(v + 212 + 20), 2025u);
        EXPECT_GE(be32(v + 212 + 16), 1u);  // month
        EXPECT_LE(be32(v + 212 + 16), 12u);
        EXPECT_LE(be64(v + 96), 200000u) << "forward packets";
        wideOctets += be64(v + 104) > 0xFFFFFFFFull;
        EXPECT_NE(v[248], 0) << "caller tag";
    }
    for (const Item &it : items_of(kTables[3], 8000)) {
        const uint8_t *v = it.value.data();
        EXPECT_TRUE(mos_ok(be32(v + 248)) && mos_ok(be32(v + 252)));
        h323Media.insert(be16(v + 144));
        protocols.insert(v[160]);
        vlans.insert(be16(v + 208));
        emptyAlias += v[328] == 0;
        EXPECT_EQ(v[328 + 131], 0) << "alias ends within its field";
        noVxlan += be32(v + 460) == 0xFFFFFFFFu;
        EXPECT_EQ(std::strlen(reinterpret_cast<const char *>(v + 65)), 36u) << "GUID text";
    }
    EXPECT_GT(bothMissing, 0u);
    EXPECT_GT(oneMissing, 0u);
    EXPECT_GT(wideOctets, 0u);
    EXPECT_TRUE(sipMedia.count(1) && sipMedia.size() >= 2);
    EXPECT_TRUE(h323Media.count(1) && h323Media.count(2) && h323Media.size() >= 3);
    EXPECT_TRUE(protocols.count(0) && protocols.size() >= 2);
    EXPECT_TRUE(vlans.count(0) && vlans.count(65535) && vlans.size() >= 3);
    EXPECT_GT(emptyAlias, 0u);
    EXPECT_GT(noVxlan, 0u);
}

TEST_F(SqaKernel, VerboseKeySelectsExactlyItsCall)
{
    const struct {
        const Table &brief;
        const Table &keyed;
    } pairs[] = {{kTables[0], kTables[1]}, {kTables[2], kTables[3]}, {kTables[2], kTables[4]}};
    for (const auto &p : pairs) {
        for (const Item &b : items_of(p.brief, 8000)) {
            const std::string id = call_id(b);
            const auto found = items_of(p.keyed, 8000, id.c_str());
            ASSERT_EQ(found.size(), 1u) << p.keyed.name << " " << id;
            EXPECT_EQ(call_id(found[0]), id);
        }
    }
    const std::string sipId = call_id(items_of(kTables[0], 8000)[3]);
    std::string altered = sipId;
    altered.back() = altered.back() == 'x' ? 'y' : 'x';
    EXPECT_TRUE(items_of(kTables[1], 8000, altered.c_str()).empty()) << "a near miss selects nothing";
    EXPECT_TRUE(items_of(kTables[3], 8000, sipId.c_str()).empty()) << "a SIP call is not an H.323 call";
    EXPECT_TRUE(items_of(kTables[1], 8000, "no such call").empty());
}

TEST_F(SqaKernel, StatisticsAgreeWithTheTables)
{
    const struct {
        uint32_t command;
        const Table &table;
    } cases[] = {{0x480062, kTables[0]}, {0x480068, kTables[2]}};
    for (const auto &c : cases) {
        uint32_t rc = 1;
        const auto reply = control(c.command, 128, rc);
        ASSERT_EQ(rc, 0u);
        ASSERT_EQ(reply.size(), 56u);
        const uint8_t *s = reply.data();
        EXPECT_EQ(be64(s + 8), items_of(c.table, 8000).size()) << "active = calls listed";
        EXPECT_EQ(be64(s), be64(s + 8) + be64(s + 16) + be64(s + 24) + be64(s + 40)) << "total";
        EXPECT_EQ(be32(s + 52), 0u);
    }
}

TEST_F(SqaKernel, DebugSwitchesFollowTheRunningConfiguration)
{
    uint32_t rc = 1;
    EXPECT_EQ(control(0x480061, 8, rc), std::vector<uint8_t>(8, 0));
    ASSERT_EQ(rc, 0u);

    const uint8_t on[8] = {0, 0, 0, 5, 0, 1, 0, 0};  // event and packet, on
    uint8_t result[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    ASSERT_EQ(SESSION_MSG_SendRecvMsg(SESSION_MSG_PORT, 73, sizeof on, on, sizeof result, result), 0u);
    ASSERT_EQ(be32(result), 0u);

    EXPECT_EQ(control(0x480061, 8, rc), (std::vector<uint8_t>{0, 0, 0, 5, 0, 0, 0, 0}));
    EXPECT_EQ(control(0x48006a, 8, rc), std::vector<uint8_t>(8, 0)) << "H.323 switches are separate";
}

TEST(SqaKernelModel, SameSeedSameTablesOtherSeedOthers)
{
    auto snapshot = [](const char *seed) {
        dptest::ServiceProcess s{{"--seed", seed, "--calls", "30"}};
        std::vector<std::vector<uint8_t>> all;
        for (const Table &t : kTables) {
            for (Item &it : items_of(t, 8000)) all.push_back(std::move(it.value));
        }
        uint32_t rc = 1;
        all.push_back(control(0x480062, 128, rc));
        return all;
    };
    const auto a = snapshot("11"), b = snapshot("11"), c = snapshot("12");
    ASSERT_EQ(a.size(), 5u * 30 + 1);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
}

TEST(SqaKernelModel, OtherNodesHaveEmptyTablesUnknownNodesNone)
{
    dptest::ServiceProcess s{{"--calls", "10"}};
    uint32_t count = 0;
    uint16_t *nodes = DEV_GetAllNodes(&count);
    uint16_t other = 0;
    bool haveOther = false;
    for (uint32_t i = 0; i < count; ++i) {
        if (nodes[i] != DEV_GetSelf()) other = nodes[i], haveOther = true;
    }
    std::free(nodes);
    if (haveOther) {
        Walk w = walk(other, 0x14001b, nullptr, 0, 8000);
        ASSERT_TRUE(w.opened);
        ASSERT_EQ(w.pulls.size(), 1u);
        EXPECT_TRUE(w.pulls[0].chunk.empty());
        std::vector<uint8_t> reply(128);
        uint32_t len = 0;
        ASSERT_EQ(CIOCTL(other, 0x480062, 0, nullptr, 128, reply.data(), &len), 0u);
        reply.resize(len);
        EXPECT_EQ(reply, std::vector<uint8_t>(56, 0));
    }
    EXPECT_FALSE(walk(0xFFF0, 0x14001b, nullptr, 0, 8000).opened);
}

TEST(SqaKernelModel, HundredThousandCallsStream)
{
    dptest::ServiceProcess s{{"--calls", "100000"}};
    for (const Table &t : {kTables[0], kTables[2]}) {
        Walk w = walk(DEV_GetSelf(), t.dumpType, std::vector<uint8_t>(t.keyLen).data(), t.keyLen, 8000);
        ASSERT_TRUE(w.opened);
        size_t items = 0;
        for (const Pull &p : w.pulls) {
            ASSERT_LE(p.chunk.size(), 8000u);
            ASSERT_EQ(p.chunk.size() % 88, 0u);
            items += p.chunk.size() / 88;
        }
        EXPECT_EQ(items, 100000u) << t.name;
        EXPECT_NE(w.pulls.back().rc, kContinue);
    }
    uint32_t rc = 1;
    const auto stats = control(0x480068, 128, rc);
    ASSERT_EQ(stats.size(), 56u);
    EXPECT_EQ(be64(stats.data() + 8), 100000u);
}

}  // namespace
