// SPDX-License-Identifier: Apache-2.0
// The waits of the message client and the dump client against a real
// dpservice stopped or killed while they wait: the patient reset and the
// dump it was serving end, with the fault that names the socket.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "dpmgmt/channels.h"
#include "dpmgmt/session.h"
#include "platform/dump.h"
#include "platform/wait.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

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

// The patient reset, whose loop goes on while receives time out (a dot
// each, every second), ends when its service stops answering (at the
// patient bound, counted from the send) or is killed once it waits.  The
// reset runs in a child writing to the pipe: its first dot says when to
// kill the service, and it reports its result and fault after the dots.
TEST(PlatformWait, PatientResetEndsWhenTheServiceStopsOrDies) {
    for (const bool killed : {false, true}) {
        SCOPED_TRACE(killed ? "killed" : "stopped");
        dptest::ServiceProcess svc({"--sessions", "300000"});  // a reset that takes seconds
        std::optional<dptest::Stopped> stopped;
        if (!killed) stopped.emplace(svc.pid());
        Bounds bounds(2000, killed ? 15000 : 2500);  // a miss fails at the test's own wait, never hangs
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
        if (killed) svc.kill9();
        ASSERT_EQ(reset.wait_exit(std::chrono::seconds(10)), 0) << "the reset waits for ever";
        const std::vector<uint8_t> rest = reset.drain();
        text.append(rest.begin(), rest.end());
        EXPECT_EQ(text.rfind(killed ? "Resetting session." : "Resetting session..Done.", 0), 0u) << text;
        const std::string fault = killed ? std::to_string(PLAT_FAULT_GONE) + " " + std::to_string(ECONNRESET)
                                         : std::to_string(PLAT_FAULT_TIMEOUT) + " " + std::to_string(ETIMEDOUT);
        EXPECT_EQ(text.substr(text.find("Done.")), "Done.\r\n|1 " + fault + " " + svc.rundir() + "/svc-3184.sock\n")
            << text;
    }
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
        PLAT_FAULT_S f{};
        PLAT_GetFault(&f);
        EXPECT_EQ(f.kind, PLAT_FAULT_GONE);
        EXPECT_EQ(std::string(f.endpoint), svc.rundir() + "/kernel.sock");
        EXPECT_EQ(DUMP_Request(1, kSessionDump, key.data(), 88), DUMP_INVALID_HANDLE);
        uint32_t len = 99;
        EXPECT_EQ(CIOCTL(1, 0x480062, 0, nullptr, 8, buf.data(), &len), DPMGMT_ERR_FAILED);
        EXPECT_EQ(len, 0u);
        EXPECT_EQ(dptest::open_fd_count(), fds);
    }
}

}  // namespace
