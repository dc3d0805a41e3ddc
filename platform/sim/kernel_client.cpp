// SPDX-License-Identifier: Apache-2.0
// The kernel's table dumps and control calls, as a client of dpservice's
// kernel side on <rundir>/kernel.sock (framing in kernel_wire.h).  Every
// dump owns one stream connection for its whole life: the service keeps the
// dump's cursor exactly as long as the connection lives, so closing the
// connection is what releases it.
//
// Every wait on the kernel is bounded: by the process's exchange bound when
// one is set, else by the system's own time-out of 30 s.  A connection the
// service closed or reset is a kernel that went away.
#include "platform/dump.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "dpsim.h"
#include "kernel_wire.h"
#include "platform/wait.h"
#include "unix_fd.h"
#include "wait_state.h"

using dpsim::detail::Fd;
using dpsim::detail::now_ms;
using dpsim::detail::record_fault;

namespace {

constexpr uint32_t kFailed = 0x40010001u;
// Without a bound of the process, a dead or stuck service still must not
// hold a caller forever.
constexpr time_t kIoTimeoutSeconds = 30;
// A kernel that keeps answering "more" without a byte is not making
// progress: the pull after this many such answers in a row fails.
constexpr uint32_t kMaxEmptyMore = 64;

// One stream connection to the kernel side: frames out, reply frames in.
class KernelChannel {
public:
    // Connects; false with the fault recorded.
    bool open() {
        std::string dir;
        if (!dpsim::trusted_rundir(dir)) return false;
        path_ = dir + "/kernel.sock";
        const uint32_t bound = dpsim::detail::exchange_bound_ms();
        bounded_ = bound != 0;
        const int64_t start = now_ms();
        deadline_ = bounded_ ? start + bound : 0;
        fd_ = Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (!fd_.valid()) return false;
        // The system's time-outs bound what poll does not: the connect of a
        // full backlog, a send into a full buffer, and the unbounded case.
        const timeval tv = bounded_ ? timeval{static_cast<time_t>(bound / 1000), static_cast<suseconds_t>(bound % 1000) * 1000}
                                    : timeval{kIoTimeoutSeconds, 0};
        ::setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        ::setsockopt(fd_.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
        sockaddr_un addr{};
        socklen_t len = 0;
        if (!dpsim::detail::make_unix_addr(path_, addr, len)) return false;
        struct stat st {};
        if (::lstat(path_.c_str(), &st) == 0 && (!S_ISSOCK(st.st_mode) || st.st_uid != ::geteuid())) {
            record_fault(PLAT_FAULT_UNTRUSTED, EPERM, 0, path_,
                         path_ + (S_ISSOCK(st.st_mode) ? " belongs to uid " + std::to_string(st.st_uid) : " is not a socket"));
            fd_.reset();
            return false;
        }
        if (::connect(fd_.get(), reinterpret_cast<const sockaddr *>(&addr), len) != 0) {
            const int err = errno;
            if (err == EAGAIN || err == EINPROGRESS)
                record_fault(PLAT_FAULT_TIMEOUT, ETIMEDOUT, now_ms() - start, path_,
                             path_ + ": no answer within " + std::to_string(bound) + " ms");
            else
                record_fault(PLAT_FAULT_UNREACHABLE, err, 0, path_, path_ + ": " + std::strerror(err));
            fd_.reset();
            return false;
        }
        return true;
    }

    bool valid() const { return fd_.valid(); }
    void close() { fd_.reset(); }

    // Starts the wait of one exchange: its bound counts from here.
    void begin() {
        start_ = now_ms();
        if (bounded_) deadline_ = start_ + dpsim::detail::exchange_bound_ms();
    }

    bool send_frame(uint32_t op, const void *a, uint32_t aLen, const void *b = nullptr, uint32_t bLen = 0) {
        const dpsim::FrameHeader header{op, aLen + bLen};
        iovec iov[3] = {{const_cast<dpsim::FrameHeader *>(&header), sizeof header},
                        {const_cast<void *>(a), aLen},
                        {const_cast<void *>(b), bLen}};
        msghdr mh{};
        mh.msg_iov = iov;
        mh.msg_iovlen = 3;
        size_t left = sizeof header + aLen + bLen;
        while (left > 0) {
            const ssize_t n = ::sendmsg(fd_.get(), &mh, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return broken(n < 0 ? errno : ECONNRESET);
            left -= static_cast<size_t>(n);
            // Skip what went out.
            size_t done = static_cast<size_t>(n);
            while (done > 0 && mh.msg_iovlen > 0) {
                const size_t take = std::min(done, mh.msg_iov->iov_len);
                mh.msg_iov->iov_base = static_cast<uint8_t *>(mh.msg_iov->iov_base) + take;
                mh.msg_iov->iov_len -= take;
                done -= take;
                if (mh.msg_iov->iov_len == 0) {
                    ++mh.msg_iov;
                    --mh.msg_iovlen;
                }
            }
        }
        return true;
    }

    // Reads one reply frame: its result word and the rest of the payload
    // into out (at most `cap` bytes, else the reply is refused).
    bool recv_reply(uint32_t &result, uint8_t *out, uint32_t cap, uint32_t &got) {
        dpsim::FrameHeader header{};
        if (!recv_all(&header, sizeof header)) return false;
        if (header.length < 4 || header.length > dpsim::kKernelMaxFrame) return malformed();
        if (!recv_all(&result, 4)) return false;
        const uint32_t rest = header.length - 4;
        if (rest > cap) return malformed();
        if (rest > 0 && !recv_all(out, rest)) return false;
        got = rest;
        return true;
    }

    // Reads one reply frame whole into `frame` (at most `cap` bytes, else
    // the reply is refused).
    bool recv_frame(std::vector<uint8_t> &frame, uint32_t cap) {
        dpsim::FrameHeader header{};
        if (!recv_all(&header, sizeof header)) return false;
        if (header.length > cap) return malformed();
        frame.resize(header.length);
        return header.length == 0 || recv_all(frame.data(), header.length);
    }

    const std::string &path() const { return path_; }

    // A reply we do not believe ends the channel: what follows it cannot be
    // framed any more.
    bool malformed() {
        record_fault(PLAT_FAULT_GONE, EPROTO, now_ms() - start_, path_,
                     path_ + ": the kernel sent a malformed reply");
        fd_.reset();
        return false;
    }

private:
    bool broken(int err) {
        const bool timedOut = err == EAGAIN || err == EWOULDBLOCK || err == ETIMEDOUT;
        if (timedOut)
            record_fault(PLAT_FAULT_TIMEOUT, ETIMEDOUT, now_ms() - start_, path_,
                         path_ + ": no answer within " +
                             std::to_string(bounded_ ? dpsim::detail::exchange_bound_ms() : kIoTimeoutSeconds * 1000) +
                             " ms");
        else
            record_fault(PLAT_FAULT_GONE, err, now_ms() - start_, path_, path_ + ": the kernel channel was cut");
        fd_.reset();
        return false;
    }

    bool recv_all(void *data, size_t len) {
        auto *p = static_cast<uint8_t *>(data);
        while (len > 0) {
            if (bounded_) {
                const int64_t left = deadline_ - now_ms();
                if (left <= 0) return broken(ETIMEDOUT);
                pollfd pfd{fd_.get(), POLLIN, 0};
                const int r = ::poll(&pfd, 1, static_cast<int>(std::min<int64_t>(left, 60000)));
                if (r < 0 && errno != EINTR) return broken(errno);
                if (r <= 0) continue;
            }
            const ssize_t n = ::recv(fd_.get(), p, len, bounded_ ? MSG_DONTWAIT : 0);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && bounded_ && (errno == EAGAIN || errno == EWOULDBLOCK)) continue;
            if (n == 0) return broken(ECONNRESET);  // the service closed its end
            if (n < 0) return broken(errno);
            p += n;
            len -= static_cast<size_t>(n);
        }
        return true;
    }

    Fd fd_;
    std::string path_;
    bool bounded_ = false;
    int64_t start_ = 0;
    int64_t deadline_ = 0;
};

// One open dump.  Its own lock orders pulls on the one stream; the table's
// lock only guards the map.
//
// Where the kernel side offers it, pulls travel in batches: one request
// brings the answers of many pulls, which are handed out one pull at a
// time, and the next batch is asked for as soon as one arrives, so that
// the kernel side makes it while the caller works through this one.
struct DumpConn {
    std::mutex lock;
    KernelChannel channel;
    uint32_t emptyMore = 0;  // "more" answers without a byte, in a row
    bool batched = false;
    std::vector<uint8_t> batch;  // answers not yet handed out, from `next`
    size_t next = 0;
    bool asked = false;       // a batch request is on its way
    uint32_t askedLen = 0;    // the buffer length it asked for
    uint32_t most = 1;        // pulls the next request asks for
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

// The head of a control request: u16 node, u16 0, u32 command, u32 reply
// capacity (host order, as kernel_wire.h says).
struct ControlHead {
    uint16_t node;
    uint16_t zero;
    uint32_t cmd;
    uint32_t cap;
};
static_assert(sizeof(ControlHead) == 12);

struct DumpHead {
    uint16_t node;
    uint16_t zero;
    uint32_t type;
};
static_assert(sizeof(DumpHead) == 8);

}  // namespace

extern "C" {

PLAT_API uint32_t DUMP_Request(uint16_t node, uint32_t dumpType, const void *key, uint32_t keyLen) {
    if (keyLen > 0 && key == nullptr) return DUMP_INVALID_HANDLE;
    if (keyLen > dpsim::kKernelMaxFrame - 8) return DUMP_INVALID_HANDLE;
    auto conn = std::make_shared<DumpConn>();
    KernelChannel &ch = conn->channel;
    if (!ch.open()) return DUMP_INVALID_HANDLE;
    ch.begin();
    const DumpHead head{node, 0, dumpType};
    if (!ch.send_frame(dpsim::kOpDumpRequest, &head, sizeof head, key, keyLen)) return DUMP_INVALID_HANDLE;
    uint32_t status = 1;
    uint32_t features = 0;
    uint32_t got = 0;
    if (!ch.recv_reply(status, reinterpret_cast<uint8_t *>(&features), sizeof features, got) || status != 0)
        return DUMP_INVALID_HANDLE;
    conn->batched = got == sizeof features && (features & dpsim::kFeatureBatchedPulls) != 0;
    return dumps().add(std::move(conn));
}

namespace {

bool ask_batch(DumpConn &d, uint32_t bufLen) {
    const uint32_t request[2] = {bufLen, d.most};
    if (!d.channel.send_frame(dpsim::kOpDumpPullBatch, request, sizeof request)) return false;
    d.asked = true;
    d.askedLen = bufLen;
    // Start small (a dump of one record needs one pull) and grow.
    d.most = std::min(d.most * 2, dpsim::kMaxBatchPulls);
    return true;
}

// The next answer of the batch: false when the kernel side broke the
// batch's rules (the channel is then closed).
bool take_answer(DumpConn &d, uint32_t bufLen, void *buf, uint32_t &result, uint32_t &got) {
    KernelChannel &ch = d.channel;
    if (d.next == d.batch.size()) {
        if (!d.asked && !ask_batch(d, bufLen)) return false;
        if (!ch.recv_frame(d.batch, dpsim::kBatchBytes)) return false;
        d.asked = false;
        d.next = 0;
        // Every answer whole, none longer than was asked for, and nothing
        // after the one that ends the dump.
        uint32_t last = DUMP_CONTINUE;
        for (size_t at = 0; at < d.batch.size();) {
            dpsim::PullAnswerHeader h{};
            if (last != DUMP_CONTINUE || d.batch.size() - at < sizeof h) return ch.malformed();
            std::memcpy(&h, d.batch.data() + at, sizeof h);
            if (h.length > d.askedLen || d.batch.size() - at - sizeof h < h.length) return ch.malformed();
            at += sizeof h + h.length;
            last = h.result;
        }
        if (d.batch.empty()) return ch.malformed();
        if (last == DUMP_CONTINUE && !ask_batch(d, d.askedLen)) return false;
    }
    dpsim::PullAnswerHeader h{};
    std::memcpy(&h, d.batch.data() + d.next, sizeof h);
    // A chunk made for a larger buffer than this pull offers cannot be
    // handed out.
    if (h.length > bufLen) return ch.malformed();
    if (h.length > 0) std::memcpy(buf, d.batch.data() + d.next + sizeof h, h.length);
    d.next += sizeof h + h.length;
    result = h.result;
    got = h.length;
    return true;
}

}  // namespace

PLAT_API uint32_t DUMP_Pull(uint32_t handle, uint32_t bufLen, void *buf, uint32_t *delivered) {
    if (delivered != nullptr) *delivered = 0;
    if (buf == nullptr && bufLen > 0) return kFailed;
    const auto conn = dumps().find(handle);
    if (!conn) return kFailed;
    std::lock_guard guard(conn->lock);
    KernelChannel &ch = conn->channel;
    if (!ch.valid()) return kFailed;
    ch.begin();
    uint32_t result = kFailed;
    uint32_t got = 0;
    // A service that answers with more than was asked is not believed: the
    // pull fails before a byte of the chunk is read, and the dump is over.
    const uint32_t cap = bufLen < dpsim::kKernelMaxFrame ? bufLen : dpsim::kKernelMaxFrame;
    // A pull larger than a batch can carry goes alone (when no batch is
    // under way).
    const bool batch = conn->batched && (cap <= dpsim::kBatchBytes - 2 * sizeof(dpsim::PullAnswerHeader) ||
                                         conn->asked || conn->next < conn->batch.size());
    const bool ok = batch ? take_answer(*conn, cap, buf, result, got)
                                  : ch.send_frame(dpsim::kOpDumpPull, &bufLen, 4) &&
                                        ch.recv_reply(result, static_cast<uint8_t *>(buf), cap, got);
    if (!ok) {
        ch.close();
        return kFailed;
    }
    if (result == DUMP_CONTINUE && got == 0) {
        if (++conn->emptyMore >= kMaxEmptyMore) {
            record_fault(PLAT_FAULT_STALLED, EPROTO, 0, ch.path(),
                         ch.path() + ": the kernel answered \"more\" with nothing " + std::to_string(kMaxEmptyMore) +
                             " times");
            ch.close();
            return kFailed;
        }
    } else {
        conn->emptyMore = 0;
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
    KernelChannel ch;
    if (!ch.open()) return kFailed;
    ch.begin();
    const ControlHead head{node, 0, cmd, replyCap};
    if (!ch.send_frame(dpsim::kOpControl, &head, sizeof head, req, reqLen)) return kFailed;
    const uint32_t cap = replyCap < dpsim::kKernelMaxFrame ? replyCap : dpsim::kKernelMaxFrame;
    uint32_t result = kFailed;
    uint32_t got = 0;
    if (!ch.recv_reply(result, static_cast<uint8_t *>(reply), cap, got)) return kFailed;
    if (replyLen != nullptr) *replyLen = got;
    return result;
}

PLAT_API uint32_t CIOCTL_Async(uint16_t node, uint32_t cmd, uint32_t reqLen, const void *req) {
    if (reqLen > 0 && req == nullptr) return kFailed;
    if (reqLen > dpsim::kKernelMaxFrame - 16) return kFailed;
    KernelChannel ch;
    if (!ch.open()) return kFailed;
    ch.begin();
    // The service reads the whole frame even after we hang up: a Unix stream
    // keeps what was sent.
    const ControlHead head{node, 0, cmd, 0};
    return ch.send_frame(dpsim::kOpControlAsync, &head, sizeof head, req, reqLen) ? 0 : kFailed;
}

}  // extern "C"
