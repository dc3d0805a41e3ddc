#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Puts the license identifier line at the top of every source file of the
# tree that has none, in the file's own comment syntax:
#   // SPDX-License-Identifier: Apache-2.0      C++ sources and headers
#   /* SPDX-License-Identifier: Apache-2.0 */   C sources, public headers
#   # SPDX-License-Identifier: Apache-2.0       CMake, shell, Python, units
#   .\" SPDX-License-Identifier: Apache-2.0     manual pages
# as the first line, or the second after a "#!" line.  A file that already
# names a license there (Apache-2.0 or, for imported code, its own) is left
# alone, so running it twice changes nothing.
#
#   scripts/spdx.sh           add the line where it is missing
#   scripts/spdx.sh --check   change nothing; list the files without it and
#                             exit 1 if there is any
#
# The files are those git tracks (or, outside a git checkout, the tree minus
# build directories); code imported under third_party/ or vendor/ keeps its
# own notices.
set -euo pipefail

mode=add
case "${1:-}" in
  --check) mode=check ;;
  "") ;;
  *) echo "usage: scripts/spdx.sh [--check]" >&2; exit 2 ;;
esac
root=${SPDX_ROOT:-$(cd "$(dirname "$0")/.." && pwd)}
cd "$root"

id='SPDX-License-Identifier: Apache-2.0'

list_files() {
  if git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z
  else
    find . \( -name .git -o -name 'build*' -o -name 'obj-*' \) -prune -o -type f -printf '%P\0'
  fi
}

# The comment line for a file, or nothing when the file is not a source.
line_for() {
  local path=$1 name=${1##*/}
  case "$path" in
    third_party/* | */third_party/* | vendor/* | */vendor/*) return ;;
  esac
  case "$name" in
    *.c) echo "/* $id */" ;;
    *.h)
      case "$path" in
        include/* | platform/include/*) echo "/* $id */" ;;
        *) echo "// $id" ;;
      esac ;;
    *.cpp | *.cc | *.hpp) echo "// $id" ;;
    CMakeLists.txt | *.cmake | *.cmake.in | *.pc.in | Doxyfile.in | *.sh | *.py | *.bash-completion | \
      *.service | *.service.in) echo "# $id" ;;
    *.[1-8]) echo ".\\\" $id" ;;
    *)
      # Scripts without a suffix (.ci/run, debian/rules).
      local first=''
      IFS= read -r first <"$path" || true
      if [[ $first == '#!'* ]]; then echo "# $id"; fi ;;
  esac
}

# True when the license line is where it belongs: line 1, or line 2 after #!.
has_line() {
  local first='' second=''
  { IFS= read -r first || true; IFS= read -r second || true; } <"$1"
  [[ $first == '#!'* ]] && first=$second
  [[ $first == *SPDX-License-Identifier:* ]]
}

missing=0
added=0
while IFS= read -r -d '' path; do
  [ -f "$path" ] && [ ! -L "$path" ] || continue
  line=$(line_for "$path")
  [ -n "$line" ] || continue
  has_line "$path" && continue
  if [ "$mode" = check ]; then
    echo "no license line: $path"
    missing=$((missing + 1))
    continue
  fi
  tmp=$(mktemp "$path.spdx.XXXXXX")
  {
    IFS= read -r first <"$path" || true
    if [[ $first == '#!'* ]]; then
      printf '%s\n%s\n' "$first" "$line"
      tail -n +2 "$path"
    else
      printf '%s\n' "$line"
      cat "$path"
    fi
  } >"$tmp"
  chmod --reference="$path" "$tmp"
  mv "$tmp" "$path"
  added=$((added + 1))
done < <(list_files)

if [ "$mode" = check ]; then
  if [ "$missing" -gt 0 ]; then
    echo "$missing source file(s) without '$id'; scripts/spdx.sh adds it" >&2
    exit 1
  fi
  echo "license lines: every source file has one"
else
  echo "license lines added: $added"
fi
