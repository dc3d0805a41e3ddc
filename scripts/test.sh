#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds everything with warnings as errors and runs the whole test suite:
# unit, platform, integration (the netfilter data plane in namespaces of its
# own), exporter, fuzz corpora, install, export, ABI, symbols, license and
# API reference checks; then runs the unit, platform, integration and
# exporter tests again on a build with the address, leak and
# undefined-behaviour sanitizers, dpservice, dpmgmt and the exporter included.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs=$(nproc)

build=${BUILD_DIR:-build-test}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDPMGMT_WERROR=ON >/dev/null
cmake --build "$build" -j"$jobs"
ctest --test-dir "$build" --output-on-failure -j2 --timeout 300

if [ "${DPMGMT_SKIP_SANITIZERS:-0}" != 1 ]; then
  asan=${ASAN_BUILD_DIR:-build-asan}
  cmake -S . -B "$asan" -DCMAKE_BUILD_TYPE=Debug -DDPMGMT_SANITIZE=ON -DDPMGMT_WERROR=ON >/dev/null
  cmake --build "$asan" -j"$jobs"
  reports=$(mktemp -d /tmp/dpmgmt-asan.XXXXXX)
  trap 'rm -rf "$reports"' EXIT
  # Every process the tests start (dpservice, dpmgmt) writes its findings
  # here; any report fails the run.
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:log_path=$reports/report"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:log_path=$reports/report"
  ctest --test-dir "$asan" --output-on-failure -j2 --timeout 600 -L 'unit|integration|platform|exporter'
  if compgen -G "$reports/report*" >/dev/null; then
    echo "sanitizer reports:"
    cat "$reports"/report*
    exit 1
  fi
  echo "sanitizers: no report"
fi
