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

// Network-order fields of request and reply payloads.  Readers take the
// payload and an offset the caller has checked against its length (the
// loop checks every registered payload length before a handler runs).
inline uint16_t get_be16(std::span<const uint8_t> p, std::size_t off) {
    return static_cast<uint16_t>(p[off] << 8 | p[off + 1]);
}
inline uint32_t get_be32(std::span<const uint8_t> p, std::size_t off) {
    return static_cast<uint32_t>(p[off]) << 24 | static_cast<uint32_t>(p[off + 1]) << 16 |
           static_cast<uint32_t>(p[off + 2]) << 8 | p[off + 3];
}
inline void put_be16(std::vector<uint8_t> &out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}
inline void put_be32(std::vector<uint8_t> &out, uint32_t v) {
    put_be16(out, static_cast<uint16_t>(v >> 16));
    put_be16(out, static_cast<uint16_t>(v));
}
inline void put_be64(std::vector<uint8_t> &out, uint64_t v) {
    put_be32(out, static_cast<uint32_t>(v >> 32));
    put_be32(out, static_cast<uint32_t>(v));
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
