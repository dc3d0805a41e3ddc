// SPDX-License-Identifier: Apache-2.0
// Sockets of the appliance's address family 37, carried by Unix datagram
// sockets in the run directory: the service of port P listens on
// <rundir>/svc-P.sock, and a client socket autobinds to an abstract name so
// that the service can answer it.
//
// The platform remembers, per socket it made, where it is connected (the
// socket file and its identity), its receive time-out and its last send:
// what a bounded receive needs to tell a slow service from a dead one.
#include "platform/socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>
#include <string>
#include <unordered_map>

#include "dpsim.h"
#include "platform/wait.h"
#include "unix_fd.h"
#include "wait_state.h"

using dpsim::detail::Fd;
using dpsim::detail::now_ms;
using dpsim::detail::record_fault;

namespace {

// How often a waiting receive looks whether the service is still there.
constexpr int64_t kWatchMs = 100;
constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

struct SockState {
    bool connected = false;
    dev_t dev = 0;  // the service socket file we connected to
    ino_t ino = 0;
    int64_t timeoutMs = 0;   // SO_RCVTIMEO as set through SOCK_SetSockOpt; 0: none
    int64_t lastSendMs = 0;  // 0: nothing sent yet
    sockaddr_un addr{};
    socklen_t addrLen = 0;
};

class SockTable {
public:
    void open(int fd) {
        std::lock_guard guard(lock_);
        socks_[fd] = SockState{};
    }
    void close(int fd) {
        std::lock_guard guard(lock_);
        socks_.erase(fd);
    }
    template <class F>
    bool update(int fd, F &&f) {
        std::lock_guard guard(lock_);
        const auto it = socks_.find(fd);
        if (it == socks_.end()) return false;
        f(it->second);
        return true;
    }
    bool get(int fd, SockState &out) {
        return update(fd, [&](SockState &s) { out = s; });
    }

private:
    std::mutex lock_;
    std::unordered_map<int, SockState> socks_;
};

SockTable &socks() {
    static SockTable *table = new SockTable;  // outlives every static destructor
    return *table;
}

std::string path_of(const SockState &s) {
    return std::string(s.addr.sun_path, ::strnlen(s.addr.sun_path, sizeof s.addr.sun_path));
}

// The service behind a connected socket is gone when its socket file is
// gone or is another socket now (a successor bound the name again), or when
// nobody is bound to it any more: connecting again to the same, live peer
// changes nothing, while a dead one refuses.
bool service_gone(int fd, const SockState &s) {
    struct stat st {};
    if (::lstat(s.addr.sun_path, &st) != 0) return errno == ENOENT || errno == ENOTDIR;
    if (st.st_dev != s.dev || st.st_ino != s.ino) return true;
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&s.addr), s.addrLen) != 0)
        return errno == ECONNREFUSED || errno == ENOENT;
    return false;
}

uid_t effective_uid() {
    static const uid_t uid = ::geteuid();
    return uid;
}

long fail(int err) {
    errno = err;
    return -1;
}

// A receive while the process bounds its waits: the wait is sliced so that
// the service can be watched, and ends with data, EAGAIN at the socket's
// own time-out, ETIMEDOUT at a bound, or ECONNRESET when the service went
// away.
long bounded_recv(int fd, void *buf, size_t len, int flags) {
    SockState s;
    if (!socks().get(fd, s)) return static_cast<long>(::recv(fd, buf, len, flags));
    const int64_t start = now_ms();
    const int64_t exchangeMs = dpsim::detail::exchange_bound_ms();
    const int64_t patientMs = dpsim::detail::patient_bound_ms();
    int64_t sliceEnd = kNever;     // where the socket's own time-out says EAGAIN
    int64_t boundEnd = kNever;     // where the process's bound says ETIMEDOUT
    if (s.timeoutMs > 0) {
        sliceEnd = start + s.timeoutMs;
        if (patientMs > 0) boundEnd = (s.lastSendMs != 0 ? s.lastSendMs : start) + patientMs;
    } else if (exchangeMs > 0) {
        boundEnd = start + exchangeMs;
    }
    const std::string endpoint = path_of(s);
    int64_t watched = start;
    for (;;) {
        const long n = static_cast<long>(::recv(fd, buf, len, flags | MSG_DONTWAIT));
        if (n >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) {
            if (n < 0 && errno == ECONNREFUSED)
                record_fault(PLAT_FAULT_GONE, ECONNRESET, now_ms() - start, endpoint,
                             endpoint + ": the service went away");
            return n;
        }
        const int64_t now = now_ms();
        if (now >= boundEnd) {
            record_fault(PLAT_FAULT_TIMEOUT, ETIMEDOUT, now - start, endpoint,
                         endpoint + ": no answer within " +
                             std::to_string(s.timeoutMs > 0 ? patientMs : exchangeMs) + " ms");
            return fail(ETIMEDOUT);
        }
        if (s.connected && now - watched >= kWatchMs) {
            if (service_gone(fd, s)) {
                record_fault(PLAT_FAULT_GONE, ECONNRESET, now - start, endpoint,
                             endpoint + ": the service went away");
                return fail(ECONNRESET);
            }
            watched = now;
        }
        if (now >= sliceEnd) return fail(EAGAIN);
        const int64_t until = std::min({boundEnd, sliceEnd, watched + kWatchMs});
        pollfd pfd{fd, POLLIN, 0};
        const int r = ::poll(&pfd, 1, static_cast<int>(std::clamp<int64_t>(until - now, 1, kWatchMs)));
        // A signal ends a receive that has a time-out, as the system's own
        // receive does; one without is resumed.
        if (r < 0 && errno == EINTR && s.timeoutMs > 0) return -1;
    }
}

}  // namespace

