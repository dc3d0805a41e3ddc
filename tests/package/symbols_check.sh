#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The built libraries against debian/libdpmgmt1.symbols, as the package
# build checks them: a listed symbol that is gone, or an exported one that
# is not listed, fails (dpkg-gensymbols -c4).  scripts/package.sh
# --update-symbols rewrites the list after a deliberate change.
#   symbols_check.sh SOURCE_DIR LIBDPMGMT LIBDPPLATFORM
set -euo pipefail
root=$1
command -v dpkg-gensymbols >/dev/null || { echo "dpkg-dev not installed"; exit 77; }
work=$(mktemp -d /tmp/dpmgmt-symbols.XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/debian" "$work/pkg/usr/lib"
cp "$root/debian/control" "$work/debian/"
cp "$2" "$3" "$work/pkg/usr/lib/"
version=$(dpkg-parsechangelog -l "$root/debian/changelog" -S Version)
cd "$work"
dpkg-gensymbols -c4 -plibdpmgmt1 -v"$version" -Ppkg \
  -e"pkg/usr/lib/$(basename "$2")" -e"pkg/usr/lib/$(basename "$3")" \
  -I"$root/debian/libdpmgmt1.symbols" -O"$work/symbols"
echo "symbols: $(grep -c '^ ' "$work/symbols") entries agree with debian/libdpmgmt1.symbols"
