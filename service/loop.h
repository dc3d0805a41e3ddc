// SPDX-License-Identifier: Apache-2.0
// dpservice's event loop: one thread, one poll() over the session-service
// datagram socket, the kernel stream socket and its connections, and a
// signal descriptor; timers carry the deferred replies.
//
// The registry (registry.cpp) owns what the features registered and turns
// one request into one answer; the loop owns every descriptor and decides
// who is served.
#ifndef DPSVC_LOOP_H
#define DPSVC_LOOP_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "registry.h"

namespace dpsvc {

// $DPMGMT_RUNDIR, or the runtime's default, as every program of the
// runtime finds it.
std::string run_directory();

// Creates the run directory (mode 0700) when it is missing; false with one
// line on stderr when that fails, or when the directory is not one of this
// user's that nobody else may enter.
bool make_run_directory(const std::string &dir);

constexpr uint32_t kMsgHeaderSize = 8;
constexpr uint32_t kMsgErrorType = 0xFFFFFFFFu;
// The largest request the service reads; a longer datagram is dropped unread.
constexpr uint32_t kMaxDatagram = 64 * 1024;

namespace detail {

// What the loop does with one received datagram.
enum class Verdict {
    kDrop,      // malformed framing: no answer at all
    kSend,      // send `out` (a whole message, header included) to the requester
    kDeferred,  // the handler answers later through defer_reply
};

// Validates the header of one datagram and runs the handler of its type.
// `out` receives the whole reply message: the request's type and 8 +
// payload length, then the payload, or the 8-byte error reply.
Verdict handle_datagram(std::span<const uint8_t> datagram, uint64_t token, std::vector<uint8_t> &out);

// Builds a whole message: header (type, 8 + payload length) and payload.
std::vector<uint8_t> frame_message(uint32_t type, std::span<const uint8_t> payload);

// A reply that a handler deferred, as defer_reply queued it.
struct DeferredReply {
    uint64_t token;
    uint32_t type;
    std::vector<uint8_t> payload;
    uint32_t delayMs;
};
// Hands the loop every reply deferred since the last call.
std::vector<DeferredReply> take_deferred();

const DumpFactory *find_dump(uint32_t dumpType);
const ControlHandler *find_control(uint32_t command);

}  // namespace detail

class Loop {
public:
    Loop();
    ~Loop();
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;

    // Binds <rundir>/svc-3184.sock and <rundir>/kernel.sock, replacing the
    // stale files of a predecessor that died.  False, with a message on
    // stderr, when a live service answers there or a socket cannot be had.
    bool open(const std::string &rundir);

    // Serves until SIGTERM or SIGINT; 0 on a clean stop.  The signals must
    // be blocked in the calling thread before open() (main does so).
    int run();

    // Closes every descriptor and removes the two socket files.
    void close();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace dpsvc

#endif
