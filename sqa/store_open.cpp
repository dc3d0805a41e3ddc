// SPDX-License-Identifier: Apache-2.0
// Opening and closing the SQA configuration database, and the view: the
// SIP record's presence in "gSqa".
#include <cstring>

#include "channels/store_open.h"
#include "channels/wire.h"
#include "sqa/store_keys.h"

using namespace dpmgmt::sqa;

static_assert(SQA_DB_INVALID_HANDLE == dpmgmt::store::kNoHandle);

extern "C" {

DPMGMT_API uint64_t g_hSqaGlobalCfgHandle = SQA_DB_INVALID_HANDLE;

DPMGMT_API uint64_t SQA_DB_Open(const char *dbName, uint32_t mode) {
    return dpmgmt::store::open(dbName, kModule, mode);
}

// Does not look at the handle first: a second Init reopens, and a failed
// open leaves whatever was there.
DPMGMT_API uint32_t SQA_DB_Init(void) {
    const uint64_t handle = SQA_DB_Open(kGlobalDb, kInitOpenMode);
    if (handle == SQA_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    g_hSqaGlobalCfgHandle = handle;
    return DPMGMT_OK;
}

DPMGMT_API void SQA_DB_Fini(void) {
    dpmgmt::store::close(g_hSqaGlobalCfgHandle);
}

DPMGMT_API uint64_t SQA_DB_OpenForRead(const char *dbName) {
    if (dbName == nullptr) return SQA_DB_INVALID_HANDLE;
    if (g_hSqaGlobalCfgHandle != SQA_DB_INVALID_HANDLE) return g_hSqaGlobalCfgHandle;
    const uint64_t handle = SQA_DB_Open(dbName, kReadOpenMode);
    if (handle != SQA_DB_INVALID_HANDLE) g_hSqaGlobalCfgHandle = handle;
    return handle;
}

DPMGMT_API int32_t SQA_DB_RecoverCfg(const void *batch, uint32_t count) {
    return DBM_Batch_Proc(g_hSqaGlobalCfgHandle, DBM_INVALID_HANDLE, static_cast<const DBM_BATCH_S *>(batch), count);
}

// The view operations open "gSqa" for themselves and leave it open: the
// database hands the same handle back to a process that has it open.
DPMGMT_API uint32_t SQA_DB_AddSqaView(void) {
    const uint64_t handle = SQA_DB_Open(kGlobalDb, kViewOpenMode);
    if (handle == SQA_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    const DbKey key = sip_key();
    if (key_exists(handle, key)) return DPMGMT_OK;
    // A new view starts with SIP monitoring off, the default port, no filter.
    uint8_t record[sizeof(SQA_SIP_DBVALUE_S)] = {};
    dpmgmt::store_be16(record + offsetof(SQA_SIP_DBVALUE_S, usSipPort), SQA_SIP_DEFAULT_PORT);
    if (DBM_SetBinary(handle, key.text, key.length, 0, sizeof record, record, kSipAttribute) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

DPMGMT_API uint32_t SQA_DB_ChkSqaViewExist(void) {
    const uint64_t handle = SQA_DB_Open(kGlobalDb, kViewOpenMode);
    if (handle == SQA_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    return key_exists(handle, sip_key()) ? DPMGMT_OK : DPMGMT_ERR_FAILED;
}

DPMGMT_API uint32_t SQA_DB_DelSqaView(void) {
    const uint64_t handle = SQA_DB_Open(kGlobalDb, kViewOpenMode);
    if (handle == SQA_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    const DbKey key = sip_key();
    if (!key_exists(handle, key)) return DPMGMT_OK;
    return static_cast<uint32_t>(DBM_DeleteKey(handle, key.text, key.length));
}

}  // extern "C"
