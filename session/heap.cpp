// SPDX-License-Identifier: Apache-2.0
// In-place binary heap over 64-bit elements for the command layer's
// rankings.  The root orders first under the caller's compare; the tests
// are strict so that elements equal to their parent never move, and a
// ranking that keeps ties in arrival order stays stable at the root.
#include <utility>

#include "dpmgmt/session.h"

extern "C" {

DPMGMT_API uint32_t Session_Statck_Modify(uint32_t position, SESSION_STATCK_COMPARE_PF compare, uint32_t count,
                                          uint64_t *array) {
    if (compare == nullptr || array == nullptr) return 0;
    const uint32_t firstLeaf = count / 2;
    uint32_t p = position;
    while (p < firstLeaf) {
        const uint32_t left = 2 * p + 1;
        const uint32_t right = left + 1;
        // The left child is asked first; the right one is compared with the
        // parent only when the left one does not already call for a move.
        const bool mustMove =
            compare(array[p], array[left]) > 0 || (right < count && compare(array[p], array[right]) > 0);
        if (!mustMove) break;
        const uint32_t child = (right >= count || compare(array[left], array[right]) < 0) ? left : right;
        std::swap(array[p], array[child]);
        p = child;
    }
    return 0;
}

DPMGMT_API uint32_t Session_Statck_Init(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array) {
    for (uint32_t position = count / 2; position > 0; --position)
        Session_Statck_Modify(position - 1, compare, count, array);
    return 0;
}

DPMGMT_API uint32_t Session_Statck_Sort(SESSION_STATCK_COMPARE_PF compare, uint32_t count, uint64_t *array) {
    if (compare == nullptr || array == nullptr) return 0;
    // Each pass moves the current root (the element that orders first among
    // the k + 1 left) behind the shrinking heap.
    for (uint32_t k = count; k > 0; --k) {
        std::swap(array[0], array[k - 1]);
        Session_Statck_Modify(0, compare, k - 1, array);
    }
    return 0;
}

}  // extern "C"
