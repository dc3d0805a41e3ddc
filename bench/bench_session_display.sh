#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `display session table verbose` of 1,000,000 sessions: dpmgmt's peak
# resident memory must not grow with the table (within 1.3x of 10,000).
set -euo pipefail
build=${BUILD_DIR:-build-bench}
rss_at() {
  local n=$1 dir
  dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
  DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpservice" --sessions "$n" --daemon --pidfile "$dir/dpservice.pid"
  local rss
  rss=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/peak_rss_driver" "$build/dpmgmt" display session table verbose)
  kill "$(cat "$dir/dpservice.pid")" 2>/dev/null || true
  rm -rf "$dir"
  echo "$rss"
}
small=$(rss_at 10000)
large=$(rss_at 1000000)
echo "peak RSS of dpmgmt: 10k sessions ${small} KiB, 1M sessions ${large} KiB"
awk -v s="$small" -v l="$large" 'BEGIN { if (l > 1.3 * s) { print "FAIL: memory grows with the table"; exit 1 } print "ok: flat memory" }'
