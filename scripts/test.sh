#!/usr/bin/env bash
# Builds everything with warnings as errors and runs the whole test suite:
# unit, platform, integration, fuzz and export checks.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
build=${BUILD_DIR:-build-test}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDPMGMT_WERROR=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j2 --timeout 300
