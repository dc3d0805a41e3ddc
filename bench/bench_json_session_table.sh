#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `dpmgmt -j display session table` (brief and verbose) of 10,000 and
# 1,000,000 sessions: dpmgmt's peak resident memory must not grow with the
# table (within 1.3x of 10,000), as the text display's does not; the text
# display's figures are printed beside it.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
driver=${PEAK_RSS_DRIVER:-$build/peak_rss_driver}
dir=
stop() {
  if [ -n "$dir" ]; then
    kill "$(cat "$dir/dpservice.pid" 2>/dev/null)" 2>/dev/null || true
    rm -rf "$dir"
  fi
  dir=
}
trap stop EXIT
# peak KiB of: json brief, json verbose, text verbose
rss_at() {
  local n=$1
  dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
  DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpservice" --sessions "$n" --daemon --pidfile "$dir/dpservice.pid"
  local jb jv tv
  jb=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$driver" "$build/dpmgmt" -j display session table)
  jv=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$driver" "$build/dpmgmt" -j display session table verbose)
  tv=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$driver" "$build/dpmgmt" display session table verbose)
  # The document is whole: its total is the table's.
  local total
  total=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpmgmt" -j display session table | jq .total)
  [ "$total" = "$n" ] || { echo "FAIL: the document holds $total sessions of $n" >&2; exit 1; }
  stop
  echo "$jb $jv $tv"
}
read -r sb sv st < <(rss_at 10000)
read -r lb lv lt < <(rss_at 1000000)
echo "peak RSS of dpmgmt -j display session table:         10k ${sb} KiB, 1M ${lb} KiB"
echo "peak RSS of dpmgmt -j display session table verbose: 10k ${sv} KiB, 1M ${lv} KiB"
echo "peak RSS of dpmgmt display session table verbose:    10k ${st} KiB, 1M ${lt} KiB (text, for comparison)"
awk -v s="$sb" -v l="$lb" -v sv="$sv" -v lv="$lv" 'BEGIN {
  if (l > 1.3 * s || lv > 1.3 * sv) { print "FAIL: memory grows with the table"; exit 1 }
  print "ok: flat memory" }'
