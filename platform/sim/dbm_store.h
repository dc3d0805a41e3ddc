// SPDX-License-Identifier: Apache-2.0
// The configuration database's storage: one SQLite file per module, each
// database of the module a namespace (the `db` column) inside it.
#ifndef DPSIM_DBM_STORE_H
#define DPSIM_DBM_STORE_H

#include <sqlite3.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/dbm.h"
#include "sqlite_util.h"

namespace dpsim::detail {

// What a handle stands for while it is open.
struct DbRef {
    sqlite3 *conn = nullptr;    // the module file's connection
    std::string path;           // the module file
    std::string db;             // the database's namespace
};

// Every DBM_* call runs under this lock, except the callbacks of a batch.
std::mutex &dbm_lock();

// Open / close under dbm_lock.  open returns DBM_INVALID_HANDLE on failure.
uint64_t dbm_open(const std::string &module, const std::string &db);
bool dbm_close(uint64_t handle);
// The handle's database, or false for an unknown handle.
bool dbm_resolve(uint64_t handle, DbRef &out);

// Sort keys of a list.  A list is kept ordered by an "order" blob built from
// the element: each key's bytes, most significant first, one after another.
// Comparing those blobs byte by byte compares the keys in descriptor order.
constexpr size_t kMaxOrderBytes = 256;
bool order_of(const std::vector<DBM_SORTKEY_S> &keys, const uint8_t *elem, uint32_t elemLen, Bytes &order);
Bytes encode_sortkeys(const DBM_SORTKEY_S *keys, uint32_t count);
std::vector<DBM_SORTKEY_S> decode_sortkeys(const Bytes &blob);

}  // namespace dpsim::detail

#endif
