#!/bin/sh
# Tells which rows of ks_bench changed between two versions by more than the noise of the machine.
#
#   bench/compare.sh OLD NEW [ROUNDS [ROWS]]    commits, or programs ks_bench; ROWS is a regular
#                                               expression, all rows unless given
#
# Builds both in build/compare, and runs them by turns, ten rounds unless said. The exit status is 1
# where a row became slower.
set -eu
cd "$(dirname "$0")/.."
[ $# -ge 2 ] && [ $# -le 4 ] || { sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2; }
rounds=${3:-10}
rows=${4:-.}
work=build/compare
mkdir -p $work

# The program of a version.
program() {
  if [ -x "$1" ]; then
    echo "$1"
    return
  fi
  commit=$(git rev-parse --verify --short "$1^{commit}")
  if [ ! -d "$work/$commit" ]; then
    mkdir -p "$work/$commit/source"
    git archive "$commit" | tar -x -C "$work/$commit/source"
  fi
  cmake -S "$work/$commit/source" -B "$work/$commit/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DKS_BUILD_BENCH=ON -DKS_BUILD_TESTS=OFF -DKS_BUILD_TOOLS=OFF -DKS_BUILD_EXAMPLES=OFF >&2
  cmake --build "$work/$commit/build" --parallel "$(nproc)" --target ks_bench >&2
  echo "$work/$commit/build/bench/ks_bench"
}

old=$(program "$1")
new=$(program "$2")
runs=$(mktemp -d)
trap 'rm -rf "$runs"' EXIT
round=0
while [ $round -lt "$rounds" ]; do
  # Each is as often the first as the second.
  for version in $([ $((round % 2)) -eq 0 ] && echo "old new" || echo "new old"); do
    [ $version = old ] && program=$old || program=$new
    "$program" --benchmark_filter="$rows" --benchmark_min_time=0.05 --benchmark_format=json \
      > "$runs/$version.$round" 2> "$runs/errors" || { cat "$runs/errors" >&2; exit 1; }
  done
  round=$((round + 1))
done
python3 bench/compare-rounds.py "$runs" "$rounds"
