// SPDX-License-Identifier: Apache-2.0
// Session settings commands on the wire: the exact datagram each set and
// reset command sends, the result code it returns, and the caller's record
// left as it was.
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

using fake::Bytes;

namespace {

using SessionCommands = FakePlatformTest;

void reply(const Bytes &payload) {
    fake::reply(0, payload);
}

// Records are filled from host values.
const SESSION_AGING_S kAging = {3, 600};
const SESSION_PERSIST_S kPersist = {{0x11, 0x2233, 0x44556677}};
const SESSION_LOGPOLICY_REQ_S kLogPolicy = {0x0A, 0x0B, {0x0C, 0x0D}, 0x0E0F, {0x10, 0x11}};
const SESSION_DEBUG_S kDebug = {1, 0x80000001u, 1, 0x0405, {0x06, 0x07}};

TEST_F(SessionCommands, EverySetAndResetSendsItsPayloadAndReturnsTheResult) {
    SESSION_TRAFFICLOG_BILL_S theBill;
    for (size_t i = 0; i < sizeof(theBill); ++i) reinterpret_cast<uint8_t *>(&theBill)[i] = uint8_t(0x80 + i);
    theBill.usEnable = 1;
    theBill.usFormat = 0x0203;
    theBill.usPort = 514;
    const uint8_t selector = 0x41;
    struct Case {
        const char *what;
        std::function<uint32_t()> call;
        const char *datagram;
    };
    const Case cases[] = {
        {"app aging", [] { return SESSION_IPC_SetAppAging(&kAging); },
         "00 00 00 00 00 00 00 10 00 00 00 03 00 00 02 58"},
        {"log policy", [] { return SESSION_IPC_SetLogPolicy(&kLogPolicy); },
         "00 00 00 02 00 00 00 1c 00 00 00 0a 00 00 00 0b 00 00 00 0c 00 00 00 0d 0e 0f 10 11"},
        {"persist", [] { return SESSION_IPC_SetPersist(&kPersist); },
         "00 00 00 09 00 00 00 14 00 00 00 11 00 00 22 33 44 55 66 77"},
        {"debug", [] { return SESSION_IPC_SetDebug(&kDebug); },
         "00 00 00 0b 00 00 00 18 00 00 00 01 80 00 00 01 00 00 00 01 04 05 06 07"},
        {"reset relation", [&] { return SESSION_IPC_ResetRelation(3, &selector); },
         "00 00 00 15 00 00 00 0c 00 03 41 00"},
        {"stat enable", [] { return SESSION_IPC_SetStatEnable(1); }, "00 00 00 31 00 00 00 0a 00 01"},
        {"sync app switch", [] { return SESSION_IPC_SetSessionSyncAppSwitch(1, 0x0203); },
         "00 00 00 32 00 00 00 0c 00 01 02 03"},
        {"reset stat fail", [] { return SESSION_IPC_ResetStatFail(1, 0x02030405); },
         "00 00 00 3c 00 00 00 10 00 01 00 00 02 03 04 05"},
        {"reset event statistics", [] { return SESSION_IPC_ResetEventStatistics(1, 2); },
         "00 00 00 3d 00 00 00 10 00 00 00 01 00 02 00 00"},
        {"bill", [&] { return SESSION_IPC_TrafficLogEnableBill(&theBill); },
         "00 00 00 46 00 00 00 34 00 01 82 83 02 03 86 87 88 89 8a 8b 8c 8d 8e 8f 90 91 92 93 94 95 96 97 02 02 "
         "9a 9b 9c 9d 9e 9f a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 aa ab"},
    };
    const SESSION_TRAFFICLOG_BILL_S billBefore = theBill;
    for (const Case &c : cases) {
        fake::reset();
        reply(fake::be32(0x40010006));  // the service's verdict comes back unchanged
        EXPECT_EQ(c.call(), 0x40010006u) << c.what;
        EXPECT_EQ(fake::sent(), c.datagram) << c.what;
        EXPECT_EQ(fake::sent(1), "<nothing sent>") << c.what;
        EXPECT_EQ(fake::socket_log().closed, 1) << c.what;
    }
    // The caller's record is converted in a copy.
    EXPECT_EQ(std::memcmp(&theBill, &billBefore, sizeof(theBill)), 0);

    // The missing bytes of a short result word read 0.
    fake::reset();
    reply({0x12, 0x34});
    EXPECT_EQ(SESSION_IPC_SetStatEnable(1), 0x12340000u);
}

TEST_F(SessionCommands, NullRecordsSendNothing) {
    EXPECT_EQ(SESSION_IPC_SetAppAging(nullptr), 0x40010001u);
    EXPECT_EQ(fake::socket_log().opened, 0);
}

// The reset key below as it travels.
const std::string kKeyWire =
    "02 06 00 00 0a 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 c0 a8 00 01 00 00 00 00 00 00 00 00 00 00 00 00 "
    "04 00 00 50 00 00 00 00 00 05 00 00 01 02 03 04 00 00 00 09 00 00 00 00 00 00 00 ee";

// Both resets send the converted key through the patient receive, which
// shows progress only while the service works.
TEST_F(SessionCommands, PatientResetsSendTheConvertedKey) {
    SESSION_TABLEKEY_S k{};
    k.stTuple.ucFamily = SESSION_AF_IPV4;
    k.stTuple.ucProtocol = 6;
    const uint32_t src = 0x0A000001, dst = 0xC0A80001;
    std::memcpy(k.stTuple.aucSrcAddr, &src, 4);
    std::memcpy(k.stTuple.aucDstAddr, &dst, 4);
    k.stTuple.usSrcPort = 1024;
    k.stTuple.usDstPort = 80;
    k.stTuple.usVrfIndex = 5;
    k.uiKeyWord1 = 0x01020304;
    k.uiKeyWord2 = 9;
    k.aucReserved[7] = 0xEE;
    const SESSION_TABLEKEY_S before = k;
    struct Case {
        uint32_t (*reset)(uint16_t, const SESSION_TABLEKEY_S *);
        int waits;
        uint32_t verdict;
        const char *shown, *head;
    };
    const Case cases[] = {
        {SESSION_ResetSession, 2, 0, "Resetting session..Done.\r\n", "00 00 00 14 00 00 00 4c 01 02 00 00 "},
        {SESSION_ResetMcfsSession, 0, 0x40010005, "", "00 00 00 3a 00 00 00 4c 01 02 00 00 "},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.head);
        fake::reset();
        for (int i = 0; i < c.waits; ++i) fake::fail_recv(EAGAIN);
        reply(fake::be32(c.verdict));
        fake::CaptureStdout out;
        EXPECT_EQ(c.reset(0x0102, &k), c.verdict);
        EXPECT_EQ(out.take(), c.shown);
        EXPECT_EQ(fake::sent(), c.head + kKeyWire);
        EXPECT_EQ(std::memcmp(&k, &before, sizeof(k)), 0);
        EXPECT_EQ(fake::count("SOCK_SetSockOpt"), 1u);  // the patient receive
    }
}

}  // namespace
