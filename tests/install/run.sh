#!/bin/sh
# Installs into a scratch prefix, moves it, and builds and runs a consumer against what moved,
# through CMake and through pkg-config.
#   run.sh BUILD_DIR SCRATCH_DIR COMPILER
set -eu
build=$1 scratch=$2 cxx=$3
here=$(cd "$(dirname "$0")" && pwd)
fail() { echo "$*" >&2; exit 1; }

rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/first" > "$scratch/install.log"
mv "$scratch/first" "$scratch/moved"
prefix=$scratch/moved

for private in $(find "$prefix/include" -name detail); do fail "$private is installed"; done
if grep -rlF -e "$build/" -e "$scratch" "$prefix" --include='*.cmake' --include='*.pc' --include='*.hpp'; then
  fail "the files above name folders of the build or the first prefix"
fi

echo "-- consumer through find_package"
cmake -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$cxx" > "$scratch/configure.log"
cmake --build "$scratch/consumer" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
"$scratch/consumer/consumer"

echo "-- consumer through pkg-config"
pc=$(find "$prefix" -name KSSymbolicExpr.pc)
export PKG_CONFIG_PATH="${pc%/*}"
"$cxx" -std=c++17 "$here/main.cpp" -o "$scratch/by-pkg-config" \
       $(pkg-config --cflags --libs KSSymbolicExpr)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir KSSymbolicExpr) "$scratch/by-pkg-config"

if [ -x "$prefix/bin/ksexpr" ]; then
  echo "-- the installed tool"
  test "$("$prefix/bin/ksexpr" print 'a  +  b')" = a+b
fi
