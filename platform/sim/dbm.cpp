// SPDX-License-Identifier: Apache-2.0
// The configuration database calls (DBM_*) over the module files of
// dbm_store.  Every write is one transaction; a missing key, an unknown
// handle or a key of length 0 is a negative (or non-zero) result, never a
// crash.
#include "platform/dbm.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "dbm_store.h"
#include "sqlite_util.h"

using dpsim::detail::Bytes;
using dpsim::detail::DbRef;
using dpsim::detail::Stmt;
using dpsim::detail::WriteTxn;

namespace {

constexpr uint32_t kOpenFailed = 0x40010001u;
constexpr int32_t kFail = -1;
constexpr int64_t kKindBinary = 1;
constexpr int64_t kKindList = 2;
constexpr size_t kMaxKeyLen = 4096;
constexpr uint32_t kMaxSortKeys = 16;

using Guard = std::lock_guard<std::mutex>;

bool valid_module_name(const char *name) {
    if (name == nullptr || name[0] == '\0' || name[0] == '.') return false;
    size_t n = 0;
    for (const char *p = name; *p != '\0'; ++p, ++n) {
        const char c = *p;
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                        c == '-' || c == '.';
        if (!ok || n >= 64) return false;
    }
    return true;
}

bool valid_key(const void *key, uint64_t keyLen) { return key != nullptr && keyLen > 0 && keyLen <= kMaxKeyLen; }

// The stored row of a key: its kind and, for a list, its sort keys.
struct KeyRow {
    int64_t kind = 0;
    Bytes value;
    std::vector<DBM_SORTKEY_S> sortKeys;
};

// 1 found, 0 missing, -1 error.
int read_key(const DbRef &ref, const void *key, uint64_t keyLen, KeyRow &row) {
    Stmt s(ref.conn, "SELECT kind, value, sortkeys FROM dbm_keys WHERE db = ?1 AND key = ?2");
    if (!s.ok()) return -1;
    s.text(1, ref.db).blob(2, key, keyLen);
    const int rc = s.step();
    if (rc == SQLITE_DONE) return 0;
    if (rc != SQLITE_ROW) return -1;
    row.kind = s.column_int(0);
    row.value = s.column_blob(1);
    row.sortKeys = dpsim::detail::decode_sortkeys(s.column_blob(2));
    return 1;
}

// The order of an element in the sorted list under the key, from the
// list's sort keys: false when the key holds no list or the element cannot
// be ordered by them.
bool element_order(const DbRef &ref, const void *key, uint64_t keyLen, const void *elem, uint32_t elemLen,
                   Bytes &order) {
    KeyRow row;
    if (read_key(ref, key, keyLen, row) != 1 || row.kind != kKindList) return false;
    return dpsim::detail::order_of(row.sortKeys, static_cast<const uint8_t *>(elem), elemLen, order);
}

bool delete_key_rows(const DbRef &ref, const void *key, uint64_t keyLen, int &removed) {
    Stmt del(ref.conn, "DELETE FROM dbm_keys WHERE db = ?1 AND key = ?2");
    if (!del.ok() || !del.text(1, ref.db).blob(2, key, keyLen).run()) return false;
    removed = sqlite3_changes(ref.conn);
    Stmt elems(ref.conn, "DELETE FROM dbm_elements WHERE db = ?1 AND key = ?2");
    return elems.ok() && elems.text(1, ref.db).blob(2, key, keyLen).run();
}

// Moves one key with its value or elements from one namespace to another
// of the same file, inside the caller's transaction.  0 moved, 1 missing,
// -1 error.
int move_key_rows(sqlite3 *conn, const std::string &from, const std::string &to, const void *key, uint64_t keyLen) {
    {
        Stmt exists(conn, "SELECT 1 FROM dbm_keys WHERE db = ?1 AND key = ?2");
        if (!exists.ok()) return -1;
        const int rc = exists.text(1, from).blob(2, key, keyLen).step();
        if (rc == SQLITE_DONE) return 1;
        if (rc != SQLITE_ROW) return -1;
    }
    if (from == to) return 0;
    const char *const statements[] = {
        "DELETE FROM dbm_keys WHERE db = ?2 AND key = ?3",
        "DELETE FROM dbm_elements WHERE db = ?2 AND key = ?3",
        "UPDATE dbm_keys SET db = ?2 WHERE db = ?1 AND key = ?3",
        "UPDATE dbm_elements SET db = ?2 WHERE db = ?1 AND key = ?3",
    };
    for (const char *sql : statements) {
        Stmt s(conn, sql);
        if (!s.ok() || !s.text(1, from).text(2, to).blob(3, key, keyLen).run()) return -1;
    }
    return 0;
}

// The iterator of DBM_GetNextSortList: where the walk stands, by order blob.
struct SortListCursor {
    uint32_t started;
    uint32_t orderLen;
    uint8_t order[dpsim::detail::kMaxOrderBytes];
};

// One key as a batch sees it.
struct BatchItem {
    Bytes key;
    Bytes value;
};

bool collect_items(const DbRef &ref, std::vector<BatchItem> &items) {
    Stmt keys(ref.conn, "SELECT key, kind, value FROM dbm_keys WHERE db = ?1 ORDER BY key");
    if (!keys.ok()) return false;
    keys.text(1, ref.db);
    int rc;
    while ((rc = keys.step()) == SQLITE_ROW) {
        BatchItem item{keys.column_blob(0), {}};
        if (keys.column_int(1) == kKindBinary) {
            item.value = keys.column_blob(2);
        } else {
            // A list's value is its elements one after the other, in order.
            Stmt elems(ref.conn, "SELECT elem FROM dbm_elements WHERE db = ?1 AND key = ?2 ORDER BY ord");
            if (!elems.ok()) return false;
            elems.text(1, ref.db).blob(2, item.key);
            int erc;
            while ((erc = elems.step()) == SQLITE_ROW) {
                size_t n = 0;
                const uint8_t *p = elems.column_data(0, n);
                if (p != nullptr) item.value.insert(item.value.end(), p, p + n);
            }
            if (erc != SQLITE_DONE) return false;
        }
        items.push_back(std::move(item));
    }
    return rc == SQLITE_DONE;
}

// Runs `body` on the handle's database under the lock; kFail when the
// handle names none.
template <typename Body>
int32_t on_db(uint64_t handle, Body body) {
    Guard guard(dpsim::detail::dbm_lock());
    DbRef ref;
    if (!dpsim::detail::dbm_resolve(handle, ref)) return kFail;
    return body(ref);
}

// The same in one write transaction, committed when `body` answers 0.
template <typename Body>
int32_t write_db(uint64_t handle, Body body) {
    return on_db(handle, [&](DbRef &ref) -> int32_t {
        WriteTxn txn(ref.conn);
        if (!txn.ok()) return kFail;
        const int32_t rc = body(ref);
        if (rc != 0) return rc;
        return txn.commit() ? 0 : kFail;
    });
}

}  // namespace

