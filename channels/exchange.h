// SPDX-License-Identifier: Apache-2.0
// The request/reply toolkit every command of the library goes through.
//
// A request is laid out with Request<N> (or from a caller's record with
// record_request); it then travels in one of three shapes:
//   svc_command   the reply is one u32 result code;
//   query_record  the reply is a record whose numeric fields are converted;
//   query_value   the reply holds one network-order number.
// Commands with a reply of their own make (policy lists, top statistics)
// receive with svc_query and convert it themselves.
#ifndef DPMGMT_CHANNELS_EXCHANGE_H
#define DPMGMT_CHANNELS_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "channels/wire.h"
#include "dpmgmt/result.h"

namespace dpmgmt {

// A zero-filled request of N bytes, its numbers written in network order.
// Every put is checked against N: a wrong offset is a layout bug and traps.
template <std::size_t N>
class Request {
public:
    Request &put8(std::size_t off, uint8_t v) { check(off, 1); bytes_[off] = v; return *this; }
    Request &put16(std::size_t off, uint16_t v) { check(off, 2); store_be16(bytes_ + off, v); return *this; }
    Request &put32(std::size_t off, uint32_t v) { check(off, 4); store_be32(bytes_ + off, v); return *this; }
    // Copies bytes as they stand (no conversion).
    Request &copy(std::size_t off, const void *src, std::size_t len) {
        check(off, len);
        std::memcpy(bytes_ + off, src, len);
        return *this;
    }
    const uint8_t *data() const { return bytes_; }
    static constexpr uint32_t size() { return static_cast<uint32_t>(N); }

private:
    static void check(std::size_t off, std::size_t len) {
        if (off + len > N) __builtin_trap();
    }
    uint8_t bytes_[N] = {};
};

// A request with no payload.
struct NoRequest {
    static const void *data() { return nullptr; }
    static constexpr uint32_t size() { return 0; }
};

// The network-order image of a caller's record: a private copy with the
// layout's fields turned, every other byte as it stands.  The caller's
// record is never changed.
template <class Record, std::size_t M>
Request<sizeof(Record)> record_request(const Record &record, const Layout<Record, M> &layout) {
    Request<sizeof(Record)> req;
    req.copy(0, &record, sizeof record);
    swap_fields(reinterpret_cast<Record *>(const_cast<uint8_t *>(req.data())), layout);
    return req;
}

// The raw exchange: sends the request and receives the reply payload into
// reply (at most replyMax bytes, the rest of reply left as it was).  0 or
// the exchange's failure; reply is untouched on failure.
uint32_t svc_query(uint32_t type, const void *req, uint32_t reqLen, void *reply, uint32_t replyMax);

// How the exchange waits for the reply.
enum class Wait {
    kPlain,    // as long as it takes
    kPatient,  // shows the user a progress line while the service works
};

// Sends the request and returns the reply's u32 result code in host order,
// or the exchange's failure.  A reply shorter than 4 bytes reads as 0 in the
// missing bytes.
uint32_t svc_command(uint32_t type, const void *req, uint32_t reqLen, Wait wait);

template <class R>
uint32_t svc_command(uint32_t type, const R &request, Wait wait = Wait::kPlain) {
    return svc_command(type, request.data(), request.size(), wait);
}

// A result-code command whose request is the caller's record; a null
// record fails without an exchange.
template <class Record, std::size_t M>
uint32_t send_record(uint32_t type, const Record *record, const Layout<Record, M> &layout) {
    if (record == nullptr) return DPMGMT_ERR_FAILED;
    return svc_command(type, record_request(*record, layout));
}

// What a record query leaves in the bytes a short reply did not carry.
// The commands differ here on purpose, and each says which it keeps.
enum class ShortReply {
    // The reply lands in the caller's storage itself; the bytes it did not
    // carry stay as they were and are turned like the rest.
    kKeepsCaller,
    // The reply lands in a cleared buffer that replaces the caller's record
    // on success: the bytes it did not carry read as 0.
    kZeroFills,
};

// Sends the request, receives a Record and turns its layout's fields to
// host order.  The caller's record is written only when the exchange
// succeeded; a null record fails without an exchange.
template <class Record, std::size_t M, class R>
uint32_t query_record(uint32_t type, const R &request, Record *out, const Layout<Record, M> &layout,
                      ShortReply shortReply) {
    if (out == nullptr) return DPMGMT_ERR_FAILED;
    if (shortReply == ShortReply::kKeepsCaller) {
        const uint32_t rc = svc_query(type, request.data(), request.size(), out, sizeof(Record));
        if (rc != DPMGMT_OK) return rc;
        swap_fields(out, layout);
        return DPMGMT_OK;
    }
    Record reply;
    std::memset(&reply, 0, sizeof reply);
    const uint32_t rc = svc_query(type, request.data(), request.size(), &reply, sizeof reply);
    if (rc != DPMGMT_OK) return rc;
    swap_fields(&reply, layout);
    std::memcpy(out, &reply, sizeof reply);
    return DPMGMT_OK;
}

// Sends the caller's record as the request and replaces it with the
// reply, received under the given short-reply rule; a null record fails
// without an exchange.
template <class Record, std::size_t M>
uint32_t query_current(uint32_t type, Record *inout, const Layout<Record, M> &layout, ShortReply shortReply) {
    if (inout == nullptr) return DPMGMT_ERR_FAILED;
    return query_record(type, record_request(*inout, layout), inout, layout, shortReply);
}

// Sends the request and reads one network-order number of type T at
// `offset` of a ReplySize-byte reply received into a cleared buffer (a short
// reply reads as 0, never as stale bytes).  *out is written only when the
// exchange succeeded; a null out fails without an exchange.
template <std::size_t ReplySize, class T, class R>
uint32_t query_value(uint32_t type, const R &request, std::size_t offset, T *out) {
    static_assert(sizeof(T) == 2 || sizeof(T) == 4);
    if (out == nullptr) return DPMGMT_ERR_FAILED;
    if (offset + sizeof(T) > ReplySize) __builtin_trap();
    uint8_t reply[ReplySize] = {};
    const uint32_t rc = svc_query(type, request.data(), request.size(), reply, ReplySize);
    if (rc != DPMGMT_OK) return rc;
    if constexpr (sizeof(T) == 2)
        *out = load_be16(reply + offset);
    else
        *out = load_be32(reply + offset);
    return DPMGMT_OK;
}

}  // namespace dpmgmt

#endif
