// SPDX-License-Identifier: Apache-2.0
// Opening and closing the connection-limit databases.
//
// Interfaces' applied policies are kept in two databases: "eConnlmt" for
// interfaces in use and "pConnlmt" for temporary ones.  At start-up every
// key still in the first is moved to the second, so that only interfaces
// that come back up are moved back by their configuration process.
#include "channels/store_open.h"
#include "connlmt/store_keys.h"

using namespace dpmgmt::connlmt;

namespace {

constexpr uint32_t kGlobalOpenMode = 7;
static_assert(CONNLMT_DB_INVALID_HANDLE == dpmgmt::store::kNoHandle);

// Every key of the used database is moved, whatever it holds.
uint32_t _db_BatchProcCallback(uint64_t, const void *, uint64_t, const void *, uint64_t, uint64_t) {
    return DBM_BATCH_CB_MOVE;
}

}  // namespace

extern "C" {

DPMGMT_API uint64_t g_hConnlmtGlobalCfgHandle = CONNLMT_DB_INVALID_HANDLE;
DPMGMT_API uint64_t g_hConnlmtIFCfgUsedHandle = CONNLMT_DB_INVALID_HANDLE;
DPMGMT_API uint64_t g_hConnlmtIFCfgUnusedHandle = CONNLMT_DB_INVALID_HANDLE;

DPMGMT_API uint64_t CONNLMT_DB_Open(const char *dbName, uint32_t mode) {
    return dpmgmt::store::open(dbName, kModule, mode);
}

DPMGMT_API uint32_t CONNLMT_DB_Close(uint64_t handle) { return DBM_Close(handle); }

DPMGMT_API uint32_t _db_OpenGlobalCfgDB(void) {
    const uint64_t handle = CONNLMT_DB_Open("gConnlmt", kGlobalOpenMode);
    if (handle == CONNLMT_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    g_hConnlmtGlobalCfgHandle = handle;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t _db_OpenAndMoveIFCfgDB(void) {
    uint64_t used = CONNLMT_DB_INVALID_HANDLE;
    uint64_t unused = CONNLMT_DB_INVALID_HANDLE;
    const uint32_t rc = DBM_OpenCfgDB("eConnlmt", "pConnlmt", kModule, 0, &dpmgmt::store::kOpenDesc, &used, &unused,
                                        dpmgmt::store::kOpenFlag);
    if (rc != 0) return rc;
    const DBM_BATCH_S batch = {DBM_BATCH_OP_MOVE, _db_BatchProcCallback, 0};
    (void)DBM_Batch_Proc(used, unused, &batch, 1);  // a failed move leaves the keys where they were
    g_hConnlmtIFCfgUsedHandle = used;
    g_hConnlmtIFCfgUnusedHandle = unused;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t CONNLMT_DB_Init(void) {
    // Both opens run even when the first fails, and a failure of either
    // closes whatever the other opened.
    uint32_t rc = _db_OpenGlobalCfgDB();
    rc |= _db_OpenAndMoveIFCfgDB();
    if (rc != 0) CONNLMT_DB_Fini();
    return rc;
}

DPMGMT_API void CONNLMT_DB_Fini(void) {
    dpmgmt::store::close(g_hConnlmtGlobalCfgHandle);
    dpmgmt::store::close(g_hConnlmtIFCfgUsedHandle);
    dpmgmt::store::close(g_hConnlmtIFCfgUnusedHandle);
}

}  // extern "C"
