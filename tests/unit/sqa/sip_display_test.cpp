// SPDX-License-Identifier: Apache-2.0
// SIP call displays: golden output of the brief table and the verbose
// blocks, the rules both call displays share (VLAN, MOS), and how chunks
// and items end the one walk of every call table.
#include "call_builders.h"
#include "dpmgmt/records.h"
#include "sqa_fixture.h"

using fake::Bytes;
using namespace sqatest;

namespace {

constexpr uint32_t kBrief = 0x14001b;
constexpr uint32_t kVerbose = 0x14001c;
const std::string kHeader = "Caller                 Callee                 Call ID\n";

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
    static std::string verbose(uint16_t showContext, const char *callId = "call-1@example") {
        char key[65] = {};
        std::strncpy(key, callId, 64);
        fake::CaptureStdout out;
        EXPECT_EQ(SQA_DUMP_DisSipCallEntryVerbose(4, key, showContext), 0u);
        return out.take();
    }
    static Bytes entry(const std::string &id, uint8_t last, uint16_t port) {
        return brief_entry(id, {{10, 1, 1, last}, port, {}}, {{10, 9, 9, last}, static_cast<uint16_t>(port + 2), {}});
    }
    // The verbose block of the default call, without driver contexts,
    // given its type/VLAN columns and its MOS line.
    static std::string block(const std::string &typeVlan = "Audio     Vlan: " + pad("1", 18),
                             const std::string &mos = "MOS(F): 4.12    MOS(R): 3.50") {
        return "Call ID: call-1@example\n"
               "  Caller information:\n"
               "    IP: " +
               pad("10.1.1.1", 19) + "Port: " + pad("5060", 9) +
               "MAC: 0a1b-2c3d-4e5f\n"
               "    Tag: tagA\n"
               "  Callee information:\n"
               "    IP: " +
               pad("10.1.1.2", 19) + "Port: " + pad("5062", 9) +
               "MAC: 0011-2233-4455\n"
               "    Tag: tagB\n"
               "  Type: " +
               typeVlan +
               "StartTime: 2024-03-05 07:08:09\n"
               "  " +
               mos +
               "\n"
               "  Forward flow (octets): " +
               pad("16000", 18) +
               "Forward flow (packets): 100\n"
               "  Reverse flow (octets): " +
               pad("14400", 18) + "Reverse flow (packets): 90\n";
    }
};

TEST_F(SipDisplay, BriefTableColumns) {
    fake::script_dump(kBrief,
                      {fake::chunk(fake::cat({item(27, entry("a@x", 1, 5060)), item(27, entry("b@x", 2, 65535))})),
                       fake::chunk(item(27, entry("c@x", 3, 1))),
                       {0, {}}});
    uint32_t rc = 1;
    const std::string out = brief(&rc);
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(out, kHeader + brief_line("10.1.1.1:5060", "10.9.9.1:5062", "a@x") +
                       brief_line("10.1.1.2:65535", "10.9.9.2:1", "b@x") +
                       brief_line("10.1.1.3:1", "10.9.9.3:3", "c@x"));
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{4, kBrief, 0}));
    EXPECT_TRUE(req.bytes.empty());
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8000u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 3u);
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(SipDisplay, EmptyTablesAndFailedRequests) {
    fake::script_dump(kBrief, {{0, {}}});
    EXPECT_EQ(brief(), kHeader);
    fake::script_dump(kBrief, {fake::chunk({}), fake::chunk(item(27, entry("a", 1, 1)))});
    EXPECT_EQ(brief(), kHeader);  // an empty chunk ends the table
    EXPECT_EQ(fake::open_dumps(), 0);

    fake::fail_dump(kBrief);
    fake::fail_dump(kVerbose);
    uint32_t rc = 1;
    EXPECT_EQ(brief(&rc), "");
    EXPECT_EQ(rc, 0u);
    EXPECT_EQ(verbose(1), "");
}