extern "C" {

PLAT_API uint32_t DBM_Open(const char *dbName, const char *module, uint32_t mode, const DBM_OPEN_DESC_S *desc,
                           uint64_t *handle, uint32_t flag) {
    (void)mode;
    (void)desc;
    (void)flag;
    if (handle == nullptr || dbName == nullptr || dbName[0] == '\0' || !valid_module_name(module)) return kOpenFailed;
    Guard guard(dpsim::detail::dbm_lock());
    const uint64_t h = dpsim::detail::dbm_open(module, dbName);
    if (h == DBM_INVALID_HANDLE) return kOpenFailed;
    *handle = h;
    return 0;
}

PLAT_API uint32_t DBM_OpenCfgDB(const char *firstDb, const char *secondDb, const char *module, uint32_t reserved,
                                const DBM_OPEN_DESC_S *desc, uint64_t *first, uint64_t *second, uint32_t flag) {
    (void)reserved;
    (void)desc;
    (void)flag;
    if (first == nullptr || second == nullptr || firstDb == nullptr || secondDb == nullptr || firstDb[0] == '\0' ||
        secondDb[0] == '\0' || !valid_module_name(module))
        return kOpenFailed;
    Guard guard(dpsim::detail::dbm_lock());
    const uint64_t a = dpsim::detail::dbm_open(module, firstDb);
    if (a == DBM_INVALID_HANDLE) return kOpenFailed;
    const uint64_t b = dpsim::detail::dbm_open(module, secondDb);
    if (b == DBM_INVALID_HANDLE) {
        dpsim::detail::dbm_close(a);
        return kOpenFailed;
    }
    *first = a;
    *second = b;
    return 0;
}

PLAT_API uint32_t DBM_Close(uint64_t handle) {
    Guard guard(dpsim::detail::dbm_lock());
    return dpsim::detail::dbm_close(handle) ? 0 : kOpenFailed;
}

PLAT_API int32_t DBM_IsKeyExist(uint64_t handle, const void *key, uint64_t keyLen) {
    if (!valid_key(key, keyLen)) return kFail;
    return on_db(handle, [&](DbRef &ref) -> int32_t {
        KeyRow row;
        const int found = read_key(ref, key, keyLen, row);
        return found < 0 ? kFail : found;
    });
}

PLAT_API int32_t DBM_GetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset, uint32_t size,
                               void *buf) {
    if (!valid_key(key, keyLen) || (buf == nullptr && size > 0)) return kFail;
    return on_db(handle, [&](DbRef &ref) -> int32_t {
        KeyRow row;
        if (read_key(ref, key, keyLen, row) != 1 || row.kind != kKindBinary) return kFail;
        if (offset >= row.value.size()) return 0;
        size_t n = row.value.size() - offset;
        if (n > size) n = size;
        if (n > 0x7fffffffu) n = 0x7fffffffu;
        std::memcpy(buf, row.value.data() + offset, n);
        return static_cast<int32_t>(n);
    });
}

