// SPDX-License-Identifier: Apache-2.0
// The message client over real datagram sockets of the stand-in platform,
// against a small service thread on a temporary run directory.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "dpmgmt/channels.h"
#include "support/service_process.h"
#include "support/test_env.h"

namespace {

// A datagram service on <rundir>/svc-3184.sock that answers one request
// after a delay with a reply of the request's type carrying a zero result.
class OneShotService {
public:
    OneShotService(const std::string &rundir, std::chrono::milliseconds delay) : path_(rundir + "/svc-3184.sock") {
        fd_ = dptest::bind_unix(SOCK_DGRAM, path_);
        EXPECT_GE(fd_, 0);
        thread_ = std::thread([this, delay] {
            uint8_t buf[256];
            sockaddr_un peer{};
            socklen_t peerLen = sizeof peer;
            const ssize_t n = recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&peer), &peerLen);
            if (n <= 0) return;
            std::this_thread::sleep_for(delay);  // the service's own work, not a synchronisation
            const uint8_t reply[12] = {buf[0], buf[1], buf[2], buf[3], 0, 0, 0, 12, 0, 0, 0, 0};
            sendto(fd_, reply, sizeof reply, 0, reinterpret_cast<sockaddr *>(&peer), peerLen);
        });
    }
    ~OneShotService() {
        shutdown(fd_, SHUT_RDWR);  // wakes a receive that never got a request
        if (thread_.joinable()) thread_.join();
        close(fd_);
        unlink(path_.c_str());
    }

private:
    std::string path_;
    int fd_ = -1;
    std::thread thread_;
};

class ChannelExchange : public ::testing::Test {
protected:
    dptest::TempDir dir_;
    dptest::ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};
    const std::string &rundir_ = dir_.path();
};

TEST_F(ChannelExchange, NoServiceFailsWithoutLeakingDescriptors) {
    const int before = dptest::open_fd_count();
    uint8_t reply[4];
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, 0, nullptr, sizeof reply, reply), DPMGMT_ERR_FAILED);
    EXPECT_EQ(dptest::open_fd_count(), before);
}

// The patient receive shows a dot a second while the service works, and
// nothing when it answers at once.
TEST_F(ChannelExchange, PatientReceiveShowsProgressOnlyWhileTheServiceWorks) {
    for (const int delayMs : {3200, 0}) {
        SCOPED_TRACE("answer after " + std::to_string(delayMs) + " ms");
        OneShotService svc(rundir_, std::chrono::milliseconds(delayMs));
        uint32_t rc = 1;
        const std::string out = dptest::capture_stdout([&] {
            uint8_t reply[4];
            rc = SESSION_MSG_SendRecvMsg_DontWait(3184, 20, 0, nullptr, sizeof reply, reply);
        });
        EXPECT_EQ(rc, DPMGMT_OK);
        if (delayMs == 0) {
            EXPECT_EQ(out, "");
            continue;
        }
        ASSERT_EQ(out.rfind("Resetting session", 0), 0u) << out;
        ASSERT_GE(out.size(), 17u + 7);
        const std::string dots = out.substr(17, out.size() - 17 - 7);
        EXPECT_GE(dots.size(), 2u);
        EXPECT_LE(dots.size(), 5u);  // about three; a loaded machine may wake late
        EXPECT_EQ(dots.find_first_not_of('.'), std::string::npos) << out;
        EXPECT_EQ(out.substr(out.size() - 7), "Done.\r\n");
    }
}

}  // namespace
