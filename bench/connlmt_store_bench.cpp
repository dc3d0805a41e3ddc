// SPDX-License-Identifier: Apache-2.0
// What the configuration store costs per rule: CONNLMT_DB_AddRule on the
// stand-in runtime's SQLite database against plain SQLite inserts of the
// same 96-byte rows, with the same journal (WAL) and synchronisation
// (FULL), one transaction per row, side by side in one run.
//
// The databases live in $DPMGMT_BENCH_DIR (default /tmp): put it on the
// file system whose flush cost you want to see.
#include <sqlite3.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "dpmgmt/connlmt.h"

namespace {

std::string fresh_dir() {
    const char *base = std::getenv("DPMGMT_BENCH_DIR");
    std::string tmpl = std::string(base != nullptr ? base : "/tmp") + "/dpmgmt-connlmt-bench-XXXXXX";
    if (mkdtemp(tmpl.data()) == nullptr) return {};
    return tmpl;
}

CONNLMT_RULE_S rule_of(uint16_t id) {
    CONNLMT_RULE_S r = {};
    r.uiAclMode = 2;
    r.uiAclNum = 3000u + id;
    r.usPolicyId = 1;
    r.usRuleId = id;
    r.auiLimitData[0] = 100;
    r.uiAclType = 1;
    return r;
}

// Rule identifiers cycle through 1-256, so after the first round every
// insert replaces the row of its identifier: the list stays at a policy's
// full size.
uint16_t next_id(uint64_t n) { return static_cast<uint16_t>(n % 256 + 1); }

void BM_ConnlmtAddRule(benchmark::State &state) {
    const std::string dir = fresh_dir();
    if (dir.empty()) return state.SkipWithError("no temporary directory");
    setenv("DPMGMT_DATADIR", dir.c_str(), 1);
    setenv("DPMGMT_RUNDIR", dir.c_str(), 1);
    if (CONNLMT_DB_Init() != 0 || CONNLMT_DB_AddPolicy(0, 1) != 0) {
        CONNLMT_DB_Fini();
        std::filesystem::remove_all(dir);
        return state.SkipWithError("the store cannot be opened");
    }
    uint64_t n = 0;
    for (auto _ : state) {
        const CONNLMT_RULE_S r = rule_of(next_id(n++));
        if (CONNLMT_DB_AddRule(&r) != 0) {
            state.SkipWithError("CONNLMT_DB_AddRule failed");
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(n));
    CONNLMT_DB_Fini();
    std::filesystem::remove_all(dir);
}

void BM_RawSqliteInsert(benchmark::State &state) {
    const std::string dir = fresh_dir();
    if (dir.empty()) return state.SkipWithError("no temporary directory");
    sqlite3 *db = nullptr;
    sqlite3_stmt *ins = nullptr;
    const std::string path = dir + "/raw.db";
    bool ok = sqlite3_open(path.c_str(), &db) == SQLITE_OK &&
              sqlite3_exec(db,
                           "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                           "CREATE TABLE rules(id INTEGER PRIMARY KEY, elem BLOB NOT NULL);",
                           nullptr, nullptr, nullptr) == SQLITE_OK &&
              sqlite3_prepare_v2(db, "INSERT OR REPLACE INTO rules(id, elem) VALUES(?1, ?2)", -1, &ins, nullptr) ==
                  SQLITE_OK;
    uint64_t n = 0;
    if (!ok) state.SkipWithError("sqlite setup failed");
    for (auto _ : state) {
        if (!ok) break;
        const CONNLMT_RULE_S r = rule_of(next_id(n++));
        // Autocommit: each statement is its own transaction, as each store
        // write is.
        sqlite3_bind_int(ins, 1, r.usRuleId);
        sqlite3_bind_blob(ins, 2, &r, sizeof r, SQLITE_STATIC);
        if (sqlite3_step(ins) != SQLITE_DONE) {
            state.SkipWithError("insert failed");
            break;
        }
        sqlite3_reset(ins);
    }
    state.SetItemsProcessed(static_cast<int64_t>(n));
    sqlite3_finalize(ins);
    sqlite3_close(db);
    std::filesystem::remove_all(dir);
}

BENCHMARK(BM_ConnlmtAddRule)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_RawSqliteInsert)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
