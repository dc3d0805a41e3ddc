#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The ABI check itself, on a small library: a rebuild at another
# optimisation level in another directory and an added function pass; a
# removed function, a record with an inserted member and a widened
# parameter fail.
set -euo pipefail
scripts=$1
command -v abidw >/dev/null && command -v abidiff >/dev/null || { echo "abigail-tools not installed"; exit 77; }
work=$(mktemp -d /tmp/dpmgmt-abi.XXXXXX)
trap 'rm -rf "$work"' EXIT

cat >"$work/t.c" <<'C'
#include "t.h"
uint32_t T_Get(PARAM x) { return (uint32_t)x + 1; }
#ifndef WITHOUT_SUM
uint32_t T_Sum(const T_REC *r) { return r->a + r->b; }
#endif
#ifdef WITH_MORE
uint32_t T_More(uint32_t x) { return x * 3; }
#endif
C

# variant <name> <parameter type> <extra member> [cc options...]
variant() {
  local dir=$work/$1 param=$2 member=$3
  shift 3
  mkdir -p "$dir/include"
  printf '#include <stdint.h>\ntypedef struct T_REC { uint32_t a; %s uint16_t b; } T_REC;\n%s\n%s\n%s\n' \
    "$member" "uint32_t T_Get($param x);" "uint32_t T_Sum(const T_REC *r);" "uint32_t T_More(uint32_t x);" \
    >"$dir/include/t.h"
  cc -g -shared -fPIC -Wl,-soname,libt.so.1 -DPARAM="$param" -I"$dir/include" "$@" -o "$dir/libt.so" "$work/t.c"
}

variant base uint32_t "" -O2
"$scripts/abi-update.sh" --baseline "$work/base.abi" --headers "$work/base/include" "$work/base/libt.so" >/dev/null

# case, parameter type, extra member, cc options, expected status
cases=(
  "rebuilt|uint32_t||-O0|0"
  "added|uint32_t||-O2 -DWITH_MORE|0"
  "removed|uint32_t||-O2 -DWITHOUT_SUM|1"
  "member|uint32_t|uint16_t c;|-O2|1"
  "widened|uint64_t||-O2|1"
)
failed=0
for row in "${cases[@]}"; do
  IFS='|' read -r name param member opts want <<<"$row"
  # shellcheck disable=SC2086
  variant "$name" "$param" "$member" $opts
  got=0
  "$scripts/abi-check.sh" --baseline "$work/base.abi" --headers "$work/$name/include" \
    "$work/$name/libt.so" >"$work/$name.out" 2>&1 || got=$?
  if [ "$got" != "$want" ]; then
    echo "FAIL $name: status $got, expected $want"
    cat "$work/$name.out"
    failed=1
  else
    echo "ok   $name: status $got"
  fi
done
exit $failed
