// SPDX-License-Identifier: Apache-2.0
// Kernel detail displays: every block, its conditions, the in-place
// conversion of the kernel record and the relation detail endings.
#include <string>

#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

Rec kernel_rec() {
    Rec r(432);
    put_tuple(r, 0, Tuple{});
    put_tuple(
        r, 48,
        Tuple{.flags = 2, .src = {10, 0, 0, 1}, .dst = {192, 168, 1, 10}, .sport = 80, .dport = 40000, .vrf = 100});
    r.raw(96, kIpv6B);
    r.be32(128, 12).be32(132, 10).be32(136, 3400).be32(140, 15000).be32(144, 10).be32(148, 11);
    r.be32(152, 1700000000).be32(156, 0xFFFFFFFF).be32(160, 5).be16(164, 0x1111).be16(166, 0x2222);
    r.u8(168, 3).u8(169, 0);
    // base block
    r.be64(176, 0x1000).be64(184, 0x2000).be64(192, 0).be32(200, 77).be32(204, 2).be32(208, 0x99);
    r.be16(212, 0x10).u8(214, 1).u8(215, 6).be16(216, 0xFFFF).be16(218, 5);
    // session block
    r.be64(224, 0xabc0).be64(232, 0x10).be64(240, 0x20).be64(248, 0x1234567890ULL).be32(256, 9);
    r.be16(260, 3).be16(262, 1).be16(264, 4).be16(266, 0xFFEE).be16(268, 2);
    for (uint8_t i = 0; i < 8; ++i) r.u8(270 + i, static_cast<uint8_t>(i + 1));
    r.u8(278, 200).u8(279, 9).u8(280, 0x11).u8(281, 12).u8(282, 13);
    r.raw(284, {1, 2, 3, 4}).raw(288, {0, 0, 0, 0});
    r.be16(292, 8);
    // extension block
    r.be64(296, 0x5000).be64(304, 0).be64(312, 0x6000).be32(320, 7).be32(324, 8).be16(328, 0x21);
    r.u8(330, 1).u8(331, 2).u8(332, 0).u8(333, 4);
    // log block
    r.be32(340, 100).be32(344, 200).be32(348, 300).be32(352, 400);
    // NAT block
    r.be64(360, 0x7000).be64(368, 0x7100).be64(376, 0x7200).be64(384, 0x7300).be16(392, 11).be16(394, 12);
    r.u8(396, 1).u8(397, 2).be16(398, 0x40).be16(400, 3).be16(402, 4).be32(404, 10).be32(408, 11);
    r.u8(412, 5).be16(414, 0xab).u8(416, 1).u8(417, 2).u8(418, 3).u8(420, 4).be64(424, 0x8000);
    return r;
}

std::string show_kernel(const Bytes &records, uint32_t *count = nullptr) {
    fake::script_dump(0x140024, {fake::chunk(records)});
    const SESSION_DUMPKEY_S key{};
    return shown([&] { return SESSION_DisplaySessionKernel(3, &key); }, count);
}

