// SPDX-License-Identifier: Apache-2.0
// Call statistics and debugging switches from the kernel's control calls.
#include "sqa_fixture.h"

using fake::Bytes;

namespace {

constexpr uint32_t kSipDebug = 0x480061;
constexpr uint32_t kSipStats = 0x480062;
constexpr uint32_t kH323Stats = 0x480068;
constexpr uint32_t kH323Debug = 0x48006a;

class SqaStatistics : public SqaTest {
protected:
    static Bytes stats(uint64_t total, uint64_t active, uint64_t ok, uint64_t timeout, uint64_t hidden,
                       uint64_t abnormal, uint32_t number) {
        return fake::cat({fake::be64(total), fake::be64(active), fake::be64(ok), fake::be64(timeout),
                          fake::be64(hidden), fake::be64(abnormal), fake::be32(number), Bytes(4, 0xEE)});
    }
    static std::string capture(uint32_t (*fn)(), uint32_t *rc) {
        fake::CaptureStdout out;
        *rc = fn();
        return out.take();
    }
};

TEST_F(SqaStatistics, PrintsTheCounters) {
    fake::hooks().DEV_GetSelf = [] { return uint16_t{6}; };
    fake::script_control(kSipStats, {0, fake::cat({stats(10, 2, 7, 1, 55, 0, 9), Bytes(72, 0xFF)})});
    uint32_t rc = 1;
    EXPECT_EQ(capture(SQA_DUMP_DisSipCallEntryStatistics, &rc),
              "Total calls      : 10\n"
              "Successful calls : 7 (Active: 2)\n"
              "Timeout calls    : 1\n"
              "Abnormal calls   : 0\n\n");
    EXPECT_EQ(rc, 0u);
    const fake::Call &c = fake::nth("CIOCTL");
    EXPECT_EQ(c.args, (std::vector<uint64_t>{6, kSipStats, 0, 128}));
    EXPECT_TRUE(c.bytes.empty());

    // A short reply leaves the rest 0.
    fake::script_control(kH323Stats, {0, fake::cat({fake::be64(3), fake::be64(1)})});
    EXPECT_EQ(capture(SQA_DUMP_DisH323CallEntryStatistics, &rc),
              "Total calls      : 3\nSuccessful calls : 0 (Active: 1)\nTimeout calls    : 0\nAbnormal calls   : 0\n\n");
}

TEST_F(SqaStatistics, PullConvertsWhatTheReplyCovers) {
    fake::script_control(kH323Stats, {0, stats(10, 2, 7, 1, 55, 0, 9)});
    SQA_CALL_STATISTICS_S s;
    std::memset(&s, 0xAB, sizeof s);
    const auto words = [&s] {
        return std::vector<uint64_t>{s.ulTotalCalls,   s.ulActiveCalls, s.ulSuccessCalls,
                                     s.ulTimeoutCalls, s.ulReserved,    s.ulAbnormalCalls};
    };
    EXPECT_EQ(SQA_DUMP_PullStatistics(1, &s), 0u);
    EXPECT_EQ(words(), (std::vector<uint64_t>{10, 2, 7, 1, 55, 0}));
    EXPECT_EQ(s.uiReserved, 9u);

    // Protocol 0 is SIP; a short reply leaves the caller's later fields.
    s.ulTimeoutCalls = 44;
    fake::script_control(kSipStats, {0, fake::cat({fake::be64(5), fake::be64(4), fake::be64(3)})});
    EXPECT_EQ(SQA_DUMP_PullStatistics(0, &s), 0u);
    EXPECT_EQ(words(), (std::vector<uint64_t>{5, 4, 3, 44, 55, 0}));
}

TEST_F(SqaStatistics, DebugSwitchLines) {
    uint32_t rc = 1;
    fake::script_control(kSipDebug, {0, fake::cat({fake::be32(0x5), fake::be16(3), Bytes{0, 0}})});
    EXPECT_EQ(capture(SQA_DUMP_DisDebugFlag, &rc),
              " SQASIP event debugging switch is on\n SQASIP packet debugging switch is on\n");
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(fake::nth("CIOCTL").args, (std::vector<uint64_t>{1, kSipDebug, 0, 8}));

    fake::script_control(kH323Debug, {0, fake::be32(0xFFFFFFF7)});  // and bits the display ignores
    EXPECT_EQ(capture(SQA_DUMP_DisH323DebugFlag, &rc),
              " H323-based SQA event debugging switch is on\n"
              " H323-based SQA error debugging switch is on\n"
              " H323-based SQA packet debugging switch is on\n");

    // Two bytes of a switch word are too few to set a low bit.
    fake::script_control(kSipDebug, {0, Bytes{0, 0}});
    EXPECT_EQ(capture(SQA_DUMP_DisDebugFlag, &rc), "");
}

}  // namespace
