// H.323 call displays: the brief table, the verbose and probe blocks, and
// the walk ending at an unexpected item.
#include "call_builders.h"
#include "sqa_fixture.h"

using fake::Bytes;
using namespace sqatest;

namespace {

constexpr uint32_t kBrief = 0x14001f;
constexpr uint32_t kVerbose = 0x140020;
constexpr uint32_t kProbe = 0x140021;

class H323Display : public SqaTest {
protected:
    void SetUp() override {
        SqaTest::SetUp();
        fake::hooks().APR_GetProtoNameByID = [](uint32_t id, char *name) -> uint32_t {
            if (id != 17) return 1;
            std::strcpy(name, "udp");
            return 0;
        };
    }
    static std::string show(uint32_t dumpType, const H323Call &call, const char *callId = "h323-call") {
        fake::script_dump(dumpType, {fake::chunk(item(dumpType == kProbe ? 33 : 32, h323_verbose(call))), {0, {}}});
        fake::CaptureStdout out;
        const uint32_t rc = dumpType == kProbe ? SQA_DUMP_ProbeDisH323CallEntry(2, callId)
                                               : SQA_DUMP_DisH323CallEntryVerbose(2, callId);
        EXPECT_EQ(rc, 0u);
        return out.take();
    }
    static std::string endpoints() {
        return "  Caller information:\n"
               "    IP: " + pad("10.1.1.1", 19) + "Port: " + pad("1720", 9) + "MAC: 0a1b-2c3d-4e5f\n"
               "  Callee information:\n"
               "    IP: " + pad("192.168.0.9", 19) + "Port: " + pad("1721", 9) + "MAC: aabb-ccdd-eeff\n"
               "  GUID: guid-xyz\n"
               "  Protocol: UDP(17)\n";
    }
    static std::string tail() {
        return "  Type: Video          Vlan: " + pad("100", 13) + "StartTime: 2023-12-31 23:59:58\n"
               "  MOS(F): " + pad("4.12", 13) + "MOS(R): 3.50\n"
               "  Forward flow (octets): " + pad("800", 18) + "Forward flow (packets): 5\n"
               "  Reverse flow (octets): " + pad("960", 18) + "Reverse flow (packets): 6\n";
    }
};

TEST_F(H323Display, BriefTable) {
    const Bytes e = brief_entry("h1", {{10, 1, 1, 1}, 1720, {}}, {{10, 1, 1, 200}, 1721, {}});
    fake::script_dump(kBrief, {fake::chunk(fake::cat({item(31, e), item(31, e)})), {0, {}}});
    fake::CaptureStdout out;
    EXPECT_EQ(SQA_DUMP_DisH323CallEntry(9), 0u);
    const std::string line = pad("10.1.1.1:1720", 22) + pad("10.1.1.200:1721", 22) + "h1\n";
    EXPECT_EQ(out.take(), "Caller                Callee                Call ID\n" + line + line);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{9, kBrief, 84}));
    EXPECT_EQ(req.bytes, Bytes(84, 0));
    EXPECT_EQ(fake::open_dumps(), 0);

    // An empty table shows the header only.
    fake::script_dump(kBrief, {{0, {}}});
    fake::CaptureStdout empty;
    EXPECT_EQ(SQA_DUMP_DisH323CallEntry(9), 0u);
    EXPECT_EQ(empty.take(), "Caller                Callee                Call ID\n");
}

TEST_F(H323Display, ProbeBlock) {
    const std::string expected = "Call ID: h323-call\n"
                                 "  H.245 information:\n"
                                 "    Source alias address: alice\n"
                                 "    H.245 address: " + pad("10.2.2.2", 19) + "H.245 port: 1300\n" +
                                 endpoints() +
                                 "  Sampling rate: 8000\n"
                                 "  Session ID: 42        VXLAN: 5000\n" +
                                 tail() + ctx_line("CallerDrvContext", 0xA0, 1) + ctx_line("CalleeDrvContext", 0xB0, 1) + "\n";
    EXPECT_EQ(show(kProbe, H323Call{}), expected);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, kProbe, 84}));
}

