// SPDX-License-Identifier: Apache-2.0
// The limit statistics display against scripted dumps: the exact bytes it
// prints, the dump key it builds, and how each pull result ends the walk.
#include <cstring>
#include <string>

#include "dpmgmt/connlmt.h"
#include "dpmgmt/records.h"
#include "fake/fake_platform.h"

using fake::be16;
using fake::be32;
using fake::Bytes;
using fake::cat;

namespace {

constexpr uint32_t kStatNodes = 0x14000B;
constexpr uint32_t kStatistics = 0x14000C;

Bytes addr4(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    return cat({Bytes{a, b, c, d}, Bytes(12, 0)});
}
Bytes addr6(std::initializer_list<uint8_t> head, uint8_t last) {
    Bytes a(16, 0);
    std::copy(head.begin(), head.end(), a.begin());
    a[15] = last;
    return a;
}

struct Node {
    Bytes src = Bytes(16, 0), dst = Bytes(16, 0), peer = Bytes(16, 0);
    uint16_t srcVrf = 0, dstVrf = 0;
    uint8_t protocol = 0;
    uint16_t port = 0, ruleId = 1, flag = 1;
    uint32_t aclNum = 3000, hi = 100, lo = 80, count = 0, aclType = 1;
    Bytes wire() const {
        return cat({src, dst, be16(srcVrf), be16(dstVrf), peer, Bytes{protocol, 0xEE}, be16(port), be16(ruleId),
                    be16(flag), be32(aclNum), be32(hi), be32(lo), be32(count), be32(aclType)});
    }
};

std::string vpn_line(const std::string &name) {
    return "     VPN instance        : " + name + std::string(31 - name.size(), ' ') + "\r\n";
}

// One node as the list prints it; peer null for IPv6, which has no tunnel
// line.
std::string node_block(const std::string &src, const std::string &srcVpn, const std::string &dst,
                       const std::string &dstVpn, const char *peer, const std::string &service, const std::string &rule,
                       const std::string &hiLo, const std::string &count, const std::string &flag) {
    return " Src IP address          : " + src + "\r\n" + vpn_line(srcVpn) + " Dst IP address          : " + dst +
           "\r\n" + vpn_line(dstVpn) + (peer ? " DS-Lite tunnel peer     : " + std::string(peer) + "\r\n" : "") +
           " Service                 : " + service + "\r\n Limit rule ID           : " + rule +
           "\r\n Sessions threshold Hi/Lo: " + hiLo + "\r\n Sessions count          : " + count +
           "\r\n New session flag        : " + flag + "\r\n\r\n";
}

class ConnlmtStatDisplay : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        fake::hooks().LIP_GetChassID = [](uint16_t) -> uint32_t { return 0x10001; };
        fake::hooks().LIP_GetSlotID = [](uint16_t) -> uint32_t { return 0x20002; };
        fake::hooks().LIP_GetCpuID = [](uint16_t) -> uint32_t { return 0x30003; };
        fake::hooks().L3VPN_GetNameByVrfIndex = [](uint32_t vrf, uint32_t size, char *name) -> uint32_t {
            return vrf == 5 && size == 32 ? (std::strcpy(name, "vpn-a"), 0u) : 1u;
        };
        fake::hooks().APR_GetProtoNameByID = [](uint32_t proto, char *name) -> uint32_t {
            return proto == 6 ? (std::strcpy(name, "tcp"), 0u) : 1u;
        };
        fake::hooks().ACL_GetNameByIndex = [](uint32_t type, uint32_t num, char *name) -> uint32_t {
            return type == 1 && num == 3000 ? (std::strcpy(name, "web"), 0u) : 1u;
        };
        fake::hooks().RC_LoadString = [](uint32_t id) -> const char * {
            return id == 0x0611008B ? "No limit statistic node.\r\n" : "?";
        };
        filter = {};
    }
    void TearDown() override { EXPECT_EQ(fake::open_dumps(), 0); }

    uint32_t display(uint16_t mode, uint32_t keyWord = 0) {
        fake::CaptureStdout cap;
        const uint32_t rc = CONNLMT_Dump_DisStatNodes(4, keyWord, &filter, mode);
        out = cap.take();
        return rc;
    }
    CONNLMT_STATNODE_FILTER_S filter;
    std::string out;
};

TEST_F(ConnlmtStatDisplay, NodesGolden) {
    const Node a{
        .dst = addr4(10, 1, 1, 2), .srcVrf = 5, .dstVrf = 9, .protocol = 6, .port = 80, .ruleId = 3, .count = 42};
    const Node b{.src = addr4(192, 168, 0, 1),
                 .dst = addr4(172, 16, 0, 9),
                 .peer = addr6({0x20, 0x01, 0x0d, 0xb8}, 1),
                 .ruleId = 5,
                 .flag = 2,
                 .aclNum = 3001,
                 .hi = 0xFFFFFFFF,
                 .lo = 0,
                 .aclType = 2};
    // ACL type 7 is beyond the label table: no label.
    const Node c{.protocol = 200, .ruleId = 256, .flag = 0, .aclType = 7};
    fake::script_dump(kStatNodes, {fake::chunk(cat({a.wire(), b.wire()})), fake::chunk(c.wire())});

    EXPECT_EQ(display(0), 0u);
    EXPECT_EQ(
        out,
        "Slot 2 :\r\n" +
            node_block("Any", "vpn-a", "10.1.1.2", "--", "--", "tcp/80", "3(ACL : web)", "100/80", "42", "Permit") +
            node_block("192.168.0.1", "--", "172.16.0.9", "--", "2001:db8::1", "All", "5(ACL IPv6: 3001)",
                       "4294967295/0", "0", "Deny") +
            node_block("Any", "--", "Any", "--", "--", "unknown(200)", "256(ACL : 3000)", "100/80", "0", "Deny"));
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 8000u);
    EXPECT_EQ(fake::count("RC_LoadString"), 0u);

    // IPv6 nodes have no tunnel line, even with a peer.
    SetUp();
    filter.uiIpVersion = 1;
    const Node d{.src = addr6({0x20, 0x01, 0x0d, 0xb8}, 5), .peer = addr6({0x20, 0x01}, 9), .protocol = 6, .port = 443};
    fake::script_dump(kStatNodes, {fake::chunk(d.wire())});
    EXPECT_EQ(display(2), 0u);
    EXPECT_EQ(out, "Slot 2 :\r\n" + node_block("2001:db8::5", "--", "Any", "--", nullptr, "tcp/443", "1(ACL : web)",
                                               "100/80", "0", "Permit"));
}

