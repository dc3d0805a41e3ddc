// SPDX-License-Identifier: Apache-2.0
// The arguments of the call table displays, the same for their text and
// their JSON form.
#ifndef DPMGMT_TOOLS_SQA_ARGS_H
#define DPMGMT_TOOLS_SQA_ARGS_H

#include <cstdint>
#include <optional>

#include "cli.h"
#include "dpmgmt/sqa.h"

namespace sqa {

struct CallArgs {
    int form = 0;  // 0 brief, 1 verbose, 2 probe
    char callId[SQA_CALLID_SIZE] = {};
    bool context = false;
    uint16_t node = 0;
};

// [verbose|probe] [call-id CALL-ID] [context] [slot SLOT]: the forms the
// protocol has; call-id and context only with a verbose (or probe) form.
std::optional<CallArgs> parse_call_args(cli::Args &args, bool h323);

}  // namespace sqa

#endif