TEST_F(SipDisplay, ItemsAndChunksEndingTheWalk) {
    const Bytes cut = fake::cat({fake::be16(27), fake::be16(84), Bytes(10, 0x41)});
    // 72 bytes: a call ID and the caller's address, nothing more.  The ports
    // left from the entry before were converted already and are converted
    // again; the next chunk starts from a cleared entry.
    const Bytes full = entry("short", 7, 0);
    const Bytes shortValue(full.begin(), full.begin() + 72);
    struct Case {
        const char *what;
        std::vector<fake::Pull> pulls;
        std::string lines;
        size_t pulled;
    };
    const Case cases[] = {
        {"another item type ends the table",
         {fake::chunk(fake::cat({item(27, entry("a", 1, 1)), item(28, entry("b", 2, 2)), item(27, entry("c", 3, 3))})),
          fake::chunk(item(27, entry("d", 4, 4)))},
         brief_line("10.1.1.1:1", "10.9.9.1:3", "a"),
         1},
        {"an item running past its chunk ends only the chunk",
         {fake::chunk(fake::cat({item(27, entry("a", 1, 1)), cut})), fake::chunk(item(27, entry("d", 4, 4))), {0, {}}},
         brief_line("10.1.1.1:1", "10.9.9.1:3", "a") + brief_line("10.1.1.4:4", "10.9.9.4:6", "d"),
         3},
        {"a short value keeps the previous entry within a chunk",
         {fake::chunk(fake::cat({item(27, entry("a", 1, 5060)), item(27, shortValue)})),
          fake::chunk(item(27, shortValue)),
          {0, {}}},
         brief_line("10.1.1.1:5060", "10.9.9.1:5062", "a") + brief_line("10.1.1.7:50195", "10.9.9.1:50707", "short") +
             brief_line("10.1.1.7:0", "0.0.0.0:0", "short"),
         3},
        {"long values are cut, unterminated IDs stay in their field",
         {fake::chunk(item(27, fake::cat({entry(std::string(65, 'x'), 1, 1), Bytes(40, 0x42)}))), {0, {}}},
         brief_line("10.1.1.1:1", "10.9.9.1:3", std::string(64, 'x')),
         2},
    };
    for (const Case &c : cases) {
        fake::reset();
        fake::script_dump(kBrief, c.pulls);
        EXPECT_EQ(brief(), kHeader + c.lines) << c.what;
        EXPECT_EQ(fake::count("DUMP_Pull"), c.pulled) << c.what;
        EXPECT_EQ(fake::open_dumps(), 0) << c.what;
    }
}

TEST_F(SipDisplay, VerboseBlock) {
    SipCall call;
    fake::script_dump(kVerbose, {fake::chunk(item(28, sip_verbose(call))), {0, {}}});
    EXPECT_EQ(verbose(1),
              block() + ctx_line("CallerDrvContext", 1, 1) + ctx_line("CalleeDrvContext", 0x10, 0x10) + "\n");

    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{4, kVerbose, 65}));
    EXPECT_EQ(req.bytes, text("call-1@example", 65));

    fake::script_dump(kVerbose, {fake::chunk(item(28, sip_verbose(call))), {0, {}}});
    EXPECT_EQ(verbose(2), block() + "\n");  // only 1 shows the driver contexts
}

TEST_F(SipDisplay, VerboseKeyIsTheCallersBufferAsItStands) {
    // Bytes after the terminator travel too: the key is the whole buffer.
    char key[65];
    std::memset(key, 0x7E, sizeof key);
    std::memcpy(key, "id\0", 3);
    fake::script_dump(kVerbose, {{0, {}}});
    EXPECT_EQ(SQA_DUMP_DisSipCallEntryVerbose(4, key, 0), 0u);
    EXPECT_EQ(fake::nth("DUMP_Request").bytes, fake::cat({Bytes{'i', 'd', 0}, Bytes(62, 0x7E)}));
}

TEST_F(SipDisplay, VlanMediaAndScores) {
    struct Case {
        uint16_t vlan;
        uint8_t media;
        uint32_t fwd, rev;
        std::string typeVlan, mos;
    };
    const Case cases[] = {
        {65535, 0, 0xFFFFFFFF, 350, "Video     Vlan: -" + std::string(17, ' '),
         "MOS(F): -" + std::string(7, ' ') + "MOS(R): 3.50"},
        {2, 1, 100, 5, "Audio     Vlan: 2" + std::string(17, ' '), "MOS(F): 1.00    MOS(R): 0.05"},
    };
    for (const Case &c : cases) {
        SipCall call{.media = c.media, .vlan = c.vlan, .fwdMos = c.fwd, .revMos = c.rev};
        fake::script_dump(kVerbose, {fake::chunk(item(28, sip_verbose(call))), {0, {}}});
        EXPECT_EQ(verbose(0), block(c.typeVlan, c.mos) + "\n") << c.mos;
    }
}

// The record walk is the verbose display's walk (its entries are the
// goldens' above): it counts the entries it hands over, prints nothing, and
// refuses a missing function.
TEST_F(SipDisplay, RecordWalkCountsTheEntries) {
    fake::script_dump(kVerbose,
                      {fake::chunk(fake::cat({item(28, sip_verbose(SipCall{})), item(28, sip_verbose({}))})), {0, {}}});
    uint32_t seen = 0;
    fake::CaptureStdout capture;
    EXPECT_EQ(
        dpmgmt_walk_sip_calls(
            4, nullptr, [](const SQA_SIP_CALLENTRY_VERBOSE_S *, void *ctx) { ++*static_cast<uint32_t *>(ctx); }, &seen),
        2u);
    EXPECT_EQ(capture.take(), "");
    EXPECT_EQ(seen, 2u);
    EXPECT_EQ(dpmgmt_walk_sip_calls(4, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(fake::count("DUMP_Request"), 1u);
}

}  // namespace
