#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Rewrites the baseline abi/libdpmgmt.abi from a library built with debug
# information: after a deliberate change of the binary interface, in the
# same commit, with the reason in the commit message.
#
#   scripts/abi-update.sh [--baseline FILE] [--headers DIR] [LIBRARY]
#
# Without LIBRARY it builds one in $ABI_BUILD_DIR (default build-abi).
# --baseline and --headers name another baseline and header directory.
set -euo pipefail
# shellcheck source=abi-common.sh
. "$(dirname "$0")/abi-common.sh"

abi_parse_args abi-update.sh "$@"
abi_need_tools || exit 2
[ -n "$library" ] || library=$(abi_build_library)
if ! abi_has_debug_info "$library"; then
  echo "abi: $library has no debug information (build it with -g, e.g. RelWithDebInfo)" >&2
  exit 2
fi
mkdir -p "$(dirname "$abi_baseline")"
abi_dump "$library" "$abi_baseline"
echo "abi: wrote ${abi_baseline#"$abi_root"/} ($(grep -c '<elf-symbol ' "$abi_baseline") symbols)"
