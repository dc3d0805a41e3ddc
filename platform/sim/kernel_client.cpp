// The kernel's table dumps and control calls, as a client of dpservice's
// kernel side on <rundir>/kernel.sock (framing in kernel_wire.h).  Every
// dump owns one stream connection for its whole life: the service keeps the
// dump's cursor exactly as long as the connection lives, so closing the
// connection is what releases it.
#include "platform/dump.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "dpsim.h"
#include "kernel_wire.h"
#include "unix_fd.h"

using dpsim::detail::Fd;

namespace {

constexpr uint32_t kFailed = 0x40010001u;
// A dead or stuck service must not hold a caller forever.
constexpr time_t kIoTimeoutSeconds = 30;

bool send_all(int fd, const void *data, size_t len) {
    const auto *p = static_cast<const uint8_t *>(data);
    while (len > 0) {
        const ssize_t n = ::send(fd, p, len, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        p += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

bool recv_all(int fd, void *data, size_t len) {
    auto *p = static_cast<uint8_t *>(data);
    while (len > 0) {
        const ssize_t n = ::recv(fd, p, len, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;  // closed, timed out or broken
        p += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

Fd connect_kernel() {
    Fd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) return {};
    const timeval tv{kIoTimeoutSeconds, 0};
    ::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    ::setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    sockaddr_un addr{};
    socklen_t len = 0;
    if (!dpsim::detail::make_unix_addr(dpsim::kernel_socket_path(), addr, len)) return {};
    if (::connect(fd.get(), reinterpret_cast<const sockaddr *>(&addr), len) != 0) return {};
    return fd;
}

bool send_frame(int fd, uint32_t op, const std::vector<uint8_t> &payload) {
    const dpsim::FrameHeader header{op, static_cast<uint32_t>(payload.size())};
    return send_all(fd, &header, sizeof header) && (payload.empty() || send_all(fd, payload.data(), payload.size()));
}

// Reads one reply frame: its result word, and the rest of the payload into
// out (at most `cap` bytes, else the reply is refused).
bool recv_reply(int fd, uint32_t &result, uint8_t *out, uint32_t cap, uint32_t &got) {
    dpsim::FrameHeader header{};
    if (!recv_all(fd, &header, sizeof header)) return false;
    if (header.length < 4 || header.length > dpsim::kKernelMaxFrame) return false;
    if (!recv_all(fd, &result, 4)) return false;
    const uint32_t rest = header.length - 4;
    if (rest > cap) return false;
    if (rest > 0 && !recv_all(fd, out, rest)) return false;
    got = rest;
    return true;
}

void put16(std::vector<uint8_t> &v, uint16_t x) { v.insert(v.end(), reinterpret_cast<uint8_t *>(&x), reinterpret_cast<uint8_t *>(&x) + 2); }
void put32(std::vector<uint8_t> &v, uint32_t x) { v.insert(v.end(), reinterpret_cast<uint8_t *>(&x), reinterpret_cast<uint8_t *>(&x) + 4); }

// One open dump.  Its own lock orders pulls on the one stream; the table's
// lock only guards the map.
struct DumpConn {
    std::mutex lock;
    Fd fd;
    bool broken = false;
};

class DumpTable {
public:
    uint32_t add(std::shared_ptr<DumpConn> conn) {
        std::lock_guard guard(lock_);
        do {
            ++next_;
        } while (next_ == DUMP_INVALID_HANDLE || next_ == 0 || conns_.count(next_) != 0);
        conns_.emplace(next_, std::move(conn));
        return next_;
    }
    std::shared_ptr<DumpConn> find(uint32_t handle) {
        std::lock_guard guard(lock_);
        const auto it = conns_.find(handle);
        return it == conns_.end() ? nullptr : it->second;
    }
    std::shared_ptr<DumpConn> remove(uint32_t handle) {
        std::lock_guard guard(lock_);
        const auto it = conns_.find(handle);
        if (it == conns_.end()) return nullptr;
        auto conn = std::move(it->second);
        conns_.erase(it);
        return conn;
    }

private:
    std::mutex lock_;
    std::unordered_map<uint32_t, std::shared_ptr<DumpConn>> conns_;
    uint32_t next_ = 0;
};

DumpTable &dumps() {
    static DumpTable *table = new DumpTable;  // outlives every static destructor
    return *table;
}

std::vector<uint8_t> control_request(uint16_t node, uint32_t cmd, uint32_t cap, uint32_t reqLen, const void *req) {
    std::vector<uint8_t> payload;
    payload.reserve(12 + reqLen);
    put16(payload, node);
    put16(payload, 0);
    put32(payload, cmd);
    put32(payload, cap);
    if (reqLen > 0 && req != nullptr) {
        const auto *p = static_cast<const uint8_t *>(req);
        payload.insert(payload.end(), p, p + reqLen);
    }
    return payload;
}

}  // namespace

extern "C" {

PLAT_API uint32_t DUMP_Request(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen) {
    if (keyLen > 0 && key == nullptr) return DUMP_INVALID_HANDLE;
    if (keyLen > dpsim::kKernelMaxFrame - 8) return DUMP_INVALID_HANDLE;
    auto conn = std::make_shared<DumpConn>();
    conn->fd = connect_kernel();
    if (!conn->fd.valid()) return DUMP_INVALID_HANDLE;
    std::vector<uint8_t> payload;
    payload.reserve(8 + keyLen);
    put16(payload, node);
    put16(payload, 0);
    put32(payload, dumpType);
    if (keyLen > 0) payload.insert(payload.end(), static_cast<const uint8_t *>(key), static_cast<const uint8_t *>(key) + keyLen);
    if (!send_frame(conn->fd.get(), dpsim::kOpDumpRequest, payload)) return DUMP_INVALID_HANDLE;
    uint32_t status = 1;
    uint32_t got = 0;
    if (!recv_reply(conn->fd.get(), status, nullptr, 0, got) || status != 0) return DUMP_INVALID_HANDLE;
    return dumps().add(std::move(conn));
}

PLAT_API uint32_t DUMP_Pull(uint32_t handle, uint32_t bufLen, void *buf, uint32_t *delivered) {
    if (delivered != nullptr) *delivered = 0;
    if (buf == nullptr && bufLen > 0) return kFailed;
    const auto conn = dumps().find(handle);
    if (!conn) return kFailed;
    std::lock_guard guard(conn->lock);
    if (conn->broken) return kFailed;
    std::vector<uint8_t> payload;
    put32(payload, bufLen);
    uint32_t result = kFailed;
    uint32_t got = 0;
    // A service that answers with more than was asked is not believed: the
    // pull fails before a byte of the chunk is read, and the dump is over.
    const uint32_t cap = bufLen < dpsim::kKernelMaxFrame ? bufLen : dpsim::kKernelMaxFrame;
    if (!send_frame(conn->fd.get(), dpsim::kOpDumpPull, payload) ||
        !recv_reply(conn->fd.get(), result, static_cast<uint8_t *>(buf), cap, got)) {
        conn->broken = true;
        conn->fd.reset();
        return kFailed;
    }
    if (delivered != nullptr) *delivered = got;
    return result;
}

PLAT_API void DUMP_Terminate(uint32_t handle) {
    // Dropping the last reference closes the connection, which ends the
    // cursor on the service side; a pull still running keeps it until done.
    dumps().remove(handle);
}

PLAT_API uint32_t CIOCTL(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req, uint32_t replyCap, void *reply,
                         uint32_t *replyLen) {
    if (replyLen != nullptr) *replyLen = 0;
    if ((reqLen > 0 && req == nullptr) || (replyCap > 0 && reply == nullptr)) return kFailed;
    if (reqLen > dpsim::kKernelMaxFrame - 16) return kFailed;
    Fd fd = connect_kernel();
    if (!fd.valid()) return kFailed;
    if (!send_frame(fd.get(), dpsim::kOpControl, control_request(node, cmd, replyCap, reqLen, req))) return kFailed;
    const uint32_t cap = replyCap < dpsim::kKernelMaxFrame ? replyCap : dpsim::kKernelMaxFrame;
    uint32_t result = kFailed;
    uint32_t got = 0;
    if (!recv_reply(fd.get(), result, static_cast<uint8_t *>(reply), cap, got)) return kFailed;
    if (replyLen != nullptr) *replyLen = got;
    return result;
}

PLAT_API uint32_t CIOCTL_Async(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req) {
    if (reqLen > 0 && req == nullptr) return kFailed;
    if (reqLen > dpsim::kKernelMaxFrame - 16) return kFailed;
    Fd fd = connect_kernel();
    if (!fd.valid()) return kFailed;
    // The service reads the whole frame even after we hang up: a Unix stream
    // keeps what was sent.
    return send_frame(fd.get(), dpsim::kOpControlAsync, control_request(node, cmd, 0, reqLen, req)) ? 0 : kFailed;
}

}  // extern "C"
