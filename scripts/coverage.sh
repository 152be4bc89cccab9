#!/bin/sh
# Which lines and branches of the library the tests reach, as build/coverage/index.html and a summary
# by folder. Branches that only exceptions take are left out. Needs gcovr (Debian package gcovr).
set -eu
cd "$(dirname "$0")/.."
cmake -S . -B build/coverage -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKS_PACKAGE_TESTS=OFF \
  -DCMAKE_CXX_FLAGS_DEBUG="-O1 --coverage"
cmake --build build/coverage --parallel "$(nproc)"
find build/coverage -name '*.gcda' -delete
for program in tests/ks_tests tests/ks_memory_tests tests/decide/ks_decide_tests \
  tests/tool/ks_tool_tests; do
  [ ! -x "build/coverage/$program" ] || "build/coverage/$program" --gtest_brief=1 < /dev/null
done
gcovr --root . --object-directory build/coverage --exclude-throw-branches \
  --exclude-unreachable-branches --gcov-ignore-parse-errors \
  --filter '(base|parser|print|eval|xform|simplify|compact|variants|decide)/' \
  --html-details build/coverage/index.html --csv build/coverage/branches.csv --print-summary