TEST_F(H323Display, VerboseBlockLeavesOutTheProbeLines) {
    EXPECT_EQ(show(kVerbose, H323Call{}), "Call ID: h323-call\n" + endpoints() + "  Session ID: 42\n" + tail() + "\n");
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, kVerbose, 84}));
    // The key holds at most 64 characters.
    show(kVerbose, H323Call{}, std::string(70, 'k').c_str());
    EXPECT_EQ(fake::nth("DUMP_Request", 1).bytes, text(std::string(64, 'k'), 84));
}

TEST_F(H323Display, AbsentValuesShowDashes) {
    H323Call call;
    call.alias = "";
    call.vxlan = 0xFFFFFFFF;
    call.protocol = 0;
    call.media = 0;
    call.vlan = 65535;
    call.fwdMos = 0xFFFFFFFF;
    const std::string out = show(kProbe, call);
    EXPECT_NE(out.find("  H.245 information:\n    Source alias address: -\n"), std::string::npos);
    EXPECT_NE(out.find("  Protocol: -(0)\n"), std::string::npos);
    EXPECT_NE(out.find("  Session ID: 42        VXLAN: -\n  Type: -              Vlan: -" + spaces(12) + "StartTime"),
              std::string::npos);
    EXPECT_NE(out.find("\n  MOS(F): -" + spaces(12) + "MOS(R): 3.50\n"), std::string::npos);
    EXPECT_EQ(fake::count("APR_GetProtoNameByID"), 0u);  // protocol 0 is not looked up
}

TEST_F(H323Display, ScoresAndMediaTypes) {
    struct Case {
        uint32_t fwd, rev;
        uint16_t media;
        uint8_t protocol;
        std::string mos, type, protocolLine;
    };
    const Case cases[] = {
        {0xFFFFFFFF, 0xFFFFFFFF, 1, 17, "  MOS(F): -" + spaces(12) + "MOS(R): -\n", "  Type: Audio          ",
         "  Protocol: UDP(17)\n"},
        {412, 0xFFFFFFFF, 2, 99, "  MOS(F): 4.12" + spaces(9) + "MOS(R): -\n", "  Type: Video          ",
         "  Protocol: -(99)\n"},
        {350, 1, 3, 0, "  MOS(F): 3.50" + spaces(9) + "MOS(R): 0.01\n", "  Type: -              ",
         "  Protocol: -(0)\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.mos);
        H323Call call;
        call.fwdMos = c.fwd;
        call.revMos = c.rev;
        call.media = c.media;
        call.protocol = c.protocol;
        const std::string out = show(kVerbose, call);
        EXPECT_NE(out.find("\n" + c.mos), std::string::npos) << out;
        EXPECT_NE(out.find("\n" + c.type + "Vlan: 100"), std::string::npos) << out;
        EXPECT_NE(out.find("\n" + c.protocolLine), std::string::npos) << out;
    }
}

TEST_F(H323Display, UnexpectedItemEndsTheWholeDisplay) {
    H323Call second;
    second.callId = "second";
    fake::script_dump(kVerbose, {fake::chunk(fake::cat({item(32, h323_verbose(H323Call{})), item(33, Bytes(8, 0)),
                                                        item(32, h323_verbose(second))})),
                                 fake::chunk(item(32, h323_verbose(second)))});
    fake::CaptureStdout out;
    EXPECT_EQ(SQA_DUMP_DisH323CallEntryVerbose(2, ""), 0u);
    const std::string text = out.take();
    EXPECT_EQ(text.find("Call ID: h323-call\n"), 0u);
    EXPECT_EQ(text.find("second"), std::string::npos);
    EXPECT_EQ(fake::count("DUMP_Pull"), 1u);
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(H323Display, ChunkWithoutItemsPullsAgain) {
    fake::script_dump(kProbe, {fake::chunk(Bytes{0, 33, 0}), fake::chunk(item(33, h323_verbose(H323Call{}))), {0, {}}});
    fake::fail_dump(kVerbose);
    fake::CaptureStdout out;
    EXPECT_EQ(SQA_DUMP_ProbeDisH323CallEntry(2, nullptr), 0u);
    EXPECT_EQ(SQA_DUMP_DisH323CallEntryVerbose(2, "x"), 0u);
    EXPECT_EQ(out.take().find("Call ID: h323-call\n"), 0u);
    EXPECT_EQ(fake::count("DUMP_Pull"), 3u);
    EXPECT_EQ(fake::nth("DUMP_Request").bytes, Bytes(84, 0));
}

}  // namespace
