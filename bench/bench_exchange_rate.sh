#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# One command exchange through the library (SESSION_IPC_SetStatEnable(1))
# against a raw loop of socket, autobind, connect, send, receive and close
# on the same dpservice.  Goal: at least 0.8x the raw rate.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
dir=$(mktemp -d /tmp/dpmgmt-bench.XXXXXX)
trap 'kill "$(cat "$dir/dpservice.pid" 2>/dev/null)" 2>/dev/null || true; rm -rf "$dir"' EXIT
DPMGMT_RUNDIR=$dir DPMGMT_DATADIR=$dir "$build/dpservice" --daemon --pidfile "$dir/dpservice.pid"
line=$(DPMGMT_RUNDIR=$dir "$build/exchange_rate" "$dir" "${EXCHANGES:-40000}" "${SLICES:-80}")
echo "exchange: $line"
awk -v l="$line" 'BEGIN { split(l, f, "ratio "); if (f[2] + 0 < 0.8) { print "FAIL: below 0.8x the raw rate"; exit 1 } print "ok" }'
