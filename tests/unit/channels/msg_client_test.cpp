// SPDX-License-Identifier: Apache-2.0
// The message client on the fake platform: framing, validation, the two
// receive disciplines, and the socket's life within one exchange.
#include <cerrno>
#include <cstring>

#include "dpmgmt/channels.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

using MsgClient = FakePlatformTest;

const Bytes kErrorReply = fake::cat({fake::be32(0xFFFFFFFF), fake::be32(8)});

TEST_F(MsgClient, WorkedExchangeSendsTenBytesAndReturnsThePayload) {
    fake::reply(49, fake::be32(0));
    const uint8_t req[2] = {0x00, 0x01};
    uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, 2, req, 4, out), DPMGMT_OK);
    EXPECT_EQ(fake::sent(), "00 00 00 31 00 00 00 0a 00 01");
    EXPECT_EQ(fake::hex(out, 4), "00 00 00 00");
    // Socket: family 37, datagram, protocol 1; the 16-byte address record.
    EXPECT_EQ(fake::nth("SOCK_Socket").args, (std::vector<uint64_t>{37, 2, 1}));
    ASSERT_EQ(fake::socket_log().addresses.size(), 1u);
    EXPECT_EQ(fake::hex(fake::socket_log().addresses[0]), "10 25 0c 70 80 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(fake::call_names("SOCK_"),
              (std::vector<std::string>{"SOCK_Socket", "SOCK_Connect", "SOCK_Send", "SOCK_Recv", "SOCK_Close"}));
    // The receive buffer is the reply maximum plus the header.
    EXPECT_EQ(fake::nth("SOCK_Recv").args[1], 12u);
}

TEST_F(MsgClient, ReplyValidation) {
    struct Case {
        const char *what;
        Bytes datagram;
        uint32_t expect;
        const char *out;  // the reply buffer afterwards
    };
    const Case cases[] = {
        {"empty payload with a correct length", fake::cat({fake::be32(49), fake::be32(8)}), DPMGMT_OK, "aa aa aa aa"},
        {"length 12 on 11 bytes", fake::cat({fake::be32(49), fake::be32(12), {0, 0, 7}}), DPMGMT_ERR_FAILED,
         "aa aa aa aa"},
        {"error reply", kErrorReply, DPMGMT_ERR_FAILED, "aa aa aa aa"},
        {"payload longer than the maximum", fake::datagram(49, fake::be64(5)), DPMGMT_ERR_FAILED, "aa aa aa aa"},
        {"another type than the request's", fake::datagram(7, fake::be32(0x2A)), DPMGMT_OK, "00 00 00 2a"},
        {"short payload", fake::datagram(49, {0x11, 0x22}), DPMGMT_OK, "11 22 aa aa"},
        {"shorter than a header", Bytes{0, 0, 0, 49, 0, 0, 0}, DPMGMT_ERR_FAILED, "aa aa aa aa"},
    };
    for (const Case &c : cases) {
        fake::reset();
        fake::sockets().receives.push_back({1, 0, c.datagram});
        uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
        EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, 0, nullptr, 4, out), c.expect) << c.what;
        EXPECT_EQ(fake::hex(out, 4), c.out) << c.what;
        EXPECT_EQ(fake::socket_log().closed, 1) << c.what;
    }
}

TEST_F(MsgClient, TransportFailures) {
    uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    fake::sockets().socketResult = -1;
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 1, 0, nullptr, 4, out), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::count("SOCK_Connect"), 0u);

    fake::reset();
    fake::sockets().connectResult = -1;
    EXPECT_EQ(SESSION_MSG_Connect2Server(3184), -1);
    EXPECT_EQ(fake::socket_log().closed, 1);  // the socket is not leaked
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 1, 0, nullptr, 4, out), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::count("SOCK_Send"), 0u);

    fake::reset();
    fake::sockets().sendResult = -1;
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 1, 0, nullptr, 4, out), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::count("SOCK_Recv"), 0u);
    EXPECT_EQ(fake::socket_log().closed, 1);

    fake::reset();
    fake::sockets().sendResult = 3;  // a short count is still a send
    fake::reply(1, fake::be32(0));
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 1, 0, nullptr, 4, out), DPMGMT_OK);

    fake::reset();
    fake::sockets().receives.push_back({0, 0, {}});  // an empty datagram
    std::memset(out, 0xAA, sizeof out);
    EXPECT_EQ(SESSION_MSG_SendRecvMsg(3184, 1, 0, nullptr, 4, out), DPMGMT_ERR_FAILED);
    EXPECT_EQ(fake::hex(out, 4), "aa aa aa aa");
}