PLAT_API int32_t DBM_SetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset, uint32_t size,
                               const void *value, uint32_t attribute) {
    if (!valid_key(key, keyLen) || (value == nullptr && size > 0)) return kFail;
    return write_db(handle, [&](DbRef &ref) -> int32_t {
        // Offset 0 replaces the value; a write further in patches the stored
        // value, growing it with zeros as needed.
        Bytes stored;
        if (offset > 0) {
            KeyRow row;
            const int found = read_key(ref, key, keyLen, row);
            if (found < 0) return kFail;
            if (found == 1 && row.kind == kKindBinary) stored = std::move(row.value);
        }
        if (stored.size() < static_cast<size_t>(offset) + size) stored.resize(static_cast<size_t>(offset) + size);
        if (size > 0) std::memcpy(stored.data() + offset, value, size);
        int removed = 0;
        if (!delete_key_rows(ref, key, keyLen, removed)) return kFail;
        Stmt ins(ref.conn, "INSERT INTO dbm_keys(db, key, kind, value, mode) VALUES(?1, ?2, 1, ?3, ?4)");
        if (!ins.ok() || !ins.text(1, ref.db).blob(2, key, keyLen).blob(3, stored).integer(4, attribute).run())
            return kFail;
        return 0;
    });
}

PLAT_API int32_t DBM_DeleteKey(uint64_t handle, const void *key, uint64_t keyLen) {
    if (!valid_key(key, keyLen)) return kFail;
    return write_db(handle, [&](DbRef &ref) -> int32_t {
        int removed = 0;
        if (!delete_key_rows(ref, key, keyLen, removed) || removed == 0) return kFail;
        return 0;
    });
}

PLAT_API int32_t DBM_Move(uint64_t source, const void *key, uint64_t keyLen, uint64_t target) {
    if (!valid_key(key, keyLen)) return kFail;
    Guard guard(dpsim::detail::dbm_lock());
    DbRef from, to;
    if (!dpsim::detail::dbm_resolve(source, from) || !dpsim::detail::dbm_resolve(target, to)) return kFail;
    // One transaction needs one file: databases of two modules do not mix.
    if (from.path != to.path) return kFail;
    WriteTxn txn(from.conn);
    if (!txn.ok() || move_key_rows(from.conn, from.db, to.db, key, keyLen) != 0) return kFail;
    return txn.commit() ? 0 : kFail;
}

