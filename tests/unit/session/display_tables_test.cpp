// SPDX-License-Identifier: Apache-2.0
// Session, fast-forward, Mcfs and relation tables: exact output bytes, the
// key sent, and the batch walk.
#include <string>

#include "dpmgmt/session.h"
#include "unit/session/display_fixture.h"

using namespace sdtest;

namespace {

struct Session {
    Tuple init;
    Tuple resp = reversed(Tuple{});
    Bytes peer0 = Bytes(16, 0);
    uint32_t if0 = 10, if1 = 11;
    uint32_t ttl = 3600;
    uint32_t app = 5;
    uint8_t state = 3, protoIndex = 0;
};

// Start time 1700000000 is 2023-11-14 22:13:20 UTC.
Bytes session_rec(const Session &s) {
    Rec r(172);
    put_tuple(r, 0, s.init);
    put_tuple(r, 48, s.resp);
    r.raw(96, s.peer0);
    r.be32(128, 12).be32(132, 10).be32(136, 3400).be32(140, 15000);
    r.be32(144, s.if0).be32(148, s.if1).be32(152, 1700000000).be32(156, s.ttl).be32(160, s.app);
    r.u8(164, s.state).u8(165, s.protoIndex).be16(166, 0x1111).be16(168, 0x2222);
    return r.b;
}

std::string show_sessions(const Bytes &all, uint16_t verbose, uint32_t *count = nullptr) {
    fake::script_dump(0x140001, {fake::chunk(all)});
    const SESSION_DUMPKEY_S key{};
    return shown([&] { return SESSION_DisplaySession(4, &key, verbose); }, count);
}

const std::string kInitiatorV4 = "Initiator:\r\n" +
                                 direction("192.168.1.10/40000", "10.0.0.1/80", "-", "-/-/-", "TCP(6)") +
                                 inbound("GigabitEthernet1/0/1");
const std::string kStart = "Start time: 2023-11-14 22:13:20";

using SessionTable = SessionDisplayTest;

TEST_F(SessionTable, Ipv4TcpBriefAndVerbose) {
    uint32_t n = 0;
    EXPECT_EQ(show_sessions(session_rec({}), 0, &n), kInitiatorV4 + "\r\n");
    EXPECT_EQ(n, 1u);

    Session s;
    s.resp.vrf = 3;
    EXPECT_EQ(show_sessions(session_rec(s), 1),
              kInitiatorV4 + "Responder:\r\n" +
                  direction("10.0.0.1/80", "192.168.1.10/40000", "-", "vpn-a/-/-", "TCP(6)") + inbound("GE1/0/2") +
                  "State: TCP_ESTABLISHED\r\nApplication: HTTP\r\n" + kStart + "  TTL: 3600s\r\n" +
                  flow("Initiator->Responder", "12", "3400") + flow("Responder->Initiator", "10", "15000") + "\r\n");
}

TEST_F(SessionTable, KeyIsConvertedCopyAndCallerKeyKept) {
    fake::script_dump(0x140001, {fake::chunk({})});
    SESSION_DUMPKEY_S key{};
    key.ucFamily = 2;
    const uint32_t addr = 0x0A000001;  // 10.0.0.1 as a host-order number
    std::memcpy(key.aucAddr1, &addr, 4);
    key.usFilter1 = 0x0102;
    key.uiFilter5 = 0x0A0B0C0D;
    const SESSION_DUMPKEY_S before = key;
    uint32_t n = 1;
    EXPECT_EQ(shown([&] { return SESSION_DisplaySession(9, &key, 1); }, &n), "");
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(std::memcmp(&key, &before, sizeof key), 0);
    const fake::Call &req = fake::nth("DUMP_Request");
    EXPECT_EQ(req.args, (std::vector<uint64_t>{9, 0x140001, 88}));
    Rec want(88);
    want.be32(0, 0x0A000001).be16(64, 0x0102).be32(76, 0x0A0B0C0D).u8(80, 2);
    EXPECT_EQ(fake::hex(req.bytes), fake::hex(want.b));
}

TEST_F(SessionTable, Ipv6GreAndDsLitePeer) {
    // The peer is ignored for an IPv6 tuple.
    const Session v6{.init = {.family = 10, .protocol = 58, .src = kIpv6A, .dst = kIpv6B, .sport = 0, .dport = 0},
                     .peer0 = kIpv6B};
    const Session gre{.init = {.protocol = 47, .sport = 0x880B, .dport = 7}, .peer0 = kIpv6B, .if0 = 0};
    Session other = gre;
    other.init.sport = 0x880A;
    other.peer0 = Bytes(16, 0);
    uint32_t n = 0;
    EXPECT_EQ(show_sessions(fake::cat({session_rec(v6), session_rec(gre), session_rec(other)}), 0, &n),
              "Initiator:\r\n" + direction("2001:db8::1/0", "2001:db8::2/0", nullptr, "-/-/-", "IPV6-ICMP(58)") +
                  inbound("GigabitEthernet1/0/1") + "\r\n" +
                  "Initiator:\r\n"
                  "  Source      IP/type  : 192.168.1.10/34827\r\n"
                  "  Destination IP/callId: 10.0.0.1/7\r\n"
                  "  DS-Lite tunnel peer: 2001:db8::2\r\n"
                  "  VPN instance/VLAN ID/VLL ID: -/-/-\r\n"
                  "  Protocol: GRE(47)\r\n" +
                  inbound("N/A") + "\r\n" + "Initiator:\r\n" +
                  direction("192.168.1.10/34826", "10.0.0.1/7", "-", "-/-/-", "GRE(47)") + inbound("N/A") + "\r\n");
    EXPECT_EQ(n, 3u);
    // Interface index 0 is never looked up.
    EXPECT_EQ(fake::count("IF_GetDataByIfIndex"), 1u);
}

TEST_F(SessionTable, FastforwardVerbose) {
    Rec r(140);
    const Tuple t{.protocol = 17, .sport = 53, .dport = 5353};
    put_tuple(r, 0, t);
    Tuple back = reversed(t);
    back.flags = 1;
    back.vrf = 12;
    put_tuple(r, 48, back);
    r.raw(112, kIpv6A);
    r.be32(128, 11).be32(132, 10).be32(136, 0xFFFFFFFF);
    Rec r2 = r;
    r2.be32(136, 20);
    fake::script_dump(0x140006, {fake::chunk(fake::cat({r.b, r2.b}))});
    const SESSION_TABLEKEY_S key{};
    uint32_t n = 0;
    const std::string body = "Initiator:\r\n" + direction("192.168.1.10/53", "10.0.0.1/5353", "-", "-/-/-", "UDP(17)") +
                             inbound("GE1/0/2") + "Responder:\r\n" +
                             direction("10.0.0.1/5353", "192.168.1.10/53", "2001:db8::1", "-/12/-", "UDP(17)") +
                             inbound("GigabitEthernet1/0/1");
    EXPECT_EQ(shown([&] { return SESSION_DisplayFastforwardSession(2, &key, 1); }, &n),
              body + "TTL: -\r\n\r\n" + body + "TTL: 20s\r\n\r\n");
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{2, 0x140006, 64}));
}

