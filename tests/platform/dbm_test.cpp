// The configuration database: namespaces, sorted lists, moves, batches and
// durability across a killed writer.
#include <arpa/inet.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/dbm.h"
#include "sim_fixture.h"

namespace {

using dpsim_test::ScopedEnv;
using dpsim_test::TempDir;

const DBM_OPEN_DESC_S kDesc = {{1, 0, 1, 0, 0, 0, 0, 0}};

class DbmTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv data_{"DPMGMT_DATADIR", dir_.path().c_str()};
    std::vector<uint64_t> opened_;

    uint64_t open(const char *db, const char *module = "testmod") {
        uint64_t h = DBM_INVALID_HANDLE;
        EXPECT_EQ(DBM_Open(db, module, 7, &kDesc, &h, 1), 0u);
        opened_.push_back(h);
        return h;
    }
    void TearDown() override {
        for (const uint64_t h : opened_) DBM_Close(h);
    }
    // Every element of a list, in the order the iterator gives them.
    static std::vector<std::vector<uint8_t>> walk(uint64_t h, const std::string &key, uint32_t elemLen) {
        std::vector<std::vector<uint8_t>> out;
        void *it = nullptr;
        std::vector<uint8_t> buf(elemLen);
        int32_t n;
        while ((n = DBM_GetNextSortList(h, key.c_str(), key.size() + 1, &it, 0, 0, elemLen, buf.data())) > 0) {
            out.emplace_back(buf.begin(), buf.begin() + n);
            if (out.size() > 1000) break;
        }
        EXPECT_EQ(n, 0);
        DBM_FreeIterator(it);
        return out;
    }
};

std::vector<uint8_t> u32_host(uint32_t v) {
    std::vector<uint8_t> e(4);
    std::memcpy(e.data(), &v, 4);
    return e;
}

std::vector<uint8_t> u32_net(uint32_t v) { return u32_host(htonl(v)); }

TEST_F(DbmTest, ListsOrderByNumericValueForBothKeyTypes) {
    const uint64_t h = open("gTest");
    // 0x00000100 and 0x00010000: their host-order bytes sort the other way
    // round from their values on a little-endian host.
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
        for (const uint32_t v : values) {
            const auto e = c.encode(v);
            ASSERT_EQ(DBM_InsertSortList(h, c.key, std::strlen(c.key) + 1, 4, e.data(), 0), 0);
        }
        EXPECT_EQ(DBM_Len(h, c.key, std::strlen(c.key) + 1), 5);
        std::vector<std::vector<uint8_t>> expected;
        for (const uint32_t v : sorted) expected.push_back(c.encode(v));
        EXPECT_EQ(walk(h, c.key, 4), expected);
    }
}

TEST_F(DbmTest, TwoSortKeysCompareInDescriptorOrder) {
    const uint64_t h = open("gTest");
    const DBM_SORTKEY_S sk[2] = {{0, 4, DBM_KEYTYPE_UINT_NET, 0}, {4, 4, DBM_KEYTYPE_UINT_NET, 0}};
    const std::string key = "SQA-REMARK";
    ASSERT_EQ(DBM_CreateSortList(h, key.c_str(), key.size() + 1, sk, 2, 2), 0);
    auto elem = [](uint32_t a, uint32_t b, uint16_t v) {
        std::vector<uint8_t> e(12, 0);
        const uint32_t na = htonl(a), nb = htonl(b);
        std::memcpy(&e[0], &na, 4);
        std::memcpy(&e[4], &nb, 4);
        std::memcpy(&e[10], &v, 2);
        return e;
    };
    for (const auto &e : {elem(1, 5, 1), elem(1, 2, 2), elem(0, 9, 3), elem(2, 0, 4)})
        ASSERT_EQ(DBM_InsertSortList(h, key.c_str(), key.size() + 1, 12, e.data(), 2), 0);
    EXPECT_EQ(walk(h, key, 12),
              (std::vector<std::vector<uint8_t>>{elem(0, 9, 3), elem(1, 2, 2), elem(1, 5, 1), elem(2, 0, 4)}));
}

