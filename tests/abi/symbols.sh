#!/bin/sh
# Compares what a release build with g++ exports with exported-symbols.txt, or writes that file.
#   symbols.sh check|update LIBRARY
set -eu
list=$(cd "$(dirname "$0")" && pwd)/exported-symbols.txt
found=$(nm --dynamic --defined-only --demangle "$2" | cut -d' ' -f3- | LC_ALL=C sort -u)
case $1 in
  check)
    printf '%s\n' "$found" | diff -u "$list" - || {
      echo "The exported symbols have changed (+ new, - gone). If that is meant: $0 update $2" >&2
      exit 1
    } ;;
  update) printf '%s\n' "$found" > "$list" ;;
  *) echo "usage: $0 check|update LIBRARY" >&2; exit 2 ;;
esac
