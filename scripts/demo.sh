#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The main job: builds everything, starts the reference data plane in a
# fresh run directory and shows the library at work through dpmgmt.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j"$(nproc)"

export DPMGMT_RUNDIR=$(mktemp -d /tmp/dpmgmt-demo.XXXXXX)
export DPMGMT_DATADIR=$DPMGMT_RUNDIR
export DPMGMT_SERVICE=$PWD/$build/dpservice
cleanup() {
  if [ -f "$DPMGMT_RUNDIR/dpservice.pid" ]; then
    kill "$(cat "$DPMGMT_RUNDIR/dpservice.pid")" 2>/dev/null || true
  fi
  rm -rf "$DPMGMT_RUNDIR"
}
trap cleanup EXIT

dp() {
  printf '\n$ dpmgmt %s\n' "$*"
  "$build/dpmgmt" "$@" || echo "(exit status $?)"
}

echo "run directory: $DPMGMT_RUNDIR"
# dpmgmt starts dpservice through the platform's service manager.
echo "== session settings"
dp display session aging-time
dp session aging-time application dns 5
dp session aging-time state tcp-est 7200
dp session limit 100000
dp session rate selector 3 500
dp display session limit
dp session synchronization enable
dp session log flow bytes 65536
dp display session settings
dp session aging-time application smtp 5

echo "== session tables"
dp display session table ipv4 protocol udp destination-port 53
dp display session table ipv4 verbose protocol tcp destination-port 443
dp display session fast-forward verbose protocol udp destination-port 53
dp display session mcfs
dp display session relation-table
dp display session kernel ipv4 protocol tcp destination-port 21
dp display session relation-kernel ipv6
dp display session statistics
dp display session statistics slot 2
dp display session aging-queue
dp display session alg-statistics
dp display session statistics history
dp display session top-statistics
dp display session hot-backup statistics
dp reset session protocol tcp
dp display session statistics

echo "== connection limits"
dp connection-limit policy 3
dp connection-limit policy 3 rule 4 acl 3000 amount 100 50 per-source
dp connection-limit policy 3 rule 5 acl name dns amount 20 10 per-destination per-service
dp connection-limit policy 3 description web and dns servers
dp connection-limit policy ipv6 3
dp connection-limit policy ipv6 3 rule 1 acl 3100 amount 10 5
dp connection-limit apply policy 3
dp connection-limit apply policy ipv6 3 interface GigabitEthernet1/0/1
dp connection-limit policy 3 rule 6 acl 3999 amount 10 5
dp display connection-limit policy
dp display connection-limit policy ipv6
dp display connection-limit statistics policy 3 count
dp display connection-limit statistics policy 3 source-ip 10.1.0.1
dp display connection-limit counters policy 3

echo "== call quality analysis"
dp sqa view create
dp sqa sip enable
dp sqa sip port 5070
dp sqa sip filter 192.168.1.0 255.255.255.0 24
dp sqa h323 enable
dp sqa remark 1 2 dscp ef
dp sqa remark 1 2 dscp ?
dp sqa sip debug event
dp display sqa
dp display sqa remark 1 2
dp display sqa sip call
dp display sqa sip call verbose
dp display sqa h323 call verbose
dp display sqa sip statistics
dp display sqa sip debug

echo "== scripts: filters, batch files, exit statuses"
dp display session table protocol tcp '|' count
dp display session table ipv4 protocol udp '|' include 53
printf '# a batch file\ndisplay session limit\n\nsession limt 7000\ndisplay session settings\n' >"$DPMGMT_RUNDIR/batch.txt"
printf '\n$ dpmgmt -f batch.txt   (the third command is mistyped)\n'
"$build/dpmgmt" -f "$DPMGMT_RUNDIR/batch.txt" || echo "(exit status $?)"
dp display sqa sip call verbose call-id nosuch

echo "== metrics for Prometheus"
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
"$build/dpmgmt-exporter" --listen "127.0.0.1:$port" &
exporter=$!
for _ in $(seq 50); do
  curl -sf "http://127.0.0.1:$port/metrics" >"$DPMGMT_RUNDIR/metrics.txt" && break
  sleep 0.1
done
printf '\n$ curl http://127.0.0.1:%s/metrics | grep -E "^dpmgmt_(session_service_up|kernel_channel_up|sessions)"\n' "$port"
grep -E '^dpmgmt_(session_service_up|kernel_channel_up|sessions)\{' "$DPMGMT_RUNDIR/metrics.txt" | head -12
kill "$exporter"; wait "$exporter" 2>/dev/null || true

echo "== the service dies; dpmgmt starts it again with the stored configuration"
kill -9 "$(cat "$DPMGMT_RUNDIR/dpservice.pid")"
dp display connection-limit policy
dp recover
dp display connection-limit policy
dp display sqa
