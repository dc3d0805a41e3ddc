// dpservice as a process: start, stop, stale sockets, a second instance,
// detaching, the kernel stream's framing and cursor release, peers of
// another user, and the test support's own stdout capture.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "kernel_wire.h"
#include "platform/dev.h"
#include "support/service_process.h"

namespace {

using dptest::Bytes;
using dptest::operator+;
using Clock = std::chrono::steady_clock;

bool exists(const std::string &path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

// Polls until pred holds, for at most 10 s.
template <class Pred>
bool eventually(Pred pred) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!pred()) {
        if (Clock::now() >= deadline) return false;
        ::poll(nullptr, 0, 10);
    }
    return true;
}

bool answers(const std::string &rundir) {
    dptest::SvcClient c(rundir);
    return c.exchange(48).has_value();
}

TEST(ServiceLifecycle, SigtermRemovesSocketsAndPidFile) {
    dptest::ServiceProcess svc;
    const std::string pidfile = svc.rundir() + "/svc.pid";
    svc.restart({"--pidfile", pidfile});
    std::ifstream in(pidfile);
    int pid = 0;
    in >> pid;
    EXPECT_EQ(pid, svc.pid());
    const int status = svc.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_FALSE(exists(svc.rundir() + "/svc-3184.sock"));
    EXPECT_FALSE(exists(svc.rundir() + "/kernel.sock"));
    EXPECT_FALSE(exists(pidfile));
}

TEST(ServiceLifecycle, StaleSocketsOfAKilledServiceAreReplaced) {
    dptest::ServiceProcess svc;
    svc.kill9();
    ASSERT_TRUE(exists(svc.rundir() + "/svc-3184.sock"));
    ASSERT_TRUE(exists(svc.rundir() + "/kernel.sock"));
    svc.restart();
    EXPECT_TRUE(answers(svc.rundir()));
}

TEST(ServiceLifecycle, ASecondServiceRefusesALiveOnesDirectory) {
    dptest::ServiceProcess svc;
    const dptest::CliResult second = dptest::run_program(DPSERVICE_PATH, {}, 20);
    EXPECT_FALSE(second.timedOut);
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("another service answers"), std::string::npos) << second.err;
    EXPECT_TRUE(answers(svc.rundir()));
}

TEST(ServiceLifecycle, DaemonDetachesOnceItAnswers) {
    dptest::ServiceProcess svc;
    svc.stop();
    const std::string pidfile = svc.rundir() + "/dpservice.pid";
    const dptest::CliResult launcher = dptest::run_program(DPSERVICE_PATH, {"--daemon", "--pidfile", pidfile}, 20);
    ASSERT_EQ(launcher.status, 0) << launcher.err;
    // The launcher has exited: the pid file and the sockets are there now.
    std::ifstream in(pidfile);
    pid_t daemonPid = 0;
    in >> daemonPid;
    ASSERT_GT(daemonPid, 0);
    EXPECT_TRUE(answers(svc.rundir()));
    ASSERT_EQ(::kill(daemonPid, SIGTERM), 0);
    EXPECT_TRUE(eventually([&] { return !exists(pidfile) && !exists(svc.rundir() + "/svc-3184.sock"); }));
}

TEST(ServiceLifecycle, OptionsAreChecked) {
    const dptest::CliResult help = dptest::run_program(DPSERVICE_PATH, {"--help"}, 20);
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: dpservice", 0), 0u) << help.out;
    for (const std::vector<std::string> &bad : std::vector<std::vector<std::string>>{
             {"--sessions"}, {"--sessions", "-1"}, {"--sessions", "4294967296"}, {"--seed", "1x"}, {"--bogus"}}) {
        const dptest::CliResult r = dptest::run_program(DPSERVICE_PATH, bad, 20);
        EXPECT_EQ(r.status, 2) << bad[0];
        EXPECT_TRUE(r.out.empty());
    }
}

// ------------------------------------------------------------- kernel ----

class ServiceKernel : public ::testing::Test {
protected:
    int connect_kernel() {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        const std::string path = svc.rundir() + "/kernel.sock";
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
        return fd;
    }
    static void send_frame(int fd, uint32_t op, const Bytes &payload) {
        const dpsim::FrameHeader h{op, static_cast<uint32_t>(payload.size())};
        Bytes frame(reinterpret_cast<const uint8_t *>(&h), reinterpret_cast<const uint8_t *>(&h) + sizeof h);
        frame.insert(frame.end(), payload.begin(), payload.end());
        ASSERT_EQ(::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL), static_cast<ssize_t>(frame.size()));
    }
    // The next reply frame's payload; nothing when the service closed the
    // connection (or said nothing for 5 s).
    static std::optional<Bytes> read_frame(int fd) {
        Bytes got;
        auto need = [&](size_t n) {
            while (got.size() < n) {
                pollfd p{fd, POLLIN, 0};
                if (::poll(&p, 1, 5000) <= 0) return false;
                uint8_t buf[4096];
                const ssize_t r = ::recv(fd, buf, std::min(sizeof buf, n - got.size()), 0);
                if (r <= 0) return false;
                got.insert(got.end(), buf, buf + r);
            }
            return true;
        };
        if (!need(sizeof(dpsim::FrameHeader))) return std::nullopt;
        dpsim::FrameHeader h;
        std::memcpy(&h, got.data(), sizeof h);
        if (!need(sizeof h + h.length)) return std::nullopt;
        return Bytes(got.begin() + sizeof h, got.end());
    }
    uint32_t cursors() {
        const int fd = connect_kernel();
        send_frame(fd, dpsim::kOpCursorCount, {});
        const auto reply = read_frame(fd);
        ::close(fd);
        uint32_t n = 0xFFFFFFFF;
        if (reply && reply->size() == 4) std::memcpy(&n, reply->data(), 4);
        return n;
    }
    static Bytes host32(uint32_t v) { return Bytes(reinterpret_cast<uint8_t *>(&v), reinterpret_cast<uint8_t *>(&v) + 4); }

    dptest::ServiceProcess svc{{"--sessions", "40"}};
};