TEST_F(DbmTest, EqualSortKeyReplacesAndProbeRemoves) {
    const uint64_t h = open("gTest");
    // A 96-byte rule ordered by the u16 at 78.
    const DBM_SORTKEY_S sk = {78, 2, DBM_KEYTYPE_UINT_HOST, 0};
    const std::string key = "policy-5";
    ASSERT_EQ(DBM_CreateSortList(h, key.c_str(), key.size() + 1, &sk, 1, 0), 0);
    auto rule = [](uint16_t id, uint8_t fill) {
        std::vector<uint8_t> r(96, fill);
        std::memcpy(&r[78], &id, 2);
        return r;
    };
    ASSERT_EQ(DBM_InsertSortList(h, key.c_str(), key.size() + 1, 96, rule(7, 0xAA).data(), 0), 0);
    ASSERT_EQ(DBM_InsertSortList(h, key.c_str(), key.size() + 1, 96, rule(3, 0xBB).data(), 0), 0);
    ASSERT_EQ(DBM_InsertSortList(h, key.c_str(), key.size() + 1, 96, rule(7, 0xCC).data(), 0), 0);
    EXPECT_EQ(DBM_Len(h, key.c_str(), key.size() + 1), 2);
    EXPECT_EQ(walk(h, key, 96), (std::vector<std::vector<uint8_t>>{rule(3, 0xBB), rule(7, 0xCC)}));

    // Only the sort key of the probe counts.
    EXPECT_EQ(DBM_RemoveSortList(h, key.c_str(), key.size() + 1, 96, rule(7, 0x00).data()), 0);
    EXPECT_LT(DBM_RemoveSortList(h, key.c_str(), key.size() + 1, 96, rule(7, 0x00).data()), 0);
    EXPECT_EQ(walk(h, key, 96), (std::vector<std::vector<uint8_t>>{rule(3, 0xBB)}));
    // An element too short to hold its sort key is refused.
    EXPECT_LT(DBM_InsertSortList(h, key.c_str(), key.size() + 1, 40, rule(9, 0).data(), 0), 0);
    // Creating the list again keeps what it holds.
    EXPECT_EQ(DBM_CreateSortList(h, key.c_str(), key.size() + 1, &sk, 1, 0), 0);
    EXPECT_EQ(DBM_Len(h, key.c_str(), key.size() + 1), 1);
}

TEST_F(DbmTest, IteratorOnEmptyAndMissingLists) {
    const uint64_t h = open("gTest");
    const DBM_SORTKEY_S sk = {0, 4, DBM_KEYTYPE_UINT_HOST, 0};
    ASSERT_EQ(DBM_CreateSortList(h, "empty", 6, &sk, 1, 0), 0);
    void *it = nullptr;
    uint8_t buf[4];
    EXPECT_EQ(DBM_GetNextSortList(h, "empty", 6, &it, 0, 0, 4, buf), 0);
    EXPECT_EQ(DBM_GetNextSortList(h, "empty", 6, &it, 0, 0, 4, buf), 0);
    DBM_FreeIterator(it);
    DBM_FreeIterator(nullptr);
    EXPECT_EQ(DBM_Len(h, "empty", 6), 0);

    void *none = nullptr;
    EXPECT_LT(DBM_GetNextSortList(h, "missing", 8, &none, 0, 0, 4, buf), 0);
    EXPECT_EQ(none, nullptr);
    EXPECT_LT(DBM_InsertSortList(h, "missing", 8, 4, buf, 0), 0);
    EXPECT_LT(DBM_RemoveSortList(h, "missing", 8, 4, buf), 0);
}

