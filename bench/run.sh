#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the benchmarks and runs every bench script.  Speed and memory
# targets are checked here, never in the test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
build=${BUILD_DIR:-build-bench}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DDPMGMT_BENCH=ON -DDPMGMT_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)"
export BUILD_DIR=$build
status=0
for script in bench/*.sh; do
  case "$script" in bench/run.sh | bench/timing.sh) continue ;; esac
  echo "== $script"
  bash "$script" || status=1
done
exit $status
