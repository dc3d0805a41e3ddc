// SPDX-License-Identifier: Apache-2.0
// How each feature of the reference data plane plugs into dpservice.
//
// A feature file registers, from a static initialiser, the session-service
// message types it answers, the kernel dump types it serves and the control
// commands it takes:
//
//   namespace { const bool registered = [] {
//       dpsvc::register_message(49, handle_set_stat_enable);
//       dpsvc::register_dump(0x140001, open_session_dump);
//       return true; }(); }
//
// Everything runs on dpservice's one event-loop thread: handlers need no
// locks, and must not block (a long reset answers later through
// defer_reply).
#ifndef DPSVC_REGISTRY_H
#define DPSVC_REGISTRY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "byte_order.h"

namespace dpsvc {

// ---------------------------------------------------- session service ----

// What a message handler answers.
enum class Answer {
    kReply,       // send `reply` as the payload of a reply of the request's type
    kError,       // send the error reply (type 0xFFFFFFFF, length 8)
    kDeferred,    // the handler called defer_reply and answers later
};

struct MsgContext {
    uint32_t type;                       // host order
    std::span<const uint8_t> payload;    // the request payload, network order
    std::vector<uint8_t> reply;          // the reply payload to send, network order
    uint64_t token;                      // identifies the requester for defer_reply
};

using MsgHandler = std::function<Answer(MsgContext &)>;

// Registers the handler of one message type; a later registration of the
// same type replaces the earlier one.
void register_message(uint32_t type, MsgHandler handler);

// The same for a type whose request payload is exactly payloadLen bytes: a
// request of any other length gets the error reply without reaching the
// handler.
void register_message(uint32_t type, uint32_t payloadLen, MsgHandler handler);

// The result codes the library tells apart.
constexpr uint32_t kOk = 0;
constexpr uint32_t kFailed = 0x40010001u;
constexpr uint32_t kNotExist = 0x40010005u;
constexpr uint32_t kDumpContinue = 0x40010009u;  // a chunk of a multi-record dump; more may follow

// Answers a message whose whole reply is a result code.
inline Answer answer_code(MsgContext &c, uint32_t code) {
    put_be32(c.reply, code);
    return Answer::kReply;
}

// Sends `payload` as the reply to the request identified by token after
// `delayMs` milliseconds (the service keeps serving meanwhile).
void defer_reply(uint64_t token, uint32_t type, std::vector<uint8_t> payload, uint32_t delayMs);

// -------------------------------------------------------------- kernel ----

// One open dump: the cursor lives from the request to the client's end.
class DumpCursor {
public:
    virtual ~DumpCursor() = default;
    // Appends at most `max` bytes of the next chunk to `out`, cut as the
    // kernel cuts: whole records (or whole items) only.  Returns the result
    // code the client's DUMP_Pull returns: 0x40010009 with a chunk of a
    // multi-record dump; for single-record dumps the record and 0.
    virtual uint32_t pull(std::vector<uint8_t> &out, uint32_t max) = 0;
};

// Opens a dump of one type on a node with the client's key; null when the
// node or the key is not served (the client then sees 0xFFFFFFFF).
using DumpFactory = std::function<std::unique_ptr<DumpCursor>(uint16_t node, std::span<const uint8_t> key)>;
void register_dump(uint32_t dumpType, DumpFactory factory);

// A control call: fills `reply` (at most `capacity` bytes are sent) and
// returns the result code.
using ControlHandler =
    std::function<uint32_t(uint16_t node, std::span<const uint8_t> request, uint32_t capacity, std::vector<uint8_t> &reply)>;
void register_control(uint32_t command, ControlHandler handler);

// A cursor over records that are all known when the dump opens: serves
// them `recordSize` bytes at a time, as many whole records as fit a pull,
// answering 0x40010009 for every chunk that carries records, then 0 with an
// empty chunk once they are used up.  (Large tables want a cursor that makes
// its records as it goes instead.)
std::unique_ptr<DumpCursor> make_record_cursor(std::vector<uint8_t> records, uint32_t recordSize);

}  // namespace dpsvc

#endif
