#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The cost of formatting: `dpmgmt display session table verbose` of N
# sessions against writing the same bytes, pre-rendered, with fwrite one
# line at a time (fwrite_text).  Both to /dev/null, best of $RUNS wall
# times.  Goal: the display within 2x of the pre-rendered text.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
runs=${RUNS:-3}
for tool in dpmgmt dpservice fwrite_text; do
  [ -x "$build/$tool" ] || { echo "skipped: $build/$tool not built (bench/run.sh builds it)"; exit 0; }
done

# shellcheck source=timing.sh
. "$(dirname "$0")/timing.sh"

dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
chmod 700 "$dir"
trap 'kill "$(cat "$dir/dpservice.pid" 2>/dev/null)" 2>/dev/null || true; rm -rf "$dir"' EXIT
export DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir
printf '%10s %12s %12s %12s %8s\n' N "lines" "display ms" "fwrite ms" ratio
for n in ${SIZES:-10000 100000 1000000}; do
  kill "$(cat "$dir/dpservice.pid" 2>/dev/null)" 2>/dev/null || true
  rm -f "$dir"/*.sock "$dir/dpservice.pid"
  "$build/dpservice" --sessions "$n" --daemon --pidfile "$dir/dpservice.pid"
  "$build/dpmgmt" display session table verbose >"$dir/text"
  lines=$(wc -l <"$dir/text")
  dp=$(best_us "$build/dpmgmt" display session table verbose)
  fw=$(best_us "$build/fwrite_text" "$dir/text")
  ratio=$(awk -v d="$dp" -v f="$fw" 'BEGIN { printf "%.2f", d / f }')
  printf '%10s %12s %12d %12d %7sx\n' "$n" "$lines" $((dp / 1000)) $((fw / 1000)) "$ratio"
  rm -f "$dir/text"
done
