#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages the build and the tests need, when missing,
# and the packages named as arguments (scripts/package.sh names its tools).
#
#   scripts/deps.sh [package...]
set -euo pipefail
packages=(build-essential cmake pkg-config libsqlite3-dev libinih-dev
          libgtest-dev libgmock-dev libbenchmark-dev sqlite3 netbase)
packages+=(libcpp-httplib-dev prometheus jq python3)  # the metrics exporter, its tests and its checks
packages+=(libedit-dev)  # the interactive shell of dpmgmt (BSD licence, readline-compatible interface)
packages+=(libmnl-dev libnetfilter-conntrack-dev conntrack nftables iproute2)  # dpservice --data-plane netfilter (libmnl); its tests (libnetfilter_conntrack, conntrack, nft) work only in network namespaces they make (unshare -n, ip netns), never on the host's tables
packages+=(linux-perf)  # bench: profiling
packages+=(curl)  # the demo scrapes the exporter
packages+=(abigail-tools doxygen)  # the ABI check and the API reference
packages+=(clang libclang-rt-14-dev)  # libFuzzer builds of the fuzz targets (scripts/fuzz.sh)
packages+=(rapidjson-dev)  # dpservice: connection limits enforced by running the nft program (nftables, above), its JSON listings read with rapidjson (MIT); tested only inside network namespaces (unshare -n)
packages+=(rapidjson-dev python3-jsonschema)  # JSON output and its schema checks
missing=()
for p in "${packages[@]}" "$@"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi
