#!/bin/sh
# Builds a project that takes the library in, installs it, moves what was installed, and builds a user
# of that.
#   run.sh SCRATCH_DIR COMPILER [OPTION...]    the options are for CMake
set -eu
scratch=$1 cxx=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
# What is tested is what finds what, so compiling may be quick: the options are those of a build
# whose objects a compiler's cache has, if there is one.
[ -n "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] || set -- "$@" -DCMAKE_BUILD_TYPE= -DCMAKE_CXX_FLAGS=-O0
cmake -S "$here" -B "$scratch/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" "$@"
cmake --build "$scratch/build"
"$scratch/build/wrapper_main"

rm -rf "$scratch/first" "$scratch/moved" "$scratch/user"
cmake --install "$scratch/build" --prefix "$scratch/first" > "$scratch/install.log"
mv "$scratch/first" "$scratch/moved"
cmake -S "$here/user" -B "$scratch/user" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_PREFIX_PATH="$scratch/moved"
cmake --build "$scratch/user"
"$scratch/user/user"
