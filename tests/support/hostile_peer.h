// SPDX-License-Identifier: Apache-2.0
// A session service and a kernel that misbehave, for the tests of what the
// library and the stand-in platform make of them.
//
// The peer takes a fresh temporary run directory, points DPMGMT_RUNDIR and
// DPMGMT_DATADIR of this process at it, and listens where the platform
// looks: <rundir>/svc-3184.sock (datagrams) and <rundir>/kernel.sock (the
// framed stream of platform/sim/kernel_wire.h).  One thread answers every
// request the same hostile way until the peer goes; the destructor stops
// and joins it, closes every descriptor, removes the directory and
// restores the two variables.
//
//   dptest::HostilePeer peer(dptest::Hostility::Garbage);
//   EXPECT_EQ(SESSION_IPC_SetStatEnable(1), 0x40010001u);
#ifndef DPTEST_HOSTILE_PEER_H
#define DPTEST_HOSTILE_PEER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "support/test_env.h"

namespace dptest {

// How every request is answered.  The service answers a datagram; the
// kernel opens every dump it is asked for (except when silent or empty)
// and misbehaves on pulls and control calls.
enum class Hostility {
    Silent,           // nothing, ever; the connection stays open
    Short,            // service: 5 bytes, less than a header; kernel: a 3-byte chunk
                      // with "more" (then the end) or a 3-byte control reply
    Empty,            // service: a datagram of no bytes; kernel: hangs up unanswered
    Oversized,        // service: 65,000 bytes with a true length field; kernel: a chunk
                      // or reply longer than the buffer it was asked to fill
    WrongLength,      // the length field claims more than follows (the kernel then hangs up)
    Garbage,          // bytes of 0xA5, no framing at all
    MoreWithNothing,  // service: a bare header, a reply with nothing in it; kernel:
                      // "more" with an empty chunk on every pull, "more" to control calls
};

const char *hostility_name(Hostility how);

// A kernel side of the test's own: the reply frame to a request frame's op
// and payload (none when empty); false hangs up after it.
using KernelScript = std::function<bool(uint32_t op, const Bytes &payload, Bytes &reply)>;
// A frame of the kernel stream (host order, as both ends share a machine).
Bytes host32(uint32_t v);
Bytes kernel_frame(uint32_t op, const Bytes &payload);

class HostilePeer {
public:
    // With a script, the kernel side answers by it instead.
    explicit HostilePeer(Hostility how, KernelScript script = nullptr);
    ~HostilePeer();
    HostilePeer(const HostilePeer &) = delete;
    HostilePeer &operator=(const HostilePeer &) = delete;

    const std::string &rundir() const { return dir_.path(); }
    // Requests seen so far: service datagrams, kernel frames.
    uint32_t service_requests() const { return serviceRequests_; }
    uint32_t kernel_requests() const { return kernelRequests_; }

private:
    void serve();

    Hostility how_;
    KernelScript script_;
    TempDir dir_;
    ScopedEnv rundirEnv_;
    ScopedEnv datadirEnv_;
    int service_ = -1;
    int kernel_ = -1;
    int stop_[2] = {-1, -1};
    std::atomic<uint32_t> serviceRequests_{0};
    std::atomic<uint32_t> kernelRequests_{0};
    std::thread thread_;
};

}  // namespace dptest

#endif
