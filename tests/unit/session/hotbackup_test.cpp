// SPDX-License-Identifier: Apache-2.0
// Hot backup: the debug setting query and the display, which reads the
// per-peer counters as the kernel keeps them.
#include <cstdlib>
#include <cstring>
#include <string>

#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

using HotBackup = FakePlatformTest;

// The setting query sends an empty word; its commands are in the command
// table with the session's.
TEST_F(HotBackup, DebugSettingQuery) {
    fake::reply(44, fake::be32(0x11));
    uint32_t setting = 0;
    EXPECT_EQ(HOTBACKUP_Ipc_GetDebug(&setting), 0u);
    EXPECT_EQ(setting, 0x11u);
    EXPECT_EQ(fake::sent(), "00 00 00 2c 00 00 00 0c 00 00 00 00");
}

Bytes stat_record(uint64_t sent, uint64_t failed, uint64_t received) {
    Bytes b(32, 0xEE);
    std::memcpy(b.data(), &sent, 8);  // host order, as the kernel keeps it
    std::memcpy(b.data() + 8, &failed, 8);
    std::memcpy(b.data() + 16, &received, 8);
    return b;
}

class HotBackupDisplay : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        fake::hooks().LIP_GetChassID = [](uint16_t n) -> uint32_t { return n; };
        fake::hooks().LIP_GetSlotID = [](uint16_t n) -> uint32_t { return n * 10u; };
        fake::hooks().IF_IsNodeUp = [](uint16_t n) -> uint32_t { return n == 3 ? 0 : 1; };
    }
    static void nodes(std::vector<uint16_t> list) {
        fake::hooks().DEV_GetAllNodes = [list](uint32_t *count) {
            *count = static_cast<uint32_t>(list.size());
            auto *a = static_cast<uint16_t *>(std::malloc(list.size() * sizeof(uint16_t) + 1));
            std::memcpy(a, list.data(), list.size() * sizeof(uint16_t));
            return a;
        };
    }
    static std::string show(uint16_t node) {
        return shown([&] { HOTBACKUP_DisplayStatistics(node); });
    }
};

const char *const kHeader = "                       Send successfully Send failed       Receive successfully\r\n";

TEST_F(HotBackupDisplay, RowsForPeersThatAreUp) {
    nodes({1, 2, 3, 4});
    fake::script_dump(0x140019, {fake::chunk(fake::be32(5))});
    fake::script_dump(0x140009, {{0, stat_record(255, 0, 0x123456789abcdef0ull)}});
    fake::script_dump(0x140009, {{0, Bytes(16, 0)}});  // short: row left out
    EXPECT_EQ(show(1), std::string("Remain message       : 5\r\n") + kHeader + " Chassis 2  slot 20  : " +
                           col("ff", 17) + " " + col("0", 17) + " " + col("123456789abcdef0", 17) + "\r\n");
    // No request for the addressed node nor for node 3, which is down.
    ASSERT_EQ(fake::count("DUMP_Request"), 3u);
    EXPECT_EQ(fake::nth("DUMP_Request", 0).args, (std::vector<uint64_t>{1, 0x140019, 0}));
    EXPECT_TRUE(fake::nth("DUMP_Request", 0).bytes.empty());
    EXPECT_EQ(fake::nth("DUMP_Request", 1).args, (std::vector<uint64_t>{1, 0x140009, 2}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request", 1).bytes), "02 00");  // host order
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request", 2).bytes), "04 00");
    EXPECT_EQ(fake::nth("DUMP_Pull", 1).args[1], 32u);
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(HotBackupDisplay, NoNodeListPrintsNothing) {
    EXPECT_EQ(show(6), "");
    EXPECT_EQ(fake::count("DUMP_Request"), 0u);
}

}  // namespace
