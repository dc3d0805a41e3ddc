// SPDX-License-Identifier: Apache-2.0
#include "netfilter/nft_program.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

extern char **environ;

namespace dpsvc::nf {

namespace {

struct Fd {
    int fd = -1;
    Fd() = default;
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    ~Fd() { reset(); }
    void reset() {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
};

struct Pipe {
    Fd read, write;
    bool open() {
        int p[2];
        if (::pipe2(p, O_CLOEXEC) != 0) return false;
        read.fd = p[0];
        write.fd = p[1];
        return true;
    }
};

struct Actions {
    posix_spawn_file_actions_t a;
    Actions() { posix_spawn_file_actions_init(&a); }
    ~Actions() { posix_spawn_file_actions_destroy(&a); }
};

const std::string &program() {
    static const std::string path = [] {
        if (const char *e = std::getenv("DPSVC_NFT"); e != nullptr && *e != '\0') return std::string(e);
        for (const char *p : {"/usr/sbin/nft", "/sbin/nft"})
            if (::access(p, X_OK) == 0) return std::string(p);
        return std::string("nft");
    }();
    return path;
}

std::string first_line(const std::string &text) {
    std::string s = text.substr(0, text.find('\n'));
    while (!s.empty() && (s.back() == ' ' || s.back() == '\r')) s.pop_back();
    return s;
}

// A write to a program that stopped reading fails with EPIPE instead of
// raising SIGPIPE, whatever the process does with that signal: the signal
// is blocked for the write and a SIGPIPE it left pending is taken back.
ssize_t write_unsignalled(int fd, const void *data, size_t len) {
    sigset_t pipe, old, pending;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    sigpending(&pending);
    const bool wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe, &old);
    const ssize_t k = ::write(fd, data, len);
    const int err = errno;
    if (k < 0 && err == EPIPE && !wasPending) {
        const timespec now{0, 0};
        while (sigtimedwait(&pipe, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    errno = err;
    return k;
}

// Feeds the input and drains both outputs until the child closes them or
// the deadline passes; false on the deadline or too much output.
bool exchange(Fd &in, Fd &out, Fd &err, const std::string &input, int deadlineMs, NftResult &r) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadlineMs);
    size_t written = 0;
    if (input.empty()) in.reset();
    char buf[65536];
    while (out.fd >= 0 || err.fd >= 0) {
        pollfd p[3];
        nfds_t n = 0;
        for (Fd *f : {&out, &err})
            if (f->fd >= 0) p[n++] = {f->fd, POLLIN, 0};
        if (in.fd >= 0) p[n++] = {in.fd, POLLOUT, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            r.error = "nft did not finish within " + std::to_string(deadlineMs) + " ms";
            return false;
        }
        const int ready = ::poll(p, n, static_cast<int>(left));
        if (ready < 0 && errno != EINTR) {
            r.error = std::string("poll: ") + std::strerror(errno);
            return false;
        }
        for (nfds_t i = 0; ready > 0 && i < n; ++i) {
            if (p[i].revents == 0) continue;
            if (p[i].fd == in.fd) {
                const ssize_t k = write_unsignalled(in.fd, input.data() + written, input.size() - written);
                if (k > 0) written += static_cast<size_t>(k);
                if (k < 0 && errno != EINTR && errno != EAGAIN) in.reset();  // it stopped reading
                if (written == input.size()) in.reset();
                continue;
            }
            Fd &f = p[i].fd == out.fd ? out : err;
            const ssize_t k = ::read(f.fd, buf, sizeof buf);
            if (k > 0) {
                std::string &dst = &f == &out ? r.output : r.error;
                if (dst.size() + static_cast<size_t>(k) > kNftOutputMax) {
                    r.error = "nft printed more than " + std::to_string(kNftOutputMax >> 20) + " MiB";
                    return false;
                }
                dst.append(buf, static_cast<size_t>(k));
            } else if (k == 0 || (errno != EINTR && errno != EAGAIN)) {
                f.reset();
            }
        }
    }
    return true;
}

}  // namespace

NftResult run_nft(const std::vector<std::string> &args, const std::string &input) {
    return run_program(program(), args, input, kNftDeadlineMs);
}

NftResult run_program(const std::string &path, const std::vector<std::string> &args, const std::string &input,
                      int deadlineMs) {
    NftResult r;
    Pipe in, out, err;
    if (!in.open() || !out.open() || !err.open()) {
        r.error = std::string("pipe: ") + std::strerror(errno);
        return r;
    }
    Actions act;
    posix_spawn_file_actions_adddup2(&act.a, in.read.fd, 0);
    posix_spawn_file_actions_adddup2(&act.a, out.write.fd, 1);
    posix_spawn_file_actions_adddup2(&act.a, err.write.fd, 2);
    posix_spawn_file_actions_addclosefrom_np(&act.a, 3);  // the service's sockets stay its own
    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(path.c_str()));
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = path.find('/') != std::string::npos
                       ? ::posix_spawn(&pid, argv[0], &act.a, nullptr, argv.data(), environ)
                       : ::posix_spawnp(&pid, argv[0], &act.a, nullptr, argv.data(), environ);
    in.read.reset();
    out.write.reset();
    err.write.reset();
    for (const Fd *f : {&in.write, &out.read, &err.read}) ::fcntl(f->fd, F_SETFL, O_NONBLOCK);
    if (rc != 0) {
        r.error = "cannot run " + path + ": " + std::strerror(rc);
        return r;
    }
    const bool finished = exchange(in.write, out.read, err.read, input, deadlineMs, r);
    if (!finished) ::kill(pid, SIGKILL);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!finished) {
        r.output.clear();
        return r;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        r.ok = true;
        r.error.clear();
    } else if (WIFEXITED(status) && WEXITSTATUS(status) == 127 && r.error.empty()) {
        r.error = "cannot run " + path;
    } else {
        std::string text = first_line(r.error);
        if (text.empty())
            text = WIFEXITED(status) ? "nft exited with status " + std::to_string(WEXITSTATUS(status))
                                     : "nft ended by signal " + std::to_string(WTERMSIG(status));
        r.error = text;
        r.output.clear();
    }
    return r;
}

}  // namespace dpsvc::nf
