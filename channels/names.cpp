// SPDX-License-Identifier: Apache-2.0
#include "channels/names.h"

#include "platform/textutil.h"

namespace dpmgmt {

namespace {

template <std::size_t N>
bool finish(bool known, char (&out)[N], LetterCase letterCase) {
    if (!known) return false;
    out[N - 1] = '\0';
    if (letterCase == LetterCase::kUpper) uppercase(out);
    return true;
}

}  // namespace

bool protocol_name(char (&out)[APR_PROTO_NAME_SIZE], uint32_t protocol, LetterCase letterCase) {
    return finish(APR_GetProtoNameByID(protocol, out) == 0, out, letterCase);
}

bool application_name(char (&out)[APR_APP_NAME_SIZE], uint32_t appId, LetterCase letterCase) {
    return finish(APR_GetAppNameByID(appId, out) == 0, out, letterCase);
}

}  // namespace dpmgmt
