#!/bin/sh
# Installs what is missing, then builds and tests: optimised, under AddressSanitizer and
# UndefinedBehaviorSanitizer (with inputs of fuzzers and changes of them), and the tests of threads
# under ThreadSanitizer; runs cppcheck and clang-tidy. Arguments are what to run instead: of release,
# asan, tsan and lint, another preset, or fuzz, the fuzzers themselves for a short time.
set -eu
cd "$(dirname "$0")"
scripts/install-packages.sh
[ $# -gt 0 ] || set -- release asan tsan lint
# Tests of packages and of hosts build the library again: what they compile as another build does is
# taken from there.
if command -v ccache > /dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_DIR="${CCACHE_DIR:-$PWD/build/ccache}" CCACHE_NOHASHDIR=1
fi
for preset in "$@"; do
  echo "== $preset"
  if [ "$preset" = lint ]; then
    scripts/lint.py --quick
    continue
  fi
  if [ "$preset" = fuzz ]; then
    mkdir -p build
    if ! echo 'extern "C" int LLVMFuzzerTestOneInput(const char*, unsigned long) { return 0; }' |
      clang++ -x c++ -fsanitize=fuzzer,address -o build/has-fuzzer - 2> /dev/null; then
      echo "SKIPPED: there is no clang with libFuzzer (Debian: clang libclang-rt-14-dev)"
      continue
    fi
    cmake --preset fuzz
    # The one for models takes as long to build as all else, and its inputs are tried under asan.
    cmake --build --preset fuzz --parallel "$(nproc)" --target fuzz_text fuzz_calls fuzz_customizer
    rm -rf build/fuzz-check
    fuzz/run.sh --seconds 15 --dir build/fuzz-check text calls customizer
    continue
  fi
  cmake --preset "$preset"
  cmake --build --preset "$preset" --parallel "$(nproc)"
  ctest --preset "$preset" --parallel "$(nproc)" < /dev/null
done
