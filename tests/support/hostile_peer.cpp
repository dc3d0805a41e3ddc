// SPDX-License-Identifier: Apache-2.0
#include "support/hostile_peer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <vector>

#include "kernel_wire.h"

namespace dptest {

namespace {

constexpr uint32_t kMore = 0x40010009u;  // the dump continuation code
constexpr uint8_t kGarbage = 0xA5;
constexpr size_t kOversizedDatagram = 65000;
constexpr size_t kServiceBuffer = 1 << 17;

// The datagram the service answers every request with; none when silent.
bool service_reply(Hostility how, Bytes &out) {
    const Bytes replies[] = {
        {},                                                                  // Silent
        {0, 0, 0, 1, 0},                                                     // Short
        {},                                                                  // Empty
        be32(1) + be32(kOversizedDatagram) + Bytes(kOversizedDatagram - 8),  // Oversized
        be32(1) + be32(13) + be32(0),                                        // WrongLength: 12 claim 13
        Bytes(23, kGarbage),                                                 // Garbage
        be32(1) + be32(8),                                                   // MoreWithNothing
    };
    out = replies[static_cast<size_t>(how)];
    return how != Hostility::Silent;
}

// One kernel connection: what has arrived of the current frame, and how
// many pulls it has answered.
struct KernelConn {
    Bytes in;
    uint32_t pulls = 0;
};

Bytes frame(uint32_t op, uint32_t result, const Bytes &body, uint32_t claimedExtra = 0) {
    return host32(op) + host32(static_cast<uint32_t>(4 + body.size()) + claimedExtra) + host32(result) + body;
}

// The answer to one complete request frame into out; false hangs up after it.
bool kernel_answer(Hostility how, uint32_t &pulls, uint32_t op, const Bytes &payload, Bytes &out) {
    out.clear();
    if (how == Hostility::Silent || op == dpsim::kOpControlAsync) return true;
    if (how == Hostility::Empty) return false;
    if (op == dpsim::kOpDumpRequest || op == dpsim::kOpCursorCount) {
        out = frame(op, 0, {});  // the dump opens (no cursors to count)
        return true;
    }
    // How much the client asked for: a pull names its buffer, a control
    // call its reply capacity (after node, 0 and the command).
    uint32_t asked = 0;
    if (op == dpsim::kOpDumpPull && payload.size() >= 4) std::memcpy(&asked, payload.data(), 4);
    if (op == dpsim::kOpControl && payload.size() >= 12) std::memcpy(&asked, payload.data() + 8, 4);
    asked = std::min<uint32_t>(asked, dpsim::kKernelMaxFrame);
    const bool pull = op == dpsim::kOpDumpPull;
    switch (how) {
        case Hostility::Short:  // a short chunk, then the end of the dump
            out = pull && pulls++ > 0 ? frame(op, 0, {}) : frame(op, pull ? kMore : 0, {'a', 'b', 'c'});
            break;
        case Hostility::Oversized:
            out = frame(op, pull ? kMore : 0, Bytes(asked + 64, 0x11));
            break;
        case Hostility::WrongLength:
            out = frame(op, pull ? kMore : 0, Bytes(8, 0x22), 100);
            return false;
        case Hostility::Garbage:
            out.assign(64, kGarbage);
            break;
        default:
            out = frame(op, kMore, {});  // "more", and nothing
    }
    return true;
}

}  // namespace

Bytes host32(uint32_t v) {
    return Bytes(reinterpret_cast<uint8_t *>(&v), reinterpret_cast<uint8_t *>(&v) + 4);
}

Bytes kernel_frame(uint32_t op, const Bytes &payload) {
    return host32(op) + host32(static_cast<uint32_t>(payload.size())) + payload;
}

const char *hostility_name(Hostility how) {
    static const char *const kNames[] = {"Silent",      "Short",   "Empty",          "Oversized",
                                         "WrongLength", "Garbage", "MoreWithNothing"};
    return kNames[static_cast<size_t>(how)];
}

HostilePeer::HostilePeer(Hostility how, KernelScript script)
    : how_(how),
      script_(std::move(script)),
      rundirEnv_("DPMGMT_RUNDIR", dir_.path().c_str()),
      datadirEnv_("DPMGMT_DATADIR", dir_.path().c_str()) {
    if (dir_.path().empty()) throw std::runtime_error("no temporary run directory");
    service_ = bind_unix(SOCK_DGRAM, dir_.path() + "/svc-3184.sock");
    kernel_ = bind_unix(SOCK_STREAM, dir_.path() + "/kernel.sock");
    if (service_ < 0 || kernel_ < 0 || ::pipe2(stop_, O_CLOEXEC) != 0)
        throw std::runtime_error("hostile peer: " + std::string(std::strerror(errno)));
    thread_ = std::thread([this] { serve(); });
}

HostilePeer::~HostilePeer() {
    if (stop_[1] >= 0) (void)!::write(stop_[1], "x", 1);
    if (thread_.joinable()) thread_.join();
    for (int fd : {service_, kernel_, stop_[0], stop_[1]})
        if (fd >= 0) ::close(fd);
}

void HostilePeer::serve() {
    std::map<int, KernelConn> conns;
    std::vector<uint8_t> dgram(kServiceBuffer);
    Bytes out;
    for (;;) {
        std::vector<pollfd> fds = {{stop_[0], POLLIN, 0}, {service_, POLLIN, 0}, {kernel_, POLLIN, 0}};
        for (const auto &c : conns) fds.push_back({c.first, POLLIN, 0});
        if ((::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) || fds[0].revents != 0) break;
        if (fds[1].revents & POLLIN) {
            sockaddr_un from{};
            socklen_t fromLen = sizeof from;
            const ssize_t n = ::recvfrom(service_, dgram.data(), dgram.size(), MSG_DONTWAIT,
                                         reinterpret_cast<sockaddr *>(&from), &fromLen);
            if (n >= 0) {
                ++serviceRequests_;
                if (service_reply(how_, out))
                    (void)::sendto(service_, out.data(), out.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&from),
                                   fromLen);
            }
        }
        if (fds[2].revents & POLLIN) {
            const int fd = ::accept4(kernel_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) conns[fd];
        }
        for (size_t i = 3; i < fds.size(); ++i) {
            if (fds[i].revents == 0) continue;
            const int fd = fds[i].fd;
            KernelConn &conn = conns[fd];
            uint8_t buf[4096];
            const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
            bool hangUp = n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR);
            if (n > 0) conn.in.insert(conn.in.end(), buf, buf + n);
            // Every complete request frame gets its answer, in order.
            while (!hangUp && conn.in.size() >= sizeof(dpsim::FrameHeader)) {
                dpsim::FrameHeader h{};
                std::memcpy(&h, conn.in.data(), sizeof h);
                hangUp = h.length > dpsim::kKernelMaxFrame;
                if (hangUp || conn.in.size() < sizeof h + h.length) break;
                ++kernelRequests_;
                const auto end = conn.in.begin() + static_cast<long>(sizeof h + h.length);
                const Bytes payload(conn.in.begin() + sizeof h, end);
                conn.in.erase(conn.in.begin(), end);
                hangUp = !(script_ ? script_(h.op, payload, out) : kernel_answer(how_, conn.pulls, h.op, payload, out));
                // A blocking send: all of it, or the client gave up on us.
                if (!out.empty()) (void)::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
            }
            if (hangUp) {
                ::close(fd);
                conns.erase(fd);
            }
        }
    }
    for (const auto &c : conns) ::close(c.first);
}

}  // namespace dptest
