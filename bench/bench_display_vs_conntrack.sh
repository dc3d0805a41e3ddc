#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `dpmgmt display session table` of N sessions against `conntrack -L` of N
# entries of a connection table, per entry, side by side in one run.  The
# table is a private network namespace's (`unshare -n`), filled by ct_fill;
# the host's own table is never touched.  Goal: the display at least twice
# as fast per entry at N = 100,000.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
runs=${RUNS:-3}

if [ "$(id -u)" -ne 0 ] || ! unshare -n true 2>/dev/null; then
  echo "skipped: needs root and a private network namespace (unshare -n)"
  exit 0
fi
if ! command -v conntrack >/dev/null || [ ! -x "$build/ct_fill" ]; then
  echo "skipped: needs conntrack and ct_fill (packages conntrack, libnetfilter-conntrack-dev)"
  exit 0
fi

# shellcheck source=timing.sh
. "$(dirname "$0")/timing.sh"

conntrack_us() {
  local n=$1
  export -f best_us
  RUNS=$runs unshare -n bash -c "runs=$runs; '$build/ct_fill' $n && best_us conntrack -L"
}

display_us() {
  local n=$1 dir us
  dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
  DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpservice" --sessions "$n" --daemon --pidfile "$dir/dpservice.pid"
  us=$(DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir best_us "$build/dpmgmt" display session table)
  kill "$(cat "$dir/dpservice.pid")" 2>/dev/null || true
  rm -rf "$dir"
  echo "$us"
}

max=$(cat /proc/sys/net/netfilter/nf_conntrack_max 2>/dev/null || echo 0)
status=0
printf '%10s %14s %14s %14s %14s %8s\n' N "conntrack ms" "dpmgmt ms" "ct ns/entry" "dp ns/entry" ratio
for n in 10000 100000 1000000; do
  dp=$(display_us "$n")
  if [ "$n" -gt "$max" ]; then
    printf '%10s %14s %14d %14s %14d %8s\n' "$n" "-" $((dp / 1000)) "-" $((dp * 1000 / n)) "-"
    echo "           (conntrack side skipped: nf_conntrack_max is $max, raising it would touch the host)"
    continue
  fi
  ct=$(conntrack_us "$n")
  ratio=$(awk -v c="$ct" -v d="$dp" 'BEGIN { printf "%.2f", c / d }')
  printf '%10s %14d %14d %14d %14d %7sx\n' "$n" $((ct / 1000)) $((dp / 1000)) $((ct * 1000 / n)) $((dp * 1000 / n)) "$ratio"
  if [ "$n" -eq 100000 ] && awk -v r="$ratio" 'BEGIN { exit !(r < 2) }'; then
    echo "FAIL: the display is not twice as fast per entry as conntrack -L at 100,000"
    status=1
  fi
done
exit $status
