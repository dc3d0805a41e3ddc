// SPDX-License-Identifier: Apache-2.0
// The one way the tests run a child process: forked, reporting to its
// parent over a pipe, every wait for it bounded, killed and reaped by the
// destructor when still running.
#ifndef DPTEST_CHILD_PROCESS_H
#define DPTEST_CHILD_PROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/test_env.h"

namespace dptest {

// A child running fn(writeFd) and exiting with its result (the pipe closes
// on exec); the parent reads what it writes.
class Child {
public:
    explicit Child(const std::function<int(int)> &fn) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        std::fflush(nullptr);
        const pid_t parent = ::getpid();
        pid_ = ::fork();
        if (pid_ < 0) throw std::runtime_error("fork");
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlive a test binary that dies
            ::close(fds[0]);
            ::_exit(::getppid() == parent ? fn(fds[1]) : 127);
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

    pid_t pid() const { return pid_; }

    // Exactly n bytes, each read within 20 s; false on end of stream or time-out.
    bool read_exact(void *buf, size_t n) {
        auto *p = static_cast<uint8_t *>(buf);
        for (ssize_t got = 0; n > 0; p += got, n -= static_cast<size_t>(got)) {
            pollfd pfd{fd_, POLLIN, 0};
            if (::poll(&pfd, 1, 20000) <= 0 || (got = ::read(fd_, p, n)) <= 0) return false;
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
    // The exit code (128 + the signal when killed by one) once the child
    // ends within `limit`; -1, the child still running, when it does not.
    int wait_exit(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        int status = 0;
        if (pid_ <= 0 || !wait_until([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, limit)) return -1;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
    }
    // SIGKILL and reap: what a crash leaves behind stays.
    int kill9() {
        if (pid_ > 0) ::kill(pid_, SIGKILL);
        return wait_exit();
    }
    // SIGTERM, then SIGKILL after 10 s; the exit code as wait_exit's.
    int stop() {
        if (pid_ > 0) ::kill(pid_, SIGTERM);
        const int code = wait_exit(std::chrono::seconds(10));
        return pid_ > 0 ? kill9() : code;
    }

private:
    pid_t pid_ = -1;
    int fd_ = -1;
};

// The result of a program run to its end.
struct CliResult {
    int status = -1;        // exit code; 128 + signal number when killed by a signal
    bool timedOut = false;  // killed because it outlived its time
    std::string out;        // standard output, byte for byte
    std::string err;        // standard error, byte for byte
};

// Runs `path` with `args` in this (child) process: standard input
// /dev/null, the output streams into the files out and err.
inline int exec_program(const std::string &path, const std::vector<std::string> &args, const std::string &out,
                        const std::string &err) {
    std::vector<char *> argv{const_cast<char *>(path.c_str())};
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), 0);
    ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), 1);
    ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), 2);
    ::execv(path.c_str(), argv.data());
    return 127;
}

// Runs the program to its end, both output streams captured through files
// (a child that writes a lot never blocks on a parent only waiting for it);
// killed with SIGKILL after timeoutSec seconds.
inline CliResult run_program(const std::string &path, const std::vector<std::string> &args, int timeoutSec = 30) {
    TempDir dir;
    const std::string out = dir.path() + "/out", err = dir.path() + "/err";
    CliResult result;
    {
        Child child([&](int) { return exec_program(path, args, out, err); });
        result.status = child.wait_exit(std::chrono::seconds(timeoutSec));
        result.timedOut = result.status == -1;
        if (result.timedOut) result.status = child.kill9();
    }
    result.out = read_text(out);
    result.err = read_text(err);
    return result;
}

}  // namespace dptest

#endif
