// SPDX-License-Identifier: Apache-2.0
// Thin owners of SQLite objects for the configuration database.
#ifndef DPSIM_SQLITE_UTIL_H
#define DPSIM_SQLITE_UTIL_H

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dpsim::detail {

using Bytes = std::vector<uint8_t>;

// One prepared statement, finalized on every path.
class Stmt {
public:
    Stmt(sqlite3 *db, const char *sql) { sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr); }
    Stmt(const Stmt &) = delete;
    Stmt &operator=(const Stmt &) = delete;
    ~Stmt() { sqlite3_finalize(stmt_); }
    bool ok() const { return stmt_ != nullptr; }

    Stmt &text(int i, const std::string &s) {
        sqlite3_bind_text(stmt_, i, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Stmt &blob(int i, const void *p, size_t n) {
        // A zero-length blob is still a blob, never NULL.
        sqlite3_bind_blob(stmt_, i, n ? p : "", static_cast<int>(n), SQLITE_TRANSIENT);
        return *this;
    }
    Stmt &blob(int i, const Bytes &b) { return blob(i, b.data(), b.size()); }
    Stmt &integer(int i, int64_t v) {
        sqlite3_bind_int64(stmt_, i, v);
        return *this;
    }
    // SQLITE_ROW, SQLITE_DONE or an error code.
    int step() { return stmt_ ? sqlite3_step(stmt_) : SQLITE_ERROR; }
    bool run() { return step() == SQLITE_DONE; }

    int64_t column_int(int i) const { return sqlite3_column_int64(stmt_, i); }
    Bytes column_blob(int i) const {
        const auto *p = static_cast<const uint8_t *>(sqlite3_column_blob(stmt_, i));
        const int n = sqlite3_column_bytes(stmt_, i);
        return p && n > 0 ? Bytes(p, p + n) : Bytes{};
    }
    const uint8_t *column_data(int i, size_t &n) const {
        const auto *p = static_cast<const uint8_t *>(sqlite3_column_blob(stmt_, i));
        n = static_cast<size_t>(sqlite3_column_bytes(stmt_, i));
        return p;
    }

private:
    sqlite3_stmt *stmt_ = nullptr;
};

// A write transaction: BEGIN IMMEDIATE takes the write lock up front (so a
// second process waits in the busy handler instead of failing half-way),
// and anything not committed is rolled back.
class WriteTxn {
public:
    explicit WriteTxn(sqlite3 *db) : db_(db) {
        active_ = sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    WriteTxn(const WriteTxn &) = delete;
    WriteTxn &operator=(const WriteTxn &) = delete;
    ~WriteTxn() {
        if (active_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    bool ok() const { return active_; }
    bool commit() {
        if (!active_) return false;
        active_ = false;
        if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK) return true;
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        return false;
    }

private:
    sqlite3 *db_;
    bool active_ = false;
};

}  // namespace dpsim::detail

#endif
