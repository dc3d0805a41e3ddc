// SPDX-License-Identifier: Apache-2.0
// The replay of the stored configuration into a session service that
// started afresh: what "recover" runs, and what dpmgmt runs by itself when
// it had to start the service.
#ifndef DPMGMT_TOOLS_REPLAY_H
#define DPMGMT_TOOLS_REPLAY_H

#include <cstdint>
#include <string>

namespace cli {

struct Replayed {
    int status = 0;  // cli::Status: not kOk when a store could not be opened (reported)
    uint32_t policies = 0, rules = 0, descriptions = 0, applications = 0;
    uint32_t settings = 0, remarks = 0;
    uint32_t failures = 0, firstFailure = 0;  // items the service refused
    // "2 policies, 3 rules, 1 descriptions, 3 applications, 2 SQA settings, 1 remarks"
    std::string summary() const;
    // kOk, or after reporting the platform's fault or the items refused:
    // kServiceFailed.
    int refused() const;
};

// Connection-limit policies with their rules and descriptions, then their
// applications (policies before the places they are applied at), then the
// call quality analysis settings and remarks.
Replayed replay_stored();

}  // namespace cli

#endif
