#!/bin/sh
# Builds the library as a subproject of a host with services of its own, and runs the host.
#   run.sh SCRATCH_DIR COMPILER [OPTION...]    the options are for CMake
set -eu
scratch=$1 cxx=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
# What is tested is who is called, so compiling may be quick: the options are those of a build of
# whose objects a compiler's cache has most, if there is one.
[ -n "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] || set -- "$@" -DCMAKE_BUILD_TYPE= -DCMAKE_CXX_FLAGS=-O0
cmake -S "$here" -B "$scratch" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" "$@"
cmake --build "$scratch" --target fakehost_main
status=0
"$scratch/fakehost_main" || status=$?
test "$status" = 7
