// The message client over real datagram sockets of the stand-in platform,
// against a small service thread on a temporary run directory.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "dpmgmt/channels.h"

namespace {

int open_descriptors() {
    int n = 0;
    DIR *d = opendir("/proc/self/fd");
    while (readdir(d) != nullptr) ++n;
    closedir(d);
    return n;
}

// A datagram service on <rundir>/svc-3184.sock that answers one request
// after a delay with a reply of the request's type carrying a zero result.
class OneShotService {
public:
    explicit OneShotService(const std::string &rundir, std::chrono::milliseconds delay) {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        const std::string path = rundir + "/svc-3184.sock";
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
        thread_ = std::thread([this, delay] {
            uint8_t buf[256];
            sockaddr_un peer{};
            socklen_t peerLen = sizeof peer;
            const ssize_t n = recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&peer), &peerLen);
            if (n <= 0) return;
            received_.assign(buf, buf + n);
            std::this_thread::sleep_for(delay);  // the service's own work, not a synchronisation
            uint8_t reply[12] = {buf[0], buf[1], buf[2], buf[3], 0, 0, 0, 12, 0, 0, 0, 0};
            sendto(fd_, reply, sizeof reply, 0, reinterpret_cast<sockaddr *>(&peer), peerLen);
        });
    }
    ~OneShotService() {
        shutdown(fd_, SHUT_RDWR);  // wakes a receive that never got a request
        if (thread_.joinable()) thread_.join();
        close(fd_);
    }
    // The request it answered (the exchange has returned, so it is done).
    std::vector<uint8_t> received() {
        if (thread_.joinable()) thread_.join();
        return received_;
    }

private:
    int fd_ = -1;
    std::thread thread_;
    std::vector<uint8_t> received_;
};

class ChannelExchange : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/dpmgmt-test-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        rundir_ = tmpl;
        setenv("DPMGMT_RUNDIR", rundir_.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(rundir_); }

    // Runs fn with standard output going to a file; returns what it printed.
    template <class Fn>
    static std::string captured(Fn fn) {
        std::fflush(stdout);
        char path[] = "/tmp/dpmgmt-out-XXXXXX";
        const int file = mkstemp(path);
        unlink(path);
        const int saved = dup(STDOUT_FILENO);
        dup2(file, STDOUT_FILENO);
        fn();
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        std::string out;
        lseek(file, 0, SEEK_SET);
        char buf[512];
        ssize_t n;
        while ((n = read(file, buf, sizeof buf)) > 0) out.append(buf, static_cast<size_t>(n));
        close(file);
        return out;
    }

    std::string rundir_;
};

TEST_F(ChannelExchange, WorkedExchangeOfTypeFortyNine) {
    OneShotService svc(rundir_, std::chrono::milliseconds(0));
    const uint8_t req[2] = {0x00, 0x01};
    uint8_t reply[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    ASSERT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, sizeof req, req, sizeof reply, reply), DPMGMT_OK);
    EXPECT_EQ(svc.received(), (std::vector<uint8_t>{0, 0, 0, 0x31, 0, 0, 0, 0x0A, 0, 1}));
    EXPECT_EQ(std::memcmp(reply, "\0\0\0\0", 4), 0);
}

TEST_F(ChannelExchange, NoServiceFailsWithoutLeakingDescriptors) {
    const int before = open_descriptors();
    uint8_t reply[4];
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(SESSION_MSG_SendRecvMsg(3184, 49, 0, nullptr, sizeof reply, reply), DPMGMT_ERR_FAILED);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ChannelExchange, PatientReceiveShowsDotsWhileTheServiceWorks) {
    OneShotService svc(rundir_, std::chrono::milliseconds(3200));
    uint32_t rc = 1;
    const std::string out = captured([&] {
        uint8_t reply[4];
        rc = SESSION_MSG_SendRecvMsg_DontWait(3184, 20, 0, nullptr, sizeof reply, reply);
    });
    EXPECT_EQ(rc, DPMGMT_OK);
    ASSERT_EQ(out.rfind("Resetting session", 0), 0u) << out;
    const std::string dots = out.substr(17, out.size() - 17 - 7);
    EXPECT_GE(dots.size(), 2u);
    EXPECT_LE(dots.size(), 4u);
    EXPECT_EQ(dots.find_first_not_of('.'), std::string::npos) << out;
    EXPECT_EQ(out.substr(out.size() - 7), "Done.\r\n");
}

TEST_F(ChannelExchange, PatientReceiveQuietWhenAnsweredAtOnce) {
    OneShotService svc(rundir_, std::chrono::milliseconds(0));
    uint32_t rc = 1;
    const std::string out = captured([&] {
        uint8_t reply[4];
        rc = SESSION_MSG_SendRecvMsg_DontWait(3184, 20, 0, nullptr, sizeof reply, reply);
    });
    EXPECT_EQ(rc, DPMGMT_OK);
    EXPECT_EQ(out, "");
}

}  // namespace
