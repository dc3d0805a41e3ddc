#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# CONNLMT_DB_AddRule against plain SQLite inserts of the same rows (WAL,
# synchronous=FULL, one transaction each), in one run.  A report, not a
# pass/fail check: the ratio of the two is what to look at.
#   BUILD_DIR         build directory (default build-bench; built if needed)
#   DPMGMT_BENCH_DIR  where the databases go (default /tmp)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build-bench}
if [ ! -x "$build/connlmt_store_bench" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DDPMGMT_BENCH=ON -DDPMGMT_TESTS=OFF >/dev/null
  cmake --build "$build" --target connlmt_store_bench -j2
fi
"$build/connlmt_store_bench" --benchmark_min_time=2 "$@"
