#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The host's connection table (dpservice --data-plane netfilter) listed by
# dpmgmt and by conntrack -L, side by side, at 10,000 and 100,000 entries,
# in a network namespace of its own.  Needs root; skipped otherwise.
set -euo pipefail
build=${BUILD_DIR:-build-bench}
here=$(cd "$(dirname "$0")" && pwd)
if [ "$(id -u)" -ne 0 ] || ! unshare -n true 2>/dev/null; then
  echo "skipped: needs root and a network namespace"
  exit 0
fi
for tool in nft conntrack python3; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool missing"; exit 0; }
done
exec timeout 600 unshare -n python3 "$here/netfilter_table_bench.py" "$build" 10000 100000
