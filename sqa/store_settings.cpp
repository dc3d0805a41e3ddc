// SPDX-License-Identifier: Apache-2.0
// The SIP and H.323 settings records in the configuration store.
//
// The store keeps the records with their 16-bit numbers in network order
// and the filter's address words exactly as the caller holds them.  The
// setters compare against the in-memory copy the configuration process has
// loaded, and write nothing when the value is already there.
#include <algorithm>
#include <cstring>

#include "sqa/layouts.h"
#include "sqa/store_keys.h"

using namespace dpmgmt::sqa;

namespace {

constexpr uint32_t kReadBufferSize = 64;

// One settings record as the setters and readers see it.
struct Settings {
    const void *current;                        // the loaded in-memory record
    uint32_t size;
    DbKey (*key)();
    uint32_t attribute;
    void (*turn)(uint8_t *record);              // turns the fields stored in network order
};

// Both directions are the same swap.
template <class Record, const auto &Layout>
void turn_record(uint8_t *record) {
    dpmgmt::swap_fields(reinterpret_cast<Record *>(record), Layout);
}

const Settings kSip{&g_stSqaSipDbValue, sizeof(SQA_SIP_DBVALUE_S), sip_key, kSipAttribute,
                    turn_record<SQA_SIP_DBVALUE_S, kSipDbValueLayout>};
const Settings kH323{&g_stSqaH323DbValue, sizeof(SQA_H323_DBVALUE_S), h323_key, kH323Attribute,
                     turn_record<SQA_H323_DBVALUE_S, kH323DbValueLayout>};
static_assert(sizeof(SQA_SIP_DBVALUE_S) >= sizeof(SQA_H323_DBVALUE_S));

// The bytes of a filter that decide whether it changed: both address words
// and the filter number, not the reserved word.
constexpr size_t kFilterCompared = offsetof(SQA_FILTER_S, usReserved);

// Puts `width` bytes of value at `offset` of a copy of the loaded record
// and writes the copy, unless the first `compared` bytes are there already.
uint32_t set_field(const Settings &s, size_t offset, const void *value, size_t width, size_t compared) {
    if (g_hSqaGlobalCfgHandle == SQA_DB_INVALID_HANDLE) return DPMGMT_ERR_FAILED;
    uint8_t record[sizeof(SQA_SIP_DBVALUE_S)];
    std::memcpy(record, s.current, s.size);
    if (std::memcmp(record + offset, value, compared) == 0) return DPMGMT_OK;
    std::memcpy(record + offset, value, width);
    s.turn(record);
    const DbKey key = s.key();
    if (DBM_SetBinary(g_hSqaGlobalCfgHandle, key.text, key.length, 0, s.size, record, s.attribute) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

uint32_t set_u16(const Settings &s, size_t offset, uint16_t value) {
    return set_field(s, offset, &value, sizeof value, sizeof value);
}

uint32_t set_filter(const Settings &s, size_t offset, const SQA_FILTER_S *filter) {
    if (g_hSqaGlobalCfgHandle == SQA_DB_INVALID_HANDLE || filter == nullptr) return DPMGMT_ERR_FAILED;
    return set_field(s, offset, filter, sizeof *filter, kFilterCompared);
}

// Reads a record into `record` (s.size bytes, host order): a shorter
// stored value is padded with zeros, a longer one cut.  Returns what
// DBM_GetBinary gave, or -1 for bad arguments and a missing key.
int32_t read_record(const Settings &s, uint64_t handle, const void *key, uint64_t keyLen, uint8_t *record) {
    if (handle == SQA_DB_INVALID_HANDLE || key == nullptr || keyLen == 0) return -1;
    if ((static_cast<uint32_t>(DBM_IsKeyExist(handle, key, keyLen)) & 0xFFFFu) != 1) return -1;
    uint8_t buf[kReadBufferSize] = {};
    const int32_t got = DBM_GetBinary(handle, key, keyLen, 0, sizeof buf, buf);
    if (got <= 0) return got;
    std::memset(record, 0, s.size);
    std::memcpy(record, buf, std::min<uint32_t>(static_cast<uint32_t>(got), s.size));
    s.turn(record);
    return got;
}

}  // namespace

extern "C" {

DPMGMT_API SQA_SIP_DBVALUE_S g_stSqaSipDbValue = {SQA_SIP_DEFAULT_PORT, 0, {0, 0, 0, 0}, 0, 0};
DPMGMT_API SQA_H323_DBVALUE_S g_stSqaH323DbValue = {0, SQA_H225_DEFAULT_PORT, {0, 0, 0, 0}};

DPMGMT_API uint32_t SQA_DB_SetSipEnable(uint16_t enable) {
    return set_u16(kSip, offsetof(SQA_SIP_DBVALUE_S, usEnable), enable);
}

DPMGMT_API uint32_t SQA_DB_SetSipPort(uint16_t port) {
    return set_u16(kSip, offsetof(SQA_SIP_DBVALUE_S, usSipPort), port);
}

DPMGMT_API uint32_t SQA_DB_SetSipFilterIp(const SQA_FILTER_S *filter) {
    return set_filter(kSip, offsetof(SQA_SIP_DBVALUE_S, stFilter), filter);
}

DPMGMT_API uint32_t SQA_DB_SetH323Enable(uint16_t enable) {
    return set_u16(kH323, offsetof(SQA_H323_DBVALUE_S, usEnable), enable);
}

DPMGMT_API uint32_t SQA_DB_SetH225Port(uint16_t port) {
    return set_u16(kH323, offsetof(SQA_H323_DBVALUE_S, usH225Port), port);
}

DPMGMT_API uint32_t SQA_DB_SetH323FilterIp(const SQA_FILTER_S *filter) {
    return set_filter(kH323, offsetof(SQA_H323_DBVALUE_S, stFilter), filter);
}

DPMGMT_API uint32_t SQA_DB_SetSqaView(uint16_t operation, const SQA_H323_DBVALUE_S *value) {
    if (g_hSqaGlobalCfgHandle == SQA_DB_INVALID_HANDLE || value == nullptr) return DPMGMT_ERR_FAILED;
    SQA_H323_DBVALUE_S record;
    std::memcpy(&record, value, sizeof record);
    const DbKey key = h323_key();
    const bool exists = key_exists(g_hSqaGlobalCfgHandle, key);
    if (operation != 1) {
        if (!exists) return DPMGMT_OK;
        return static_cast<uint32_t>(DBM_DeleteKey(g_hSqaGlobalCfgHandle, key.text, key.length));
    }
    if (exists) return DPMGMT_ERR_EXIST;
    dpmgmt::swap_fields(&record, kH323DbValueLayout);
    if (DBM_SetBinary(g_hSqaGlobalCfgHandle, key.text, key.length, 0, sizeof record, &record, kH323Attribute) < 0)
        return DPMGMT_ERR_FAILED;
    return DPMGMT_OK;
}

// The reserved words of the caller's record are left as they were.
DPMGMT_API int32_t SQA_DB_GetSipValue(uint64_t handle, const void *key, uint64_t keyLen, SQA_SIP_DBVALUE_S *value) {
    if (value == nullptr) return -1;
    SQA_SIP_DBVALUE_S record;
    const int32_t got = read_record(kSip, handle, key, keyLen, reinterpret_cast<uint8_t *>(&record));
    if (got <= 0) return got;
    value->usSipPort = record.usSipPort;
    value->stFilter = record.stFilter;
    value->usEnable = record.usEnable;
    return got;
}

DPMGMT_API int32_t SQA_DB_GetSipDBValue(uint64_t handle, SQA_SIP_DBVALUE_S *value) {
    const DbKey key = sip_key();
    return SQA_DB_GetSipValue(handle, key.text, key.length, value);
}

DPMGMT_API int32_t SQA_DB_GetH323Value(uint64_t handle, const void *key, uint64_t keyLen,
                                       SQA_H323_DBVALUE_S *value) {
    if (value == nullptr) return -1;
    SQA_H323_DBVALUE_S record;
    const int32_t got = read_record(kH323, handle, key, keyLen, reinterpret_cast<uint8_t *>(&record));
    if (got <= 0) return got;
    *value = record;
    return got;
}

DPMGMT_API int32_t SQA_DB_GetH323DBValue(uint64_t handle, SQA_H323_DBVALUE_S *value) {
    const DbKey key = h323_key();
    return SQA_DB_GetH323Value(handle, key.text, key.length, value);
}

DPMGMT_API SQA_SIP_DBVALUE_S *SQA_DB_GetGlobalSipDbValue(void) { return &g_stSqaSipDbValue; }

DPMGMT_API SQA_H323_DBVALUE_S *SQA_DB_GetGlobalH323DbValue(void) { return &g_stSqaH323DbValue; }

}  // extern "C"
