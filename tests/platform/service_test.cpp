// SPDX-License-Identifier: Apache-2.0
// The service manager's view of dpservice in a run directory.
#include "platform/service.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "support/test_env.h"

namespace {

using dptest::ScopedEnv;
using dptest::TempDir;

class ServiceTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};

    static uint32_t status() {
        uint32_t st = 99;
        EXPECT_EQ(SERVICE_GetStatus(1, "SESSION", 0, &st), 0u);
        return st;
    }
};

TEST_F(ServiceTest, RunningMeansTheServiceSocketAnswers) {
    EXPECT_EQ(status(), 0u);
    const int fd = dptest::bind_unix(SOCK_DGRAM, dir_.path() + "/svc-3184.sock");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(status(), SERVICE_STATUS_RUNNING);
    // The file of a service that is gone does not count.
    ::close(fd);
    EXPECT_EQ(status(), 0u);
    uint32_t st = 0;
    EXPECT_NE(SERVICE_GetStatus(1, "ROUTING", 0, &st), 0u);
}

TEST_F(ServiceTest, StartLaunchesTheServiceOrReportsThatItCannot) {
    for (const char *binary : {"/nonexistent/dpservice", "/bin/false"}) {
        ScopedEnv service("DPMGMT_SERVICE", binary);
        EXPECT_NE(SERVICE_Start(1, "SESSION", 0, 0), 0u) << binary;
        EXPECT_EQ(status(), 0u);
    }
    ScopedEnv service("DPMGMT_SERVICE", DPSERVICE_PATH);
    ASSERT_EQ(SERVICE_Start(1, "SESSION", 0, 0), 0u);
    EXPECT_EQ(status(), SERVICE_STATUS_RUNNING);
    pid_t pid = 0;
    std::ifstream(dir_.path() + "/dpservice.pid") >> pid;
    ASSERT_GT(pid, 0);
    EXPECT_EQ(SERVICE_Start(1, "SESSION", 0, 0), 0u) << "what runs is left running";
    ASSERT_EQ(::kill(pid, SIGTERM), 0);
    EXPECT_TRUE(dptest::wait_until([] { return status() == 0; }));
    EXPECT_TRUE(dptest::wait_until([pid] { return ::kill(pid, 0) != 0; }));
}

}  // namespace
