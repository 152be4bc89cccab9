#!/bin/sh
# Tells whether programs that were linked with the library of the baseline run with that of this
# tree: compares exported functions, layouts of classes and virtual functions, with abigail-tools.
#   compare.sh check|update FOLDER [COMPILER]
# Builds the library in FOLDER, since this reads its debug information; "update" writes the baseline.
# Exits with 1 where something has gone or changed, with 77 where the tools are not installed.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
baseline=$here/baseline.abi.xz
for tool in abidw abidiff xz; do
  command -v $tool > /dev/null || { echo "skipped: no $tool (Debian packages abigail-tools, xz-utils)"; exit 77; }
done
mode=$1 folder=$2 cxx=${3:-g++}
cmake -S "$here/../.." -B "$folder/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      "-DCMAKE_CXX_FLAGS=-O0 -g" -DKS_BUILD_TESTS=OFF -DKS_BUILD_TOOLS=OFF -DKS_BUILD_EXAMPLES=OFF \
      -DKS_BUILD_DECIDE=OFF -DKS_BUILD_PYTHON=OFF
cmake --build "$folder/build"
rm -rf "$folder/installed"
cmake --install "$folder/build" --prefix "$folder/installed" > "$folder/install.log"
# The grammar's templates are instantiations of Boost's, which change with its releases.
cat > "$folder/left-out" << END
[suppress_type]
  name_regexp = ^(boost|__gnu_cxx)::|^KS::Parser::ExprParser
  drop = yes
[suppress_function]
  name_regexp = ^KS::Parser::ExprParser
  drop = yes
END
abidw --suppressions "$folder/left-out" --headers-dir "$folder/installed/include" \
      --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
      --type-id-style hash --out-file "$folder/now.abi" "$folder/build/libtqKSSymbolicExpr.so"
case $mode in
  update) xz -9 < "$folder/now.abi" > "$baseline" ;;
  check)
    xz -d < "$baseline" > "$folder/baseline.abi"
    abidiff --no-added-syms "$folder/baseline.abi" "$folder/now.abi" || {
      echo "If older programs run all the same, or the major version is new: $0 update $folder" >&2
      exit 1
    } ;;
  *) echo "usage: $0 check|update WRAPPER FOLDER" >&2; exit 2 ;;
esac
