// Sockets of the appliance's address family 37, carried by Unix datagram
// sockets in the run directory: the service of port P listens on
// <rundir>/svc-P.sock, and a client socket autobinds to an abstract name so
// that the service can answer it.
#include "platform/socket.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "dpsim.h"
#include "unix_fd.h"

using dpsim::detail::Fd;

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
    sockaddr_un target{};
    socklen_t len = 0;
    if (!dpsim::detail::make_unix_addr(dpsim::service_socket_path(port), target, len)) return -1;
    return ::connect(fd, reinterpret_cast<const sockaddr *>(&target), len);
}

PLAT_API long SOCK_Send(int fd, const void *buf, size_t len, int flags) {
    // A vanished peer must come back as an error, never as SIGPIPE.
    return static_cast<long>(::send(fd, buf, len, flags | MSG_NOSIGNAL));
}

PLAT_API long SOCK_Recv(int fd, void *buf, size_t len, int flags) {
    return static_cast<long>(::recv(fd, buf, len, flags));
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
    return ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

PLAT_API int SOCK_Close(int fd) { return ::close(fd); }

}  // extern "C"
