// SPDX-License-Identifier: Apache-2.0
// SQA commands: the exact datagrams sent, the result word, and how the get
// commands convert the reply.  (Every failed exchange is the hostile-peer
// tests' business.)
#include <arpa/inet.h>

#include <functional>

#include "sqa_fixture.h"

using fake::Bytes;

namespace {

using Words = std::vector<uint32_t>;

class SqaCommands : public SqaTest {
protected:
    static void reply(const Bytes &payload) { fake::reply(90, payload); }
};

TEST_F(SqaCommands, SetCommandsSendTheirPayloads) {
    // Addresses as the caller holds them: network order.
    const uint32_t ip1 = htonl(0xC0A80100), ip2 = htonl(0x0A000001);
    const SQA_REMARK_S remark{0x01020304, 5, 1, 46};
    const struct {
        const char *name;
        std::function<uint32_t()> call;
        const char *datagram;
    } cases[] = {
        {"sip port", [] { return SQA_IPC_SetSipPort(5060); }, "00 00 00 48 00 00 00 0a 13 c4"},
        {"sip debug", [] { return SQA_IPC_SetSipDbg(0x10203, 0x405); },
         "00 00 00 49 00 00 00 10 00 01 02 03 04 05 00 00"},
        {"sip filter", [&] { return SQA_IPC_SetSipFilterIp(ip1, ip2, 24); },
         "00 00 00 4a 00 00 00 14 c0 a8 01 00 0a 00 00 01 00 18 00 00"},
        {"remark", [&] { return SQA_IPC_SetRemark(&remark); },
         "00 00 00 52 00 00 00 14 01 02 03 04 00 00 00 05 00 01 00 2e"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        fake::reset();
        reply(fake::be32(0x40010123));
        EXPECT_EQ(c.call(), 0x40010123u);  // the service's verdict, in host order
        EXPECT_EQ(fake::sent(), c.datagram);
        EXPECT_EQ(fake::nth("SOCK_Recv").args[1], 12u);  // room for a 4-byte result
    }
}

TEST_F(SqaCommands, GetCommandsConvertBothWays) {
    SQA_REMARK_S r{0x01020304, 5, 0, 0};
    reply(fake::cat({fake::be32(0x01020304), fake::be32(5), fake::be16(1), fake::be16(46)}));
    EXPECT_EQ(SQA_IPC_GetRemark(&r), 0u);
    EXPECT_EQ(fake::sent(0), "00 00 00 53 00 00 00 14 01 02 03 04 00 00 00 05 00 00 00 00");
    EXPECT_EQ((Words{r.uiRemarkKey1, r.uiRemarkKey2, r.usRemarkFlag, r.usRemarkValue}), (Words{0x01020304, 5, 1, 46}));

    // The trailing bytes of the switch query travel, and come back, as they are.
    SQA_SWITCH_QUERY_S q{1, 7, {0xAA, 0xBB}};
    reply(fake::cat({fake::be32(1), fake::be16(1), Bytes{0xCC, 0xDD}}));
    EXPECT_EQ(SQA_IPC_GetSqaEnable(&q), 0u);
    EXPECT_EQ(fake::sent(1), "00 00 00 54 00 00 00 10 00 00 00 01 00 07 aa bb");
    EXPECT_EQ((Words{q.uiProtocol, q.usValue, q.aucReserved[0], q.aucReserved[1]}), (Words{1, 1, 0xCC, 0xDD}));

    SQA_FILTER_QUERY_S f{1, 0x11223344, 0x55667788, 0x99, {1, 2}};
    reply(fake::cat({fake::be32(1), Bytes{0xC0, 0xA8, 0x01, 0x00}, Bytes{0x0A, 0, 0, 1}, fake::be16(24), Bytes{3, 4}}));
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&f), 0u);
    EXPECT_EQ(fake::sent(2), "00 00 00 56 00 00 00 18 00 00 00 01 11 22 33 44 55 66 77 88 00 99 01 02");
    EXPECT_EQ((Words{f.uiFilterIp1, f.uiFilterIp2, f.usFilterFlag, f.aucReserved[0]}),
              (Words{0xC0A80100, 0x0A000001, 24, 3}));

    // A short reply fills the rest with zeros.
    reply(fake::be32(0));
    EXPECT_EQ(SQA_IPC_GetFilterAddress(&f), 0u);
    EXPECT_EQ(fake::hex(&f, sizeof f), fake::hex(Bytes(sizeof f, 0)));
    EXPECT_EQ(SQA_IPC_GetRemark(nullptr), DPMGMT_ERR_FAILED);
}

}  // namespace
