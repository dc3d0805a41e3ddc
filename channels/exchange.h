// The one exchange helper every command of the library goes through.
//
// A command lays its payload out with Payload<N> (wire.h), then either
// sends it as a result-code command (the reply is one u32 result code) or
// as a query (the reply lands in a buffer the command converts itself).
#ifndef DPMGMT_CHANNELS_EXCHANGE_H
#define DPMGMT_CHANNELS_EXCHANGE_H

#include <cstdint>

namespace dpmgmt {

// Sends the request to the session service and returns the reply's u32
// result code in host order, or the exchange's failure.  The reply word is
// cleared first, so a payload shorter than 4 bytes yields 0 in the missing
// bytes.  `patient` selects the receive that shows progress while the
// service works.
uint32_t svc_command(uint32_t type, const void *req, uint32_t reqLen, bool patient = false);

// Sends the request and receives the reply payload into reply (at most
// replyMax bytes, the rest of reply left as it was).  0 or the exchange's
// failure; reply is untouched on failure.
uint32_t svc_query(uint32_t type, const void *req, uint32_t reqLen, void *reply, uint32_t replyMax);

template <class P>
uint32_t svc_command(uint32_t type, const P &payload, bool patient = false) {
    return svc_command(type, payload.data(), payload.size(), patient);
}

}  // namespace dpmgmt

#endif
