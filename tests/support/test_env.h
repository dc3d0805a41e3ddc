// SPDX-License-Identifier: Apache-2.0
// Header-only helpers shared by the platform and integration tests: a
// fresh temporary directory, environment variables set for one scope,
// bounded polling, a descriptor count, a file's text, a bound Unix socket,
// a process held stopped and network-order bytes.
#ifndef DPTEST_TEST_ENV_H
#define DPTEST_TEST_ENV_H

#include <dirent.h>
#include <ftw.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace dptest {

// A directory under /tmp, removed with everything in it at the end.
class TempDir {
public:
    TempDir() {
        char tmpl[] = "/tmp/dptest-XXXXXX";
        if (::mkdtemp(tmpl) != nullptr) path_ = tmpl;
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    ~TempDir() {
        if (!path_.empty())
            ::nftw(
                path_.c_str(), [](const char *p, const struct stat *, int, FTW *) { return ::remove(p); }, 16,
                FTW_DEPTH | FTW_PHYS);
    }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// Sets (or, with null, removes) a variable for the scope, then restores it.
class ScopedEnv {
public:
    ScopedEnv(const char *name, const char *value) : name_(name) {
        if (const char *old = std::getenv(name)) old_ = old;
        if (value != nullptr)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ScopedEnv(const ScopedEnv &) = delete;
    ScopedEnv &operator=(const ScopedEnv &) = delete;
    ~ScopedEnv() {
        if (old_)
            ::setenv(name_.c_str(), old_->c_str(), 1);
        else
            ::unsetenv(name_.c_str());
    }

private:
    std::string name_;
    std::optional<std::string> old_;
};

// Polls the condition until it holds, for at most `limit`.
inline bool wait_until(const std::function<bool()> &cond, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        ::poll(nullptr, 0, 5);
    }
    return true;
}

// Descriptors this process has open.
inline int open_fd_count() {
    int n = 0;
    if (DIR *d = ::opendir("/proc/self/fd")) {
        while (::readdir(d) != nullptr) ++n;
        ::closedir(d);
    }
    return n;
}

// The file's whole text; "" when it cannot be read.
inline std::string read_text(const std::string &path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The address of a Unix socket at path (cut to fit sun_path).
inline sockaddr_un unix_address(const std::string &path) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    return addr;
}

// A Unix socket of `type` bound at path, listening when it is a stream;
// -1 (errno kept) when it cannot be.
inline int bind_unix(int type, const std::string &path) {
    const int fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    const sockaddr_un addr = unix_address(path);
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) == 0 &&
        (type != SOCK_STREAM || ::listen(fd, 16) == 0))
        return fd;
    const int err = errno;
    ::close(fd);
    errno = err;
    return -1;
}

// SIGSTOPs the process for the scope; SIGCONT at the end, whatever happens.
class Stopped {
public:
    explicit Stopped(pid_t pid) : pid_(pid) { ::kill(pid_, SIGSTOP); }
    ~Stopped() { ::kill(pid_, SIGCONT); }
    Stopped(const Stopped &) = delete;
    Stopped &operator=(const Stopped &) = delete;

private:
    pid_t pid_;
};

using Bytes = std::vector<uint8_t>;

// Pieces of a payload: be32(7) + be16(1) + Bytes(2, 0) (bring the operator
// in with `using dptest::operator+;`); and the numbers read back in place.
inline Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline Bytes be16(uint16_t v) {
    return {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
}
inline Bytes be32(uint32_t v) {
    return be16(static_cast<uint16_t>(v >> 16)) + be16(static_cast<uint16_t>(v));
}
inline uint16_t get_be16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}
inline uint32_t get_be32(const uint8_t *p) {
    return static_cast<uint32_t>(get_be16(p)) << 16 | get_be16(p + 2);
}

}  // namespace dptest

#endif
