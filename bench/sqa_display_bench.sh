#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `display sqa (sip|h323) call verbose` of 100,000 calls: the displaying
# process's peak resident memory must not grow with the call table (within
# 1.3x of 1,000 calls).
set -euo pipefail
build=${BUILD_DIR:-build-bench}
driver=$build/sqa_display_driver
[ -x "$driver" ] || { echo "no $driver: build with -DDPMGMT_BENCH=ON" >&2; exit 2; }
rss_at() {
  local n=$1 proto=$2 dir rss
  dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
  DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpservice" --calls "$n" --daemon --pidfile "$dir/dpservice.pid"
  rss=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$driver" "$proto" verbose) || rss=
  kill "$(cat "$dir/dpservice.pid")" 2>/dev/null || true
  rm -rf "$dir"
  [[ $rss =~ ^[0-9]+$ ]] || { echo "the $proto display failed at $n calls" >&2; return 1; }
  echo "$rss"
}
status=0
for proto in sip h323; do
  small=$(rss_at 1000 "$proto") || { status=1; continue; }
  large=$(rss_at 100000 "$proto") || { status=1; continue; }
  echo "peak RSS of the $proto verbose display: 1k calls ${small} KiB, 100k calls ${large} KiB"
  awk -v s="$small" -v l="$large" 'BEGIN { if (l > 1.3 * s) { print "FAIL: memory grows with the table"; exit 1 }
                                          print "ok: flat memory" }' || status=1
done
exit $status
