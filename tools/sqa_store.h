// SPDX-License-Identifier: Apache-2.0
// Call quality analysis settings as dpmgmt keeps them: the library's store,
// opened for the life of one command with the settings records loaded, and
// the replay of what it holds into the session service.
#ifndef DPMGMT_TOOLS_SQA_STORE_H
#define DPMGMT_TOOLS_SQA_STORE_H

#include <cstdint>

namespace sqa {

// Opens "gSqa" (SQA_DB_Init) and loads the stored SIP and H.323 settings
// into the library's settings records, which the setters compare against;
// closes the store on destruction.
class Store {
public:
    Store();
    ~Store();
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    uint32_t status() const { return status_; }

private:
    uint32_t status_ = 0;
};

struct ReplayCount {
    uint32_t settings = 0;  // SIP and H.323 records replayed
    uint32_t remarks = 0;
    uint32_t failures = 0;
    uint32_t firstFailure = 0;  // the result code of the first failure
};

// Pushes the stored view, SIP and H.323 settings and remark entries to the
// session service (the store must be open).
void replay(ReplayCount &count);

}  // namespace sqa

#endif
