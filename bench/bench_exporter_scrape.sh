#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# dpmgmt-exporter's /metrics at 1,000,000 sessions per node: a scrape reads
# statistics records and counters only, so it must answer within 100 ms
# (median of 20 scrapes after one warm-up), call tables and MOS histograms
# included.  Shown for information: the same figure with --relations, and
# with one connection-limit policy applied, whose counters and statistic
# nodes the stand-in kernel makes by walking its session table whenever
# their dumps open (a kernel keeps them as it goes).
set -euo pipefail
build=${BUILD_DIR:-build-bench}
sessions=${SESSIONS:-1000000}
limit_ms=100
dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
exporter_pid=
cleanup() {
  [ -n "$exporter_pid" ] && kill "$exporter_pid" 2>/dev/null && wait "$exporter_pid" 2>/dev/null
  [ -f "$dir/dpservice.pid" ] && kill "$(cat "$dir/dpservice.pid")" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
export DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir
"$build/dpservice" --seed 1 --sessions "$sessions" --daemon --pidfile "$dir/dpservice.pid"

# Scrapes the exporter started with the given options; prints the median
# and the slowest of the timed scrapes in milliseconds.
scrape_ms() {
  local port
  port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  "$build/dpmgmt-exporter" --listen "127.0.0.1:$port" "$@" 2>/dev/null &
  exporter_pid=$!
  python3 - "$port" <<'PY'
import statistics, sys, time, urllib.request
url = f"http://127.0.0.1:{sys.argv[1]}/metrics"
end = time.monotonic() + 10
while True:  # bounded wait for the listener
    try:
        urllib.request.urlopen(url.replace("/metrics", "/"), timeout=5).read()
        break
    except OSError:
        if time.monotonic() > end:
            sys.exit("the exporter did not listen within 10 s")
        time.sleep(0.02)
urllib.request.urlopen(url, timeout=30).read()  # warm-up: the stand-in builds its tables on first use
times = []
for _ in range(20):
    start = time.perf_counter()
    body = urllib.request.urlopen(url, timeout=30).read()
    times.append((time.perf_counter() - start) * 1000)
    if b"dpmgmt_session_service_up 1" not in body:
        sys.exit("a scrape did not see the service up")
print(f"{statistics.median(times):.1f} {max(times):.1f}")
PY
  kill "$exporter_pid"
  wait "$exporter_pid" 2>/dev/null || true
  exporter_pid=
}

read -r median slowest < <(scrape_ms)
echo "exporter scrape at $sessions sessions per node: median ${median} ms, slowest ${slowest} ms"
read -r rmedian rslowest < <(scrape_ms --relations)
echo "exporter scrape with --relations: median ${rmedian} ms, slowest ${rslowest} ms (information only)"
"$build/dpmgmt" connection-limit policy 3 >/dev/null
"$build/dpmgmt" connection-limit policy 3 rule 1 acl 3000 amount 4 2 per-destination >/dev/null
"$build/dpmgmt" connection-limit apply policy 3 >/dev/null
read -r pmedian pslowest < <(scrape_ms --timeout 60)
echo "exporter scrape with one policy applied: median ${pmedian} ms, slowest ${pslowest} ms (information only)"
awk -v m="$median" -v l="$limit_ms" 'BEGIN { if (m > l) { print "FAIL: scrape slower than " l " ms"; exit 1 } print "ok: scrape within " l " ms" }'
