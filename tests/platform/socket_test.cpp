// Family-37 datagram sockets over the run directory.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "platform/socket.h"
#include "sim_fixture.h"

namespace {

using dpsim_test::ScopedEnv;
using dpsim_test::TempDir;

// The appliance's address record for a port.
struct Record {
    uint8_t bytes[16] = {16, 37, 0, 0, 0x80, 0x00};
    explicit Record(uint16_t port) {
        bytes[2] = static_cast<uint8_t>(port >> 8);
        bytes[3] = static_cast<uint8_t>(port);
    }
};

class SocketTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};

    // A plain Unix datagram server where the service of `port` listens.
    int serve(uint16_t port) {
        const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        const std::string path = dir_.path() + "/svc-" + std::to_string(port) + ".sock";
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
        return fd;
    }
};

TEST_F(SocketTest, DatagramRoundTripThroughTheServicePort) {
    const int server = serve(3184);
    const int fd = SOCK_Socket(37, 2, 1);
    ASSERT_GE(fd, 0);
    const Record rec(3184);
    ASSERT_EQ(SOCK_Connect(fd, rec.bytes, 16), 0);
    const uint8_t request[10] = {0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1};
    ASSERT_EQ(SOCK_Send(fd, request, sizeof request, 0), 10);

    uint8_t got[64];
    sockaddr_un from{};
    socklen_t fromLen = sizeof from;
    ASSERT_EQ(::recvfrom(server, got, sizeof got, 0, reinterpret_cast<sockaddr *>(&from), &fromLen), 10);
    EXPECT_EQ(std::memcmp(got, request, 10), 0);
    // The client autobound, so the service has somewhere to answer.
    ASSERT_GT(fromLen, sizeof(sa_family_t));

    const uint8_t reply[12] = {0, 0, 0, 0x31, 0, 0, 0, 0x0C, 0, 0, 0, 7};
    ASSERT_EQ(::sendto(server, reply, sizeof reply, 0, reinterpret_cast<sockaddr *>(&from), fromLen), 12);
    uint8_t in[64];
    ASSERT_EQ(SOCK_Recv(fd, in, sizeof in, 0), 12);
    EXPECT_EQ(std::memcmp(in, reply, 12), 0);

    // A datagram larger than the buffer is cut, as the client expects.
    ASSERT_EQ(::sendto(server, reply, sizeof reply, 0, reinterpret_cast<sockaddr *>(&from), fromLen), 12);
    EXPECT_EQ(SOCK_Recv(fd, in, 9, 0), 9);
    EXPECT_EQ(SOCK_Close(fd), 0);
    ::close(server);
}

TEST_F(SocketTest, MalformedRequestsFailWithErrno) {
    struct Case {
        int domain, type, protocol, err;
    };
    for (const Case &c : {Case{2, 2, 1, EAFNOSUPPORT}, Case{37, 1, 1, EINVAL}, Case{37, 2, 6, EPROTONOSUPPORT}}) {
        errno = 0;
        EXPECT_EQ(SOCK_Socket(c.domain, c.type, c.protocol), -1);
        EXPECT_EQ(errno, c.err) << c.domain << "/" << c.type << "/" << c.protocol;
    }

    const int fd = SOCK_Socket(37, 2, 1);
    ASSERT_GE(fd, 0);
    Record badLength(3184);
    badLength.bytes[0] = 15;
    Record badFamily(3184);
    badFamily.bytes[1] = 2;
    const Record good(3184);
    struct ConnectCase {
        const void *addr;
        uint32_t len;
        int err;
    };
    for (const ConnectCase &c : {ConnectCase{badLength.bytes, 16, EINVAL}, ConnectCase{badFamily.bytes, 16, EAFNOSUPPORT},
                                 ConnectCase{good.bytes, 8, EINVAL}, ConnectCase{nullptr, 16, EINVAL}}) {
        errno = 0;
        EXPECT_EQ(SOCK_Connect(fd, c.addr, c.len), -1);
        EXPECT_EQ(errno, c.err);
    }
    // Nobody serves the port.
    EXPECT_EQ(SOCK_Connect(fd, good.bytes, 16), -1);
    EXPECT_NE(errno, 0);

    const int64_t tv[2] = {1, 0};
    errno = 0;
    EXPECT_EQ(SOCK_SetSockOpt(fd, 1, 0x1007, tv, 16), -1);
    EXPECT_EQ(errno, ENOPROTOOPT);
    errno = 0;
    EXPECT_EQ(SOCK_SetSockOpt(fd, 1, 0x1006, tv, 8), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(SOCK_SetSockOpt(fd, 6, 0x1006, tv, 16), -1);
    EXPECT_EQ(errno, ENOPROTOOPT);
    SOCK_Close(fd);
}

TEST_F(SocketTest, ReceiveTimeOutEndsWithEagain) {
    const int server = serve(3184);
    const int fd = SOCK_Socket(37, 2, 1);
    ASSERT_GE(fd, 0);
    const Record rec(3184);
    ASSERT_EQ(SOCK_Connect(fd, rec.bytes, 16), 0);
    const int64_t tv[2] = {0, 50000};
    ASSERT_EQ(SOCK_SetSockOpt(fd, 1, 0x1006, tv, 16), 0);
    uint8_t buf[16];
    errno = 0;
    EXPECT_EQ(SOCK_Recv(fd, buf, sizeof buf, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    SOCK_Close(fd);
    ::close(server);
}

}  // namespace
