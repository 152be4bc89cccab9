#!/bin/sh
# Which lines and branches of the library the tests reach, as build/coverage/index.html and a summary.
# Branches that only exceptions take are left out. Needs gcovr (Debian package gcovr).
# Each test is a process of its own, so that one that fails in this build, where frames are larger and
# everything is slower, takes no counts of others with it; such tests are named. Those of the tool's
# process are left out: without memory, files or streams, counts cannot be written either. Functions
# are counted before they are inlined, so that each has its branches once.
set -eu
cd "$(dirname "$0")/.."
folders='(base|parser|print|eval|xform|simplify|compact|variants|decide)/'
cmake -S . -B build/coverage -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKS_PACKAGE_TESTS=OFF \
  -DKS_BUILD_EXAMPLES=OFF -DKS_BUILD_PYTHON=OFF \
  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -DNDEBUG -fno-early-inlining --coverage -fprofile-filter-files='$PWD/$folders.*'"
cmake --build build/coverage --parallel "$(nproc)"
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage --label-regex unit --exclude-regex KsExprProcess --quiet \
  --parallel "$(nproc)" ||
  echo "Tests that failed: build/coverage/Testing/Temporary/LastTestsFailed.log"
gcovr --root . --object-directory build/coverage --exclude-throw-branches \
  --exclude-unreachable-branches --gcov-ignore-parse-errors --filter "$folders" \
  --html-details build/coverage/index.html --csv build/coverage/branches.csv --print-summary
