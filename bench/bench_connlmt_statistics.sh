#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `display connection-limit statistics` of about 100,000 statistic nodes:
# dpmgmt's peak resident memory must stay within 1.3x of that at about
# 1,000 nodes.  A per-source, per-destination, per-service rule over an ACL
# that matches every IPv4 UDP session makes roughly one node per such session.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
measure() {
  local sessions=$1 dir nodes rss
  dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
  export DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir DPMGMT_SERVICE=$build/dpservice
  "$build/dpservice" --sessions "$sessions" --daemon --pidfile "$dir/dpservice.pid"
  "$build/dpmgmt" connection-limit policy 1 >/dev/null
  "$build/dpmgmt" connection-limit policy 1 rule 1 acl 3001 amount 100000 50000 \
    per-source per-destination per-service >/dev/null
  "$build/dpmgmt" connection-limit apply policy 1 >/dev/null
  nodes=$("$build/dpmgmt" display connection-limit statistics policy 1 count | grep -o '[0-9]\+\.' | tr -d .)
  rss=$("$build/peak_rss_driver" "$build/dpmgmt" display connection-limit statistics policy 1)
  kill "$(cat "$dir/dpservice.pid")" 2>/dev/null || true
  rm -rf "$dir"
  echo "$nodes $rss"
}
read -r small_nodes small < <(measure 6000)
read -r large_nodes large < <(measure 600000)
echo "peak RSS of dpmgmt: ${small_nodes} nodes ${small} KiB, ${large_nodes} nodes ${large} KiB"
awk -v s="$small" -v l="$large" 'BEGIN { if (l > 1.3 * s) { print "FAIL: memory grows with the nodes"; exit 1 } print "ok: flat memory" }'