PLAT_API int32_t DBM_Len(uint64_t handle, const void *key, uint64_t keyLen) {
    if (!valid_key(key, keyLen)) return kFail;
    return on_db(handle, [&](DbRef &ref) -> int32_t {
        KeyRow row;
        if (read_key(ref, key, keyLen, row) != 1) return kFail;
        if (row.kind == kKindBinary) return 1;
        Stmt count(ref.conn, "SELECT count(*) FROM dbm_elements WHERE db = ?1 AND key = ?2");
        if (!count.ok() || count.text(1, ref.db).blob(2, key, keyLen).step() != SQLITE_ROW) return kFail;
        return static_cast<int32_t>(count.column_int(0));
    });
}

PLAT_API int32_t DBM_CreateSortList(uint64_t handle, const void *key, uint64_t keyLen, const DBM_SORTKEY_S *sortKeys,
                                    uint32_t sortKeyCount, uint32_t listMode) {
    if (!valid_key(key, keyLen) || sortKeys == nullptr || sortKeyCount == 0 || sortKeyCount > kMaxSortKeys)
        return kFail;
    size_t orderBytes = 0;
    for (uint32_t i = 0; i < sortKeyCount; ++i) {
        if (sortKeys[i].uiLength == 0) return kFail;
        orderBytes += sortKeys[i].uiLength;
    }
    if (orderBytes > dpsim::detail::kMaxOrderBytes) return kFail;
    Guard guard(dpsim::detail::dbm_lock());
    DbRef ref;
    if (!dpsim::detail::dbm_resolve(handle, ref)) return kFail;
    WriteTxn txn(ref.conn);
    if (!txn.ok()) return kFail;
    KeyRow row;
    const int found = read_key(ref, key, keyLen, row);
    if (found < 0) return kFail;
    // Creating a list that exists keeps it and its elements; a binary value
    // under the key is not a list.
    if (found == 1) return row.kind == kKindList ? 0 : kFail;
    Stmt ins(ref.conn, "INSERT INTO dbm_keys(db, key, kind, sortkeys, mode) VALUES(?1, ?2, 2, ?3, ?4)");
    if (!ins.ok() || !ins.text(1, ref.db)
                          .blob(2, key, keyLen)
                          .blob(3, dpsim::detail::encode_sortkeys(sortKeys, sortKeyCount))
                          .integer(4, listMode)
                          .run())
        return kFail;
    return txn.commit() ? 0 : kFail;
}

PLAT_API int32_t DBM_InsertSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen,
                                    const void *elem, uint32_t listMode) {
    (void)listMode;
    if (!valid_key(key, keyLen) || elem == nullptr || elemLen == 0) return kFail;
    return write_db(handle, [&](DbRef &ref) -> int32_t {
        Bytes order;
        if (!element_order(ref, key, keyLen, elem, elemLen, order)) return kFail;
        // An element whose sort keys are present takes the old one's place.
        Stmt ins(ref.conn, "INSERT OR REPLACE INTO dbm_elements(db, key, ord, elem) VALUES(?1, ?2, ?3, ?4)");
        if (!ins.ok() || !ins.text(1, ref.db).blob(2, key, keyLen).blob(3, order).blob(4, elem, elemLen).run())
            return kFail;
        return 0;
    });
}

PLAT_API int32_t DBM_RemoveSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen,
                                    const void *probe) {
    if (!valid_key(key, keyLen) || probe == nullptr || elemLen == 0) return kFail;
    return write_db(handle, [&](DbRef &ref) -> int32_t {
        Bytes order;
        if (!element_order(ref, key, keyLen, probe, elemLen, order)) return kFail;
        Stmt del(ref.conn, "DELETE FROM dbm_elements WHERE db = ?1 AND key = ?2 AND ord = ?3");
        if (!del.ok() || !del.text(1, ref.db).blob(2, key, keyLen).blob(3, order).run()) return kFail;
        if (sqlite3_changes(ref.conn) == 0) return kFail;
        return 0;
    });
}

