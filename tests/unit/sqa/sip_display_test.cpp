// SPDX-License-Identifier: Apache-2.0
// SIP call displays: golden output of the brief table and the verbose
// blocks, and how chunks and items end the one walk of every call table.
#include "call_builders.h"
#include "sqa_fixture.h"

using fake::Bytes;
using namespace sqatest;

namespace {

constexpr uint32_t kBrief = 0x14001b;
constexpr uint32_t kVerbose = 0x14001c;
const std::string kHeader = "Caller                 Callee                 Call ID\n";

struct SipCall {
    uint8_t media = 1;
    uint32_t revMos = 350;  // travels in host order
};

// Caller 10.1.1.1:5060 0a1b-2c3d-4e5f tagA, callee 10.1.1.2:5062
// 0011-2233-4455 tagB, VLAN 1, started 2024-03-05 07:08:09.
Bytes sip_verbose(const SipCall &c) {
    Bytes b(384, 0);
    put(b, 0, text("call-1@example", 64));
    put(b, 68, fake::be32(77));
    b[72] = c.media;
    put(b, 76, fake::cat({Bytes{10, 1, 1, 1}, fake::be16(5060), Bytes{0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f}}));
    put(b, 88, fake::cat({Bytes{10, 1, 1, 2}, fake::be16(5062)}));
    // Packets and octets forward, then reverse.
    put(b, 96, fake::cat({fake::be64(100), fake::be64(16000), fake::be64(90), fake::be64(14400), fake::be16(1)}));
    put(b, 132, fake::cat({le32(412), le32(c.revMos), Bytes{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}}));
    put(b, 148, fake::cat({contexts(1, 1), contexts(0x10, 0x10), time_words({9, 8, 7, 5, 3, 2024})}));
    put(b, 248, text("tagA", 65));
    put(b, 313, text("tagB", 65));
    return b;
}

class SipDisplay : public SqaTest {
protected:
    static std::string brief_line(const std::string &caller, const std::string &callee, const std::string &id) {
        return pad(caller, 23) + pad(callee, 23) + id + "\n";
    }
    static std::string brief(uint32_t *rc = nullptr) {
        fake::CaptureStdout out;
        const uint32_t r = SQA_DUMP_DisSipCallEntry(4);
        if (rc) *rc = r;
        return out.take();
    }
    static std::string verbose(uint16_t showContext) {
        char key[65] = "call-1@example";
        fake::CaptureStdout out;
        EXPECT_EQ(SQA_DUMP_DisSipCallEntryVerbose(4, key, showContext), 0u);
        return out.take();
    }
    static Bytes entry(const std::string &id, uint8_t last, uint16_t port) {
        return brief_entry(id, {10, 1, 1, last}, port, {10, 9, 9, last}, static_cast<uint16_t>(port + 2));
    }
    // The verbose block of the default call, without driver contexts.
    static std::string block(const std::string &type, const std::string &revMos) {
        const std::string head =
            "Call ID: call-1@example\n"
            "  Caller information:\n"
            "    IP: 10.1.1.1           Port: 5060     MAC: 0a1b-2c3d-4e5f\n"
            "    Tag: tagA\n"
            "  Callee information:\n"
            "    IP: 10.1.1.2           Port: 5062     MAC: 0011-2233-4455\n"
            "    Tag: tagB\n"
            "  Type: ";
        const std::string flows =
            "  Forward flow (octets): 16000             Forward flow (packets): 100\n"
            "  Reverse flow (octets): 14400             Reverse flow (packets): 90\n";
        const std::string vlan = "     Vlan: 1                 StartTime: 2024-03-05 07:08:09\n";
        return head + type + vlan + "  MOS(F): 4.12    MOS(R): " + revMos + "\n" + flows;
    }
};

TEST_F(SipDisplay, BriefTableColumns) {
    fake::script_dump(
        kBrief, {fake::chunk(fake::cat({item(27, entry("a@x", 1, 5060)), item(27, entry("b@x", 2, 65535))})), {0, {}}});
    uint32_t rc = 1;
    const std::string out = brief(&rc);
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(out, kHeader + brief_line("10.1.1.1:5060", "10.9.9.1:5062", "a@x") +
                       brief_line("10.1.1.2:65535", "10.9.9.2:1", "b@x"));
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{4, kBrief, 0}));
    EXPECT_TRUE(req.bytes.empty());
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8000u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 2u);
    EXPECT_EQ(fake::open_dumps(), 0);

    // A table that cannot be opened shows nothing, not even the heading.
    fake::fail_dump(kBrief);
    rc = 1;
    EXPECT_EQ(brief(&rc), "");
    EXPECT_EQ(rc, 0u);
}

TEST_F(SipDisplay, ItemsAndChunksEndingTheWalk) {
    const Bytes cut = fake::cat({fake::be16(27), fake::be16(84), Bytes(10, 0x41)});
    const Bytes full = entry("short", 7, 0);
    const Bytes shortValue(full.begin(), full.begin() + 72);  // no ports, no callee
    struct Case {
        const char *what;
        std::vector<fake::Pull> pulls;
        std::string lines;
        size_t pulled;
    };
    const Case cases[] = {
        {"an empty chunk ends the table", {fake::chunk({}), fake::chunk(item(27, entry("a", 1, 1)))}, "", 1},
        {"another item type ends the table",
         {fake::chunk(fake::cat({item(27, entry("a", 1, 1)), item(28, entry("b", 2, 2)), item(27, entry("c", 3, 3))})),
          fake::chunk(item(27, entry("d", 4, 4)))},
         brief_line("10.1.1.1:1", "10.9.9.1:3", "a"),
         1},
        {"an item running past its chunk ends only the chunk",
         {fake::chunk(fake::cat({item(27, entry("a", 1, 1)), cut})), fake::chunk(item(27, entry("d", 4, 4))), {0, {}}},
         brief_line("10.1.1.1:1", "10.9.9.1:3", "a") + brief_line("10.1.1.4:4", "10.9.9.4:6", "d"),
         3},
        {"a short value leaves the rest of the entry cleared",
         {fake::chunk(item(27, shortValue)), {0, {}}},
         brief_line("10.1.1.7:0", "0.0.0.0:0", "short"),
         2},
        {"long values are cut, unterminated IDs stay in their field",
         {fake::chunk(item(27, fake::cat({entry(std::string(65, 'x'), 1, 1), Bytes(40, 0x42)}))), {0, {}}},
         brief_line("10.1.1.1:1", "10.9.9.1:3", std::string(64, 'x')),
         2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        fake::reset();
        fake::script_dump(kBrief, c.pulls);
        EXPECT_EQ(brief(), kHeader + c.lines);
        EXPECT_EQ(fake::count("DUMP_Pull"), c.pulled);
        EXPECT_EQ(fake::open_dumps(), 0);
    }
}

TEST_F(SipDisplay, VerboseBlock) {
    fake::script_dump(kVerbose, {fake::chunk(item(28, sip_verbose({}))), {0, {}}});
    EXPECT_EQ(verbose(1), block("Audio", "3.50") + ctx_line("CallerDrvContext", 1, 1) +
                              ctx_line("CalleeDrvContext", 0x10, 0x10) + "\n");
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{4, kVerbose, 65}));
    EXPECT_EQ(req.bytes, text("call-1@example", 65));

    // Only 1 shows the driver contexts; any media type but 1 is video.
    fake::script_dump(kVerbose, {fake::chunk(item(28, sip_verbose({.media = 0, .revMos = 5}))), {0, {}}});
    EXPECT_EQ(verbose(2), block("Video", "0.05") + "\n");
}

}  // namespace