// ------------------------------------------------------------------ Mcfs --

Bytes mcfs_rec(bool inbound, uint32_t if0, uint32_t if1, uint32_t app = 0, uint32_t ttl = 0xFFFFFFFF) {
    const Tuple t{.protocol = 17, .dst = {239, 1, 1, 1}, .dport = 5000};
    Session s{
        .init = t, .resp = reversed(t), .if0 = if0, .if1 = if1, .ttl = ttl, .app = app, .state = 1, .protoIndex = 1};
    s.init.flags = inbound ? 4 : 0;
    return session_rec(s);
}

const std::string kMcfsDir0 = direction("192.168.1.10/40000", "239.1.1.1/5000", "-", "-/-/-", "UDP(17)");
const std::string kMcfsDir1 = direction("239.1.1.1/5000", "192.168.1.10/40000", "-", "-/-/-", "UDP(17)");

TEST_F(SessionTable, McfsBriefGroupsWithBlankLines) {
    fake::script_dump(0x140014,
                      {fake::chunk(fake::cat({mcfs_rec(true, 10, 0), mcfs_rec(false, 0, 11), mcfs_rec(false, 0, 0),
                                              mcfs_rec(true, 0, 0), mcfs_rec(false, 0, 10)}))});
    const SESSION_DUMPKEY_S key{};
    uint32_t n = 0;
    const std::string group = "Inbound initiator:\r\n" + kMcfsDir0;
    EXPECT_EQ(shown([&] { return SESSION_DisplayMcfsTable(1, &key, 0); }, &n),
              group +
                  "Inbound interface: GigabitEthernet1/0/1\r\nOutbound interface list: \r\n    GE1/0/2\r\n"
                  "    N/A\r\n\r\n" +
                  group + "Inbound interface: N/A\r\nOutbound interface list: \r\n    GigabitEthernet1/0/1\r\n\r\n");
    EXPECT_EQ(n, 5u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{1, 0x140014, 88}));
}

