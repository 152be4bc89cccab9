#!/bin/sh
# Makes the reference documentation of the public headers, in build/release/reference/html; what is
# missing in a comment is an error.
set -eu
cd "$(dirname "$0")/.."
cmake --preset release
cmake --build --preset release --target docs
