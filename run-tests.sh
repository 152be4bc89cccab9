#!/bin/sh
# Installs what is missing, then builds and tests, optimised first and then under AddressSanitizer
# and UndefinedBehaviorSanitizer. Arguments are the presets to run instead of those two: tsan runs
# the tests of threads under ThreadSanitizer, fuzz the fuzzers for a short time.
set -eu
cd "$(dirname "$0")"
scripts/install-packages.sh
[ $# -gt 0 ] || set -- release asan
for preset in "$@"; do
  echo "== $preset"
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
