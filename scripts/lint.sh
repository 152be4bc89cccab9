#!/bin/sh
# Compiles everything with clang-tidy looking at it; its findings are errors.
set -eu
cd "$(dirname "$0")/.."
cmake --preset tidy
cmake --build --preset tidy --parallel "$(nproc)"
