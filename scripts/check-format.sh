#!/bin/sh
# Tells which sources differ from what clang-format 14 makes of them; exits with 77, which ctest
# takes for skipped, where there is none: other versions format differently.
#   check-format.sh [--fix]
set -eu
cd "$(dirname "$0")/.."
tool=
for candidate in clang-format-14 clang-format; do
  if "$candidate" --version 2> /dev/null | grep -q 'version 14\.'; then tool=$candidate; break; fi
done
[ -n "$tool" ] || { echo "skipped: no clang-format 14 (Debian package clang-format-14)"; exit 77; }
mode="--dry-run -Werror"
[ "${1:-}" != --fix ] || mode=-i
find . -path ./build -prune -o \( -name '*.cpp' -o -name '*.hpp' \) -print0 |
  xargs -0 "$tool" --style=file $mode
