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

const Bytes kErrorReply = be32(0xFFFFFFFFu) + be32(8);

class ServiceProtocol : public ::testing::Test {
protected:
    std::optional<Bytes> exchange(uint32_t type, size_t length) {
        return dptest::svc_exchange(svc.rundir(), type, Bytes(length, 0));
    }
    dptest::ServiceProcess svc{{"--sessions", "50"}};
};

TEST_F(ServiceProtocol, WrongLengthsAndUnknownTypesGetTheErrorReply) {
    // {type, request payload, reply payload}: one of each shape of message.
    const uint32_t shapes[][3] = {{0, 8, 4},     {13, 0, 68}, {18, 12, 2912}, {20, 68, 4},
                                  {29, 96, 112}, {49, 2, 4},  {83, 12, 12},   {86, 16, 16}};
    for (const auto &[type, request, reply] : shapes) {
        SCOPED_TRACE("type " + std::to_string(type));
        const auto answer = exchange(type, request);
        ASSERT_TRUE(answer && answer->size() == 8 + reply);
        EXPECT_EQ(Bytes(answer->begin(), answer->begin() + 8), be32(type) + be32(8 + reply));
        EXPECT_EQ(exchange(type, request + 1), kErrorReply);
        if (request > 0) {
            EXPECT_EQ(exchange(type, request - 1), kErrorReply);
        }
    }
    for (uint32_t type : {8u, 23u, 66u, 88u, 0x7FFFFFFFu}) EXPECT_EQ(exchange(type, 4), kErrorReply) << type;
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
