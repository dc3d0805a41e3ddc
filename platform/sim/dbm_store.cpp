// SPDX-License-Identifier: Apache-2.0
// Module files and database handles of the configuration database.
#include "dbm_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "dpsim.h"
#include "platform/wait.h"
#include "wait_state.h"

namespace dpsim::detail {

namespace {

using dpsim::detail::record_fault;

constexpr int kBusyTimeoutMs = 10000;
constexpr int kSchemaRetryMs = 5;

// WAL lets a reader and a writer of two processes work at once; FULL
// synchronisation makes an acknowledged write survive a crash of the writer.
constexpr const char *kSchema =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=FULL;"
    "CREATE TABLE IF NOT EXISTS dbm_keys("
    "  db TEXT NOT NULL, key BLOB NOT NULL,"
    "  kind INTEGER NOT NULL,"          // 1: binary value, 2: sorted list
    "  value BLOB,"                     // the binary value
    "  sortkeys BLOB,"                  // the list's sort-key descriptors
    "  mode INTEGER NOT NULL DEFAULT 0," // list mode or write attribute, kept as given
    "  PRIMARY KEY(db, key)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS dbm_elements("
    "  db TEXT NOT NULL, key BLOB NOT NULL, ord BLOB NOT NULL, elem BLOB NOT NULL,"
    "  PRIMARY KEY(db, key, ord)) WITHOUT ROWID;";

struct ModuleConn {
    sqlite3 *conn = nullptr;
    int users = 0;
};

struct OpenDb {
    std::string path;
    std::string db;
    int refs = 0;
};

struct Registry {
    std::map<std::string, ModuleConn> modules;  // by file path
    std::map<uint64_t, OpenDb> handles;
    uint64_t next = 0;
};

Registry &registry() {
    static Registry *r = new Registry;  // outlives static destructors of callers
    return *r;
}

// The file is made by us, private to the user (its journal files take the
// same mode), and never reached through a link; one that exists is kept
// as it is.
bool create_private_file(const std::string &path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        const int err = errno;
        record_fault(PLAT_FAULT_DIRECTORY, err, 0, path, path + ": " + std::strerror(err));
        errno = err;
        return false;
    }
    ::close(fd);
    return true;
}

sqlite3 *open_module_file(const std::string &path) {
    if (!create_private_file(path)) return nullptr;
    sqlite3 *conn = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    if (sqlite3_open_v2(path.c_str(), &conn, flags, nullptr) != SQLITE_OK) {
        sqlite3_close(conn);
        return nullptr;
    }
    sqlite3_busy_timeout(conn, kBusyTimeoutMs);
    // Two processes opening a new file at once race to switch it to WAL;
    // the loser can be told "busy" without the busy handler being asked, so
    // the schema is retried for as long as the busy time-out allows.
    int rc = SQLITE_BUSY;
    for (int waited = 0; waited < kBusyTimeoutMs; waited += kSchemaRetryMs) {
        rc = sqlite3_exec(conn, kSchema, nullptr, nullptr, nullptr);
        if ((rc & 0xFF) != SQLITE_BUSY && (rc & 0xFF) != SQLITE_LOCKED) break;
        sqlite3_sleep(kSchemaRetryMs);
    }
    if (rc != SQLITE_OK) {
        sqlite3_close(conn);
        return nullptr;
    }
    return conn;
}

bool host_is_little_endian() {
    const uint16_t probe = 1;
    uint8_t first = 0;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

}  // namespace

std::mutex &dbm_lock() {
    static std::mutex *m = new std::mutex;
    return *m;
}

uint64_t dbm_open(const std::string &module, const std::string &db) {
    Registry &r = registry();
    std::string dir;
    if (!dpsim::trusted_datadir(dir)) return DBM_INVALID_HANDLE;
    const std::string path = dir + "/" + module + ".db";
    for (auto &[handle, open] : r.handles) {
        if (open.path == path && open.db == db) {
            ++open.refs;
            return handle;
        }
    }
    ModuleConn &mod = r.modules[path];
    if (mod.conn == nullptr) {
        mod.conn = open_module_file(path);
        if (mod.conn == nullptr) {
            r.modules.erase(path);
            return DBM_INVALID_HANDLE;
        }
    }
    ++mod.users;
    do {
        ++r.next;
    } while (r.next == DBM_INVALID_HANDLE || r.next == 0);
    r.handles[r.next] = OpenDb{path, db, 1};
    return r.next;
}

bool dbm_close(uint64_t handle) {
    Registry &r = registry();
    const auto it = r.handles.find(handle);
    if (it == r.handles.end()) return false;
    if (--it->second.refs > 0) return true;
    const std::string path = it->second.path;
    r.handles.erase(it);
    const auto mod = r.modules.find(path);
    if (mod != r.modules.end() && --mod->second.users <= 0) {
        sqlite3_close(mod->second.conn);
        r.modules.erase(mod);
    }
    return true;
}

bool dbm_resolve(uint64_t handle, DbRef &out) {
    Registry &r = registry();
    const auto it = r.handles.find(handle);
    if (it == r.handles.end()) return false;
    const auto mod = r.modules.find(it->second.path);
    if (mod == r.modules.end()) return false;
    out.conn = mod->second.conn;
    out.path = it->second.path;
    out.db = it->second.db;
    return true;
}

bool order_of(const std::vector<DBM_SORTKEY_S> &keys, const uint8_t *elem, uint32_t elemLen, Bytes &order) {
    order.clear();
    for (const DBM_SORTKEY_S &k : keys) {
        if (k.uiLength == 0 || k.uiOffset > elemLen || k.uiLength > elemLen - k.uiOffset) return false;
        const uint8_t *p = elem + k.uiOffset;
        // An unsigned number in host order is turned most significant byte
        // first; numbers in network order, and any other type, already are.
        if (k.uiType == DBM_KEYTYPE_UINT_HOST && host_is_little_endian()) {
            for (uint32_t i = k.uiLength; i > 0; --i) order.push_back(p[i - 1]);
        } else {
            order.insert(order.end(), p, p + k.uiLength);
        }
    }
    return order.size() <= kMaxOrderBytes;
}

Bytes encode_sortkeys(const DBM_SORTKEY_S *keys, uint32_t count) {
    Bytes blob(sizeof(DBM_SORTKEY_S) * count);
    if (count > 0) std::memcpy(blob.data(), keys, blob.size());
    return blob;
}

std::vector<DBM_SORTKEY_S> decode_sortkeys(const Bytes &blob) {
    std::vector<DBM_SORTKEY_S> keys(blob.size() / sizeof(DBM_SORTKEY_S));
    if (!keys.empty()) std::memcpy(keys.data(), blob.data(), keys.size() * sizeof(DBM_SORTKEY_S));
    return keys;
}

}  // namespace dpsim::detail
