// SPDX-License-Identifier: Apache-2.0
// The configuration database: sorted lists, and durability across killed
// writers and moves between the two configuration databases.
#include "platform/dbm.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/child_process.h"

namespace {

using dptest::ScopedEnv;
using dptest::TempDir;
using Elems = std::vector<std::vector<uint8_t>>;

const DBM_OPEN_DESC_S kDesc = {{1, 0, 1, 0, 0, 0, 0, 0}};

std::vector<uint8_t> u32_host(uint32_t v) {
    std::vector<uint8_t> e(4);
    std::memcpy(e.data(), &v, 4);
    return e;
}
std::vector<uint8_t> u32_net(uint32_t v) {
    return u32_host(htonl(v));
}

class DbmTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv data_{"DPMGMT_DATADIR", dir_.path().c_str()};
    uint64_t h_ = DBM_INVALID_HANDLE;  // the one database a test opens

    uint64_t open(const char *db, const char *module = "testmod") {
        EXPECT_EQ(DBM_Open(db, module, 7, &kDesc, &h_, 1), 0u);
        return h_;
    }
    void TearDown() override { DBM_Close(h_); }
    // Every element of a list in iterator order.
    static Elems walk(uint64_t h, const std::string &key, uint32_t elemLen) {
        Elems out;
        void *it = nullptr;
        std::vector<uint8_t> buf(elemLen);
        int32_t n;
        while ((n = DBM_GetNextSortList(h, key.c_str(), key.size() + 1, &it, 0, 0, elemLen, buf.data())) > 0 &&
               out.size() < 1000)
            out.emplace_back(buf.begin(), buf.begin() + n);
        EXPECT_EQ(n, 0);
        DBM_FreeIterator(it);
        return out;
    }
    static int32_t insert(uint64_t h, const char *key, const std::vector<uint8_t> &e) {
        return DBM_InsertSortList(h, key, std::strlen(key) + 1, static_cast<uint32_t>(e.size()), e.data(), 0);
    }
};

TEST_F(DbmTest, ListsOrderByNumericValueForBothKeyTypes) {
    const uint64_t h = open("gTest");
    // 0x100 and 0x10000 swap places when host-order bytes are compared as
    // text, or when network-order bytes are read as host numbers.
    const std::vector<uint32_t> values = {0x00010000u, 1u, 0x01000000u, 0x00000100u, 0xFFFFFFFFu};
    const std::vector<uint32_t> sorted = {1u, 0x00000100u, 0x00010000u, 0x01000000u, 0xFFFFFFFFu};
    struct Case {
        const char *key;
        uint32_t type;
        std::vector<uint8_t> (*encode)(uint32_t);
    };
    for (const Case &c : {Case{"host", DBM_KEYTYPE_UINT_HOST, u32_host}, Case{"net", DBM_KEYTYPE_UINT_NET, u32_net}}) {
        SCOPED_TRACE(c.key);
        const DBM_SORTKEY_S sk = {0, 4, c.type, 0};
        ASSERT_EQ(DBM_CreateSortList(h, c.key, std::strlen(c.key) + 1, &sk, 1, 0), 0);
        for (const uint32_t v : values) ASSERT_EQ(insert(h, c.key, c.encode(v)), 0);
        Elems expected;
        for (const uint32_t v : sorted) expected.push_back(c.encode(v));
        EXPECT_EQ(walk(h, c.key, 4), expected);
    }
}

TEST_F(DbmTest, EqualSortKeyReplacesAndProbeRemoves) {
    const uint64_t h = open("gTest");
    // A 96-byte rule ordered by the u16 at 78.
    const DBM_SORTKEY_S sk = {78, 2, DBM_KEYTYPE_UINT_HOST, 0};
    ASSERT_EQ(DBM_CreateSortList(h, "policy-5", 9, &sk, 1, 0), 0);
    auto rule = [](uint16_t id, uint8_t fill) {
        std::vector<uint8_t> r(96, fill);
        std::memcpy(&r[78], &id, 2);
        return r;
    };
    for (const auto &r : {rule(7, 0xAA), rule(3, 0xBB), rule(7, 0xCC)}) ASSERT_EQ(insert(h, "policy-5", r), 0);
    EXPECT_EQ(DBM_Len(h, "policy-5", 9), 2);
    EXPECT_EQ(walk(h, "policy-5", 96), (Elems{rule(3, 0xBB), rule(7, 0xCC)}));
    // Only the probe's sort key counts.
    EXPECT_EQ(DBM_RemoveSortList(h, "policy-5", 9, 96, rule(7, 0x00).data()), 0);
    EXPECT_LT(DBM_RemoveSortList(h, "policy-5", 9, 96, rule(7, 0x00).data()), 0);
    EXPECT_EQ(walk(h, "policy-5", 96), (Elems{rule(3, 0xBB)}));
    // An element too short to hold its sort key is refused.
    EXPECT_LT(DBM_InsertSortList(h, "policy-5", 9, 40, rule(9, 0).data(), 0), 0);
}

