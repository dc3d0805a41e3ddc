# SPDX-License-Identifier: Apache-2.0
# The shared part of scripts/abi-check.sh and scripts/abi-update.sh: where
# the baseline lives, how a library with debug information is built, and
# the options that reduce it to its public interface.  Sourced, not run.

abi_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
abi_baseline=$abi_root/abi/libdpmgmt.abi
abi_headers=$abi_root/include/dpmgmt
# The C library's types (uint32_t, size_t, FILE) are part of the interface
# too: without its headers, a parameter changed from uint32_t to uint64_t
# would count as a private change and pass unseen.
abi_system_headers=${ABI_SYSTEM_HEADERS:-/usr/include}

# Only the exported functions and variables and the types the public
# headers declare; no build path, no line numbers beyond file names, so
# that neither the build directory nor the optimisation level shows in the
# representation.
abi_public_opts=(--drop-private-types --exported-interfaces-only)

abi_need_tools() {
  if ! command -v abidw >/dev/null || ! command -v abidiff >/dev/null; then
    echo "abi: abidw and abidiff are needed (Debian package abigail-tools)" >&2
    return 1
  fi
}

abi_has_debug_info() {
  local sections
  sections=$(readelf -S "$1" 2>/dev/null) || return 1
  [[ $sections == *.debug_info* ]]
}

# Builds the library with debug information in $ABI_BUILD_DIR (default
# build-abi) and prints its path.
abi_build_library() {
  local dir=${ABI_BUILD_DIR:-$abi_root/build-abi}
  cmake -S "$abi_root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDPMGMT_TESTS=OFF >/dev/null
  cmake --build "$dir" --target dpmgmt -j"$(nproc)" >/dev/null
  readlink -f "$dir/libdpmgmt.so"
}

# Writes the representation of library $1 to file $2.
abi_dump() {
  abidw --headers-dir "$abi_headers" --headers-dir "$abi_system_headers" "${abi_public_opts[@]}" \
    --no-corpus-path --no-comp-dir-path --short-locs --out-file "$2" "$1"
}

# Reads the options both scripts take: [--baseline FILE] [--headers DIR]
# [LIBRARY]; sets abi_baseline, abi_headers and library.  $1 names the
# script for the usage line.
abi_parse_args() {
  local name=$1
  shift
  library=
  while [ $# -gt 0 ]; do
    case "$1" in
      --baseline) abi_baseline=$2; shift 2 ;;
      --headers) abi_headers=$2; shift 2 ;;
      -*) echo "usage: scripts/$name [--baseline FILE] [--headers DIR] [LIBRARY]" >&2; exit 2 ;;
      *) library=$1; shift ;;
    esac
  done
}