TEST_F(DbmTest, BinaryValuesAndBadArguments) {
    const uint64_t h = open("gTest");
    const uint8_t value[20] = {0x13, 0xC4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    ASSERT_EQ(DBM_SetBinary(h, "SQA-SIP", 8, 0, 20, value, 0), 0);
    EXPECT_EQ(DBM_IsKeyExist(h, "SQA-SIP", 8), 1);
    // The NUL is part of the key: a length of 7 names another key.
    EXPECT_EQ(DBM_IsKeyExist(h, "SQA-SIP", 7), 0);
    uint8_t buf[64];
    std::memset(buf, 0xEE, sizeof buf);
    EXPECT_EQ(DBM_GetBinary(h, "SQA-SIP", 8, 0, 64, buf), 20);
    EXPECT_EQ(std::memcmp(buf, value, 20), 0);
    EXPECT_EQ(buf[20], 0xEE);
    EXPECT_EQ(DBM_GetBinary(h, "SQA-SIP", 8, 16, 64, buf), 4);
    EXPECT_EQ(buf[1], 1);
    EXPECT_EQ(DBM_GetBinary(h, "SQA-SIP", 8, 0, 3, buf), 3);
    EXPECT_EQ(DBM_Len(h, "SQA-SIP", 8), 1);

    EXPECT_LE(DBM_GetBinary(h, "nothing", 8, 0, 64, buf), 0);
    EXPECT_LT(DBM_GetBinary(DBM_INVALID_HANDLE, "SQA-SIP", 8, 0, 64, buf), 0);
    EXPECT_LT(DBM_IsKeyExist(h, "SQA-SIP", 0), 0);
    EXPECT_LT(DBM_SetBinary(h, "SQA-SIP", 0, 0, 20, value, 0), 0);
    EXPECT_LT(DBM_DeleteKey(h, "nothing", 8), 0);
    EXPECT_LT(DBM_Len(h, "nothing", 8), 0);
    EXPECT_NE(DBM_Close(DBM_INVALID_HANDLE), 0u);

    EXPECT_EQ(DBM_DeleteKey(h, "SQA-SIP", 8), 0);
    EXPECT_EQ(DBM_IsKeyExist(h, "SQA-SIP", 8), 0);
}

TEST_F(DbmTest, OpenSharesHandlesAndSeparatesDatabases) {
    const uint64_t a = open("gConnlmt", "connlmt");
    const uint64_t again = open("gConnlmt", "connlmt");
    const uint64_t other = open("eConnlmt", "connlmt");
    EXPECT_EQ(a, again);
    EXPECT_NE(a, other);
    EXPECT_NE(a, DBM_INVALID_HANDLE);
    const uint32_t one = 1, two = 2;
    ASSERT_EQ(DBM_SetBinary(a, "applied-global", 15, 0, 4, &one, 2), 0);
    ASSERT_EQ(DBM_SetBinary(other, "applied-global", 15, 0, 4, &two, 3), 0);
    uint32_t got = 0;
    EXPECT_EQ(DBM_GetBinary(again, "applied-global", 15, 0, 4, &got), 4);
    EXPECT_EQ(got, 1u);

    // The handle lives until every opener closed it.
    EXPECT_EQ(DBM_Close(a), 0u);
    EXPECT_EQ(DBM_IsKeyExist(a, "applied-global", 15), 1);
    EXPECT_EQ(DBM_Close(a), 0u);
    EXPECT_LT(DBM_IsKeyExist(a, "applied-global", 15), 0);
    opened_.erase(opened_.begin(), opened_.begin() + 2);

    // What was written is there for the next opener.
    const uint64_t reopened = open("gConnlmt", "connlmt");
    EXPECT_EQ(DBM_GetBinary(reopened, "applied-global", 15, 0, 4, &got), 4);
    EXPECT_EQ(got, 1u);
    uint64_t h = 0;
    EXPECT_NE(DBM_Open("gX", "../escape", 7, &kDesc, &h, 1), 0u);
    EXPECT_NE(DBM_Open(nullptr, "connlmt", 7, &kDesc, &h, 1), 0u);
}

TEST_F(DbmTest, MoveBetweenTheTwoConfigurationDatabases) {
    uint64_t used = DBM_INVALID_HANDLE, unused = DBM_INVALID_HANDLE;
    ASSERT_EQ(DBM_OpenCfgDB("eConnlmt", "pConnlmt", "connlmt", 0, &kDesc, &used, &unused, 1), 0u);
    opened_.push_back(used);
    opened_.push_back(unused);
    ASSERT_NE(used, unused);
    const uint32_t value = 0x11223344;
    const char key[] = "applied-GigabitEthernet1/0/1";
    ASSERT_EQ(DBM_SetBinary(used, key, sizeof key, 0, 4, &value, 3), 0);
    ASSERT_EQ(DBM_Move(used, key, sizeof key, unused), 0);
    EXPECT_EQ(DBM_IsKeyExist(used, key, sizeof key), 0);
    uint32_t got = 0;
    EXPECT_EQ(DBM_GetBinary(unused, key, sizeof key, 0, 4, &got), 4);
    EXPECT_EQ(got, value);
    EXPECT_LT(DBM_Move(used, key, sizeof key, unused), 0);

    // A list moves with its elements.
    const DBM_SORTKEY_S sk = {0, 4, DBM_KEYTYPE_UINT_HOST, 0};
    ASSERT_EQ(DBM_CreateSortList(unused, "list", 5, &sk, 1, 0), 0);
    const uint32_t e = 42;
    ASSERT_EQ(DBM_InsertSortList(unused, "list", 5, 4, &e, 0), 0);
    ASSERT_EQ(DBM_Move(unused, "list", 5, used), 0);
    EXPECT_EQ(walk(used, "list", 4), (std::vector<std::vector<uint8_t>>{u32_host(42)}));
    EXPECT_LT(DBM_Len(unused, "list", 5), 0);

    // Databases of two modules live in two files: no move between them.
    const uint64_t foreign = open("gSqa", "sqa");
    EXPECT_LT(DBM_Move(used, "list", 5, foreign), 0);
    EXPECT_EQ(DBM_IsKeyExist(used, "list", 5), 1);
}

struct Visit {
    std::map<std::string, std::vector<uint8_t>> seen;
    uint64_t arg = 0;
};
Visit *g_visit = nullptr;

// Moves the keys whose value starts with an odd byte.
uint32_t select_odd(uint64_t, const void *key, uint64_t keyLen, const void *value, uint64_t valueLen, uint64_t arg) {
    const auto *v = static_cast<const uint8_t *>(value);
    g_visit->seen[std::string(static_cast<const char *>(key), keyLen)] = std::vector<uint8_t>(v, v + valueLen);
    g_visit->arg = arg;
    return valueLen > 0 && (v[0] & 1) ? DBM_BATCH_CB_MOVE : DBM_BATCH_CB_SKIP;
}

TEST_F(DbmTest, BatchVisitsEveryKeyAndMovesTheChosenOnes) {
    uint64_t src = 0, dst = 0;
    ASSERT_EQ(DBM_OpenCfgDB("eConnlmt", "pConnlmt", "connlmt", 0, &kDesc, &src, &dst, 1), 0u);
    opened_.push_back(src);
    opened_.push_back(dst);
    for (uint8_t i = 1; i <= 4; ++i) {
        const std::string key = "k" + std::to_string(i);
        ASSERT_EQ(DBM_SetBinary(src, key.c_str(), key.size() + 1, 0, 1, &i, 3), 0);
    }
    const DBM_SORTKEY_S sk = {0, 4, DBM_KEYTYPE_UINT_HOST, 0};
    ASSERT_EQ(DBM_CreateSortList(src, "list", 5, &sk, 1, 0), 0);
    const uint32_t e2 = 0x0202, e1 = 0x0101;
    ASSERT_EQ(DBM_InsertSortList(src, "list", 5, 4, &e2, 0), 0);
    ASSERT_EQ(DBM_InsertSortList(src, "list", 5, 4, &e1, 0), 0);

    Visit visit;
    g_visit = &visit;
    // Without a target every key is only visited.
    DBM_BATCH_S batch = {DBM_BATCH_OP_MOVE, select_odd, 77};
    ASSERT_EQ(DBM_Batch_Proc(src, DBM_INVALID_HANDLE, &batch, 1), 0);
    EXPECT_EQ(visit.seen.size(), 5u);
    EXPECT_EQ(visit.arg, 77u);
    std::vector<uint8_t> listValue = u32_host(0x0101);
    const auto second = u32_host(0x0202);
    listValue.insert(listValue.end(), second.begin(), second.end());
    EXPECT_EQ(visit.seen[std::string("list", 5)], listValue);
    EXPECT_EQ(DBM_IsKeyExist(src, "k1", 3), 1);

    visit.seen.clear();
    ASSERT_EQ(DBM_Batch_Proc(src, dst, &batch, 1), 0);
    for (const char *moved : {"k1", "k3", "list"}) {
        EXPECT_EQ(DBM_IsKeyExist(src, moved, std::strlen(moved) + 1), 0) << moved;
        EXPECT_EQ(DBM_IsKeyExist(dst, moved, std::strlen(moved) + 1), 1) << moved;
    }
    for (const char *kept : {"k2", "k4"}) EXPECT_EQ(DBM_IsKeyExist(src, kept, 3), 1) << kept;
    EXPECT_EQ(walk(dst, "list", 4), (std::vector<std::vector<uint8_t>>{u32_host(0x0101), u32_host(0x0202)}));

    DBM_BATCH_S noCallback = {DBM_BATCH_OP_MOVE, nullptr, 0};
    EXPECT_LT(DBM_Batch_Proc(src, dst, &noCallback, 1), 0);
    EXPECT_LT(DBM_Batch_Proc(DBM_INVALID_HANDLE, dst, &batch, 1), 0);
    g_visit = nullptr;
}

// Two processes writing one module file at once both get every write in.
TEST_F(DbmTest, TwoProcessesWriteOneFileAtOnce) {
    constexpr uint32_t kWrites = 200;
    auto write_all = [](const char *prefix) {
        uint64_t h = 0;
        if (DBM_Open("gShared", "shared", 7, &kDesc, &h, 1) != 0) return false;
        bool ok = true;
        for (uint32_t i = 0; i < kWrites && ok; ++i) {
            const std::string key = prefix + std::to_string(i);
            ok = DBM_SetBinary(h, key.c_str(), key.size() + 1, 0, 4, &i, 0) == 0;
        }
        DBM_Close(h);
        return ok;
    };
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ::_exit(write_all("child-") ? 0 : 1);
    EXPECT_TRUE(write_all("parent-"));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const uint64_t h = open("gShared", "shared");
    for (const char *prefix : {"child-", "parent-"}) {
        for (uint32_t i = 0; i < kWrites; ++i) {
            const std::string key = prefix + std::to_string(i);
            EXPECT_EQ(DBM_IsKeyExist(h, key.c_str(), key.size() + 1), 1) << key;
        }
    }
}

// A writer killed at a random point loses nothing it reported as written,
// and leaves a sound file.
TEST_F(DbmTest, AcknowledgedWritesSurviveAKilledWriter) {
    int ack[2];
    ASSERT_EQ(::pipe(ack), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(ack[0]);
        uint64_t h = 0;
        if (DBM_Open("gCrash", "crash", 7, &kDesc, &h, 1) != 0) ::_exit(2);
        for (uint32_t i = 0; i < 1000000; ++i) {
            const std::string key = "key-" + std::to_string(i);
            if (DBM_SetBinary(h, key.c_str(), key.size() + 1, 0, 4, &i, 0) != 0) ::_exit(3);
            if (::write(ack[1], &i, 4) != 4) ::_exit(4);
        }
        ::_exit(0);
    }
    ::close(ack[1]);
    std::vector<uint32_t> acked;
    auto read_acks = [&](int timeoutMs) {
        pollfd p{ack[0], POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0) return false;
        uint32_t i = 0;
        if (::read(ack[0], &i, 4) != 4) return false;
        acked.push_back(i);
        return true;
    };
    while (acked.size() < 150 && read_acks(30000)) {
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    while (read_acks(0)) {
    }
    ::close(ack[0]);
    ASSERT_GE(acked.size(), 150u);

    const uint64_t h = open("gCrash", "crash");
    for (const uint32_t i : acked) {
        const std::string key = "key-" + std::to_string(i);
        uint32_t got = ~i;
        ASSERT_EQ(DBM_GetBinary(h, key.c_str(), key.size() + 1, 0, 4, &got), 4) << key;
        EXPECT_EQ(got, i);
    }
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open((dir_.path() + "/crash.db").c_str(), &db), SQLITE_OK);
    std::string verdict;
    sqlite3_exec(
        db, "PRAGMA integrity_check",
        [](void *out, int, char **values, char **) {
            *static_cast<std::string *>(out) += values[0] ? values[0] : "";
            return 0;
        },
        &verdict, nullptr);
    sqlite3_close(db);
    EXPECT_EQ(verdict, "ok");
}

}  // namespace
