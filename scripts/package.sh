#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages libdpmgmt1, libdpmgmt-dev, dpmgmt and dpservice
# from debian/ with the standard tools (dpkg-buildpackage, debhelper) into
# build-deb/ ($DEB_OUT_DIR), without the test suite, and runs lintian on
# them: any lintian error fails.
#
#   scripts/package.sh                   build and lint
#   scripts/package.sh --install-check   also install the packages, build
#                                        tests/install/exchange.c with
#                                        pkg-config, run it, remove them
#   scripts/package.sh --update-symbols  rewrite debian/libdpmgmt1.symbols
#                                        from the built libraries (after a
#                                        deliberate change of the exports)
#
# The version in CMakeLists.txt's project() and the one in debian/changelog
# must agree.  It installs what it needs (debhelper, lintian, the build
# dependencies) with apt-get, as root or through sudo.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

mode=build
case "${1:-}" in
  --install-check) mode=install ;;
  --update-symbols) mode=symbols ;;
  "") ;;
  *) echo "usage: scripts/package.sh [--install-check | --update-symbols]" >&2; exit 2 ;;
esac

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)

# The packaging tools, with what the build needs.
scripts/deps.sh debhelper dpkg-dev fakeroot lintian

# One version: project() in CMakeLists.txt; debian/changelog repeats it.
version=$(sed -n 's/^project(dpmgmt VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
deb_version=$(dpkg-parsechangelog -l debian/changelog -S Version)
upstream=${deb_version#*:}
upstream=${upstream%-*}
if [ -z "$version" ] || [ "$upstream" != "$version" ]; then
  echo "package: CMakeLists.txt says version '$version', debian/changelog says '$deb_version'" >&2
  exit 1
fi

# The build runs on a copy of the tree (the files git tracks or would
# track, as they are now), so that dpkg-buildpackage's output lands beside it in build-deb/.
out=${DEB_OUT_DIR:-$root/build-deb}
rm -rf "$out"
mkdir -p "$out/src"
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  git ls-files -z --cached --others --exclude-standard |
    tar --null -T - --ignore-failed-read -cf - 2>/dev/null | tar -xf - -C "$out/src"
else
  tar --exclude='./build*' --exclude=./.git -cf - . | tar -xf - -C "$out/src"
fi

if ! (cd "$out/src" && dpkg-checkbuilddeps >/dev/null 2>&1); then
  echo "installing the build dependencies"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get build-dep -y -qq "$out/src/"
fi

export DEB_BUILD_OPTIONS="nocheck parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}"
if [ "$mode" = symbols ]; then
  export DPMGMT_SYMBOLS_CHECK=0
  : >"$out/src/debian/libdpmgmt1.symbols"
fi
(cd "$out/src" && dpkg-buildpackage -us -uc -b) >"$out/build.log" 2>&1 || {
  grep -E -A40 '^dpkg-gensymbols: (error|warning)' "$out/build.log" >&2 ||
    grep -E ': error:|undefined reference|^dh_[a-z_]+: error|^dpkg-buildpackage: error' "$out/build.log" | head -30 >&2
  echo "package: dpkg-buildpackage failed; the whole log is $out/build.log" >&2
  exit 1
}

if [ "$mode" = symbols ]; then
  # The compiler's own instances of standard-library templates, which the
  # platform library exports as weak symbols, are covered by one pattern:
  # they come and go with the compiler, not with the interface.
  generated=$out/src/debian/libdpmgmt1/DEBIAN/symbols
  std='^_Z(ZN|N|NK|TI|TS|TV)?(St|9__gnu_cxx)'
  awk -v std="$std" -v ver="$version" -v debver="$deb_version" '
    /^[^ *#|]/ {
      print
      print "* Build-Depends-Package: libdpmgmt-dev"
      if ($1 ~ /^libdpplatform/) print " (regex|optional)\"" std "\" " ver
      next
    }
    /^\*/ { next }
    substr($0, 2) ~ std { next }
    { sub(" " debver "$", " " ver); print }
  ' "$generated" >debian/libdpmgmt1.symbols
  echo "package: wrote debian/libdpmgmt1.symbols ($(grep -c '^ ' debian/libdpmgmt1.symbols) entries)"
  exit 0
fi

echo "package: built $deb_version in $out (and the -dbgsym packages):"
for deb in "$out"/*.deb; do
  case "$deb" in *-dbgsym_*) ;; *) echo "  $(basename "$deb")" ;; esac
done
lintian --fail-on error "$out"/*.changes | tee "$out/lintian.txt"
echo "package: lintian: no error ($(grep -c '^W: ' "$out/lintian.txt" || true) warning(s))"

[ "$mode" = install ] || exit 0

# Install, build a C program against the installed library with pkg-config,
# run it, and remove the packages again.
names=(libdpmgmt1 libdpmgmt-dev dpmgmt dpservice)
if ! "${sudo_cmd[@]}" dpkg -i "$out"/{libdpmgmt1,libdpmgmt-dev,dpmgmt,dpservice}_*.deb >/dev/null; then
  # Runtime libraries missing on this system: apt completes the install.
  "${sudo_cmd[@]}" apt-get install -f -y -qq
fi
work=$(mktemp -d /tmp/dpmgmt-package.XXXXXX)
cleanup() { "${sudo_cmd[@]}" dpkg -r "${names[@]}" >/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT
echo "package: installed; pkg-config says dpmgmt $(pkg-config --modversion dpmgmt)"
if [ "$(pkg-config --modversion dpmgmt)" != "$version" ]; then
  echo "package: pkg-config reports another version than $version" >&2
  exit 1
fi
# shellcheck disable=SC2046
cc -std=c99 -Wall -Werror -o "$work/exchange" tests/install/exchange.c $(pkg-config --cflags --libs dpmgmt)
mkdir -m 700 "$work/run" "$work/run2"   # a run directory must be private
DPMGMT_RUNDIR=$work/run "$work/exchange"
# The same program through the installed CMake package.
cmake -S tests/install -B "$work/consumer" >/dev/null
cmake --build "$work/consumer" >/dev/null
DPMGMT_RUNDIR=$work/run2 "$work/consumer/exchange_cmake"
if [[ $(ldd /usr/bin/dpmgmt) == *libreadline* ]]; then
  echo "package: the installed dpmgmt links GNU readline" >&2
  exit 1
fi
dpservice --version
echo "package: installed, built against and ran; removing the packages"