extern "C" {

PLAT_API int SOCK_Socket(int domain, int type, int protocol) {
    if (domain != PLAT_AF_SERVICE) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    if (type != PLAT_SOCK_DGRAM) {
        errno = EINVAL;
        return -1;
    }
    if (protocol != 0 && protocol != 1) {
        errno = EPROTONOSUPPORT;
        return -1;
    }
    Fd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) return -1;
    // Binding only the family asks the kernel for a fresh abstract name: the
    // service's reply needs an address to go to.
    sockaddr_un self{};
    self.sun_family = AF_UNIX;
    if (::bind(fd.get(), reinterpret_cast<const sockaddr *>(&self), sizeof(sa_family_t)) != 0) return -1;
    socks().open(fd.get());
    return fd.release();
}

PLAT_API int SOCK_Connect(int fd, const void *addr, uint32_t addrLen) {
    if (addr == nullptr || addrLen < PLAT_SOCKADDR_SIZE) {
        errno = EINVAL;
        return -1;
    }
    const auto *rec = static_cast<const uint8_t *>(addr);
    if (rec[0] != PLAT_SOCKADDR_SIZE) {
        errno = EINVAL;
        return -1;
    }
    if (rec[1] != PLAT_AF_SERVICE) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    const uint16_t port = static_cast<uint16_t>(rec[2] << 8 | rec[3]);
    std::string dir;
    if (!dpsim::trusted_rundir(dir)) return -1;
    const std::string path = dir + "/svc-" + std::to_string(port) + ".sock";
    sockaddr_un target{};
    socklen_t len = 0;
    if (!dpsim::detail::make_unix_addr(path, target, len)) return -1;
    // The run directory is the user's own and closed to others, so only
    // the user (or root) can have made a socket in it.  A process that
    // bounds its waits looks at the socket itself as well: only a socket of
    // its own user is believed to be its service, and the socket's identity
    // is what tells, later, whether the service went away.
    struct stat st {};
    const bool watched = dpsim::detail::waits_bounded();
    if (watched && ::lstat(path.c_str(), &st) != 0) {
        const int err = errno;
        record_fault(PLAT_FAULT_UNREACHABLE, err, 0, path, path + ": " + std::strerror(err));
        return fail(err);
    }
    if (watched && (!S_ISSOCK(st.st_mode) || st.st_uid != effective_uid())) {
        record_fault(PLAT_FAULT_UNTRUSTED, EPERM, 0, path,
                     path + (S_ISSOCK(st.st_mode) ? " belongs to uid " + std::to_string(st.st_uid) : " is not a socket"));
        return fail(EPERM);
    }
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&target), len) != 0) {
        const int err = errno;
        record_fault(PLAT_FAULT_UNREACHABLE, err, 0, path, path + ": " + std::strerror(err));
        return fail(err);
    }
    socks().update(fd, [&](SockState &s) {
        s.connected = watched;
        s.dev = st.st_dev;
        s.ino = st.st_ino;
        s.addr = target;
        s.addrLen = len;
    });
    return 0;
}

PLAT_API long SOCK_Send(int fd, const void *buf, size_t len, int flags) {
    // A vanished peer must come back as an error, never as SIGPIPE.
    const long n = static_cast<long>(::send(fd, buf, len, flags | MSG_NOSIGNAL));
    if (n >= 0) {
        socks().update(fd, [](SockState &s) { s.lastSendMs = now_ms(); });
    } else if (errno == ECONNREFUSED) {
        const int err = errno;
        SockState s;
        if (socks().get(fd, s)) {
            const std::string endpoint = path_of(s);
            record_fault(PLAT_FAULT_GONE, err, 0, endpoint, endpoint + ": the service went away");
        }
        errno = err;
    }
    return n;
}

PLAT_API long SOCK_Recv(int fd, void *buf, size_t len, int flags) {
    if (!dpsim::detail::waits_bounded() || (flags & MSG_DONTWAIT) != 0)
        return static_cast<long>(::recv(fd, buf, len, flags));
    return bounded_recv(fd, buf, len, flags);
}

PLAT_API int SOCK_SetSockOpt(int fd, int level, int option, const void *value, uint32_t len) {
    if (level != PLAT_SOL_SOCKET || option != PLAT_SO_RCVTIMEO) {
        errno = ENOPROTOOPT;
        return -1;
    }
    if (value == nullptr || len != 16) {
        errno = EINVAL;
        return -1;
    }
    // The appliance's time value: 8-byte seconds, then 8-byte microseconds.
    int64_t sec = 0;
    int64_t usec = 0;
    std::memcpy(&sec, value, 8);
    std::memcpy(&usec, static_cast<const uint8_t *>(value) + 8, 8);
    timeval tv{};
    tv.tv_sec = static_cast<time_t>(sec);
    tv.tv_usec = static_cast<suseconds_t>(usec);
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv) != 0) return -1;
    // As the system rounds it: a time-out shorter than a millisecond but
    // not zero still is one.
    const int64_t ms = sec * 1000 + (usec + 999) / 1000;
    socks().update(fd, [&](SockState &s) { s.timeoutMs = ms; });
    return 0;
}

PLAT_API int SOCK_Close(int fd) {
    socks().close(fd);
    return ::close(fd);
}

}  // extern "C"
