// SPDX-License-Identifier: Apache-2.0
// The message client on the fake platform: framing, the patient receive's
// progress text, and the socket's life within one exchange (the reply
// validation is checked against its rules by msg_framing_fuzz).
#include <cerrno>

#include "dpmgmt/channels.h"
#include "fake/fake_platform.h"

namespace {

using MsgClient = FakePlatformTest;

TEST_F(MsgClient, WorkedExchangeSendsTenBytesAndReturnsThePayload) {
    fake::sockets().sendResult = 3;  // a short count is still a send
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

TEST_F(MsgClient, ErrorReplyAndOversizedPayload) {
    EXPECT_EQ(SESSION_MSG_ErrorMsgReply(5), DPMGMT_OK);
    EXPECT_EQ(fake::sent(), "ff ff ff ff 00 00 00 08");
    EXPECT_EQ(fake::sent(1), "<nothing sent>");

    uint32_t total = 77;
    EXPECT_EQ(_msg_CreateMsg(1, 0xFFFFFFF8u, "x", &total), nullptr);
    EXPECT_EQ(total, 77u);  // left unwritten on failure
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
