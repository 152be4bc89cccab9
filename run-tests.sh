#!/bin/sh
# Installs what is missing, then builds and tests, optimised first and then under AddressSanitizer
# and UndefinedBehaviorSanitizer. Arguments are the presets to run instead of those two.
set -eu
cd "$(dirname "$0")"
scripts/install-packages.sh
[ $# -gt 0 ] || set -- release asan
for preset in "$@"; do
  echo "== $preset"
  cmake --preset "$preset"
  cmake --build --preset "$preset" --parallel "$(nproc)"
  ctest --preset "$preset" --parallel "$(nproc)" < /dev/null
done
