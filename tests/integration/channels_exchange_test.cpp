// SPDX-License-Identifier: Apache-2.0
// The message client over real datagram sockets of the stand-in platform,
// against no service and a service thread that takes its time.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "dpmgmt/channels.h"
#include "support/hostile_peer.h"
#include "support/service_process.h"

namespace {

using dptest::operator+;

// A session service that answers every request after `delay` (the
// service's own work, not a synchronisation) with a zero result.
dptest::ServiceScript answers_after(std::chrono::milliseconds delay) {
    return [delay](const dptest::Bytes &request) {
        std::this_thread::sleep_for(delay);
        return dptest::Bytes(request.begin(), request.begin() + 4) + dptest::be32(12) + dptest::be32(0);
    };
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

// The patient receive shows a dot a second while the service works, and
// nothing when it answers at once.
TEST(ChannelExchange, PatientReceiveShowsProgressOnlyWhileTheServiceWorks) {
    for (const int delayMs : {3200, 0}) {
        SCOPED_TRACE("answer after " + std::to_string(delayMs) + " ms");
        dptest::HostilePeer svc(dptest::Hostility::Silent, nullptr, answers_after(std::chrono::milliseconds(delayMs)));
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
