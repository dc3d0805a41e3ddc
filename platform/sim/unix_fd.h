// SPDX-License-Identifier: Apache-2.0
// Small helpers the stand-in runtime's socket code shares: an owned
// descriptor and Unix socket addresses.
#ifndef DPSIM_UNIX_FD_H
#define DPSIM_UNIX_FD_H

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace dpsim::detail {

// Owns one descriptor; closes it on every path.  close() keeps errno as it
// was, so a failure reported by the caller is not overwritten.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    Fd(Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~Fd() { reset(); }
    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset() {
        if (fd_ >= 0) {
            const int saved = errno;
            ::close(fd_);
            errno = saved;
            fd_ = -1;
        }
    }

private:
    int fd_ = -1;
};

// Fills a Unix socket address for path; false (errno ENAMETOOLONG) when the
// path does not fit.
inline bool make_unix_addr(const std::string &path, sockaddr_un &addr, socklen_t &len) {
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof addr.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(addr.sun_path, path.data(), path.size());
    len = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    return true;
}

}  // namespace dpsim::detail

#endif
