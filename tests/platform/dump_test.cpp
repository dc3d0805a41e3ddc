// The dump and control client against a small kernel that answers more
// than it was asked for, and with no kernel at all.  The cooperative
// kernel (chunking, cursor release, a kernel killed mid-dump) is dpservice,
// exercised by the integration tests.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kernel_wire.h"
#include "platform/dump.h"
#include "support/test_env.h"

namespace {

using dptest::ScopedEnv;
using dptest::TempDir;

constexpr uint32_t kContinue = 0x40010009;
constexpr uint32_t kFailed = 0x40010001;
constexpr uint32_t kChunk = 50;  // bytes of every chunk, whatever the buffer

// Serves one connection at a time: opens every dump, answers each pull with
// a 50-byte chunk of 0x55, and echoes a control call's request bytes
// whatever capacity it was given.
class GreedyKernel {
public:
    explicit GreedyKernel(const std::string &path) {
        listen_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        ok_ = ::bind(listen_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 && ::listen(listen_, 4) == 0;
        thread_ = std::thread([this] {
            while (!stop_) {
                pollfd p{listen_, POLLIN, 0};
                if (::poll(&p, 1, 20) <= 0) continue;
                const int fd = ::accept4(listen_, nullptr, nullptr, SOCK_CLOEXEC);
                if (fd >= 0) serve(fd);
                ::close(fd);
            }
        });
    }
    GreedyKernel(const GreedyKernel &) = delete;
    GreedyKernel &operator=(const GreedyKernel &) = delete;
    ~GreedyKernel() {
        stop_ = true;
        thread_.join();
        ::close(listen_);
    }
    bool ok() const { return ok_; }

private:
    bool read_all(int fd, void *p, size_t n) {
        auto *b = static_cast<uint8_t *>(p);
        while (n > 0) {
            pollfd pf{fd, POLLIN, 0};
            if (stop_ || ::poll(&pf, 1, 20) < 0) return false;
            if (pf.revents == 0) continue;
            const ssize_t r = ::recv(fd, b, n, 0);
            if (r <= 0) return false;
            b += r;
            n -= static_cast<size_t>(r);
        }
        return true;
    }
    void serve(int fd) {
        dpsim::FrameHeader h{};
        while (read_all(fd, &h, sizeof h)) {
            std::vector<uint8_t> payload(h.length);
            if (!read_all(fd, payload.data(), payload.size())) return;
            uint32_t result = 0;
            std::vector<uint8_t> data;
            if (h.op == dpsim::kOpDumpPull) {
                result = kContinue;
                data.assign(kChunk, 0x55);
            } else if (h.op == dpsim::kOpControl) {
                result = 7;
                data.assign(payload.begin() + 12, payload.end());
            }
            const dpsim::FrameHeader out{h.op, static_cast<uint32_t>(4 + data.size())};
            std::vector<uint8_t> frame(sizeof out + 4);
            std::memcpy(frame.data(), &out, sizeof out);
            std::memcpy(frame.data() + sizeof out, &result, 4);
            frame.insert(frame.end(), data.begin(), data.end());
            (void)!::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL);
        }
    }

    int listen_ = -1;
    bool ok_ = false;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

class DumpTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};
};

TEST_F(DumpTest, NoKernelGivesNoHandleAndAGeneralFailure) {
    const int fds = dptest::open_fd_count();
    EXPECT_EQ(DUMP_Request(1, 0x140001, nullptr, 0), DUMP_INVALID_HANDLE);
    uint32_t len = 99;
    uint8_t reply[8];
    EXPECT_EQ(CIOCTL(1, 0x480061, 0, nullptr, 8, reply, &len), kFailed);
    EXPECT_EQ(len, 0u);
    EXPECT_NE(CIOCTL_Async(1, 0x480061, 0, nullptr), 0u);
    EXPECT_EQ(dptest::open_fd_count(), fds);
}

TEST_F(DumpTest, AnswersLongerThanTheBufferAreRefusedUnwritten) {
    GreedyKernel kernel(dir_.path() + "/kernel.sock");
    ASSERT_TRUE(kernel.ok());
    const uint32_t h = DUMP_Request(1, 0x140001, nullptr, 0);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> buf(kChunk + 16, 0xEE);
    uint32_t got = 0;
    ASSERT_EQ(DUMP_Pull(h, kChunk, buf.data(), &got), kContinue);
    EXPECT_EQ(got, kChunk);
    EXPECT_EQ(buf[kChunk - 1], 0x55);
    EXPECT_EQ(buf[kChunk], 0xEE);
    std::fill(buf.begin(), buf.end(), 0xEE);
    got = 7;
    EXPECT_NE(DUMP_Pull(h, kChunk - 1, buf.data(), &got), kContinue);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(buf[kChunk - 1], 0xEE);
    DUMP_Terminate(h);
    // A handle that is gone neither pulls nor hurts when ended again.
    EXPECT_NE(DUMP_Pull(h, kChunk, buf.data(), &got), kContinue);
    DUMP_Terminate(h);

    const uint8_t req[3] = {9, 8, 7};
    uint8_t reply[3 + 8];
    std::memset(reply, 0xEE, sizeof reply);
    uint32_t len = 0;
    EXPECT_EQ(CIOCTL(4, 0x480068, 3, req, 3, reply, &len), 7u);
    EXPECT_EQ(len, 3u);
    EXPECT_EQ(std::memcmp(reply, req, 3), 0);
    std::memset(reply, 0xEE, sizeof reply);
    len = 9;
    EXPECT_EQ(CIOCTL(4, 0x480068, 3, req, 2, reply, &len), kFailed);
    EXPECT_EQ(reply[0], 0xEE);
    EXPECT_EQ(len, 0u);
}

}  // namespace
