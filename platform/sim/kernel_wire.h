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
    // reply:   u32 status (0 = opened, otherwise not served)
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
};

struct FrameHeader {
    uint32_t op;
    uint32_t length;
};
static_assert(sizeof(FrameHeader) == 8);

}  // namespace dpsim

#endif
