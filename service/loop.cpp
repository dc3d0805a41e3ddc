// SPDX-License-Identifier: Apache-2.0
// The one thread of dpservice: poll() over every descriptor, timers for the
// replies that handlers defer, and the kernel side's stream protocol.
#include "loop.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <unordered_map>

#include "dpsim.h"
#include "kernel_wire.h"

namespace dpsvc {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMaxKernelConnections = 256;
constexpr int kDatagramsPerWake = 64;  // lets the kernel side in between a flood of datagrams
constexpr uint32_t kPullFailed = 0x40010001u;
constexpr uint32_t kPullMore = 0x40010009u;
constexpr uint32_t kControlUnknown = 0x40010001u;

// A descriptor closed on every path.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(Fd &&o) noexcept : fd_(o.fd_) { o.fd_ = -1; }
    Fd &operator=(Fd &&o) noexcept {
        if (this != &o) {
            reset();
            fd_ = o.fd_;
            o.fd_ = -1;
        }
        return *this;
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_ = -1;
};

struct PeerAddr {
    sockaddr_un addr{};
    socklen_t len = 0;
};

struct TimedReply {
    PeerAddr peer;
    std::vector<uint8_t> message;
};

// One client of the kernel side: at most one dump cursor, which lives as
// long as the connection does.
struct KernelConn {
    Fd fd;
    std::vector<uint8_t> in;
    std::vector<uint8_t> out;
    size_t outSent = 0;
    std::unique_ptr<DumpCursor> cursor;
    bool broken = false;
};

bool fill_unix_addr(const std::string &path, sockaddr_un &addr) {
    if (path.size() >= sizeof(addr.sun_path)) {
        std::fprintf(stderr, "dpservice: socket path too long: %s\n", path.c_str());
        return false;
    }
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    return true;
}

// Clears the way for binding path: a socket file that nobody answers on is
// what a killed predecessor left, and is removed; one that answers belongs
// to a live service, and we refuse to steal it.
bool clear_stale(const std::string &path, int type) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) return true;
        std::fprintf(stderr, "dpservice: %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    if (!S_ISSOCK(st.st_mode)) {
        std::fprintf(stderr, "dpservice: %s exists and is not a socket\n", path.c_str());
        return false;
    }
    if (st.st_uid != ::geteuid()) {
        std::fprintf(stderr, "dpservice: %s belongs to uid %u\n", path.c_str(), static_cast<unsigned>(st.st_uid));
        return false;
    }
    sockaddr_un addr{};
    if (!fill_unix_addr(path, addr)) return false;
    Fd probe(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    if (probe && ::connect(probe.get(), reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0) {
        std::fprintf(stderr, "dpservice: another service answers on %s\n", path.c_str());
        return false;
    }
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        std::fprintf(stderr, "dpservice: cannot remove %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

Fd bind_socket(const std::string &path, int type) {
    sockaddr_un addr{};
    if (!fill_unix_addr(path, addr)) return Fd();
    Fd fd(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd) {
        std::fprintf(stderr, "dpservice: socket: %s\n", std::strerror(errno));
        return Fd();
    }
    // The socket file is made by bind with the process's mask: for the
    // user alone.  The service is still single-threaded here.
    const mode_t saved = ::umask(0177);
    const int rc = ::bind(fd.get(), reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    const int err = errno;
    ::umask(saved);
    if (rc != 0) {
        std::fprintf(stderr, "dpservice: cannot bind %s: %s\n", path.c_str(), std::strerror(err));
        return Fd();
    }
    return fd;
}

// Grows the buffer and copies in (vector::insert of a few bytes draws a
// false overflow warning from GCC 12 at -O3).
void append_bytes(std::vector<uint8_t> &out, const void *bytes, size_t n) {
    if (n == 0) return;
    const size_t at = out.size();
    out.resize(at + n);
    std::memcpy(out.data() + at, bytes, n);
}

void append_frame(std::vector<uint8_t> &out, uint32_t op, const void *payload, uint32_t len) {
    const dpsim::FrameHeader h{op, len};
    append_bytes(out, &h, sizeof h);
    append_bytes(out, payload, len);
}

void append_u32(std::vector<uint8_t> &out, uint32_t v) { append_bytes(out, &v, sizeof v); }

template <class T>
T load_host(const uint8_t *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

}  // namespace

std::string run_directory() { return dpsim::rundir(); }

bool make_run_directory(const std::string &dir) {
    std::string why;
    if (!dpsim::check_run_directory(dir, why)) {
        std::fprintf(stderr, "dpservice: %s\n", why.c_str());
        return false;
    }
    return true;
}

struct Loop::Impl {
    std::string svcPath;
    std::string kernelPath;
    Fd dgram;
    Fd listener;
    Fd signals;
    std::vector<std::unique_ptr<KernelConn>> conns;
    std::multimap<Clock::time_point, TimedReply> timers;
    std::unordered_map<uint64_t, PeerAddr> awaiting;  // requests whose handler is still running
    uint64_t nextToken = 0;
    std::vector<uint8_t> rxBuffer = std::vector<uint8_t>(kMaxDatagram);

    // ------------------------------------------------- session service ----

    void send_to(const PeerAddr &peer, const std::vector<uint8_t> &msg) {
        // A peer that went away, or whose queue is full, loses its reply;
        // the service never waits for a client.
        (void)::sendto(dgram.get(), msg.data(), msg.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                       reinterpret_cast<const sockaddr *>(&peer.addr), peer.len);
    }

    void serve_datagrams() {
        for (int i = 0; i < kDatagramsPerWake; ++i) {
            PeerAddr peer;
            iovec iov{rxBuffer.data(), rxBuffer.size()};
            alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
            msghdr mh{};
            mh.msg_name = &peer.addr;
            mh.msg_namelen = sizeof peer.addr;
            mh.msg_iov = &iov;
            mh.msg_iovlen = 1;
            mh.msg_control = control;
            mh.msg_controllen = sizeof control;
            const ssize_t n = ::recvmsg(dgram.get(), &mh, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
            if (n < 0) return;  // EAGAIN: drained; anything else: try again on the next wake
            peer.len = mh.msg_namelen;
            if ((mh.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0 || static_cast<size_t>(n) > rxBuffer.size()) continue;
            if (!peer_is_own_user(mh)) continue;
            // An unbound peer has no address to answer to.
            if (peer.len <= sizeof(sa_family_t)) continue;
            handle_one(std::span<const uint8_t>(rxBuffer.data(), static_cast<size_t>(n)), peer);
        }
    }

    static bool peer_is_own_user(msghdr &mh) {
        for (cmsghdr *c = CMSG_FIRSTHDR(&mh); c != nullptr; c = CMSG_NXTHDR(&mh, c)) {
            if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_CREDENTIALS &&
                c->cmsg_len >= CMSG_LEN(sizeof(ucred))) {
                ucred cred;
                std::memcpy(&cred, CMSG_DATA(c), sizeof cred);
                return cred.uid == ::getuid();
            }
        }
        return false;
    }

    void handle_one(std::span<const uint8_t> datagram, const PeerAddr &peer) {
        const uint64_t token = ++nextToken;
        awaiting.emplace(token, peer);
        std::vector<uint8_t> out;
        const detail::Verdict verdict = detail::handle_datagram(datagram, token, out);
        if (verdict == detail::Verdict::kSend) send_to(peer, out);
        for (detail::DeferredReply &d : detail::take_deferred()) {
            const auto it = awaiting.find(d.token);
            if (it == awaiting.end()) continue;
            timers.emplace(Clock::now() + std::chrono::milliseconds(d.delayMs),
                           TimedReply{it->second, detail::frame_message(d.type, d.payload)});
            awaiting.erase(it);
        }
        if (verdict == detail::Verdict::kDeferred && awaiting.count(token) != 0) {
            // The handler promised a reply it never queued: tell the client
            // rather than leave it waiting for ever.
            send_to(peer, detail::frame_message(kMsgErrorType, {}));
        }
        awaiting.erase(token);
    }

    int next_timeout_ms() const {
        if (timers.empty()) return -1;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(timers.begin()->first - Clock::now());
        return left.count() <= 0 ? 0 : static_cast<int>(std::min<int64_t>(left.count() + 1, 60000));
    }

    void fire_timers() {
        const auto now = Clock::now();
        while (!timers.empty() && timers.begin()->first <= now) {
            send_to(timers.begin()->second.peer, timers.begin()->second.message);
            timers.erase(timers.begin());
        }
    }

    // ---------------------------------------------------------- kernel ----

    void accept_kernel() {
        for (;;) {
            Fd fd(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
            if (!fd) return;
            ucred cred{};
            socklen_t len = sizeof cred;
            if (::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0 || cred.uid != ::getuid()) continue;
            if (conns.size() >= kMaxKernelConnections) continue;
            auto conn = std::make_unique<KernelConn>();
            conn->fd = std::move(fd);
            conns.push_back(std::move(conn));
        }
    }

    uint32_t cursor_count() const {
        uint32_t n = 0;
        for (const auto &c : conns) n += c->cursor ? 1 : 0;
        return n;
    }

    // Answers up to `most` pulls of the cursor in one frame, so that the
    // client pays one round trip for many chunks; the answers stop after
    // the one that ends the dump.
    void pull_batch(KernelConn &c, uint32_t op, uint32_t max, uint32_t most) {
        // Built in place after the frame header: the output is empty while
        // a frame runs.
        std::vector<uint8_t> &out = c.out;
        const size_t frame = out.size();
        out.resize(frame + sizeof(dpsim::FrameHeader));
        for (uint32_t i = 0; i < most; ++i) {
            const size_t at = out.size();
            out.resize(at + sizeof(dpsim::PullAnswerHeader));
            uint32_t code = kPullFailed;
            if (c.cursor) code = c.cursor->pull(out, max);
            const size_t chunk = std::min<size_t>(out.size() - at - sizeof(dpsim::PullAnswerHeader), max);
            out.resize(at + sizeof(dpsim::PullAnswerHeader) + chunk);
            const dpsim::PullAnswerHeader h{code, static_cast<uint32_t>(chunk)};
            std::memcpy(out.data() + at, &h, sizeof h);
            if (code != kPullMore || out.size() - frame + sizeof h + max > dpsim::kBatchBytes) break;
        }
        const dpsim::FrameHeader fh{op, static_cast<uint32_t>(out.size() - frame - sizeof(dpsim::FrameHeader))};
        std::memcpy(out.data() + frame, &fh, sizeof fh);
    }

    // Runs one complete frame; false when the frame is malformed and the
    // connection must go.
    bool run_frame(KernelConn &c, uint32_t op, const uint8_t *p, uint32_t len) {
        switch (op) {
        case dpsim::kOpDumpRequest: {
            if (len < 8) return false;
            const auto node = load_host<uint16_t>(p);
            const auto type = load_host<uint32_t>(p + 4);
            const DumpFactory *factory = detail::find_dump(type);
            c.cursor.reset();
            if (factory != nullptr) c.cursor = (*factory)(node, std::span<const uint8_t>(p + 8, len - 8));
            const uint32_t answer[2] = {c.cursor ? 0u : 1u, dpsim::kFeatureBatchedPulls};
            append_frame(c.out, op, answer, sizeof answer);
            return true;
        }
        case dpsim::kOpDumpPullBatch: {
            if (len != 8) return false;
            pull_batch(c, op, std::min(load_host<uint32_t>(p), dpsim::kBatchBytes - 8),
                       std::min(load_host<uint32_t>(p + 4), dpsim::kMaxBatchPulls));
            return true;
        }
        case dpsim::kOpDumpPull: {
            if (len != 4) return false;
            const uint32_t max = std::min(load_host<uint32_t>(p), dpsim::kKernelMaxFrame - 4);
            std::vector<uint8_t> reply;
            append_u32(reply, kPullFailed);
            uint32_t code = kPullFailed;
            if (c.cursor) {
                code = c.cursor->pull(reply, max);
                if (reply.size() > 4 + static_cast<size_t>(max)) reply.resize(4 + static_cast<size_t>(max));
            }
            std::memcpy(reply.data(), &code, 4);
            append_frame(c.out, op, reply.data(), static_cast<uint32_t>(reply.size()));
            return true;
        }
        case dpsim::kOpControl:
        case dpsim::kOpControlAsync: {
            if (len < 12) return false;
            const auto node = load_host<uint16_t>(p);
            const auto command = load_host<uint32_t>(p + 4);
            const auto capacity = std::min(load_host<uint32_t>(p + 8), dpsim::kKernelMaxFrame - 4);
            std::vector<uint8_t> data;
            uint32_t code = kControlUnknown;
            if (const ControlHandler *h = detail::find_control(command))
                code = (*h)(node, std::span<const uint8_t>(p + 12, len - 12), capacity, data);
            if (data.size() > capacity) data.resize(capacity);
            if (op == dpsim::kOpControl) {
                std::vector<uint8_t> reply;
                append_u32(reply, code);
                reply.insert(reply.end(), data.begin(), data.end());
                append_frame(c.out, op, reply.data(), static_cast<uint32_t>(reply.size()));
            }
            return true;
        }
        case dpsim::kOpCursorCount: {
            if (len != 0) return false;
            const uint32_t n = cursor_count();
            append_frame(c.out, op, &n, 4);
            return true;
        }
        default:
            return false;
        }
    }

    // Runs the complete frames buffered on c, stopping while a reply is
    // unsent so that a client that does not read cannot make us buffer
    // without bound.
    void run_frames(KernelConn &c) {
        size_t used = 0;
        while (!c.broken && c.out.empty() && c.in.size() - used >= sizeof(dpsim::FrameHeader)) {
            const auto op = load_host<uint32_t>(c.in.data() + used);
            const auto len = load_host<uint32_t>(c.in.data() + used + 4);
            if (len > dpsim::kKernelMaxFrame) {
                c.broken = true;
                break;
            }
            if (c.in.size() - used - sizeof(dpsim::FrameHeader) < len) break;
            if (!run_frame(c, op, c.in.data() + used + sizeof(dpsim::FrameHeader), len)) c.broken = true;
            used += sizeof(dpsim::FrameHeader) + len;
            flush(c);
        }
        c.in.erase(c.in.begin(), c.in.begin() + static_cast<std::ptrdiff_t>(used));
    }

    void flush(KernelConn &c) {
        while (c.outSent < c.out.size()) {
            const ssize_t n = ::send(c.fd.get(), c.out.data() + c.outSent, c.out.size() - c.outSent,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
            if (n < 0) {
                if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) c.broken = true;
                return;
            }
            c.outSent += static_cast<size_t>(n);
        }
        c.out.clear();
        c.outSent = 0;
    }

    void read_kernel(KernelConn &c) {
        uint8_t buf[65536];
        const ssize_t n = ::recv(c.fd.get(), buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0) {
            c.broken = true;
            return;
        }
        if (n < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) c.broken = true;
            return;
        }
        c.in.insert(c.in.end(), buf, buf + n);
        run_frames(c);
    }

    // ------------------------------------------------------------ loop ----

    int run() {
        std::vector<pollfd> fds;
        for (;;) {
            fds.clear();
            fds.push_back({signals.get(), POLLIN, 0});
            fds.push_back({dgram.get(), POLLIN, 0});
            fds.push_back({listener.get(), POLLIN, 0});
            for (const auto &c : conns)
                fds.push_back({c->fd.get(), static_cast<short>(c->out.empty() ? POLLIN : POLLOUT), 0});
            const int r = ::poll(fds.data(), fds.size(), next_timeout_ms());
            if (r < 0) {
                if (errno == EINTR) continue;
                std::fprintf(stderr, "dpservice: poll: %s\n", std::strerror(errno));
                return 1;
            }
            if ((fds[0].revents & POLLIN) != 0) {
                signalfd_siginfo si{};
                if (::read(signals.get(), &si, sizeof si) == static_cast<ssize_t>(sizeof si)) return 0;
            }
            if ((fds[1].revents & POLLIN) != 0) serve_datagrams();
            // Connections accepted now are polled from the next round on.
            const size_t polled = conns.size();
            for (size_t i = 0; i < polled; ++i) {
                KernelConn &c = *conns[i];
                const short ev = fds[3 + i].revents;
                if ((ev & POLLOUT) != 0) {
                    flush(c);
                    if (c.out.empty()) run_frames(c);
                } else if ((ev & (POLLIN | POLLHUP | POLLERR)) != 0) {
                    read_kernel(c);
                }
            }
            std::erase_if(conns, [](const std::unique_ptr<KernelConn> &c) { return c->broken; });
            if ((fds[2].revents & POLLIN) != 0) accept_kernel();
            fire_timers();
        }
    }
};

Loop::Loop() : impl_(std::make_unique<Impl>()) {}

Loop::~Loop() { close(); }

bool Loop::open(const std::string &rundir) {
    Impl &m = *impl_;
    m.svcPath = rundir + "/svc-3184.sock";
    m.kernelPath = rundir + "/kernel.sock";
    if (!clear_stale(m.svcPath, SOCK_DGRAM) || !clear_stale(m.kernelPath, SOCK_STREAM)) return false;

    m.dgram = bind_socket(m.svcPath, SOCK_DGRAM);
    if (!m.dgram) return false;
    const int on = 1;
    if (::setsockopt(m.dgram.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
        std::fprintf(stderr, "dpservice: SO_PASSCRED: %s\n", std::strerror(errno));
        close();
        return false;
    }
    m.listener = bind_socket(m.kernelPath, SOCK_STREAM);
    if (!m.listener || ::listen(m.listener.get(), 64) != 0) {
        close();
        return false;
    }
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    sigaddset(&mask, SIGINT);
    m.signals = Fd(::signalfd(-1, &mask, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!m.signals) {
        std::fprintf(stderr, "dpservice: signalfd: %s\n", std::strerror(errno));
        close();
        return false;
    }
    return true;
}

int Loop::run() { return impl_->run(); }

void Loop::close() {
    Impl &m = *impl_;
    m.conns.clear();
    m.timers.clear();
    if (m.dgram) {
        m.dgram.reset();
        ::unlink(m.svcPath.c_str());
    }
    if (m.listener) {
        m.listener.reset();
        ::unlink(m.kernelPath.c_str());
    }
    m.signals.reset();
}

}  // namespace dpsvc
