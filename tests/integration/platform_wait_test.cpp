// SPDX-License-Identifier: Apache-2.0
// The waits of the message client and the dump client: against no service,
// a real dpservice stopped (the receives end at the bounds) or killed (the patient
// reset and the dump it was serving end, with the fault that names the
// socket).
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
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

const uint8_t kStatRequest[] = {0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1};

// A platform socket connected to the session service, with a receive time-out of its own (microseconds, as the
// platform's 16-byte little-endian time value; none when 0), the request
// already sent.
int sent_with_receive_timeout(uint32_t us) {
    const int fd = SOCK_Socket(PLAT_AF_SERVICE, PLAT_SOCK_DGRAM, 0);
    const uint8_t addr[PLAT_SOCKADDR_SIZE] = {PLAT_SOCKADDR_SIZE, PLAT_AF_SERVICE, 0x0C, 0x70};
    EXPECT_EQ(SOCK_Connect(fd, addr, sizeof addr), 0);
    const uint8_t timeout[16] = {0, 0, 0, 0, 0, 0, 0, 0, uint8_t(us), uint8_t(us >> 8), uint8_t(us >> 16)};
    if (us != 0) {
        EXPECT_EQ(SOCK_SetSockOpt(fd, PLAT_SOL_SOCKET, PLAT_SO_RCVTIMEO, timeout, sizeof timeout), 0);
    }
    EXPECT_EQ(SOCK_Send(fd, kStatRequest, sizeof kStatRequest, 0), static_cast<long>(sizeof kStatRequest));
    return fd;
}

// A plain receive ends at the exchange bound.  On a socket with a receive
// time-out of its own each time-out says EAGAIN, and the patient bound,
// counted from the send, ends them with ETIMEDOUT.
TEST(PlatformWait, ReceivesOfAStoppedServiceEndAtTheBounds) {
    dptest::ServiceProcess svc;
    dptest::Stopped stopped(svc.pid());
    const struct {
        uint32_t exchangeMs, patientMs, timeoutUs;
        size_t fewest, most;  // receives that fail
        int64_t tookMs;       // at least
    } cases[] = {
        {300, 0, 0, 1, 1, 290},
        {50, 450, 100000, 4, 6, 440},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "bounds " << c.exchangeMs << "/" << c.patientMs);
        Bounds bounds(c.exchangeMs, c.patientMs);
        const int fd = sent_with_receive_timeout(c.timeoutUs);
        const auto start = Clock::now();
        std::vector<int> errors;
        uint8_t buf[64];
        while (errors.size() < c.most && SOCK_Recv(fd, buf, sizeof buf, 0) == -1) {
            errors.push_back(errno);
            if (errno != EAGAIN) break;
        }
        SOCK_Close(fd);
        const int64_t took = ms_since(start);
        ASSERT_GE(errors.size(), c.fewest);
        EXPECT_EQ(errors.back(), ETIMEDOUT);
        EXPECT_EQ(std::count(errors.begin(), errors.end(), EAGAIN), static_cast<long>(errors.size()) - 1);
        EXPECT_GE(took, c.tookMs);
        EXPECT_LT(took, c.tookMs + 3000) << "not bounded";
        const PLAT_FAULT_S f = fault();
        EXPECT_EQ(f.kind, PLAT_FAULT_TIMEOUT);
        EXPECT_EQ(f.sysErrno, ETIMEDOUT);
        EXPECT_EQ(std::string(f.endpoint), svc.rundir() + "/svc-3184.sock");
    }
}

