// dpservice as a process: a clean stop, the kernel stream's framing, and
// peers of another user.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "kernel_harness.h"
#include "support/child_process.h"
#include "support/service_process.h"

namespace {

using dptest::Bytes;
using dptest::operator+;

bool exists(const std::string &path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

int connect_kernel(const std::string &rundir) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, (rundir + "/kernel.sock").c_str(), sizeof addr.sun_path - 1);
    return ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 ? fd : (::close(fd), -1);
}

// True when the service closes the connection without a word within 5 s.
bool closed_unanswered(int fd) {
    pollfd p{fd, POLLIN, 0};
    char b;
    return ::poll(&p, 1, 5000) == 1 && ::recv(fd, &b, 1, 0) <= 0;
}

TEST(ServiceProcess, SigtermRemovesSocketsAndPidFile) {
    dptest::ServiceProcess svc;
    const std::string pidfile = svc.rundir() + "/svc.pid";
    svc.restart({"--pidfile", pidfile});
    int pid = 0;
    std::ifstream(pidfile) >> pid;
    EXPECT_EQ(pid, svc.pid());
    const int status = svc.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    for (const char *file : {"/svc-3184.sock", "/kernel.sock", "/svc.pid"})
        EXPECT_FALSE(exists(svc.rundir() + file)) << file;
}

TEST(ServiceProcess, MalformedKernelFramesCloseOnlyTheirConnection) {
    dptest::ServiceProcess svc({"--sessions", "40"});
    const std::vector<std::pair<uint32_t, Bytes>> bad = {
        {99, {}},                                              // unknown op
        {dpsim::kOpDumpPull, Bytes(3, 0)},                     // pull without its u32
        {dpsim::kOpDumpRequest, Bytes(7, 0)},                  // request shorter than node + type
        {dpsim::kOpCursorCount, Bytes(1, 0)},                  // count takes nothing
        {dpsim::kOpDumpPull, Bytes(dpsim::kKernelMaxFrame + 1)},  // larger than any frame: refused unread
    };
    for (const auto &[op, payload] : bad) {
        const int fd = connect_kernel(svc.rundir());
        ASSERT_GE(fd, 0);
        const dpsim::FrameHeader h{op, static_cast<uint32_t>(payload.size())};
        ASSERT_EQ(::send(fd, &h, sizeof h, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof h));
        // The service may hang up on the header alone.
        if (!payload.empty() && payload.size() < dpsim::kKernelMaxFrame)
            (void)!::send(fd, payload.data(), payload.size(), MSG_NOSIGNAL);
        EXPECT_TRUE(closed_unanswered(fd)) << "op " << op << ", " << payload.size() << " bytes";
        ::close(fd);
    }
    EXPECT_EQ(kerneltest::open_cursors(svc.rundir()), std::optional<uint32_t>(0));
    dptest::SvcClient client(svc.rundir());
    EXPECT_TRUE(client.exchange(48).has_value());
}

// Only root can act as another user: a child of uid 65534 gets no answer
// on either socket.
TEST(ServiceProcess, PeersOfAnotherUserAreRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another user";
    dptest::ServiceProcess svc;
    ASSERT_EQ(::chmod(svc.rundir().c_str(), 0711), 0);
    for (const char *file : {"/kernel.sock", "/svc-3184.sock"})
        ASSERT_EQ(::chmod((svc.rundir() + file).c_str(), 0777), 0);
    const std::string rundir = svc.rundir();
    dptest::Child stranger([&](int) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) return 10;
        const int fd = connect_kernel(rundir);
        if (fd < 0) return 11;
        const dpsim::FrameHeader h{dpsim::kOpCursorCount, 0};
        if (::send(fd, &h, sizeof h, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof h) && !closed_unanswered(fd))
            return 12;
        dptest::SvcClient client(rundir);
        if (!client.send_raw(dptest::be32(48) + dptest::be32(8))) return 14;
        return client.receive(1000).has_value() ? 13 : 0;
    });
    EXPECT_EQ(stranger.wait_exit(), 0);
    dptest::SvcClient client(svc.rundir());
    EXPECT_TRUE(client.exchange(48).has_value()) << "the service goes on";
}

}  // namespace
