// SPDX-License-Identifier: Apache-2.0
// The session service as a process: requests of a wrong length or an
// unknown type get the error reply, what a set request stores is what the
// matching query answers, and a clean stop leaves no socket behind.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/service_process.h"

namespace {

using dptest::be16;
using dptest::be32;
using dptest::Bytes;
using dptest::operator+;
using dptest::get_be32;

constexpr uint32_t kFailed = 0x40010001u;
const Bytes kErrorReply = be32(0xFFFFFFFFu) + be32(8);

class ServiceProtocol : public ::testing::Test {
protected:
    // The payload of a reply, after checking its header; empty when none.
    Bytes query(uint32_t type, const Bytes &payload) {
        const auto reply = client.exchange(type, payload);
        EXPECT_TRUE(reply && reply->size() >= 8 && get_be32(reply->data()) == type &&
                    get_be32(reply->data() + 4) == reply->size())
            << "type " << type;
        return reply && reply->size() >= 8 ? Bytes(reply->begin() + 8, reply->end()) : Bytes{};
    }

    dptest::ServiceProcess svc{{"--sessions", "50"}};
    dptest::SvcClient client{svc.rundir()};
};

TEST_F(ServiceProtocol, WrongLengthsAndUnknownTypesGetTheErrorReply) {
    // {type, request payload, reply payload}: one of each shape of message.
    const uint32_t shapes[][3] = {{0, 8, 4},     {13, 0, 68}, {18, 12, 2912}, {20, 68, 4},
                                  {29, 96, 112}, {49, 2, 4},  {83, 12, 12},   {86, 16, 16}};
    for (const auto &[type, request, reply] : shapes) {
        SCOPED_TRACE("type " + std::to_string(type));
        EXPECT_EQ(query(type, Bytes(request, 0)).size(), reply);
        EXPECT_EQ(client.exchange(type, Bytes(request + 1, 0)), kErrorReply);
        if (request > 0) {
            EXPECT_EQ(client.exchange(type, Bytes(request - 1, 0)), kErrorReply);
        }
    }
    for (uint32_t type : {8u, 23u, 66u, 88u, 0x7FFFFFFFu})
        EXPECT_EQ(client.exchange(type, Bytes(4, 0)), kErrorReply) << type;
}

// Each row: a set request and the result it answers (none when kNone),
// then a query and the bytes expected at an offset of its reply.  Rows run
// in order on one service, so later rows see what earlier ones set.
TEST_F(ServiceProtocol, WhatIsSetIsWhatTheQueryAnswers) {
    constexpr uint32_t kNone = ~0u;
    const auto logPolicy = [](uint32_t ifIndex, uint32_t value) { return be32(ifIndex) + be32(value) + Bytes(12, 0); };
    const Bytes tail = {0xAB, 0xCD};  // a query's trailing bytes come back as they went
    const Bytes sip = be32(0) + be16(0) + tail;
    const auto remark = [](uint32_t k2, uint16_t flag, uint16_t value) {
        return be32(1) + be32(k2) + be16(flag) + be16(value);
    };
    const struct Row {
        uint32_t set;
        Bytes setPayload;
        uint32_t rc;
        uint32_t get;
        Bytes getPayload;
        size_t at;
        Bytes expected;
    } rows[] = {
        // aging: application 16 and layer-4 state 18 are the last of their lists
        {0, be32(16) + be32(1234), 0, 13, {}, 64, be32(1234)},
        {0, be32(17) + be32(5), kFailed, 13, {}, 60, be32(600)},
        {1, be32(18) + be32(99), 0, 14, {}, 72, be32(99)},
        // logging, kept per interface
        {2, logPolicy(7, 5), 0, 3, logPolicy(7, 0), 0, be32(5)},
        {kNone, {}, 0, 3, logPolicy(8, 0), 0, be32(0)},
        {4, be32(1) + be32(5000), 0, 6, Bytes(8), 0, be32(1) + be32(5000)},
        // persistent sessions: three words kept as given
        {9, be32(1) + be32(2) + be32(0x03040506), 0, 10, Bytes(12), 0, be32(1) + be32(2) + be32(0x03040506)},
        // debugging bits switch on and off
        {11, be32(4) + be32(5) + be32(1) + Bytes(4, 0), 0, kNone, {}, 0, {}},
        {11, be32(4) + be32(1) + be32(0) + Bytes(4, 0), 0, 15, {}, 16, be32(4)},
        // u16 switches, limits per selector
        {47, be16(1), 0, 48, {}, 0, be16(1)},
        {54, be32(2) + be32(5000), 0, 56, be32(2), 0, be32(5000)},
        {54, be32(16) + be32(1), kFailed, 56, be32(3), 0, be32(0)},
        // call quality analysis; deleting the view restores the initial settings
        {71, be16(1), 0, 84, sip, 0, be32(0) + be16(1) + tail},
        {71, be16(2), kFailed, 84, sip, 0, be32(0) + be16(1) + tail},
        {79, Bytes{192, 168, 1, 0, 10, 0, 0, 1} + be16(24) + Bytes(2), 0, 86, be32(1) + Bytes(10) + tail, 0,
         be32(1) + Bytes{192, 168, 1, 0, 10, 0, 0, 1} + be16(24) + tail},
        {72, be16(5070), 0, 85, sip, 0, be32(0) + be16(5070) + tail},
        {82, remark(2, 1, 7), 0, 83, remark(2, 0, 0), 0, remark(2, 1, 7)},
        {80, be16(0), 0, 85, sip, 0, be32(0) + be16(5060) + tail},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const Row &r = rows[i];
        SCOPED_TRACE(testing::Message() << "row " << i << ": set " << r.set << ", get " << r.get);
        if (r.set != kNone) {
            EXPECT_EQ(client.command(r.set, r.setPayload), std::optional<uint32_t>(r.rc));
        }
        if (r.get != kNone) {
            const Bytes reply = query(r.get, r.getPayload);
            ASSERT_GE(reply.size(), r.at + r.expected.size());
            EXPECT_EQ(Bytes(reply.begin() + r.at, reply.begin() + r.at + r.expected.size()), r.expected);
        }
    }
}

TEST_F(ServiceProtocol, SigtermRemovesSocketsAndPidFile) {
    const std::string pidfile = svc.rundir() + "/svc.pid";
    svc.restart({"--pidfile", pidfile});
    struct stat st {};
    ASSERT_EQ(::lstat(pidfile.c_str(), &st), 0);
    EXPECT_EQ(svc.stop(), 0);
    for (const char *file : {"/svc-3184.sock", "/kernel.sock", "/svc.pid"})
        EXPECT_NE(::lstat((svc.rundir() + file).c_str(), &st), 0) << file;
}

}  // namespace
