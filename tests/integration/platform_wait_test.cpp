// SPDX-License-Identifier: Apache-2.0
// Bounded waits against a real dpservice: a stopped service times out
// within the bound, a killed one ends the patient reset and the dump it
// was serving, each with the fault that names the socket.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "dpmgmt/session.h"
#include "platform/dump.h"
#include "platform/socket.h"
#include "platform/wait.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSessionDump = 0x140001;

// Sets the process's bounds and clears the fault for one scope.
struct Bounds {
    Bounds(uint32_t exchangeMs, uint32_t patientMs) {
        PLAT_SetWaitBounds(exchangeMs, patientMs);
        PLAT_ClearFault();
    }
    ~Bounds() {
        PLAT_SetWaitBounds(0, 0);
        PLAT_ClearFault();
    }
};

PLAT_FAULT_S fault() {
    PLAT_FAULT_S f{};
    PLAT_GetFault(&f);
    return f;
}

int64_t ms_since(Clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t).count();
}

// A platform socket connected to the session service.
int service_socket() {
    const int fd = SOCK_Socket(PLAT_AF_SERVICE, PLAT_SOCK_DGRAM, 0);
    const uint8_t addr[PLAT_SOCKADDR_SIZE] = {PLAT_SOCKADDR_SIZE, PLAT_AF_SERVICE, 0x0C, 0x70};
    EXPECT_EQ(SOCK_Connect(fd, addr, sizeof addr), 0);
    return fd;
}

const uint8_t kStatRequest[] = {0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1};

// A service socket with a receive time-out of its own (microseconds, as the
// platform's 16-byte little-endian time value), the request already sent.
int sent_with_receive_timeout(uint32_t us) {
    const int fd = service_socket();
    const uint8_t timeout[16] = {0, 0, 0, 0, 0, 0, 0, 0, uint8_t(us), uint8_t(us >> 8), uint8_t(us >> 16)};
    EXPECT_EQ(SOCK_SetSockOpt(fd, PLAT_SOL_SOCKET, PLAT_SO_RCVTIMEO, timeout, sizeof timeout), 0);
    EXPECT_EQ(SOCK_Send(fd, kStatRequest, sizeof kStatRequest, 0), static_cast<long>(sizeof kStatRequest));
    return fd;
}

TEST(PlatformWait, StoppedServiceTimesOutWithinTheExchangeBound) {
    dptest::ServiceProcess svc;
    const std::string rundir = svc.rundir();
    constexpr uint32_t kBoundMs = 300;
    struct Case {
        const char *name;
        std::function<bool()> fails;  // true when the call failed
        const char *socket;
    };
    const Case cases[] = {
        {"receive",
         [] {
             const int fd = service_socket();
             uint8_t buf[64];
             const bool sent = SOCK_Send(fd, kStatRequest, sizeof kStatRequest, 0) == sizeof kStatRequest;
             const long n = SOCK_Recv(fd, buf, sizeof buf, 0);
             const int err = errno;
             SOCK_Close(fd);
             EXPECT_TRUE(sent);
             EXPECT_EQ(err, ETIMEDOUT);
             return n == -1;
         },
         "/svc-3184.sock"},
        {"library exchange",
         [] {
             uint8_t reply[4];
             return SESSION_MSG_SendRecvMsg(3184, 49, 2, kStatRequest + 8, sizeof reply, reply) != DPMGMT_OK;
         },
         "/svc-3184.sock"},
        {"dump request",
         [] { return DUMP_Request(1, kSessionDump, std::vector<uint8_t>(88).data(), 88) == DUMP_INVALID_HANDLE; },
         "/kernel.sock"},
        {"control call",
         [] {
             uint8_t reply[16];
             uint32_t len = 0;
             return CIOCTL(1, 1, 0, nullptr, sizeof reply, reply, &len) != 0;
         },
         "/kernel.sock"},
    };
    dptest::Stopped stopped(svc.pid());
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Bounds bounds(kBoundMs, 0);
        const auto start = Clock::now();
        EXPECT_TRUE(c.fails());
        const int64_t took = ms_since(start);
        EXPECT_GE(took, kBoundMs - 10);
        EXPECT_LT(took, kBoundMs + 3000) << "not bounded";
        const PLAT_FAULT_S f = fault();
        EXPECT_EQ(f.kind, PLAT_FAULT_TIMEOUT);
        EXPECT_EQ(f.sysErrno, ETIMEDOUT);
        EXPECT_EQ(std::string(f.endpoint), rundir + c.socket);
        EXPECT_GE(f.waitedMs, kBoundMs - 10);
    }
}

// On a socket with its own receive time-out, each time-out still says
// EAGAIN; the patient bound, counted from the send, says ETIMEDOUT.
TEST(PlatformWait, PatientBoundEndsTheTimedReceivesOfAStoppedService) {
    dptest::ServiceProcess svc;
    dptest::Stopped stopped(svc.pid());
    Bounds bounds(50, 450);
    const int fd = sent_with_receive_timeout(100000);
    const auto start = Clock::now();
    std::vector<int> errors;
    uint8_t buf[64];
    while (errors.size() < 100 && SOCK_Recv(fd, buf, sizeof buf, 0) == -1) {
        errors.push_back(errno);
        if (errno != EAGAIN) break;
    }
    SOCK_Close(fd);
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.back(), ETIMEDOUT);
    EXPECT_GE(errors.size(), 4u) << "each 100 ms time-out is an EAGAIN of its own";
    EXPECT_LE(errors.size(), 6u);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), EAGAIN), static_cast<long>(errors.size()) - 1);
    EXPECT_GE(ms_since(start), 440);
    EXPECT_EQ(fault().kind, PLAT_FAULT_TIMEOUT);
}