TEST_F(SessionTable, McfsVerboseInboundAndOutbound) {
    fake::script_dump(0x140014, {fake::chunk(fake::cat({mcfs_rec(true, 10, 11), mcfs_rec(false, 10, 11, 5, 30)}))});
    const SESSION_DUMPKEY_S key{};
    const std::string packets = flow("Initiator->Responder", "12", "3400") + "\r\n";
    EXPECT_EQ(shown([&] { return SESSION_DisplayMcfsTable(1, &key, 1); }),
              "Inbound initiator:\r\n" + kMcfsDir0 + "Inbound responder:\r\n" + kMcfsDir1 +
                  "Inbound interface: GigabitEthernet1/0/1\r\nState: UDP_OPEN\r\nApplication: -\r\n" + kStart +
                  " TTL: -\r\n" + packets + "Outbound initiator:\r\n" + kMcfsDir0 + "Outbound responder:\r\n" +
                  kMcfsDir1 + "Outbound interface: GE1/0/2\r\nState: UDP_OPEN\r\nApplication: HTTP\r\n" + kStart +
                  " TTL: 30s\r\n" + packets);
    // Application 0 is not looked up.
    EXPECT_EQ(fake::count("APR_GetAppNameByID"), 1u);
}

// -------------------------------------------------------------- relation --

Bytes relation_rec(const Tuple &t, const Bytes &peer, uint32_t ttl, uint32_t app) {
    Rec r(76);
    put_tuple(r, 0, t);
    r.raw(48, peer).be32(64, ttl).be32(68, app).be16(72, 0xABCD);
    return r.b;
}

TEST_F(SessionTable, RelationWildcardsAndIpv6) {
    const Tuple wild{.src = {0, 0, 0, 0}, .sport = 0, .dport = 21};
    const Tuple portOnly{.flags = 2, .sport = 0, .vrf = 7};
    const Tuple v6{.family = 10, .protocol = 17, .src = kIpv6A, .dst = kIpv6B, .dport = 5060, .vrf = 3};
    fake::script_dump(
        0x140002,
        {fake::chunk(fake::cat({relation_rec(wild, Bytes(16, 0), 30, 5), relation_rec(portOnly, kIpv6B, 0xFFFFFFFF, 0),
                                relation_rec(v6, Bytes(16, 0), 1, 0)}))});
    const uint8_t key = 0x5A;
    uint32_t n = 0;
    EXPECT_EQ(shown([&] { return SESSION_DisplayRelation(6, &key); }, &n),
              relation_head("-/-", "10.0.0.1/21", "-", "-/-/-", "TCP(6)", "30s", "HTTP") +
                  relation_head("192.168.1.10/-", "10.0.0.1/80", "2001:db8::2", "-/7/-", "TCP(6)", "4294967295s", "-") +
                  relation_head("2001:db8::1", "2001:db8::2/5060", nullptr, "vpn-a/-/-", "UDP(17)", "1s", "-"));
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(fake::nth("DUMP_Request").args, (std::vector<uint64_t>{6, 0x140002, 1}));
    EXPECT_EQ(fake::hex(fake::nth("DUMP_Request").bytes), "5a");
}

}  // namespace