TEST_F(ServiceKernel, MalformedFramesCloseOnlyTheirConnection) {
    const std::vector<std::pair<uint32_t, Bytes>> bad = {
        {99, {}},                                   // unknown op
        {dpsim::kOpDumpPull, Bytes(3, 0)},          // pull without its u32
        {dpsim::kOpDumpRequest, Bytes(7, 0)},       // request shorter than node + type
        {dpsim::kOpCursorCount, Bytes(1, 0)},       // count takes nothing
    };
    for (const auto &[op, payload] : bad) {
        const int fd = connect_kernel();
        send_frame(fd, op, payload);
        EXPECT_FALSE(read_frame(fd).has_value()) << op;
        ::close(fd);
    }
    // A header announcing more than the largest frame: refused unread.
    const int fd = connect_kernel();
    const dpsim::FrameHeader huge{dpsim::kOpDumpPull, dpsim::kKernelMaxFrame + 1};
    ASSERT_EQ(::send(fd, &huge, sizeof huge, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof huge));
    EXPECT_FALSE(read_frame(fd).has_value());
    ::close(fd);
    EXPECT_EQ(cursors(), 0u);
    EXPECT_TRUE(answers(svc.rundir()));
}

TEST_F(ServiceKernel, ACursorLivesExactlyAsLongAsItsConnection) {
    const uint16_t node = DEV_GetSelf();
    // Unknown dump types are not served and leave no cursor.
    const int none = connect_kernel();
    send_frame(none, dpsim::kOpDumpRequest, Bytes{static_cast<uint8_t>(node), static_cast<uint8_t>(node >> 8), 0, 0} +
                                                host32(0x14FFFF));
    const auto refused = read_frame(none);
    ASSERT_TRUE(refused.has_value());
    EXPECT_NE(*refused, host32(0));
    // Pulling with no dump open fails without harm.
    send_frame(none, dpsim::kOpDumpPull, host32(64));
    const auto pulled = read_frame(none);
    ASSERT_TRUE(pulled.has_value());
    EXPECT_EQ(Bytes(pulled->begin(), pulled->begin() + 4), host32(0x40010001u));
    EXPECT_EQ(cursors(), 0u);

    const int dump = connect_kernel();
    send_frame(dump, dpsim::kOpDumpRequest,
               Bytes{static_cast<uint8_t>(node), static_cast<uint8_t>(node >> 8), 0, 0} + host32(0x140003) + Bytes(4, 0));
    EXPECT_EQ(read_frame(dump), host32(0));
    EXPECT_EQ(cursors(), 1u);
    ::close(dump);
    EXPECT_TRUE(eventually([&] { return cursors() == 0; }));
    ::close(none);
}

// --------------------------------------------------------------- peers ----

TEST(ServicePeers, DatagramsOfAnotherUserAreIgnored) {
    dptest::ServiceProcess svc;
    dptest::SvcClient client(svc.rundir());
    // Only a privileged sender can claim another user's credentials.
    const Bytes request = dptest::be32(48) + dptest::be32(8);
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    std::strncpy(to.sun_path, client.service_path().c_str(), sizeof to.sun_path - 1);
    ucred forged{::getpid(), 65534, 65534};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof forged)] = {};
    iovec iov{const_cast<uint8_t *>(request.data()), request.size()};
    msghdr mh{};
    mh.msg_name = &to;
    mh.msg_namelen = sizeof to;
    mh.msg_iov = &iov;
    mh.msg_iovlen = 1;
    mh.msg_control = control;
    mh.msg_controllen = sizeof control;
    cmsghdr *c = CMSG_FIRSTHDR(&mh);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_CREDENTIALS;
    c->cmsg_len = CMSG_LEN(sizeof forged);
    std::memcpy(CMSG_DATA(c), &forged, sizeof forged);
    if (::sendmsg(client.fd(), &mh, 0) < 0) GTEST_SKIP() << "cannot send another user's credentials here";
    // Served in order: an answer to the forged request would come first.
    const auto reply = client.exchange(53);
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(dptest::get_be32(*reply, 0), 53u);
}

TEST(ServicePeers, KernelConnectionsOfAnotherUserAreClosed) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another user";
    dptest::ServiceProcess svc;
    const std::string path = svc.rundir() + "/kernel.sock";
    ASSERT_EQ(::chmod(svc.rundir().c_str(), 0711), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(3);
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) ::_exit(4);
        const dpsim::FrameHeader h{dpsim::kOpCursorCount, 0};
        if (::send(fd, &h, sizeof h, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof h)) ::_exit(0);  // already closed
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 5000) <= 0) ::_exit(5);
        char b;
        ::_exit(::recv(fd, &b, 1, 0) <= 0 ? 0 : 1);  // 0: closed without an answer
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// -------------------------------------------------------------- support ----

TEST(ServiceSupport, CaptureStdoutKeepsEveryByteAndRestores) {
    const std::string got = dptest::capture_stdout([] {
        std::printf("Remain message       : %u\r\n", 7u);
        std::puts("line\r");
        std::putchar('\0');
        std::fputs("tail", stdout);
    });
    EXPECT_EQ(got, std::string("Remain message       : 7\r\nline\r\n\0tail", 37));
    EXPECT_EQ(dptest::capture_stdout([] { std::printf("after"); }), "after");
}

}  // namespace