TEST_F(ConnlmtStatDisplay, DumpKeyFromTheFilter) {
    filter.uiIpVersion = 0;
    filter.stAddr1.uiIpv4 = 0x0A000001;
    filter.stAddr2.uiIpv4 = 0xC0A80001;
    filter.stAddr2.aucIpv6[15] = 0x77;  // beyond the IPv4 word: copied as is
    filter.usFilterValue = 0x1234;
    filter.aucReserved[0] = 0xEE;
    for (int i = 0; i < 16; ++i) filter.aucFilterBytes[i] = static_cast<uint8_t>(i);
    fake::fail_dump(kStatNodes);
    EXPECT_EQ(display(0, 0xA1B2C3D4), DPMGMT_ERR_FAILED);
    EXPECT_EQ(out, "");  // nothing, not even the heading
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{4, kStatNodes, 60}));
    EXPECT_EQ(fake::hex(req.bytes), "a1 b2 c3 d4 00 00 00 00 0a 00 00 01 " + fake::hex(Bytes(12, 0)) + " c0 a8 00 01 " +
                                        fake::hex(Bytes(11, 0)) +
                                        " 77 12 34 00 00 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f");

    // IPv6: the addresses go as they are.
    fake::reset();
    filter.uiIpVersion = 1;
    fake::fail_dump(kStatNodes);
    display(0, 1);
    const Bytes &key = fake::nth("DUMP_Request").bytes;
    ASSERT_EQ(key.size(), 60u);
    EXPECT_EQ(fake::hex(Bytes(key.begin() + 4, key.begin() + 12)), "00 00 00 01 01 00 00 0a");
}

TEST_F(ConnlmtStatDisplay, FourHeadings) {
    struct Case {
        uint32_t multiChassis, multiCpu;
        const char *heading;
        uint64_t cpuChassisArg;
    };
    const Case cases[] = {{0x10000, 0x10001, "CPU 3 on slot 2:\r\n", 0xFFFFFFFF},
                          {0, 0, "Slot 2 :\r\n", 0xFFFFFFFF},
                          {0x1, 1, "CPU 3 on slot 2 in chassis 1:\r\n", 1},
                          {0x1, 0x10000, "Slot 2 in chassis 1:\r\n", 1}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.heading);
        SetUp();
        fake::hooks().DEV_IsMultiChassis = [&] { return c.multiChassis; };
        fake::hooks().DEV_IsMultiCpu = [&](uint32_t, uint32_t) { return c.multiCpu; };
        fake::script_dump(kStatNodes, {});
        EXPECT_EQ(display(0), 0u);
        // Nothing was received: the resource string follows the heading.
        EXPECT_EQ(out, std::string(c.heading) + "No limit statistic node.\r\n");
        EXPECT_EQ(fake::nth("RC_LoadString").args[0], 0x0611008Bu);
        EXPECT_EQ(fake::nth("DEV_IsMultiCpu").args, (std::vector<uint64_t>{c.cpuChassisArg, 2}));
    }
}

TEST_F(ConnlmtStatDisplay, PullsUntilAnotherResult) {
    const Bytes hundred(100 * 80, 0);
    fake::script_dump(
        kStatNodes,
        {fake::chunk(hundred), fake::chunk(hundred), fake::chunk(Bytes(50 * 80 + 79, 0)), {0x40010003, {}}});
    EXPECT_EQ(display(1), 0x40010003u);
    EXPECT_EQ(out, "Slot 2 :\r\n       Current limit statistic nodes count is 250.\r\n");
    EXPECT_EQ(fake::count("DUMP_Pull"), 4u);

    // Listing: a chunk of fewer than 80 bytes shows nothing but counts as
    // received (no resource string).
    SetUp();
    fake::script_dump(kStatNodes, {fake::chunk(Bytes(79, 0)), {0x1234, Node().wire()}, fake::chunk(Node().wire())});
    EXPECT_EQ(display(0), 0x1234u);
    EXPECT_EQ(out, "Slot 2 :\r\n");
    EXPECT_EQ(fake::count("DUMP_Pull"), 2u);
}

TEST_F(ConnlmtStatDisplay, Statistics) {
    fake::script_dump(kStatistics, {{0, cat({fake::be64(0x0102030405060708), fake::be64(9)})}});
    CONNLMT_STATISTICS_S st;
    std::memset(&st, 0xAA, sizeof st);
    EXPECT_EQ(CONNLMT_Dump_GetStatistics(6, 0x11, &st), 0u);
    EXPECT_EQ((std::vector<uint64_t>{st.aulCounter[0], st.aulCounter[1]}),
              (std::vector<uint64_t>{0x0102030405060708u, 9}));
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{6, kStatistics, 4}));
    EXPECT_EQ(fake::hex(req.bytes), "00 00 00 11");
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 16u);
}

}  // namespace
