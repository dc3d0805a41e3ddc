// SPDX-License-Identifier: Apache-2.0
// H.323 call displays: the brief table, the verbose and probe blocks.
#include "call_builders.h"
#include "sqa_fixture.h"

using fake::Bytes;
using namespace sqatest;

namespace {

constexpr uint32_t kBrief = 0x14001f;
constexpr uint32_t kVerbose = 0x140020;
constexpr uint32_t kProbe = 0x140021;

struct H323Call {
    uint16_t media = 2;
    uint8_t protocol = 17;
    uint16_t vlan = 100;
    uint32_t fwdMos = 412;  // travels in network order
    std::string alias = "alice";
    uint32_t vxlan = 5000;
};

// H.245 at 10.2.2.2:1300, session 42; caller 10.1.1.1:1720 0a1b-2c3d-4e5f,
// callee 192.168.0.9:1721 aabb-ccdd-eeff; started 2023-12-31 23:59:58.
Bytes h323_verbose(const H323Call &c) {
    Bytes b(472, 0);
    put(b, 0, text("h323-call", 65));
    put(b, 65, text("guid-xyz", 65));
    put(b, 132, fake::cat({Bytes{10, 2, 2, 2}, fake::be16(1300), Bytes(2, 0), fake::be32(42), fake::be16(c.media)}));
    put(b, 148, fake::cat({Bytes{10, 1, 1, 1, 192, 168, 0, 9}, fake::be16(1720), fake::be16(1721), Bytes{c.protocol}}));
    put(b, 161, {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff});
    // Packets and octets forward, then reverse.
    put(b, 176, fake::cat({fake::be64(5), fake::be64(800), fake::be64(6), fake::be64(960), fake::be16(c.vlan)}));
    put(b, 212, fake::cat({time_words({58, 59, 23, 31, 12, 2023}), fake::be32(c.fwdMos), fake::be32(350)}));
    put(b, 256, fake::cat({fake::be64(0x0102030405060708ull), contexts(0xA0, 1), contexts(0xB0, 1)}));
    put(b, 328, text(c.alias, 65));
    put(b, 460, fake::cat({fake::be32(c.vxlan), fake::be32(8000)}));
    return b;
}

class H323Display : public SqaTest {
protected:
    void SetUp() override {
        SqaTest::SetUp();
        fake::hooks().APR_GetProtoNameByID = [](uint32_t id, char *name) -> uint32_t {
            return id == 17 ? (std::strcpy(name, "udp"), 0u) : 1u;
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
    static std::string endpoints(const std::string &protocol = "UDP(17)") {
        const std::string both =
            "  Caller information:\n"
            "    IP: 10.1.1.1           Port: 1720     MAC: 0a1b-2c3d-4e5f\n"
            "  Callee information:\n"
            "    IP: 192.168.0.9        Port: 1721     MAC: aabb-ccdd-eeff\n"
            "  GUID: guid-xyz\n";
        return both + "  Protocol: " + protocol + "\n";
    }
    static std::string tail(const std::string &type = "Video", const std::string &vlan = "100",
                            const std::string &fwd = "4.12", const std::string &rev = "3.50") {
        const std::string flows =
            "  Forward flow (octets): 800               Forward flow (packets): 5\n"
            "  Reverse flow (octets): 960               Reverse flow (packets): 6\n";
        return "  Type: " + pad(type, 15) + "Vlan: " + pad(vlan, 13) +
               "StartTime: 2023-12-31 23:59:58\n  MOS(F): " + pad(fwd, 13) + "MOS(R): " + rev + "\n" + flows;
    }
    static std::string probe_block(const std::string &alias, const std::string &vxlan, const std::string &between) {
        return "Call ID: h323-call\n  H.245 information:\n    Source alias address: " + alias +
               "\n    H.245 address: " + pad("10.2.2.2", 19) + "H.245 port: 1300\n" + between +
               "  Session ID: 42        VXLAN: " + vxlan + "\n";
    }
};

TEST_F(H323Display, BriefTable) {
    const Bytes e = brief_entry("h1", {10, 1, 1, 1}, 1720, {10, 1, 1, 200}, 1721);
    fake::script_dump(kBrief, {fake::chunk(fake::cat({item(31, e), item(31, e)})), {0, {}}});
    fake::CaptureStdout out;
    EXPECT_EQ(SQA_DUMP_DisH323CallEntry(9), 0u);
    const std::string line = pad("10.1.1.1:1720", 22) + pad("10.1.1.200:1721", 22) + "h1\n";
    EXPECT_EQ(out.take(), "Caller                Callee                Call ID\n" + line + line);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{9, kBrief, 84}));
    EXPECT_EQ(req.bytes, Bytes(84, 0));
    EXPECT_EQ(fake::open_dumps(), 0);
}

TEST_F(H323Display, ProbeAndVerboseBlocks) {
    const std::string contexts = ctx_line("CallerDrvContext", 0xA0, 1) + ctx_line("CalleeDrvContext", 0xB0, 1);
    EXPECT_EQ(show(kProbe, H323Call{}),
              probe_block("alice", "5000", endpoints() + "  Sampling rate: 8000\n") + tail() + contexts + "\n");
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, kProbe, 84}));

    // The verbose block leaves out the probe lines.
    EXPECT_EQ(show(kVerbose, H323Call{}), "Call ID: h323-call\n" + endpoints() + "  Session ID: 42\n" + tail() + "\n");
    EXPECT_EQ(fake::nth("DUMP_Request", 1).args, (std::vector<uint64_t>{2, kVerbose, 84}));
    // The key holds at most 64 characters; no key is 84 cleared bytes.
    show(kVerbose, H323Call{}, std::string(70, 'k').c_str());
    EXPECT_EQ(fake::nth("DUMP_Request", 2).bytes, text(std::string(64, 'k'), 84));
    show(kProbe, H323Call{}, nullptr);
    EXPECT_EQ(fake::nth("DUMP_Request", 3).bytes, Bytes(84, 0));
}

// Absent values show dashes (the VLAN and MOS rules are the SIP display's
// too); protocol 0 is not looked up, an unknown one is.
TEST_F(H323Display, AbsentAndUnknownValues) {
    H323Call absent;
    absent.alias = "";
    absent.vxlan = absent.fwdMos = 0xFFFFFFFF;
    absent.protocol = absent.media = 0;
    absent.vlan = 65535;
    EXPECT_EQ(show(kProbe, absent), probe_block("-", "-", endpoints("-(0)") + "  Sampling rate: 8000\n") +
                                        tail("-", "-", "-") + ctx_line("CallerDrvContext", 0xA0, 1) +
                                        ctx_line("CalleeDrvContext", 0xB0, 1) + "\n");
    EXPECT_EQ(fake::count("APR_GetProtoNameByID"), 0u);

    H323Call audio;
    audio.media = 1;
    audio.protocol = 99;
    EXPECT_EQ(show(kVerbose, audio),
              "Call ID: h323-call\n" + endpoints("-(99)") + "  Session ID: 42\n" + tail("Audio") + "\n");
    EXPECT_EQ(fake::nth("APR_GetProtoNameByID").args[0], 99u);
}

}  // namespace
