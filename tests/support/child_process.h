// SPDX-License-Identifier: Apache-2.0
// A forked child that reports to its parent over a pipe, for the tests of
// what survives a process killed part-way.
#ifndef DPTEST_CHILD_PROCESS_H
#define DPTEST_CHILD_PROCESS_H

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

#include "support/test_env.h"

namespace dptest {

// A child running fn(writeFd) and exiting with its result; the parent reads
// what it writes.  The destructor kills and reaps a child still running.
class Child {
public:
    explicit Child(const std::function<int(int)> &fn) {
        int fds[2];
        if (::pipe(fds) != 0) throw std::runtime_error("pipe");
        pid_ = ::fork();
        if (pid_ < 0) throw std::runtime_error("fork");
        if (pid_ == 0) {
            ::close(fds[0]);
            ::_exit(fn(fds[1]));
        }
        ::close(fds[1]);
        fd_ = fds[0];
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child() {
        kill9();
        ::close(fd_);
    }

    // Exactly n bytes within 20 s in all; false on end of stream or time-out.
    bool read_exact(void *buf, size_t n) {
        auto *p = static_cast<uint8_t *>(buf);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (n > 0) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now()).count();
            pollfd pfd{fd_, POLLIN, 0};
            if (left <= 0 || ::poll(&pfd, 1, static_cast<int>(left)) <= 0) return false;
            const ssize_t got = ::read(fd_, p, n);
            if (got <= 0) return false;
            p += got;
            n -= static_cast<size_t>(got);
        }
        return true;
    }
    // What is still in the pipe; call once the child is gone.
    std::vector<uint8_t> drain() {
        std::vector<uint8_t> out;
        uint8_t buf[4096];
        ssize_t got;
        while ((got = ::read(fd_, buf, sizeof buf)) > 0) out.insert(out.end(), buf, buf + got);
        return out;
    }
    void kill9() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    // The exit code after at most 20 s; -1 when killed or still running.
    int wait_exit() {
        int status = 0;
        if (!wait_until([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, std::chrono::seconds(20)))
            return -1;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    int fd_ = -1;
};

inline bool write_all(int fd, const void *p, size_t n) { return ::write(fd, p, n) == static_cast<ssize_t>(n); }

}  // namespace dptest

#endif
