// SPDX-License-Identifier: Apache-2.0
// Names the platform gives to numbers, as the displays print them.  Every
// display that shows a protocol or application name asks through here, so
// the buffer sizes, the termination and the upper-casing are written once.
#ifndef DPMGMT_CHANNELS_NAMES_H
#define DPMGMT_CHANNELS_NAMES_H

#include <cstdint>

#include "platform/names.h"

namespace dpmgmt {

enum class LetterCase { kAsStored, kUpper };

// The name of an IP protocol, into a buffer of APR_PROTO_NAME_SIZE bytes.
// True when the platform knows the protocol: the name is then terminated
// and cased as asked.  False leaves the buffer as it was.
bool protocol_name(char (&out)[APR_PROTO_NAME_SIZE], uint32_t protocol, LetterCase letterCase);

// The name of an application, into a buffer of APR_APP_NAME_SIZE bytes;
// as protocol_name.
bool application_name(char (&out)[APR_APP_NAME_SIZE], uint32_t appId, LetterCase letterCase);

}  // namespace dpmgmt

#endif
