#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the API reference from the public headers (docs/Doxyfile.in) in a
# temporary directory and fails on any Doxygen warning: an undocumented
# function, record, field or parameter, a broken reference.
#
#   scripts/doc-check.sh
#
# Exit status: 0 no warning, 1 warnings (listed), 2 error, 77 no doxygen.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if ! command -v doxygen >/dev/null; then
  echo "doc-check: doxygen is not installed (Debian package doxygen)" >&2
  exit 77
fi
version=$(sed -n 's/^project(dpmgmt VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
work=$(mktemp -d /tmp/dpmgmt-docs.XXXXXX)
trap 'rm -rf "$work"' EXIT
sed -e "s|@PROJECT_VERSION@|$version|g" -e "s|@PROJECT_SOURCE_DIR@|$root|g" \
    -e "s|@DPMGMT_DOC_OUTPUT@|$work/out|g" -e "s|@DPMGMT_DOC_WARNINGS@|$work/warnings|g" \
    "$root/docs/Doxyfile.in" >"$work/Doxyfile"
if ! doxygen "$work/Doxyfile" >"$work/log" 2>&1; then
  cat "$work/log" >&2
  echo "doc-check: doxygen failed" >&2
  exit 2
fi
# Warnings about the configuration itself go to the log, the others to the
# warnings file.
cat "$work/log" "$work/warnings" 2>/dev/null | sed "s|$root/||" >"$work/all"
if [ -s "$work/all" ]; then
  cat "$work/all"
  echo "doc-check: $(grep -c . "$work/all") warning line(s)" >&2
  exit 1
fi
echo "doc-check: API reference of $version builds without a warning"
