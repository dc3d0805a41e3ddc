#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the fuzz targets for libFuzzer (clang; the library objects and the
# fake platform instrumented too, with address and undefined-behaviour
# sanitizers) in a build directory of their own, and runs every target for
# SECONDS seconds (default 60), two at a time, from its checked-in seed
# corpus.  Prints each target's executions and coverage (cov: edges,
# ft: features) at the end; exits 1 when a target found a fault (the input
# is kept as crash-* / leak-* / timeout-* in its run directory).
#
#   scripts/fuzz.sh 300                 # five minutes per target
#   FUZZ_TARGETS="msg_framing_fuzz" scripts/fuzz.sh 30
#
# Variables: FUZZ_BUILD_DIR (build-fuzz), FUZZ_RUN_DIR (<build>/runs),
# FUZZ_PARALLEL (2), FUZZ_TARGETS (all).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
case "$seconds" in ''|*[!0-9]*) echo "fuzz.sh: SECONDS must be a whole number, not '$seconds'" >&2; exit 2 ;; esac
build=${FUZZ_BUILD_DIR:-build-fuzz}
runs=${FUZZ_RUN_DIR:-$build/runs}
parallel=${FUZZ_PARALLEL:-2}
read -r -a targets <<< "${FUZZ_TARGETS:-dump_walk_fuzz msg_framing_fuzz record_query_fuzz store_values_fuzz}"
# The largest pull buffer of the library is 8000 bytes (aging queue, limit
# statistics, call tables; the session batches are 7,904-7,980); inputs add
# a selector and chunk headers, so a whole batch needs a little more.  The
# length ramp is off: full batches are tried from the start.
max_len=8192

for tool in clang clang++; do
  command -v "$tool" >/dev/null || { echo "fuzz.sh: $tool not found (scripts/deps.sh installs it)" >&2; exit 2; }
done
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDPMGMT_LIBFUZZER=ON \
  "${launcher[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

mkdir -p "$runs"
run_one() {
  local t=$1 dir="$runs/$1"
  rm -rf "$dir"
  mkdir -p "$dir/corpus"
  # New inputs go to the run's own copy, never into the source tree.
  cp tests/fuzz/corpus/"$t"/* "$dir/corpus/"
  "$build/$t" "$dir/corpus" -max_total_time="$seconds" -len_control=0 -max_len="$max_len" -timeout=10 -close_fd_mask=1 \
    -print_final_stats=1 -artifact_prefix="$dir/" >"$dir/log" 2>&1
}

pids=()
for t in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$parallel" ]; do wait -n || true; done
  run_one "$t" &
  pids+=($!)
done
status=0
for i in "${!pids[@]}"; do wait "${pids[$i]}" || status=1; done

printf '%-22s %12s %10s %8s %8s %8s  %s\n' target execs exec/s cov ft corpus result
for t in "${targets[@]}"; do
  log="$runs/$t/log"
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  last=$(grep -E '^#[0-9]+[[:space:]]+(DONE|pulse|NEW|REDUCE|INITED)' "$log" | tail -1 || true)
  cov=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<< "$last")
  ft=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<< "$last")
  corp=$(sed -n 's/.* corp: \([0-9]*\/[^ ]*\).*/\1/p' <<< "$last")
  result=ok
  if compgen -G "$runs/$t/crash-*" >/dev/null || compgen -G "$runs/$t/leak-*" >/dev/null ||
     compgen -G "$runs/$t/timeout-*" >/dev/null || compgen -G "$runs/$t/oom-*" >/dev/null; then
    result="FAULT: $(ls "$runs/$t" | grep -E '^(crash|leak|timeout|oom)-' | head -3 | tr '\n' ' ')"
    status=1
  fi
  printf '%-22s %12s %10s %8s %8s %8s  %s\n' "$t" "${execs:-?}" "${rate:-?}" "${cov:-?}" "${ft:-?}" "${corp:-?}" "$result"
done
echo "machine: $(nproc) cores, $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1); ${seconds} s per target, $parallel at a time"
exit "$status"
