// SPDX-License-Identifier: Apache-2.0
// The stream protocol between libdpplatform's dump and control calls and
// the kernel side of dpservice, on <rundir>/kernel.sock.
//
// Every frame, both ways: u32 op, u32 payload length (both host order: the
// two ends always share one machine), then the payload.  A client opens one
// connection per dump (the service keeps the dump's cursor for exactly as
// long as the connection lives) and one per control call.  A reply frame
// carries the op of its request; the client judges a reply by its length
// only, and refuses a chunk or reply longer than it asked for.
#ifndef DPSIM_KERNEL_WIRE_H
#define DPSIM_KERNEL_WIRE_H

#include <cstdint>

namespace dpsim {

constexpr uint32_t kKernelMaxFrame = 1u << 20;  // larger frames are refused

enum KernelOp : uint32_t {
    // request: u16 node, u16 0, u32 dump type, key bytes
    // reply:   u32 status (0 = opened, otherwise not served), then u32
    //          features (kFeatureBatchedPulls); a kernel side that sends
    //          the status alone offers none
    kOpDumpRequest = 1,
    // request: u32 buffer length
    // reply:   u32 result code (0x40010009 for a chunk of a multi-record
    //          dump), then the chunk (at most the buffer length)
    kOpDumpPull = 2,
    // request: u16 node, u16 0, u32 command, u32 reply capacity, request bytes
    // reply:   u32 result code, then the reply bytes (at most the capacity)
    kOpControl = 3,
    // as kOpControl; the service sends no reply
    kOpControlAsync = 4,
    // request: none; reply: u32 number of open dump cursors (for tests)
    kOpCursorCount = 5,
    // request: u32 buffer length, u32 most chunks
    // reply:   one to `most` pulls' answers, each u32 result code, u32
    //          chunk length (at most the buffer length), the chunk; the
    //          answers end after the first result that is not 0x40010009
    //          or when the next might not fit in kBatchBytes
    kOpDumpPullBatch = 6,
};

// The features a kernel side offers in its answer to kOpDumpRequest.
constexpr uint32_t kFeatureBatchedPulls = 1u;
// What one batch of pulls may carry, headers included.
constexpr uint32_t kBatchBytes = 256u * 1024u;
constexpr uint32_t kMaxBatchPulls = 64u;

struct PullAnswerHeader {
    uint32_t result;
    uint32_t length;
};
static_assert(sizeof(PullAnswerHeader) == 8);

struct FrameHeader {
    uint32_t op;
    uint32_t length;
};
static_assert(sizeof(FrameHeader) == 8);

}  // namespace dpsim

#endif
