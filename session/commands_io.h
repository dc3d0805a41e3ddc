// How the session settings commands lay out their requests and take their
// replies: every command is one of the shapes below over the one exchange
// helper, so a payload layout is written once per shape.
#ifndef DPMGMT_SESSION_COMMANDS_IO_H
#define DPMGMT_SESSION_COMMANDS_IO_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>

#include "channels/exchange.h"
#include "channels/wire.h"
#include "dpmgmt/channels.h"

namespace dpmgmt::session_cmd {

// The session service's message types of the session settings.
enum MsgType : uint32_t {
    kSetAppAging = 0,
    kSetL4Aging = 1,
    kSetLogPolicy = 2,
    kGetLogPolicy = 3,
    kSetLogFlow = 4,
    kSetLogTime = 5,
    kGetLogFlow = 6,
    kGetLogTime = 7,
    kSetPersist = 9,
    kGetPersist = 10,
    kSetDebug = 11,
    kSetTcpDebug = 12,
    kGetAllAppAging = 13,
    kGetAllL4Aging = 14,
    kGetAllDebug = 15,
    kGetTcpDebug = 16,
    kDisTopStatistics = 17,
    kGetTopStatistics = 18,
    kGetTopSampleTime = 19,
    kResetSession = 20,
    kResetRelation = 21,
    kResetStatistics = 22,
    kSetSessionSyncSwitch = 47,
    kGetSessionSyncSwitch = 48,
    kSetStatEnable = 49,
    kSetSessionSyncAppSwitch = 50,
    kGetSessionSyncAppSwitch = 51,
    kSetHisTopStatEnable = 52,
    kGetHisTopStatEnable = 53,
    kSetMaximum = 54,
    kSetRate = 55,
    kGetMaximum = 56,
    kGetRate = 57,
    kResetMcfsSession = 58,
    kResetMcfsStatistics = 59,
    kResetStatFail = 60,
    kResetEventStatistics = 61,
    kSetTrafficLogTime = 62,
    kGetTrafficLogTime = 63,
    kSetTrafficLogFlow = 64,
    kGetTrafficLogFlow = 65,
    kSetTrafficLogBegin = 68,
    kGetTrafficLogBegin = 69,
    kTrafficLogEnableBill = 70,
    kSetNumLog = 75,
    kResetFdbStatistics = 87,
};

// One argument of a scalar request: where it goes, how wide it is (1, 2 or
// 4 bytes) and its host-order value.
struct Put {
    uint16_t offset;
    uint8_t width;
    uint32_t value;
};

// The request as plain bytes (svc_command's Payload overload must not take
// an array for a payload object).
inline uint32_t command(uint32_t type, const uint8_t *req, uint32_t len, bool patient = false) {
    return svc_command(type, static_cast<const void *>(req), len, patient);
}

// Writes the arguments in network order into a zero-filled request; bytes
// no argument covers stay 0.
inline void place(uint8_t *req, std::size_t size, std::initializer_list<Put> args) {
    for (const Put &a : args) {
        if (a.offset + a.width > size) __builtin_trap();  // a layout bug, never data
        // Most significant byte first, one byte at a time.
        for (unsigned k = 0; k < a.width; ++k)
            req[a.offset + k] = static_cast<uint8_t>(a.value >> (8 * (a.width - 1 - k)));
    }
}

// A result-code command whose request is N bytes of scalar arguments.
template <std::size_t N>
uint32_t send_values(uint32_t type, std::initializer_list<Put> args) {
    uint8_t req[N] = {};
    place(req, N, args);
    return command(type, req, N);
}

// The network-order image of a caller's record: a private copy with the
// listed fields turned, the rest (copied bytes) as they stand.
template <std::size_t Size>
void to_wire(uint8_t (&out)[Size], const void *record, std::span<const Field> fields) {
    std::memcpy(out, record, Size);
    swap_fields(out, fields);
}

// A result-code command whose request is the caller's record of Size
// bytes.
template <std::size_t Size>
uint32_t send_record(uint32_t type, const void *record, std::span<const Field> fields) {
    if (record == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t req[Size];
    to_wire(req, record, fields);
    return command(type, req, Size);
}

// A query whose reply is Size bytes of the listed fields.  The reply lands
// in the caller's storage itself, which the exchange leaves untouched on
// failure, and every listed field of it is then turned in place: fields a
// short reply did not carry are turned as they stand.  With sendCurrent the
// caller's current values travel as the request, from a private copy.
template <std::size_t Size>
uint32_t query_record(uint32_t type, void *out, std::span<const Field> fields, bool sendCurrent) {
    if (out == nullptr) return DPMGMT_ERR_FAILED;
    uint8_t req[Size];
    if (sendCurrent) to_wire(req, out, fields);
    const uint32_t rc = svc_query(type, sendCurrent ? req : nullptr, sendCurrent ? Size : 0, out, Size);
    if (rc != DPMGMT_OK) return rc;
    swap_fields(out, fields);
    return DPMGMT_OK;
}

}  // namespace dpmgmt::session_cmd

#endif
