// SPDX-License-Identifier: Apache-2.0
// Kernel control wrappers and the dump walks every display shares.
#include "channels/dump_walk.h"
#include "dpmgmt/channels.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

class KernelChannel : public FakePlatformTest {
protected:
    void TearDown() override {
        g_bSessionNotNeedSendToKernel = 0;
        EXPECT_EQ(fake::open_dumps(), 0);
    }
    // n records of `size` bytes, record i filled with the byte first + i.
    static Bytes records(uint32_t n, uint32_t size, uint8_t first = 1) {
        Bytes b;
        for (uint32_t i = 0; i < n; ++i) b.insert(b.end(), size, static_cast<uint8_t>(first + i));
        return b;
    }
    // Walks a table of the given record size and batch; the first byte of
    // every record handed over is collected.
    static std::vector<uint8_t> walk(std::vector<fake::Pull> pulls, uint32_t recordSize, uint32_t perBatch,
                                     uint32_t *count) {
        fake::reset();
        fake::script_dump(0x140001, std::move(pulls));
        std::vector<uint8_t> seen;
        *count = dpmgmt::dump_table(3, 0x140001, "k", 1, recordSize, perBatch,
                                    [&](const uint8_t *rec) { seen.push_back(rec[0]); });
        return seen;
    }
};

TEST_F(KernelChannel, SuppressionSwitchesOnlyExactlyOne) {
    const uint8_t data[2] = {1, 2};
    g_bSessionNotNeedSendToKernel = 1;
    SESSION_ioctl_Send(0x10, 2, data);
    SESSION_ioctl_Send_Async(0x10, 2, data);
    EXPECT_TRUE(fake::calls().empty());

    g_bSessionNotNeedSendToKernel = 2;
    SESSION_ioctl_Send(0x11, 2, data);
    SESSION_ioctl_Send_Async(0x13, 2, data);
    ASSERT_EQ(fake::count("CIOCTL"), 1u);
    EXPECT_EQ(fake::last("CIOCTL").args, (std::vector<uint64_t>{1, 0x11, 2, 4}));  // local node, 4-byte reply
    EXPECT_EQ(fake::hex(fake::last("CIOCTL").bytes), "01 02");
    EXPECT_EQ(fake::last("CIOCTL_Async").args, (std::vector<uint64_t>{1, 0x13, 2}));
}

TEST_F(KernelChannel, TableWalkRules) {
    uint32_t n = 0;
    // 47: a full batch of 46 and 1, and no third pull.
    std::vector<uint8_t> seen = walk(
        {fake::chunk(records(46, 172)), fake::chunk(records(1, 172, 47)), fake::chunk(records(5, 172))}, 172, 46, &n);
    EXPECT_EQ(n, 47u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 2u);
    ASSERT_EQ(seen.size(), 47u);
    EXPECT_EQ(seen.back(), 47);
    EXPECT_EQ(fake::count("DUMP_Terminate"), 1u);

    // A first pull that is not a continuation: nothing handed over.
    EXPECT_TRUE(walk({{0, records(3, 172)}}, 172, 46, &n).empty());
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(fake::count("DUMP_Terminate"), 1u);

    // A length that is not a multiple of the record: whole records only.
    Bytes partial = records(2, 76);
    partial.resize(partial.size() + 75, 0xEE);
    EXPECT_EQ(walk({fake::chunk(partial)}, 76, 105, &n), (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 1u);
}

}  // namespace
