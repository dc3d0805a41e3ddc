// Table dumps and control calls against a small kernel server speaking the
// stream protocol of kernel_wire.h.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kernel_wire.h"
#include "platform/dump.h"
#include "sim_fixture.h"

namespace {

using dpsim_test::ScopedEnv;
using dpsim_test::TempDir;
using dpsim_test::wait_until;

constexpr uint32_t kServedType = 0x140001;
constexpr uint32_t kRecordSize = 10;
constexpr uint32_t kContinue = 0x40010009;

enum class Misbehave { kNone, kOversize, kHangUpAfterFirstPull };

class KernelServer {
public:
    KernelServer(const std::string &path, uint32_t records, Misbehave mode) : records_(records), mode_(mode) {
        listen_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        ok_ = ::bind(listen_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 && ::listen(listen_, 16) == 0;
        acceptor_ = std::thread([this] { accept_loop(); });
    }
    KernelServer(const KernelServer &) = delete;
    KernelServer &operator=(const KernelServer &) = delete;
    ~KernelServer() {
        stop_ = true;
        acceptor_.join();
        for (auto &t : workers_) t.join();
        ::close(listen_);
    }
    bool ok() const { return ok_; }
    int open_connections() const { return connections_; }
    std::vector<uint8_t> last_request() {
        std::lock_guard g(lock_);
        return lastRequest_;
    }
    uint32_t last_op() const { return lastOp_; }

private:
    static bool read_all(int fd, void *p, size_t n, const std::atomic<bool> &stop) {
        auto *b = static_cast<uint8_t *>(p);
        while (n > 0) {
            const ssize_t r = ::recv(fd, b, n, 0);
            if (r < 0 && (errno == EAGAIN || errno == EINTR) && !stop) continue;
            if (r <= 0) return false;
            b += r;
            n -= static_cast<size_t>(r);
        }
        return true;
    }
    static void reply(int fd, uint32_t op, uint32_t result, const std::vector<uint8_t> &data) {
        const dpsim::FrameHeader h{op, static_cast<uint32_t>(4 + data.size())};
        std::vector<uint8_t> frame(sizeof h + 4 + data.size());
        std::memcpy(frame.data(), &h, sizeof h);
        std::memcpy(frame.data() + sizeof h, &result, 4);
        if (!data.empty()) std::memcpy(frame.data() + sizeof h + 4, data.data(), data.size());
        (void)!::send(fd, frame.data(), frame.size(), MSG_NOSIGNAL);
    }

    void accept_loop() {
        while (!stop_) {
            pollfd p{listen_, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) continue;
            const int fd = ::accept4(listen_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            ++connections_;
            workers_.emplace_back([this, fd] {
                serve(fd);
                ::close(fd);
                --connections_;
            });
        }
    }

    void serve(int fd) {
        const timeval tv{0, 20000};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        uint32_t next = 0;
        int pulls = 0;
        for (;;) {
            dpsim::FrameHeader h{};
            if (!read_all(fd, &h, sizeof h, stop_)) return;
            std::vector<uint8_t> payload(h.length);
            if (h.length > 0 && !read_all(fd, payload.data(), h.length, stop_)) return;
            {
                std::lock_guard g(lock_);
                lastRequest_ = payload;
                lastOp_ = h.op;
            }
            if (h.op == dpsim::kOpDumpRequest) {
                uint32_t type = 0;
                std::memcpy(&type, payload.data() + 4, 4);
                reply(fd, h.op, type == kServedType ? 0 : 1, {});
            } else if (h.op == dpsim::kOpDumpPull) {
                if (mode_ == Misbehave::kHangUpAfterFirstPull && pulls > 0) return;
                ++pulls;
                uint32_t max = 0;
                std::memcpy(&max, payload.data(), 4);
                uint32_t count = std::min(records_ - next, max / kRecordSize);
                std::vector<uint8_t> chunk;
                for (uint32_t i = 0; i < count; ++i) chunk.insert(chunk.end(), kRecordSize, uint8_t(next + i));
                if (mode_ == Misbehave::kOversize) chunk.resize(max + kRecordSize, 0x55);
                next += count;
                reply(fd, h.op, count > 0 ? kContinue : 0, chunk);
            } else if (h.op == dpsim::kOpControl) {
                uint32_t cmd = 0, cap = 0;
                std::memcpy(&cmd, payload.data() + 4, 4);
                std::memcpy(&cap, payload.data() + 8, 4);
                std::vector<uint8_t> data(payload.begin() + 12, payload.end());
                if (mode_ == Misbehave::kOversize) data.resize(cap + 1, 0x55);
                reply(fd, h.op, cmd ^ 0xFFu, data);
            } else if (h.op == dpsim::kOpControlAsync) {
                continue;
            }
        }
    }

    int listen_ = -1;
    bool ok_ = false;
    uint32_t records_;
    Misbehave mode_;
    std::atomic<bool> stop_{false};
    std::atomic<int> connections_{0};
    std::atomic<uint32_t> lastOp_{0};
    std::mutex lock_;
    std::vector<uint8_t> lastRequest_;
    std::thread acceptor_;
    std::vector<std::thread> workers_;
};

class DumpTest : public ::testing::Test {
protected:
    TempDir dir_;
    ScopedEnv run_{"DPMGMT_RUNDIR", dir_.path().c_str()};
    std::string kernel_path() const { return dir_.path() + "/kernel.sock"; }
};

TEST_F(DumpTest, ChunksArriveWholeAndWithinTheBuffer) {
    KernelServer server(kernel_path(), 25, Misbehave::kNone);
    ASSERT_TRUE(server.ok());
    const uint8_t key[4] = {0xDE, 0xAD, 0xBE, 0xEF};
    const uint32_t h = DUMP_Request(7, kServedType, key, 4);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    // The request frame: node, 0, dump type, key.
    std::vector<uint8_t> expected(12, 0);
    const uint16_t node = 7;
    const uint32_t type = kServedType;
    std::memcpy(&expected[0], &node, 2);
    std::memcpy(&expected[4], &type, 4);
    std::memcpy(&expected[8], key, 4);
    EXPECT_EQ(server.last_request(), expected);

    // A 105-byte buffer holds 10 records: 10, 10, 5, then the end.
    std::vector<uint8_t> buf(105 + 16, 0xEE);
    std::vector<uint32_t> sizes;
    uint32_t got = 0, result;
    uint32_t first = 0;
    while ((result = DUMP_Pull(h, 105, buf.data(), &got)) == kContinue) {
        sizes.push_back(got);
        EXPECT_EQ(buf[0], first);
        EXPECT_EQ(buf[got - 1], first + got / kRecordSize - 1);
        first += got / kRecordSize;
        ASSERT_LT(sizes.size(), 10u);
    }
    EXPECT_EQ(sizes, (std::vector<uint32_t>{100, 100, 50}));
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(buf[105], 0xEE);
    EXPECT_EQ(server.open_connections(), 1);
    DUMP_Terminate(h);
    EXPECT_TRUE(wait_until([&] { return server.open_connections() == 0; }));
    // A handle that is gone neither pulls nor hurts when ended again.
    EXPECT_NE(DUMP_Pull(h, 105, buf.data(), &got), kContinue);
    EXPECT_EQ(got, 0u);
    DUMP_Terminate(h);
    DUMP_Terminate(0x12345678);
}

TEST_F(DumpTest, UnservedTypesAndAMissingServiceGiveNoHandle) {
    EXPECT_EQ(DUMP_Request(1, kServedType, nullptr, 0), DUMP_INVALID_HANDLE);
    uint32_t len = 99;
    uint8_t reply[8];
    EXPECT_EQ(CIOCTL(1, 0x480061, 0, nullptr, 8, reply, &len), 0x40010001u);
    EXPECT_EQ(len, 0u);
    EXPECT_NE(CIOCTL_Async(1, 0x480061, 0, nullptr), 0u);

    KernelServer server(kernel_path(), 3, Misbehave::kNone);
    ASSERT_TRUE(server.ok());
    EXPECT_EQ(DUMP_Request(1, 0x140002, nullptr, 0), DUMP_INVALID_HANDLE);
    EXPECT_TRUE(wait_until([&] { return server.open_connections() == 0; }));
}

TEST_F(DumpTest, TerminateReleasesEveryDescriptor) {
    KernelServer server(kernel_path(), 3, Misbehave::kNone);
    ASSERT_TRUE(server.ok());
    const int before = dpsim_test::open_fd_count();
    uint8_t buf[100];
    uint32_t got = 0;
    std::vector<uint32_t> handles;
    for (int i = 0; i < 5; ++i) {
        const uint32_t h = DUMP_Request(1, kServedType, nullptr, 0);
        ASSERT_NE(h, DUMP_INVALID_HANDLE);
        EXPECT_EQ(DUMP_Pull(h, sizeof buf, buf, &got), kContinue);
        handles.push_back(h);
    }
    EXPECT_EQ(server.open_connections(), 5);
    for (const uint32_t h : handles) DUMP_Terminate(h);
    EXPECT_TRUE(wait_until([&] { return server.open_connections() == 0; }));
    EXPECT_EQ(dpsim_test::open_fd_count(), before);
}

TEST_F(DumpTest, AnOversizedAnswerIsRefused) {
    KernelServer server(kernel_path(), 50, Misbehave::kOversize);
    ASSERT_TRUE(server.ok());
    const uint32_t h = DUMP_Request(1, kServedType, nullptr, 0);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    std::vector<uint8_t> buf(40 + 32, 0xEE);
    uint32_t got = 7;
    EXPECT_NE(DUMP_Pull(h, 40, buf.data(), &got), kContinue);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(buf[40], 0xEE);
    DUMP_Terminate(h);

    uint8_t reply[4 + 8];
    std::memset(reply, 0xEE, sizeof reply);
    uint32_t len = 9;
    const uint8_t req[2] = {1, 2};
    EXPECT_EQ(CIOCTL(1, 0x480062, 2, req, 4, reply, &len), 0x40010001u);
    EXPECT_EQ(reply[4], 0xEE);
}

TEST_F(DumpTest, ControlCallsCarryRequestAndReply) {
    KernelServer server(kernel_path(), 0, Misbehave::kNone);
    ASSERT_TRUE(server.ok());
    const uint8_t req[3] = {9, 8, 7};
    uint8_t reply[8] = {};
    uint32_t len = 0;
    EXPECT_EQ(CIOCTL(4, 0x480068, 3, req, 8, reply, &len), 0x480068u ^ 0xFFu);
    EXPECT_EQ(len, 3u);
    EXPECT_EQ(std::memcmp(reply, req, 3), 0);
    std::vector<uint8_t> expected(12, 0);
    const uint16_t node = 4;
    const uint32_t cmd = 0x480068, cap = 8;
    std::memcpy(&expected[0], &node, 2);
    std::memcpy(&expected[4], &cmd, 4);
    std::memcpy(&expected[8], &cap, 4);
    expected.insert(expected.end(), req, req + 3);
    EXPECT_EQ(server.last_request(), expected);

    EXPECT_EQ(CIOCTL_Async(2, 0x480099, 3, req), 0u);
    EXPECT_TRUE(wait_until([&] { return server.last_op() == dpsim::kOpControlAsync; }));
}

TEST_F(DumpTest, AServiceGoneMidDumpEndsTheWalk) {
    {
        KernelServer server(kernel_path(), 100, Misbehave::kHangUpAfterFirstPull);
        ASSERT_TRUE(server.ok());
        const uint32_t h = DUMP_Request(1, kServedType, nullptr, 0);
        ASSERT_NE(h, DUMP_INVALID_HANDLE);
        uint8_t buf[50];
        uint32_t got = 0;
        EXPECT_EQ(DUMP_Pull(h, sizeof buf, buf, &got), kContinue);
        EXPECT_EQ(got, 50u);
        EXPECT_NE(DUMP_Pull(h, sizeof buf, buf, &got), kContinue);
        EXPECT_EQ(got, 0u);
        DUMP_Terminate(h);
    }
    ::unlink(kernel_path().c_str());

    // The same, with the serving process killed outright.
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(ready[0]);
        KernelServer server(kernel_path(), 100, Misbehave::kNone);
        const char ok = server.ok() ? 1 : 0;
        (void)!::write(ready[1], &ok, 1);
        for (;;) ::pause();
    }
    ::close(ready[1]);
    char ok = 0;
    ASSERT_EQ(::read(ready[0], &ok, 1), 1);
    ::close(ready[0]);
    ASSERT_EQ(ok, 1);
    const uint32_t h = DUMP_Request(1, kServedType, nullptr, 0);
    uint8_t buf[50];
    uint32_t got = 0;
    const uint32_t firstPull = DUMP_Pull(h, sizeof buf, buf, &got);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ASSERT_NE(h, DUMP_INVALID_HANDLE);
    EXPECT_EQ(firstPull, kContinue);
    EXPECT_NE(DUMP_Pull(h, sizeof buf, buf, &got), kContinue);
    EXPECT_EQ(got, 0u);
    DUMP_Terminate(h);
}

}  // namespace