// The service is killed while the reset waits on it: the patient loop,
// which only goes on while receives time out, ends with the dots it showed.
// The reset runs in a child writing to the pipe: its first dot says when to
// kill the service, and it reports its result and fault after the dots.
TEST(PlatformWait, KilledServiceEndsThePatientReset) {
    dptest::ServiceProcess svc({"--sessions", "300000"});  // a reset that takes seconds
    Bounds bounds(2000, 15000);  // a patient bound past the test's own wait: a miss fails, never hangs
    dptest::Child reset([](int fd) {
        ::dup2(fd, 1);
        const SESSION_TABLEKEY_S key{};
        const uint32_t rc = SESSION_ResetSession(0, &key);
        PLAT_FAULT_S f{};
        PLAT_GetFault(&f);
        std::printf("|%d %u %d %s\n", rc != DPMGMT_OK, f.kind, f.sysErrno, f.endpoint);
        return std::fflush(stdout);
    });
    std::string text;
    for (char c = 0; c != '.' && reset.read_exact(&c, 1);) text += c;
    svc.kill9();
    ASSERT_EQ(reset.wait_exit(std::chrono::seconds(10)), 0) << "the reset waits for ever";
    const std::vector<uint8_t> rest = reset.drain();
    text.append(rest.begin(), rest.end());
    EXPECT_EQ(text.rfind("Resetting session.", 0), 0u) << text;
    const std::string done = "Done.\r\n|1 " + std::to_string(PLAT_FAULT_GONE) + " " + std::to_string(ECONNRESET) + " ";
    EXPECT_EQ(text.substr(text.find("Done.")), done + svc.rundir() + "/svc-3184.sock\n") << text;
}

// A dump cut in the middle: the next pull fails, returns nothing and says
// the kernel went away; nothing opens or leaks afterwards.
TEST(PlatformWait, KernelKilledMidDumpRecordsThatItWentAway) {
    for (const uint32_t bound : {0u, 2000u}) {
        SCOPED_TRACE("bound " + std::to_string(bound));
        dptest::ServiceProcess svc({"--sessions", "5000"});
        Bounds bounds(bound, 0);
        const int fds = dptest::open_fd_count();
        std::vector<uint8_t> key(88);
        const uint32_t h = DUMP_Request(1, kSessionDump, key.data(), 88);
        ASSERT_NE(h, DUMP_INVALID_HANDLE);
        std::vector<uint8_t> buf(7912);
        uint32_t got = 0;
        ASSERT_EQ(DUMP_Pull(h, 7912, buf.data(), &got), DUMP_CONTINUE);
        ASSERT_GT(got, 0u);
        ::kill(svc.pid(), SIGKILL);  // reaped at the end, so that its pipe stays in the count
        uint32_t rc = DUMP_CONTINUE;
        for (int i = 0; i < 1000 && rc == DUMP_CONTINUE; ++i) rc = DUMP_Pull(h, 7912, buf.data(), &got);
        EXPECT_EQ(got, 0u);
        DUMP_Terminate(h);
        EXPECT_NE(rc, DUMP_CONTINUE);
        EXPECT_NE(rc, 0u) << "a cut dump looks complete";
        const PLAT_FAULT_S f = fault();
        EXPECT_EQ(f.kind, PLAT_FAULT_GONE);
        EXPECT_EQ(std::string(f.endpoint), svc.rundir() + "/kernel.sock");
        EXPECT_EQ(DUMP_Request(1, kSessionDump, key.data(), 88), DUMP_INVALID_HANDLE);
        uint32_t len = 99;
        EXPECT_EQ(CIOCTL(1, 0x480062, 0, nullptr, 8, buf.data(), &len), DPMGMT_ERR_FAILED);
        EXPECT_EQ(len, 0u);
        EXPECT_EQ(dptest::open_fd_count(), fds);
    }
}

TEST(ChannelExchange, NoServiceFailsWithoutLeakingDescriptors) {
    dptest::TempDir dir;
    dptest::ScopedEnv run("DPMGMT_RUNDIR", dir.path().c_str());
    const int before = dptest::open_fd_count();
    uint8_t reply[4];
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, 0, nullptr, sizeof reply, reply), DPMGMT_ERR_FAILED);
    EXPECT_EQ(dptest::open_fd_count(), before);
}

}  // namespace
