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

const char *const kHeader = "                       Send successfully Send failed       Receive successfully\r\n";

TEST_F(HotBackup, DisplayRowsForPeersThatAreUp) {
    // No node list at all: nothing is printed.
    EXPECT_EQ(shown([] { HOTBACKUP_DisplayStatistics(1); }), "");
    EXPECT_EQ(fake::count("DUMP_Request"), 0u);

    fake::hooks().DEV_GetAllNodes = [](uint32_t *count) {
        static const uint16_t kNodes[4] = {1, 2, 3, 4};
        *count = 4;
        return static_cast<uint16_t *>(std::memcpy(std::malloc(sizeof kNodes), kNodes, sizeof kNodes));
    };
    fake::hooks().LIP_GetChassID = [](uint16_t n) -> uint32_t { return n; };
    fake::hooks().LIP_GetSlotID = [](uint16_t n) -> uint32_t { return n * 10u; };
    fake::hooks().IF_IsNodeUp = [](uint16_t n) -> uint32_t { return n == 3 ? 0 : 1; };
    const uint64_t counters[3] = {255, 0, 0x123456789abcdef0ull};
    Bytes peer(32, 0xEE);
    std::memcpy(peer.data(), counters, sizeof counters);  // host order, as the kernel keeps them
    fake::script_dump(0x140019, {fake::chunk(fake::be32(5))});
    fake::script_dump(0x140009, {{0, peer}});
    fake::script_dump(0x140009, {{0, Bytes(16, 0)}});  // short: row left out
    EXPECT_EQ(shown([] { HOTBACKUP_DisplayStatistics(1); }),
              std::string("Remain message       : 5\r\n") + kHeader + " Chassis 2  slot 20  : " + col("ff", 17) + " " +
                  col("0", 17) + " " + col("123456789abcdef0", 17) + "\r\n");
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

}  // namespace
