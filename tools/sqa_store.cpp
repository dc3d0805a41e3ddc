// SPDX-License-Identifier: Apache-2.0
#include "sqa_store.h"

#include <arpa/inet.h>

#include <cstring>

#include "dpmgmt/sqa.h"
#include "platform/dbm.h"

namespace sqa {

Store::Store() {
    status_ = SQA_DB_Init();
    if (status_ != 0) return;
    // A missing record leaves the library's initial settings in place.
    SQA_DB_GetSipDBValue(g_hSqaGlobalCfgHandle, &g_stSqaSipDbValue);
    SQA_DB_GetH323DBValue(g_hSqaGlobalCfgHandle, &g_stSqaH323DbValue);
}

Store::~Store() { SQA_DB_Fini(); }

namespace {

uint16_t be16_at(const uint8_t *p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return ntohs(v);
}

uint32_t be32_at(const uint8_t *p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return ntohl(v);
}

// The filter's address words are stored as given (network order) and sent
// as they are.
uint32_t raw32_at(const uint8_t *p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

void note(ReplayCount &count, uint32_t rc) {
    if (rc == 0) return;
    if (count.failures++ == 0) count.firstFailure = rc;
}

bool key_is(const void *key, uint64_t keyLen, const char *name) {
    const size_t n = std::strlen(name);
    return keyLen >= n && std::memcmp(key, name, n) == 0 && (keyLen == n || static_cast<const char *>(key)[n] == 0);
}

// Visits every key of the store.  Stored numbers are in network order:
//   "SQA-SIP"   (20 bytes): u16 port, 2, filter {ip1, ip2, u16 flag, 2}, u16 enable, 2
//   "SQA-H323"  (16 bytes): u16 enable, u16 port, filter
//   "SQA-REMARK": 12-byte entries {u32 key1, u32 key2, u16 flag, u16 value}
uint32_t replay_key(uint64_t, const void *key, uint64_t keyLen, const void *value, uint64_t valueLen,
                    uint64_t arg) {
    auto &count = *reinterpret_cast<ReplayCount *>(arg);
    const auto *v = static_cast<const uint8_t *>(value);
    if (key_is(key, keyLen, "SQA-SIP") && valueLen >= sizeof(SQA_SIP_DBVALUE_S)) {
        note(count, SQA_IPC_SetSipPort(be16_at(v)));
        note(count, SQA_IPC_SetSipFilterIp(raw32_at(v + 4), raw32_at(v + 8), be16_at(v + 12)));
        note(count, SQA_IPC_SetSipEnable(be16_at(v + 16)));
        ++count.settings;
    } else if (key_is(key, keyLen, "SQA-H323") && valueLen >= sizeof(SQA_H323_DBVALUE_S)) {
        note(count, SQA_IPC_SetH225Port(be16_at(v + 2)));
        note(count, SQA_IPC_SetH323FilterIp(raw32_at(v + 4), raw32_at(v + 8), be16_at(v + 12)));
        note(count, SQA_IPC_SetH323Enable(be16_at(v)));
        ++count.settings;
    } else if (key_is(key, keyLen, "SQA-REMARK")) {
        for (uint64_t off = 0; off + sizeof(SQA_REMARK_S) <= valueLen; off += sizeof(SQA_REMARK_S)) {
            const SQA_REMARK_S r{be32_at(v + off), be32_at(v + off + 4), be16_at(v + off + 8),
                                 be16_at(v + off + 10)};
            note(count, SQA_IPC_SetRemark(&r));
            ++count.remarks;
        }
    }
    return DBM_BATCH_CB_SKIP;
}

}  // namespace

void replay(ReplayCount &count) {
    if (SQA_DB_ChkSqaViewExist() == 0) note(count, SQA_IPC_SetSqaView(1));
    const DBM_BATCH_S batch{0, replay_key, reinterpret_cast<uint64_t>(&count)};
    const int32_t rc = SQA_DB_RecoverCfg(&batch, 1);
    if (rc != 0) note(count, static_cast<uint32_t>(rc));
}

}  // namespace sqa
