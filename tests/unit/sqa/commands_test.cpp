// SPDX-License-Identifier: Apache-2.0
// SQA commands: the exact datagrams sent, the result word, and how the get
// commands convert the reply.  (Every failed exchange is the hostile-peer
// tests' business.)
#include <functional>

#include "sqa_fixture.h"

using fake::Bytes;

namespace {

class SqaCommands : public SqaTest {
protected:
    static void reply(const Bytes &payload) { fake::reply(90, payload); }
    static std::string sent(size_t i = 0) { return fake::sent(i); }
    // A network-order address word as the caller holds it: the bytes in order.
    static uint32_t addr(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
        const uint8_t bytes[4] = {a, b, c, d};
        uint32_t v;
        std::memcpy(&v, bytes, 4);
        return v;
    }
};

struct SetCase {
    const char *name;
    std::function<uint32_t()> call;
    const char *datagram;
};

TEST_F(SqaCommands, SetCommandsSendTheirPayloads) {
    const uint32_t ip1 = addr(0xC0, 0xA8, 0x01, 0x00);
    const uint32_t ip2 = addr(0x0A, 0x00, 0x00, 0x01);
    const SQA_REMARK_S remark{0x01020304, 5, 1, 46};
    const SetCase cases[] = {
        {"sip port", [] { return SQA_IPC_SetSipPort(5060); }, "00 00 00 48 00 00 00 0a 13 c4"},
        {"sip debug", [] { return SQA_IPC_SetSipDbg(0x10203, 0x405); },
         "00 00 00 49 00 00 00 10 00 01 02 03 04 05 00 00"},
        {"sip filter", [&] { return SQA_IPC_SetSipFilterIp(ip1, ip2, 24); },
         "00 00 00 4a 00 00 00 14 c0 a8 01 00 0a 00 00 01 00 18 00 00"},
        {"remark", [&] { return SQA_IPC_SetRemark(&remark); },
         "00 00 00 52 00 00 00 14 01 02 03 04 00 00 00 05 00 01 00 2e"},
    };
    for (const SetCase &c : cases) {
        SCOPED_TRACE(c.name);
        fake::reset();
        reply(fake::be32(0x40010123));
        EXPECT_EQ(c.call(), 0x40010123u);  // the service's verdict, in host order
        EXPECT_EQ(sent(), c.datagram);
        EXPECT_EQ(fake::nth("SOCK_Recv").args[1], 12u);  // room for a 4-byte result
    }
}

TEST_F(SqaCommands, GetRemarkConvertsBothWays) {
    SQA_REMARK_S r{0x01020304, 5, 0, 0};
    reply(fake::cat({fake::be32(0x01020304), fake::be32(5), fake::be16(1), fake::be16(46)}));
    EXPECT_EQ(SQA_IPC_GetRemark(&r), 0u);
    EXPECT_EQ(sent(), "00 00 00 53 00 00 00 14 01 02 03 04 00 00 00 05 00 00 00 00");
    EXPECT_EQ(r.uiRemarkKey1, 0x01020304u);
    EXPECT_EQ(r.uiRemarkKey2, 5u);
    EXPECT_EQ(r.usRemarkFlag, 1u);
    EXPECT_EQ(r.usRemarkValue, 46u);
}

TEST_F(SqaCommands, SwitchQueryCarriesTheTrailingBytes) {
    SQA_SWITCH_QUERY_S q{1, 7, {0xAA, 0xBB}};
    reply(fake::cat({fake::be32(1), fake::be16(1), Bytes{0xCC, 0xDD}}));
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), 0u);
    EXPECT_EQ(sent(), "00 00 00 54 00 00 00 10 00 00 00 01 00 07 aa bb");
    EXPECT_EQ(q.uiProtocol, 1u);
    EXPECT_EQ(q.usValue, 1u);
    EXPECT_EQ(q.aucReserved[0], 0xCC);  // not converted
    EXPECT_EQ(q.aucReserved[1], 0xDD);
}

TEST_F(SqaCommands, FilterQueryConvertsEveryWord) {
    SQA_FILTER_QUERY_S q{1, 0x11223344, 0x55667788, 0x99, {1, 2}};
    reply(fake::cat({fake::be32(1), Bytes{0xC0, 0xA8, 0x01, 0x00}, Bytes{0x0A, 0, 0, 1}, fake::be16(24), Bytes{3, 4}}));
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&q), 0u);
    EXPECT_EQ(sent(), "00 00 00 56 00 00 00 18 00 00 00 01 11 22 33 44 55 66 77 88 00 99 01 02");
    EXPECT_EQ(q.uiFilterIp1, 0xC0A80100u);
    EXPECT_EQ(q.uiFilterIp2, 0x0A000001u);
    EXPECT_EQ(q.usFilterFlag, 24u);
    EXPECT_EQ(q.aucReserved[0], 3);

    // A short reply fills the rest with zeros.
    reply(fake::be32(0));
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&q), 0u);
    EXPECT_EQ(fake::hex(&q, sizeof q), fake::hex(Bytes(sizeof q, 0)));
    EXPECT_EQ(SQA_IPC_GetRemark(nullptr), DPMGMT_ERR_FAILED);
    EXPECT_EQ(SQA_IPC_GetFilterAddress(nullptr), DPMGMT_ERR_FAILED);
}

}  // namespace
