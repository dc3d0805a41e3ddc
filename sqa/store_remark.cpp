// SPDX-License-Identifier: Apache-2.0
// The remark entries: one sorted list under "SQA-REMARK", elements in
// network order, ordered and found by their two keys.
#include <cstring>

#include "sqa/layouts.h"
#include "sqa/store_keys.h"

using namespace dpmgmt::sqa;

namespace {

constexpr uint32_t kListMode = 2;
constexpr DBM_SORTKEY_S kRemarkSortKeys[] = {
    {offsetof(SQA_REMARK_S, uiRemarkKey1), 4, DBM_KEYTYPE_UINT_NET, 0},
    {offsetof(SQA_REMARK_S, uiRemarkKey2), 4, DBM_KEYTYPE_UINT_NET, 0},
};
constexpr uint32_t kRemarkSortKeyCount = sizeof kRemarkSortKeys / sizeof kRemarkSortKeys[0];

}  // namespace

extern "C" {

DPMGMT_API uint32_t sqa_db_GetRemarkKey(uint32_t size, char *buffer) {
    return static_cast<uint32_t>(scnprintf(buffer, size, "SQA-REMARK")) + 1;
}

DPMGMT_API uint32_t SQA_DB_SetRemark(const SQA_REMARK_S *remark) {
    const uint64_t handle = g_hSqaGlobalCfgHandle;
    if (handle == SQA_DB_INVALID_HANDLE || remark == nullptr) return DPMGMT_ERR_FAILED;
    DbKey key{};
    key.length = sqa_db_GetRemarkKey(sizeof key.text, key.text);
    // The list exists before any change, removals included.
    if (!key_exists(handle, key) &&
        DBM_CreateSortList(handle, key.text, key.length, kRemarkSortKeys, kRemarkSortKeyCount, kListMode) != 0)
        return DPMGMT_ERR_FAILED;

    SQA_REMARK_S element;
    std::memcpy(&element, remark, sizeof element);
    dpmgmt::swap_fields(&element, kRemarkLayout);

    int32_t rc;
    if (remark->usRemarkFlag == 1) {
        rc = DBM_InsertSortList(handle, key.text, key.length, sizeof element, &element, kListMode);
    } else {
        rc = DBM_RemoveSortList(handle, key.text, key.length, sizeof element, &element);
        // An empty list is not kept; whether the delete works does not change
        // the answer.
        if (DBM_Len(handle, key.text, key.length) == 0) (void)DBM_DeleteKey(handle, key.text, key.length);
    }
    return rc < 0 ? DPMGMT_ERR_FAILED : DPMGMT_OK;
}

}  // extern "C"