// A move killed at any point leaves the key in exactly one of the two
// configuration databases, whole.
TEST_F(DbmTest, MovesKilledAtRandomLeaveExactlyOneCopy) {
    const char key[] = "applied-GigabitEthernet1/0/1";
    const uint32_t value = 0x01000300u;
    uint64_t h[2] = {DBM_INVALID_HANDLE, DBM_INVALID_HANDLE};
    // Opened and closed around each child: no connection crosses a fork.
    const auto open_both = [&h] {
        return DBM_OpenCfgDB("eConnlmt", "pConnlmt", "connlmt", 0, &kDesc, &h[0], &h[1], 1) == 0;
    };
    ASSERT_TRUE(open_both());
    ASSERT_EQ(DBM_SetBinary(h[0], key, sizeof key, 0, 4, &value, 3), 0);
    DBM_Close(h[0]);
    DBM_Close(h[1]);
    std::mt19937 rng(20240611);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        {
            dptest::Child mover([&](int fd) {
                if (!open_both()) return 1;
                for (const uint8_t tick = 1;;) {
                    DBM_Move(h[0], key, sizeof key, h[1]);
                    if (::write(fd, &tick, 1) != 1) return 2;
                    DBM_Move(h[1], key, sizeof key, h[0]);
                    if (::write(fd, &tick, 1) != 1) return 2;
                }
            });
            std::vector<uint8_t> ticks(1 + rng() % 40);
            ASSERT_TRUE(mover.read_exact(ticks.data(), ticks.size()));
        }  // killed here, wherever it is
        ASSERT_TRUE(open_both());
        uint32_t got[2] = {0, 0};
        const bool inFirst = DBM_GetBinary(h[0], key, sizeof key, 0, 4, &got[0]) == 4;
        const bool inSecond = DBM_GetBinary(h[1], key, sizeof key, 0, 4, &got[1]) == 4;
        DBM_Close(h[0]);
        DBM_Close(h[1]);
        ASSERT_NE(inFirst, inSecond) << "in the first database: " << inFirst << ", in the second: " << inSecond;
        EXPECT_EQ(got[inFirst ? 0 : 1], value);
    }
}

// A writer killed at a random point loses nothing it acknowledged, while
// another process writes the same fresh file meanwhile.
TEST_F(DbmTest, AcknowledgedWritesSurviveAKilledWriter) {
    auto write_keys = [](const char *prefix, uint32_t count, int ackFd) {
        uint64_t h = 0;
        if (DBM_Open("gCrash", "crash", 7, &kDesc, &h, 1) != 0) return 2;
        for (uint32_t i = 0; i < count; ++i) {
            const std::string key = prefix + std::to_string(i);
            if (DBM_SetBinary(h, key.c_str(), key.size() + 1, 0, 4, &i, 0) != 0) return 3;
            if (ackFd >= 0 && ::write(ackFd, &i, 4) != 4) return 4;
            // The endless writer leaves the lock free for a moment between
            // writes, so that on a loaded machine the second process is not
            // starved past its busy time-out.
            if (ackFd >= 0) ::usleep(2000);
        }
        DBM_Close(h);
        return 0;
    };
    dptest::Child writer([&](int fd) { return write_keys("key-", 1000000, fd); });
    EXPECT_EQ(write_keys("parent-", 200, -1), 0) << "a second process writing the same file";
    uint32_t first[150];
    ASSERT_TRUE(writer.read_exact(first, sizeof first));
    writer.kill9();
    const std::vector<uint8_t> rest = writer.drain();
    std::vector<uint32_t> acked(first, first + 150);
    for (size_t at = 0; at + 4 <= rest.size(); at += 4) acked.push_back(*reinterpret_cast<const uint32_t *>(&rest[at]));

    const uint64_t h = open("gCrash", "crash");
    for (const uint32_t i : acked) {
        const std::string key = "key-" + std::to_string(i);
        uint32_t got = ~i;
        ASSERT_EQ(DBM_GetBinary(h, key.c_str(), key.size() + 1, 0, 4, &got), 4) << key;
        EXPECT_EQ(got, i);
    }
    for (uint32_t i = 0; i < 200; ++i) {
        const std::string key = "parent-" + std::to_string(i);
        ASSERT_EQ(DBM_IsKeyExist(h, key.c_str(), key.size() + 1), 1) << key;
    }
}

}  // namespace
