// SPDX-License-Identifier: Apache-2.0
// The fake's in-memory configuration database: records every call with its
// key bytes, then answers through a hook or the in-memory model.
#include <algorithm>
#include <cstring>

#include "fake/fake_state.h"

using namespace fake;

namespace {

Bytes bytes_of(const void *p, size_t n) {
    return Bytes(static_cast<const uint8_t *>(p), static_cast<const uint8_t *>(p) + n);
}

// The in-memory key for a text key: without its terminating NUL.
std::string text_key(const std::string &raw) {
    return !raw.empty() && raw.back() == '\0' ? raw.substr(0, raw.size() - 1) : raw;
}

// Records a keyed call with the bytes it was handed (the key unless others are given); returns the raw key.
std::string keyed(const char *name, std::initializer_list<uint64_t> args, const void *key, uint64_t keyLen,
                  const void *bytes, size_t len) {
    const std::string raw = key == nullptr ? std::string() : std::string(static_cast<const char *>(key), keyLen);
    record(name, args, bytes, bytes ? len : 0, text_key(raw).c_str());
    return raw;
}
std::string keyed(const char *name, std::initializer_list<uint64_t> args, const void *key, uint64_t keyLen) {
    return keyed(name, args, key, keyLen, key, static_cast<size_t>(keyLen));
}

Database *db(uint64_t handle) {
    auto it = state().databases.find(handle);
    return it == state().databases.end() ? nullptr : &it->second;
}

DbEntry *entry(uint64_t handle, const std::string &raw) {
    Database *d = db(handle);
    if (d == nullptr || raw.empty()) return nullptr;
    auto it = d->entries.find(raw);
    return it == d->entries.end() ? nullptr : &it->second;
}

// A sort key's value: network order, or host (little-endian) order.
uint64_t load_key(const uint8_t *elem, const DBM_SORTKEY_S &k) {
    uint64_t v = 0;
    const bool net = k.uiType == DBM_KEYTYPE_UINT_NET;
    for (uint32_t i = 0; i < k.uiLength; ++i) v = v << 8 | elem[k.uiOffset + (net ? i : k.uiLength - 1 - i)];
    return v;
}

int compare(const DbEntry &e, const Bytes &a, const Bytes &b) {
    for (const DBM_SORTKEY_S &k : e.sortKeys) {
        if (k.uiOffset + k.uiLength > a.size() || k.uiOffset + k.uiLength > b.size()) continue;
        const uint64_t x = load_key(a.data(), k), y = load_key(b.data(), k);
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

uint64_t open_db(const std::string &name) {
    const auto [it, added] = state().handlesByName.try_emplace(name, state().nextDb);
    if (added) state().databases[state().nextDb++].name = name;
    return it->second;
}

}  // namespace

namespace fake {

DbEntry *db_entry(uint64_t handle, std::string_view key) {
    return entry(handle, std::string(key) + '\0');
}

void db_put_binary(uint64_t handle, std::string_view key, const Bytes &value) {
    if (Database *d = db(handle))
        d->entries[std::string(key) + '\0'] = DbEntry{false, value, {}, {}};
    else
        ADD_FAILURE() << "no database " << handle;
}

uint64_t db_handle(std::string_view dbName) {
    auto it = state().handlesByName.find(std::string(dbName));
    return it == state().handlesByName.end() ? UINT64_MAX : it->second;
}

int open_iterators() {
    return static_cast<int>(state().iterators.size());
}

}  // namespace fake

extern "C" {

uint32_t DBM_Open(const char *dbName, const char *module, uint32_t mode, const DBM_OPEN_DESC_S *desc, uint64_t *handle,
                  uint32_t flag) {
    Call &c = record("DBM_Open", {mode, flag}, desc, desc ? sizeof *desc : 0, dbName);
    c.text += std::string("/") + (module ? module : "");
    if (state().hooks.DBM_Open) return state().hooks.DBM_Open(dbName, module, mode, handle);
    *handle = open_db(dbName ? dbName : "");
    return 0;
}

uint32_t DBM_OpenCfgDB(const char *firstDb, const char *secondDb, const char *module, uint32_t reserved,
                       const DBM_OPEN_DESC_S *desc, uint64_t *first, uint64_t *second, uint32_t flag) {
    Call &c = record("DBM_OpenCfgDB", {reserved, flag}, desc, desc ? sizeof *desc : 0, firstDb);
    c.text += std::string("/") + (secondDb ? secondDb : "") + "/" + (module ? module : "");
    if (state().hooks.DBM_OpenCfgDB) return state().hooks.DBM_OpenCfgDB(firstDb, secondDb, first, second);
    *first = open_db(firstDb ? firstDb : "");
    *second = open_db(secondDb ? secondDb : "");
    return 0;
}

uint32_t DBM_Close(uint64_t handle) {
    record("DBM_Close", {handle});
    auto &names = state().handlesByName;
    const auto it = std::find_if(names.begin(), names.end(), [&](const auto &n) { return n.second == handle; });
    if (it == names.end()) return 1;
    names.erase(it);
    return 0;
}

int32_t DBM_Batch_Proc(uint64_t source, uint64_t target, const DBM_BATCH_S *batch, uint32_t count) {
    record("DBM_Batch_Proc", {source, target, count}, batch, batch ? sizeof *batch * count : 0);
    // Without a hook nothing is moved: the tests that need a batch walk
    // answer it themselves.
    return state().hooks.DBM_Batch_Proc ? state().hooks.DBM_Batch_Proc(source, target, batch, count) : 0;
}

int32_t DBM_IsKeyExist(uint64_t handle, const void *key, uint64_t keyLen) {
    const std::string raw = keyed("DBM_IsKeyExist", {handle, keyLen}, key, keyLen);
    if (state().hooks.DBM_IsKeyExist) return state().hooks.DBM_IsKeyExist(handle, text_key(raw));
    if (db(handle) == nullptr) return -1;
    return entry(handle, raw) != nullptr ? 1 : 0;
}

int32_t DBM_GetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset, uint32_t size, void *buf) {
    const std::string raw = keyed("DBM_GetBinary", {handle, keyLen, offset, size}, key, keyLen);
    if (state().hooks.DBM_GetBinary) return state().hooks.DBM_GetBinary(handle, text_key(raw), size, buf);
    DbEntry *e = entry(handle, raw);
    if (e == nullptr || e->isList) return -1;
    if (offset >= e->value.size()) return 0;
    const size_t n = std::min<size_t>(size, e->value.size() - offset);
    std::memcpy(buf, e->value.data() + offset, n);
    return static_cast<int32_t>(n);
}

int32_t DBM_SetBinary(uint64_t handle, const void *key, uint64_t keyLen, uint32_t offset, uint32_t size,
                      const void *value, uint32_t attribute) {
    const std::string raw = keyed("DBM_SetBinary", {handle, keyLen, offset, size, attribute}, key, keyLen, value, size);
    const Bytes v = bytes_of(value, size);
    if (state().hooks.DBM_SetBinary) return state().hooks.DBM_SetBinary(handle, text_key(raw), v, attribute);
    Database *d = db(handle);
    if (d == nullptr || raw.empty()) return -1;
    d->entries[raw] = DbEntry{false, v, {}, {}};
    return 0;
}

int32_t DBM_DeleteKey(uint64_t handle, const void *key, uint64_t keyLen) {
    const std::string raw = keyed("DBM_DeleteKey", {handle, keyLen}, key, keyLen);
    if (state().hooks.DBM_DeleteKey) return state().hooks.DBM_DeleteKey(handle, text_key(raw));
    Database *d = db(handle);
    if (d == nullptr) return -1;
    return d->entries.erase(raw) ? 0 : -2;
}

int32_t DBM_Move(uint64_t source, const void *key, uint64_t keyLen, uint64_t target) {
    const std::string raw = keyed("DBM_Move", {source, keyLen, target}, key, keyLen);
    Database *s = db(source), *t = db(target);
    if (s == nullptr || t == nullptr) return -1;
    auto moved = s->entries.extract(raw);
    if (moved.empty()) return -2;
    t->entries[raw] = std::move(moved.mapped());
    return 0;
}

int32_t DBM_Len(uint64_t handle, const void *key, uint64_t keyLen) {
    const std::string raw = keyed("DBM_Len", {handle, keyLen}, key, keyLen);
    DbEntry *e = entry(handle, raw);
    if (e == nullptr) return -1;
    return e->isList ? static_cast<int32_t>(e->elements.size()) : 1;
}

int32_t DBM_CreateSortList(uint64_t handle, const void *key, uint64_t keyLen, const DBM_SORTKEY_S *sortKeys,
                           uint32_t sortKeyCount, uint32_t listMode) {
    const std::string raw = keyed("DBM_CreateSortList", {handle, keyLen, sortKeyCount, listMode}, key, keyLen, sortKeys,
                                  sortKeys ? sizeof *sortKeys * sortKeyCount : 0);
    if (state().hooks.DBM_CreateSortList) return state().hooks.DBM_CreateSortList(handle, text_key(raw), listMode);
    Database *d = db(handle);
    if (d == nullptr || raw.empty()) return -1;
    d->entries[raw] = DbEntry{true, {}, {sortKeys, sortKeys + sortKeyCount}, {}};
    return 0;
}

int32_t DBM_InsertSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen, const void *elem,
                           uint32_t listMode) {
    const std::string raw =
        keyed("DBM_InsertSortList", {handle, keyLen, elemLen, listMode}, key, keyLen, elem, elemLen);
    const Bytes v = bytes_of(elem, elemLen);
    DbEntry *e = entry(handle, raw);
    if (e == nullptr || !e->isList) return -1;
    // An element with equal sort keys replaces the one stored.
    const auto at =
        std::find_if(e->elements.begin(), e->elements.end(), [&](const Bytes &x) { return compare(*e, v, x) <= 0; });
    if (at != e->elements.end() && compare(*e, v, *at) == 0)
        *at = v;
    else
        e->elements.insert(at, v);
    return 0;
}

int32_t DBM_RemoveSortList(uint64_t handle, const void *key, uint64_t keyLen, uint32_t elemLen, const void *probe) {
    const std::string raw = keyed("DBM_RemoveSortList", {handle, keyLen, elemLen}, key, keyLen, probe, elemLen);
    const Bytes p = bytes_of(probe, elemLen);
    DbEntry *e = entry(handle, raw);
    if (e == nullptr || !e->isList) return -1;
    const auto at =
        std::find_if(e->elements.begin(), e->elements.end(), [&](const Bytes &x) { return compare(*e, p, x) == 0; });
    if (at == e->elements.end()) return -2;
    e->elements.erase(at);
    return 0;
}

int32_t DBM_GetNextSortList(uint64_t handle, const void *key, uint64_t keyLen, void **iterator, uint32_t reserved1,
                            uint32_t reserved2, uint32_t elemLen, void *buf) {
    const std::string raw = keyed("DBM_GetNextSortList", {handle, keyLen, reserved1, reserved2, elemLen}, key, keyLen);
    DbEntry *e = entry(handle, raw);
    if (e == nullptr || !e->isList || iterator == nullptr) return -1;
    auto *it = static_cast<Iterator *>(*iterator);
    if (it == nullptr) {
        it = new Iterator{};
        state().iterators.insert(it);
        *iterator = it;
    }
    if (it->next >= e->elements.size()) return 0;
    const Bytes &el = e->elements[it->next++];
    const size_t n = std::min<size_t>(elemLen, el.size());
    if (n != 0) std::memcpy(buf, el.data(), n);  // an empty element has no data to copy
    return static_cast<int32_t>(n);
}

void DBM_FreeIterator(void *iterator) {
    record("DBM_FreeIterator", {reinterpret_cast<uint64_t>(iterator)});
    auto *it = static_cast<Iterator *>(iterator);
    if (it != nullptr && state().iterators.erase(it)) delete it;
}

}  // extern "C"
