// Family-37 datagram sockets: what the appliance refuses, it refuses here,
// with its error numbers.  Exchanges over them are exercised by the
// message-client integration tests.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/socket.h"
#include "support/test_env.h"

namespace {

// The appliance's address record for port 3184.
struct Record {
    uint8_t bytes[16] = {16, 37, 0x0C, 0x70, 0x80, 0x00};
};

TEST(SocketTest, MalformedRequestsFailWithTheirErrorNumbers) {
    dptest::TempDir dir;
    dptest::ScopedEnv run("DPMGMT_RUNDIR", dir.path().c_str());
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
    Record badLength, badFamily;
    const Record good;
    badLength.bytes[0] = 15;
    badFamily.bytes[1] = 2;
    struct ConnectCase {
        const void *addr;
        uint32_t len;
        int err;
    };
    for (const ConnectCase &c : {ConnectCase{badLength.bytes, 16, EINVAL},
                                 ConnectCase{badFamily.bytes, 16, EAFNOSUPPORT}, ConnectCase{good.bytes, 8, EINVAL},
                                 ConnectCase{nullptr, 16, EINVAL}}) {
        errno = 0;
        EXPECT_EQ(SOCK_Connect(fd, c.addr, c.len), -1);
        EXPECT_EQ(errno, c.err);
    }
    errno = 0;
    EXPECT_EQ(SOCK_Connect(fd, good.bytes, 16), -1) << "nobody serves the port";
    EXPECT_NE(errno, 0);

    // The receive time-out is option 0x1006 at level 1, a 16-byte time value.
    const int64_t tv[2] = {1, 0};
    struct OptCase {
        int level, name;
        uint32_t len;
        int err;
    };
    for (const OptCase &c : {OptCase{1, 0x1007, 16, ENOPROTOOPT}, OptCase{1, 0x1006, 8, EINVAL},
                             OptCase{6, 0x1006, 16, ENOPROTOOPT}}) {
        errno = 0;
        EXPECT_EQ(SOCK_SetSockOpt(fd, c.level, c.name, tv, c.len), -1);
        EXPECT_EQ(errno, c.err) << std::hex << c.name;
    }
    EXPECT_EQ(SOCK_SetSockOpt(fd, 1, 0x1006, tv, 16), 0);
    EXPECT_EQ(SOCK_Close(fd), 0);
}

}  // namespace