std::string kernel_golden() {
    std::string s;
    s += "Initiator:\r\nSrcAddr        :" + col("192.168.1.10", 20) + "  SrcPort        :" + col("40000", 20) + "\r\n";
    s += "DstAddr        :" + col("10.0.0.1", 20) + "  DstPort        :" + col("80", 20) + "\r\n";
    s += "DS-Lite peer   :" + col("2001:db8::2", 22) + "VPN ID         : -/-/-\r\n";
    s += "Protocol       :TCP(6)  Inbound interface    :GigabitEthernet1/0/1\r\n";
    s += "Responder:\r\nSrcAddr        :" + col("10.0.0.1", 20) + "  SrcPort        :" + col("80", 20) + "\r\n";
    s += "DstAddr        :" + col("192.168.1.10", 20) + "  DstPort        :" + col("40000", 20) + "\r\n";
    s += "DS-Lite peer   :" + col("-", 22) + "VPN ID         :-/100/-\r\n";
    s += "Protocol       :TCP(6)  Inbound interface    :" + col("N/A", 15) + "\r\n";
    s += "State: TCP_ESTABLISHED    Application: HTTP\r\n";
    s += "Start time: 2023-11-14 22:13:20    TTL: -\r\n";
    s += "Initiator->Responder:   " + rcol("12", 20) + " packets " + rcol("3400", 20) + " bytes\r\n";
    s += "Responder->Initiator:   " + rcol("10", 20) + " packets " + rcol("15000", 20) + " bytes\r\n";
    s += "\r\nSESSION_BASE_S:\r\nRefCount           :" + col("2", 20) + "   TableFlag           :0x10\r\n";
    s += "Cache_org          :" + col("0x2000", 20) + "   UpdateTime          :77\r\n";
    s += "Cache_rpl          :" + col("(nil)", 20) + "   SessionType         :1\r\n";
    s += "Session_base       :" + col("0x1000", 20) + "   SessionL4Type       :6\r\n";
    s += "L3CheckSumDiff     :" + col("65535", 20) + "   L4CheckSumDiff    :5\r\n";
    s += "\r\nSESSION_S:\r\nSession_Normal     :" + col("0xabc0", 20) + "   ServicePos        :0x1234567890\r\n";
    s += "ServiceCb          :" + col("0x20", 20) + "   Module Flag       :0x1\r\n";
    s += "LogCb              :" + col("0x10", 20) + "   AppID             :9\r\n";
    s += "AttachFlag         :" + col("0x3", 20) + "  Cfg Seq           :4\r\n";
    s += "VrexActInbound     :" + col("1", 20) + "   VrexActOutbound   :2\r\n";
    s += "VrexActZonePair    :" + col("3", 20) + "   AppStaticOrignalIn:4\r\n";
    s += "AppStaticOrignalOut:" + col("5", 20) + "   AppStaticReplyIn  :6\r\n";
    s += "AppStaticReplyOut  :" + col("7", 20) + "   ArpPnpFlag        :8\r\n";
    s += "State              :" + col("200", 20) + "   LogCfg            :9\r\n";
    s += "BackupFlag         :" + col("0x11", 20) + "  UseServiceNum     :12\r\n";
    s += "AllocServiceNum    :" + col("13", 20) + "   AlgFlag           :2\r\n";
    s += "stPeerLip          :" + col("65518", 20) + "   FDBFlag           :0x8\r\n";
    s += "Driver context 0:  :" + col("4030201", 20) + "\r\n";  // the delivered bytes 01 02 03 04 as a host number
    s += "Driver context 1:  :" + col("0", 20) + "\r\n";
    s += "\r\nSESSION_EXT_S:\r\nExtSession         :" + col("0x5000", 20) + "   DirAssociateParent  :1\r\n";
    s += "Parent             :" + col("(nil)", 20) + "   VrexCfgSeq          :2\r\n";
    s += "AlgCb              :" + col("0x6000", 20) + "   Sctp_org            :7\r\n";
    s += "Sctp_rpl           :" + col("8", 20) + "   SessAlgType         :0x21\r\n";
    s += "Dccp_rpl           :" + col("4", 20) + "   Dccp_org            :0\r\n";
    s += "\r\nSESSION_KLOG_EXTINFO_S:\r\nOrg_Packets        :" + col("100", 20) + "   Rely_Packets        :200\r\n";
    s += "Org_Bytes          :" + col("300", 20) + "   Rely_Bytes          :400\r\n";
    s += "\r\nSESSION_NATEXT_KERNEL_INFO_S:\r\n";
    s += "Dns Seq            :" + col("0x7000", 20) + "   L4CheckSumDiff    :4\r\n";
    s += "SrcNopatInfo       :" + col("0x7100", 20) + "   ifIndexNatCfg     :10\r\n";
    s += "LogCb              :" + col("0x7300", 20) + "   Cfg Org_Seq       :11\r\n";
    s += "DstNopatInfo       :" + col("0x7200", 20) + "   Cfg Rply_Seq      :12\r\n";
    s += "Org_Flag           :" + col("0x1", 20) + "  Rply_Flag         :0x2\r\n";
    s += "Flag               :" + col("0x40", 20) + "  L3CheckSumDiff    :3\r\n";
    s += "ifIndexDns         :" + col("11", 20) + "   ucChannel         :5\r\n";
    s += "portblockResFlag   :" + col("ab", 20) + "   BackupMode        :1\r\n";
    s += "Portblock Dir      :" + col("2", 20) + "   Port Res Dir      :3\r\n";
    s += "LoadShare ID       :" + col("4", 20) + "   hPatEntry         :0x8000\r\n\r\n";
    return s;
}

using KernelDetail = SessionDisplayTest;

TEST_F(KernelDetail, EveryBlockOfAFullRecord) {
    uint32_t n = 0;
    EXPECT_EQ(show_kernel(kernel_rec().b, &n), kernel_golden());
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{3, 0x140024, 88}));
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 7776u);
}

TEST_F(KernelDetail, OptionalBlocksAndIpv6Direction) {
    Rec r = kernel_rec();
    r.be64(296, 0).be16(262, 0x2).be32(156, 60);
    put_tuple(r, 0, Tuple{.family = 10, .flags = 4, .src = kIpv6A, .dst = kIpv6B, .vrf = 33});
    const std::string out = show_kernel(r.b);
    EXPECT_EQ(out.find("SESSION_EXT_S:"), std::string::npos);
    EXPECT_EQ(out.find("SESSION_NATEXT_KERNEL_INFO_S:"), std::string::npos);
    EXPECT_NE(out.find("\r\n\r\nSESSION_KLOG_EXTINFO_S:\r\n"), std::string::npos);
    EXPECT_NE(out.find("Module Flag       :0x2\r\n"), std::string::npos);
    // IPv6: no DS-Lite text, the VPN line follows the addresses directly.
    EXPECT_EQ(
        out.find("Initiator:\r\nSrcAddr        :" + col("2001:db8::1", 20) + "  SrcPort        :" + col("40000", 20) +
                 "\r\nDstAddr        :" + col("2001:db8::2", 20) + "  DstPort        :" + col("80", 20) +
                 "\r\nVPN ID         :-/-/33\r\n"
                 "Protocol       :TCP(6)  Inbound interface    :GigabitEthernet1/0/1"
                 "\r\nResponder:\r\n"),
        0u)
        << out;
    EXPECT_NE(out.find("Start time: 2023-11-14 22:13:20    TTL: 60s\r\n"), std::string::npos);
    EXPECT_TRUE(out.size() >= 4 && out.compare(out.size() - 4, 4, "\r\n\r\n") == 0);
}

