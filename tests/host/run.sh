#!/bin/sh
# Builds the library as a subproject of a host with services of its own, and runs the host.
#   run.sh SCRATCH_DIR COMPILER [OPTION...]    the options are for CMake
set -eu
scratch=$1 cxx=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
# Optimising would only make this slower: what is tested is who is called. Compiled as for the
# wrapping project, most sources are in a compiler's cache.
cmake -S "$here" -B "$scratch" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" "-DCMAKE_CXX_FLAGS=-O0 -g" \
      "$@"
cmake --build "$scratch" --target fakehost_main
status=0
"$scratch/fakehost_main" || status=$?
test "$status" = 7
