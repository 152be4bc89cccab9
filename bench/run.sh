#!/bin/sh
# Measures the library beside other engines, and how its costs grow, writes both tables into
# bench/README.md and draws them.
#
#   bench/run.sh [--corpus DIR]    texts from DIR instead of generated ones
set -eu
cd "$(dirname "$0")/.."
if [ $# -eq 0 ]; then
  corpus="texts of the generator in bench/Corpus.cpp"
elif [ $# -eq 2 ] && [ "$1" = --corpus ] && [ -d "$2" ]; then
  corpus="texts of a corpus given to it"
else
  echo "usage: bench/run.sh [--corpus DIR]" >&2
  exit 2
fi

missing=
for package in cmake ninja-build g++ libbenchmark-dev libginac-dev libmuparser-dev libz3-dev \
               libbdd-dev libcadical-dev; do
  dpkg-query -W -f '${Status}\n' "$package" 2> /dev/null | grep -q '^install ok installed' ||
    missing="$missing $package"
done
if [ -n "$missing" ]; then
  echo "Without these Debian packages some or all of it is left out:" >&2
  echo "    apt-get install --no-install-recommends$missing" >&2
fi

build=build/bench
cmake -S . -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKS_BUILD_BENCH=ON -DKS_BUILD_TESTS=OFF \
      -DKS_BUILD_TOOLS=ON -DKS_BUILD_EXAMPLES=OFF > /dev/null
cmake --build $build --parallel "$(nproc)" > /dev/null

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
echo "Peers ..." >&2
$build/bench/ks_peers "$@" > "$out/peers" || status=1
echo "Growth ..." >&2
$build/bench/ks_growth > "$out/growth" || status=1

if [ -x $build/bench/ks_decide ]; then
  echo "Deciding ..." >&2
  $build/bench/ks_decide > "$out/decide" || status=1
fi

{
  compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[^=]*=//p' $build/CMakeCache.txt)
  echo "Measured on $(date -u +%Y-%m-%d) at commit $(git rev-parse --short HEAD || echo unknown):"
  echo "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) processors,"
  echo "$(sed -n 's/^PRETTY_NAME="\(.*\)"/\1/p' /etc/os-release)," \
       "$(basename "$compiler") $("$compiler" -dumpfullversion), release build; $corpus."
  printf '\n## Beside other engines\n\n'
  cat "$out/peers"
  printf '\n## Growth\n\n'
  cat "$out/growth"
  if [ -s "$out/decide" ]; then
    printf '\n## Deciding\n\n'
    cat "$out/decide"
  fi
} > "$out/tables"

awk -v tables="$out/tables" '
  /^<!-- tables: end/ { inside = 0 }
  !inside { print }
  /^<!-- tables: begin/ { inside = 1; print ""; while ((getline line < tables) > 0) print line; print "" }
' bench/README.md > "$out/README.md"
cp "$out/README.md" bench/README.md
if /usr/bin/python3 -c 'import matplotlib' 2> /dev/null; then
  /usr/bin/python3 bench/draw.py
else
  echo "The pictures stay as they were: there is no matplotlib (Debian: python3-matplotlib)" >&2
fi
cat "$out/tables"
exit $status
