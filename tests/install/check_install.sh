#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the build into a temporary prefix and builds a C program against
# it twice, with pkg-config and with find_package, then runs both.
set -euo pipefail
build=$1
src=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/dpmgmt-install.XXXXXX)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(ls -d "$work"/prefix/lib*/ | head -n 1)
# The installed libraries name no folder of the build tree: not in their
# data (where the platform looks for dpservice) nor in a run path.
buildabs=$(cd "$build" && pwd)
for lib in "$libdir"/libdpplatform.so "$libdir"/libdpmgmt.so; do
  if readelf -p .rodata -d "$lib" | grep -qF "$buildabs"; then
    echo "$lib names the build tree $buildabs" >&2
    exit 1
  fi
done
test -f "$work/prefix/include/dpmgmt/platform/dump.h"
export PKG_CONFIG_PATH=$libdir/pkgconfig
export LD_LIBRARY_PATH=$libdir
# shellcheck disable=SC2046
cc -std=c99 -Wall -Werror -o "$work/exchange_pc" "$src/exchange.c" $(pkg-config --cflags --libs dpmgmt)
cmake -S "$src" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
for prog in "$work/exchange_pc" "$work/consumer/exchange_cmake"; do
  rundir=$(mktemp -d "$work/run.XXXXXX")
  DPMGMT_RUNDIR=$rundir "$prog"
done