Rec relation_detail_rec(uint8_t family) {
    Rec r(208);
    const bool v4 = family == 2;
    Tuple t{.family = family, .flags = uint8_t(v4 ? 0 : 4), .sport = 0, .dport = 21, .vrf = 3};
    t.src = v4 ? Bytes{0, 0, 0, 0} : kIpv6A;
    t.dst = v4 ? Bytes{10, 0, 0, 1} : kIpv6B;
    put_tuple(r, 0, t);
    r.be32(48, 10).be32(52, 0x01020304).raw(60, {10, 0, 0, 2}).be16(76, 2121).be16(78, 9).be16(80, 6);
    r.u8(82, 17).u8(83, 5);
    r.be64(104, 0x100).be64(112, 0x200).be32(120, 50).be32(124, 0x30).be32(128, 1).be32(132, 11);
    r.be32(136, 25).be32(140, 5).be32(144, 7).be32(148, 2).be32(152, 3);
    r.be16(156, 4).be16(158, 5).be16(160, 6).be16(162, 0x7777).be16(164, 1);
    r.be64(168, 0x300).be32(176, 9).be16(180, 0x1f).be16(182, 1024).be32(184, 77).be16(192, 0x2a).u8(194, 3);
    r.be64(200, 0);
    return r;
}

TEST_F(KernelDetail, RelationDetailIpv4AndIpv6Endings) {
    fake::script_dump(0x140025, {fake::chunk(fake::cat({relation_detail_rec(2).b, relation_detail_rec(10).b}))});
    SESSION_RELATION_KEY_S key{};
    key.ucFamily = 2;
    const uint32_t addr = 0x0A000001;
    std::memcpy(key.aucAddr1, &addr, 4);
    key.uiKeyValue1 = 0x11223344;
    uint32_t n = 0;
    const auto pair = [](const char *left, const char *value, const char *right) {
        return std::string("  ") + left + col(value, 20) + "    " + right + "\r\n";
    };
    const std::string common = "  Receive interface: GE1/0/2\r\n" +
                               pair("Tuple mask:        ", "7", "Tuple LockIndex: 4") +
                               pair("Local LockIndex:   ", "5", "uiRelationFlag:  0x30") +
                               pair("Expect ChildDir:   ", "1", "Class:           3") +
                               pair("BakupFlag:         ", "0x6", "AgingType:       2") +
                               pair("bCareParentFlag:   ", "1", "uiUpdateTime:    50") +
                               pair("pstParent:         ", "0x100", "pstSelfRelation: 0x200") +
                               "  AttachData:\r\n"
                               "    AlgLoad interface: GigabitEthernet1/0/1\r\n"
                               "    Ext Destination IP/port: 10.0.0.2/2121\r\n"
                               "    Ext DS-Lite tunnel peer: 16909060\r\n";
    const std::string ext = "    Ext Protocol: UDP(17)\r\n    Ext ucArpPnpFlag: 0x5\r\n    Ext usQrmId: 6\r\n";
    EXPECT_EQ(shown([&] { return SESSION_DisplayRelationInfo(5, &key); }, &n),
              relation_head("-/-", "10.0.0.1/21", "-", "vpn-a/-/-", "TCP(6)", "25s", "HTTP") + common +
                  "    Ext VPN instance/VLAN ID/Inline ID: Invalid(9)/-/-\r\n" + ext +
                  "    Nat portblock: 0x300\r\n    Nat PatEntry: (nil)\r\n    Nat flag: 1f\r\n"
                  "    Nat PB Resflag: 2a\r\n    RefCount: 9\r\n    Portblock-port: 1024\r\n"
                  "    FailGroupID: 77\r\n    LoadShareID: 3\r\n\r\n" +
                  relation_head("2001:db8::1", "2001:db8::2/21", nullptr, "vpn-a/-/-", "TCP(6)", "25s", "HTTP") +
                  common + "    Ext VPN instance/VLAN ID/Inline ID: -/-/9\r\n" + ext);
    EXPECT_EQ(n, 2u);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{5, 0x140025, 44}));
    Rec want(44);
    want.be32(0, 0x0A000001).be32(32, 0x11223344).u8(40, 2);
    EXPECT_EQ(fake::hex(req.bytes), fake::hex(want.b));
    EXPECT_EQ(fake::nth("DUMP_Pull").args[1], 7904u);
}

}  // namespace
