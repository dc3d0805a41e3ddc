// SPDX-License-Identifier: Apache-2.0
// Opening and closing a module's configuration databases, as the
// connection-limit and SQA stores both do it.
#ifndef DPMGMT_CHANNELS_STORE_OPEN_H
#define DPMGMT_CHANNELS_STORE_OPEN_H

#include <cstdint>

#include "platform/dbm.h"

namespace dpmgmt::store {

// No database handle (CONNLMT_DB_INVALID_HANDLE, SQA_DB_INVALID_HANDLE).
inline constexpr uint64_t kNoHandle = UINT64_MAX;
inline constexpr DBM_OPEN_DESC_S kOpenDesc = {{1, 0, 1, 0, 0, 0, 0, 0}};
inline constexpr uint32_t kOpenFlag = 1;

// The handle of the module's database `dbName` opened in `mode`; kNoHandle
// for a missing name or a failed open.
inline uint64_t open(const char *dbName, const char *module, uint32_t mode) {
    if (dbName == nullptr) return kNoHandle;
    uint64_t handle = kNoHandle;
    if (DBM_Open(dbName, module, mode, &kOpenDesc, &handle, kOpenFlag) != 0) return kNoHandle;
    return handle;
}

// Closes an open handle and marks it closed.
inline void close(uint64_t &handle) {
    if (handle == kNoHandle) return;
    (void)DBM_Close(handle);
    handle = kNoHandle;
}

}  // namespace dpmgmt::store

#endif
