#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the binary interface of libdpmgmt with the baseline checked in
# as abi/libdpmgmt.abi.  Additions (new functions, new variables) pass;
# anything else abidiff reports (a removed or changed function, a changed
# public record) fails.  A deliberate change rewrites the baseline with
# scripts/abi-update.sh, in the same commit, with the reason in its message.
#
#   scripts/abi-check.sh [--baseline FILE] [--headers DIR] [LIBRARY]
#
# LIBRARY is a built libdpmgmt.so with debug information; without it, the
# script builds one in $ABI_BUILD_DIR (default build-abi).  --baseline and
# --headers name another baseline and public header directory.
# Exit status: 0 compatible, 1 incompatible change, 2 error, 77 nothing to
# compare (no abigail-tools, or a library without debug information).
set -euo pipefail
# shellcheck source=abi-common.sh
. "$(dirname "$0")/abi-common.sh"

abi_parse_args abi-check.sh "$@"

abi_need_tools || exit 77
if [ ! -f "$abi_baseline" ]; then
  echo "abi: no baseline $abi_baseline; scripts/abi-update.sh writes it" >&2
  exit 2
fi
[ -n "$library" ] || library=$(abi_build_library)
if [ ! -f "$library" ]; then
  echo "abi: no library $library" >&2
  exit 2
fi
if ! abi_has_debug_info "$library"; then
  echo "abi: $library has no debug information (build it with -g, e.g. RelWithDebInfo); not checked" >&2
  exit 77
fi

# The baseline was written without private types already; the same header
# directories make abidiff ignore changes in private types on the library's
# side.  (abidiff 2.2 aborts reading a baseline when --drop-private-types is
# combined with --headers-dir1, hence no second drop here.)
compare() {
  abidiff --headers-dir1 "$abi_headers" --headers-dir1 "$abi_system_headers" \
    --headers-dir2 "$abi_headers" --headers-dir2 "$abi_system_headers" \
    --exported-interfaces-only "$@" "$abi_baseline" "$library"
}

# abidiff's status is a bit set: 1 error, 2 usage error, 4 some change,
# 8 an incompatible change.  Added symbols alone set 4; the second run,
# blind to additions, tells them from other changes.
report=$(mktemp)
trap 'rm -f "$report"' EXIT
status=0
compare >"$report" || status=$?
if (( status & 3 )); then
  cat "$report" >&2
  echo "abi: abidiff failed (status $status)" >&2
  exit 2
fi
if (( status & 8 )); then
  cat "$report"
  echo "abi: INCOMPATIBLE change against $(basename "$abi_baseline")" >&2
  exit 1
fi
if (( status & 4 )); then
  rest=0
  compare --no-added-syms >/dev/null || rest=$?
  cat "$report"
  if (( rest & 3 )); then
    echo "abi: abidiff failed (status $rest)" >&2
    exit 2
  fi
  if (( rest & 12 )); then
    echo "abi: changed interface against $(basename "$abi_baseline") (not only additions)" >&2
    exit 1
  fi
  echo "abi: compatible; additions only (scripts/abi-update.sh records them)"
  exit 0
fi
echo "abi: no change against $(basename "$abi_baseline")"
