#!/bin/sh
# Installs what is missing, builds ksexpr and answers the conditions of every block of the sample
# model. Arguments go to ksexpr instead: ./run-example.sh simplify 'x + 0'
set -eu
cd "$(dirname "$0")"
scripts/install-packages.sh --without-tests
build=build/example
{
  cmake --preset release -B "$build" -DKS_BUILD_TESTS=OFF
  cmake --build "$build" --parallel "$(nproc)" --target ksexpr
} >&2
[ $# -gt 0 ] || set -- conditions examples/pump-station.json
exec $build/tools/ksexpr "$@"
