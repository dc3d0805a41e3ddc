#!/usr/bin/env bash
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
if [ -x "$build/dpmgmt" ]; then
  # dpmgmt starts dpservice through the platform's service manager.
  dp display session aging-time
  dp session aging-time application dns 5
  dp display session aging-time
  dp display session table
  dp display session table ipv4 verbose protocol tcp
  dp display session statistics
  dp display session statistics history
  dp display session hot-backup statistics
  dp connection-limit policy 3
  dp connection-limit policy 3 rule 4 acl 3000 amount 100 50 per-source
  dp connection-limit apply policy 3
  dp display connection-limit policy 3
  dp display connection-limit statistics policy 3
  dp sqa sip enable
  dp display sqa
  dp display sqa sip call
  dp display sqa sip call verbose
  dp display sqa sip statistics
  dp reset session
else
  # Until the command line is there: one exchange through the library.
  "$build/dpservice" --daemon --pidfile "$DPMGMT_RUNDIR/dpservice.pid"
  "$build/tests/c_api_test"
fi
