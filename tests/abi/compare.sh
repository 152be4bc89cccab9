#!/bin/sh
# Tells whether programs that were linked with the library of the baseline run with that of this
# tree: compares exported functions, layouts of classes and virtual functions, with abigail-tools.
#   compare.sh check|update FOLDER    builds in that folder; "update" writes the baseline
# Exits with 1 where something has gone or changed, with 77 where the tools are not installed.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
baseline=$here/baseline.abi.xz
for tool in abidw abidiff xz; do
  command -v $tool > /dev/null || { echo "skipped: no $tool (Debian packages abigail-tools, xz-utils)"; exit 77; }
done
mode=$1
build=$2
mkdir -p "$build"
cmake -S "$here/../.." -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS=-g \
      -DKS_BUILD_TESTS=OFF -DKS_BUILD_TOOLS=OFF -DKS_BUILD_EXAMPLES=OFF -DKS_BUILD_DECIDE=OFF \
      > "$build/log"
cmake --build "$build" --target KSSymbolicExpr >> "$build/log"
cmake --install "$build" --prefix "$build/installed" >> "$build/log"
# The grammar's templates are instantiations of Boost's, which change with its releases.
cat > "$build/left-out" << END
[suppress_type]
  name_regexp = ^(boost|__gnu_cxx)::|^KS::Parser::ExprParser
  drop = yes
[suppress_function]
  name_regexp = ^KS::Parser::ExprParser
  drop = yes
END
abidw --suppressions "$build/left-out" --headers-dir "$build/installed/include" \
      --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
      --type-id-style hash --out-file "$build/now.abi" "$build/libtqKSSymbolicExpr.so"
case $mode in
  update) xz -9 < "$build/now.abi" > "$baseline" ;;
  check)
    xz -d < "$baseline" > "$build/baseline.abi"
    abidiff --no-added-syms "$build/baseline.abi" "$build/now.abi" || {
      echo "If older programs run all the same, or the major version is new: $0 update $build" >&2
      exit 1
    } ;;
  *) echo "usage: $0 check|update FOLDER" >&2; exit 2 ;;
esac