PLAT_API int32_t DBM_GetNextSortList(uint64_t handle, const void *key, uint64_t keyLen, void **iterator,
                                     uint32_t reserved1, uint32_t reserved2, uint32_t elemLen, void *buf) {
    (void)reserved1;
    (void)reserved2;
    if (!valid_key(key, keyLen) || iterator == nullptr || elemLen == 0 || buf == nullptr) return kFail;
    return on_db(handle, [&](DbRef &ref) -> int32_t {
        KeyRow row;
        if (read_key(ref, key, keyLen, row) != 1 || row.kind != kKindList) return kFail;
        auto *cursor = static_cast<SortListCursor *>(*iterator);
        if (cursor == nullptr) {
            cursor = static_cast<SortListCursor *>(std::calloc(1, sizeof(SortListCursor)));
            if (cursor == nullptr) return kFail;
            *iterator = cursor;
        }
        if (cursor->orderLen > sizeof cursor->order) return kFail;
        // The cursor remembers the last element's order, so a list changed
        // between two calls still walks forward without repeating.
        Stmt next(ref.conn, cursor->started
                                ? "SELECT ord, elem FROM dbm_elements WHERE db = ?1 AND key = ?2 AND ord > ?3 "
                                  "ORDER BY ord LIMIT 1"
                                : "SELECT ord, elem FROM dbm_elements WHERE db = ?1 AND key = ?2 ORDER BY ord LIMIT 1");
        if (!next.ok()) return kFail;
        next.text(1, ref.db).blob(2, key, keyLen);
        if (cursor->started) next.blob(3, cursor->order, cursor->orderLen);
        const int rc = next.step();
        if (rc == SQLITE_DONE) return 0;
        if (rc != SQLITE_ROW) return kFail;
        size_t orderLen = 0;
        const uint8_t *order = next.column_data(0, orderLen);
        if (orderLen > sizeof cursor->order) return kFail;
        size_t n = 0;
        const uint8_t *elem = next.column_data(1, n);
        if (n > elemLen) n = elemLen;
        if (n > 0 && elem != nullptr) std::memcpy(buf, elem, n);
        if (orderLen > 0 && order != nullptr) std::memcpy(cursor->order, order, orderLen);
        cursor->orderLen = static_cast<uint32_t>(orderLen);
        cursor->started = 1;
        return static_cast<int32_t>(n);
    });
}

PLAT_API void DBM_FreeIterator(void *iterator) { std::free(iterator); }

PLAT_API int32_t DBM_Batch_Proc(uint64_t source, uint64_t target, const DBM_BATCH_S *batch, uint32_t count) {
    if (batch == nullptr && count > 0) return kFail;
    DbRef from, to;
    {
        Guard guard(dpsim::detail::dbm_lock());
        if (!dpsim::detail::dbm_resolve(source, from)) return kFail;
        if (target != DBM_INVALID_HANDLE) {
            if (!dpsim::detail::dbm_resolve(target, to) || to.path != from.path) return kFail;
        }
    }
    for (uint32_t i = 0; i < count; ++i) {
        const DBM_BATCH_S &desc = batch[i];
        if (desc.pfCallback == nullptr) return kFail;
        std::vector<BatchItem> items;
        {
            Guard guard(dpsim::detail::dbm_lock());
            if (!dpsim::detail::dbm_resolve(source, from) || !collect_items(from, items)) return kFail;
        }
        // The callbacks run without the lock: they may well read the
        // database themselves.
        const bool moving = desc.ulOpCode == DBM_BATCH_OP_MOVE && target != DBM_INVALID_HANDLE;
        std::vector<const BatchItem *> selected;
        for (const BatchItem &item : items) {
            const uint32_t answer = desc.pfCallback(source, item.key.data(), item.key.size(), item.value.data(),
                                                    item.value.size(), desc.ulArg);
            if (moving && answer == DBM_BATCH_CB_MOVE) selected.push_back(&item);
        }
        if (selected.empty()) continue;
        Guard guard(dpsim::detail::dbm_lock());
        if (!dpsim::detail::dbm_resolve(source, from) || !dpsim::detail::dbm_resolve(target, to)) return kFail;
        WriteTxn txn(from.conn);
        if (!txn.ok()) return kFail;
        for (const BatchItem *item : selected) {
            // A key deleted while the callbacks ran is simply not moved.
            if (move_key_rows(from.conn, from.db, to.db, item->key.data(), item->key.size()) < 0) return kFail;
        }
        if (!txn.commit()) return kFail;
    }
    return 0;
}

}  // extern "C"
