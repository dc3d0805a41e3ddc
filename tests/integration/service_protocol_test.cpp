// SPDX-License-Identifier: Apache-2.0
// The session service as a process: requests of a wrong length or an
// unknown type get the error reply, and a clean stop leaves no socket
// behind.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/service_process.h"

namespace {

using dptest::be32;
using dptest::Bytes;
using dptest::operator+;
using dptest::get_be32;

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
