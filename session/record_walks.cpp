// SPDX-License-Identifier: Apache-2.0
// The record interface over the session tables' walks.
#include "dpmgmt/records.h"
#include "session/table_walks.h"

using namespace dpmgmt::session;

extern "C" {

DPMGMT_API uint32_t dpmgmt_walk_sessions(uint16_t node, const SESSION_DUMPKEY_S *key, dpmgmt_session_fn fn,
                                         void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_session_table(node, *key, [&](const SESSION_TABLEINFO_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t dpmgmt_walk_mcfs(uint16_t node, const SESSION_DUMPKEY_S *key, dpmgmt_session_fn fn,
                                     void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_mcfs_table(node, *key, [&](const SESSION_TABLEINFO_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t dpmgmt_walk_fastforward(uint16_t node, const SESSION_TABLEKEY_S *key, dpmgmt_fastforward_fn fn,
                                            void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_fastforward_table(node, *key, [&](const SESSION_FASTFORWARDTABLEINFO_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t dpmgmt_walk_relations(uint16_t node, const uint8_t *key, dpmgmt_relation_fn fn, void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_relation_table(node, key, [&](const SESSION_RELATIONINFO_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t dpmgmt_walk_session_kernel(uint16_t node, const SESSION_DUMPKEY_S *key,
                                               dpmgmt_session_kernel_fn fn, void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_session_kernel(node, *key, [&](const SESSION_KERNELINFO_S &e) { fn(&e, context); });
}

DPMGMT_API uint32_t dpmgmt_walk_relation_details(uint16_t node, const SESSION_RELATION_KEY_S *key,
                                                 dpmgmt_relation_detail_fn fn, void *context) {
    if (key == nullptr || fn == nullptr) return 0;
    return walk_relation_details(node, *key, [&](const SESSION_RELATIONINFOALL_S &e) { fn(&e, context); });
}

}  // extern "C"