// Without bounds a receive is the system's own: time-outs say EAGAIN as
// often as they come, and nothing is recorded.
TEST(PlatformWait, UnboundedReceivesKeepTheSystemsBehaviour) {
    dptest::ServiceProcess svc;
    dptest::Stopped stopped(svc.pid());
    Bounds none(0, 0);
    const int fd = sent_with_receive_timeout(50000);
    uint8_t buf[64];
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(SOCK_Recv(fd, buf, sizeof buf, 0), -1);
        EXPECT_EQ(errno, EAGAIN);
    }
    SOCK_Close(fd);
    EXPECT_EQ(fault().kind, PLAT_FAULT_NONE);
}

// Standard output into a pipe for one scope, so that the test can see the
// patient receive's dots as they come.
class StdoutPipe {
public:
    StdoutPipe() {
        std::fflush(stdout);
        if (::pipe2(fds_, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        saved_ = ::dup(1);
        ::dup2(fds_[1], 1);
    }
    ~StdoutPipe() {
        std::fflush(stdout);
        ::dup2(saved_, 1);
        ::close(saved_);
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    // What arrived until `until` holds or 20 s passed.
    std::string read_until(const std::function<bool(const std::string &)> &until) {
        const auto end = Clock::now() + std::chrono::seconds(20);
        while (!until(text_) && Clock::now() < end) {
            pollfd pfd{fds_[0], POLLIN, 0};
            if (::poll(&pfd, 1, 50) <= 0) continue;
            char buf[256];
            const ssize_t n = ::read(fds_[0], buf, sizeof buf);
            if (n > 0) text_.append(buf, static_cast<size_t>(n));
        }
        return text_;
    }

private:
    int fds_[2] = {-1, -1};
    int saved_ = -1;
    std::string text_;
};

// The service is killed while the reset waits on it: the patient loop,
// which only goes on while receives time out, ends with the dots it showed.
TEST(PlatformWait, KilledServiceEndsThePatientReset) {
    dptest::ServiceProcess svc({"--sessions", "300000"});  // a reset that takes seconds
    Bounds bounds(2000, 15000);  // a patient bound past the test's own wait: a miss fails, never hangs
    const std::string socket = svc.rundir() + "/svc-3184.sock";
    StdoutPipe out;
    auto reset = std::async(std::launch::async, [] {
        const SESSION_TABLEKEY_S key{};
        const uint32_t rc = SESSION_ResetSession(0, &key);
        std::fflush(stdout);
        return rc;
    });
    out.read_until([](const std::string &s) { return s.find('.') != std::string::npos; });
    svc.kill9();
    ASSERT_EQ(reset.wait_for(std::chrono::seconds(10)), std::future_status::ready) << "the reset waits for ever";
    EXPECT_NE(reset.get(), DPMGMT_OK);
    const std::string text = out.read_until([](const std::string &s) { return s.find("Done.") != std::string::npos; });
    EXPECT_EQ(text.rfind("Resetting session.", 0), 0u) << text;
    EXPECT_EQ(text.substr(text.size() - 7), "Done.\r\n");
    const PLAT_FAULT_S f = fault();
    EXPECT_EQ(f.kind, PLAT_FAULT_GONE);
    EXPECT_EQ(f.sysErrno, ECONNRESET);
    EXPECT_EQ(std::string(f.endpoint), socket);
}

// A dump cut in the middle: the next pull fails and says the kernel went
// away, with or without a bound.
TEST(PlatformWait, KernelKilledMidDumpRecordsThatItWentAway) {
    for (const uint32_t bound : {0u, 2000u}) {
        SCOPED_TRACE("bound " + std::to_string(bound));
        dptest::ServiceProcess svc({"--sessions", "5000"});
        Bounds bounds(bound, 0);
        std::vector<uint8_t> key(88);
        const uint32_t h = DUMP_Request(1, kSessionDump, key.data(), 88);
        ASSERT_NE(h, DUMP_INVALID_HANDLE);
        std::vector<uint8_t> buf(7912);
        uint32_t got = 0;
        ASSERT_EQ(DUMP_Pull(h, 7912, buf.data(), &got), DUMP_CONTINUE);
        ASSERT_GT(got, 0u);
        svc.kill9();
        uint32_t rc = DUMP_CONTINUE;
        for (int i = 0; i < 1000 && rc == DUMP_CONTINUE; ++i) rc = DUMP_Pull(h, 7912, buf.data(), &got);
        DUMP_Terminate(h);
        EXPECT_NE(rc, DUMP_CONTINUE);
        EXPECT_NE(rc, 0u) << "a cut dump looks complete";
        const PLAT_FAULT_S f = fault();
        EXPECT_EQ(f.kind, PLAT_FAULT_GONE);
        EXPECT_EQ(std::string(f.endpoint), svc.rundir() + "/kernel.sock");
    }
}

}  // namespace