TEST_F(MsgClient, ErrorReplyBuilderAndGeneralCheck) {
    EXPECT_EQ(SESSION_MSG_ErrorMsgReply(5), DPMGMT_OK);
    EXPECT_EQ(fake::sent(), "ff ff ff ff 00 00 00 08");
    EXPECT_EQ(fake::sent(1), "<nothing sent>");

    uint32_t total = 77;
    EXPECT_EQ(_msg_CreateMsg(1, 0xFFFFFFF8u, "x", &total), nullptr);
    EXPECT_EQ(total, 77u);  // left unwritten on failure

    const Bytes msg = fake::datagram(0x01020304, {0xDE, 0xAD, 0xBE, 0xEF});
    uint32_t type = 0, len = 0;
    void *payload = nullptr;
    EXPECT_EQ(SESSION_MSG_GeneralCheck(msg.data(), 12, &type, &len, &payload), DPMGMT_OK);
    EXPECT_EQ(type, 0x01020304u);  // host order
    EXPECT_EQ(len, 4u);
    EXPECT_EQ(payload, msg.data() + 8);

    // An error reply, or a length field unequal to what was received (in
    // either direction): failure, and the outputs are not written.
    Bytes longer = msg;
    longer.push_back(0);
    const std::pair<const Bytes *, uint32_t> bad[] = {{&kErrorReply, 8}, {&msg, 11}, {&longer, 13}};
    for (const auto &[bytes, received] : bad) {
        type = 1, len = 2, payload = &total;
        EXPECT_EQ(SESSION_MSG_GeneralCheck(bytes->data(), received, &type, &len, &payload), DPMGMT_ERR_FAILED);
        EXPECT_EQ(type, 1u);
        EXPECT_EQ(len, 2u);
        EXPECT_EQ(payload, &total);
    }
}

TEST_F(MsgClient, PatientReceiveEndings) {
    struct Case {
        const char *what;
        std::vector<fake::Recv> receives;
        bool setOptFails;
        uint32_t expect;
        const char *text;
        size_t recvCalls;
    };
    const fake::Recv again{-1, EAGAIN, {}};
    const fake::Recv ok{1, 0, fake::datagram(20, fake::be32(0))};
    const char *const one = "Resetting session.Done.\r\n", *const four = "Resetting session....Done.\r\n";
    const Case cases[] = {
        {"answered at once: quiet", {ok}, false, DPMGMT_OK, "", 1},
        {"a dot a wait; a signal waits again", {again, again, again, {-1, EINTR, {}}, ok}, false, DPMGMT_OK, four, 5},
        {"a hard error after a wait closes the line", {again, {-1, ECONNRESET, {}}}, false, DPMGMT_ERR_FAILED, one, 2},
        {"an error reply after a wait", {again, {1, 0, kErrorReply}}, false, DPMGMT_ERR_FAILED, one, 2},
        {"an empty datagram is not waited past", {{0, 0, {}}, ok}, false, DPMGMT_ERR_FAILED, "", 1},
        {"a hard error first: no progress started", {{-1, EBADF, {}}}, false, DPMGMT_ERR_FAILED, "", 1},
        {"the time-out cannot be set", {ok}, true, DPMGMT_ERR_FAILED, "", 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        fake::reset();
        fake::sockets().receives.assign(c.receives.begin(), c.receives.end());
        fake::sockets().setOptResult = c.setOptFails ? -1 : 0;
        fake::CaptureStdout out;
        uint8_t res[4] = {9, 9, 9, 9};
        EXPECT_EQ(SESSION_MSG_SendRecvMsg_DontWait(3184, 20, 0, nullptr, 4, res), c.expect);
        EXPECT_EQ(out.take(), c.text);
        EXPECT_EQ(fake::count("SOCK_Recv"), c.recvCalls);
        EXPECT_EQ(fake::hex(res, 4), c.expect == DPMGMT_OK ? "00 00 00 00" : "09 09 09 09");
        EXPECT_EQ(fake::socket_log().closed, 1);
        // Level 1, option 0x1006: one second and no microseconds.
        const fake::Call &opt = fake::nth("SOCK_SetSockOpt");
        EXPECT_EQ((std::vector<uint64_t>{opt.args[1], opt.args[2]}), (std::vector<uint64_t>{1, 0x1006}));
        EXPECT_EQ(fake::hex(opt.bytes), "01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    }
}

}  // namespace
