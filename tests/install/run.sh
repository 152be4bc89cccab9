#!/bin/sh
# Installs into a scratch prefix, moves it, and builds and runs consumers against what moved: through
# CMake, through pkg-config, and with every compiler and C++ standard that there is.
#   run.sh BUILD_DIR SCRATCH_DIR COMPILER
set -eu
build=$1 scratch=$2 cxx=$3
here=$(cd "$(dirname "$0")" && pwd)
fail() { echo "$*" >&2; exit 1; }

rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/first" > "$scratch/install.log"
mv "$scratch/first" "$scratch/moved"
prefix=$scratch/moved

for private in $(find "$prefix/include" -name detail); do fail "$private is installed"; done
if grep -rlF -e "$build/" -e "$scratch" "$prefix" --include='*.cmake' --include='*.pc' --include='*.hpp'; then
  fail "the files above name folders of the build or the first prefix"
fi

echo "-- consumer through find_package"
cmake -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$cxx" > "$scratch/configure.log"
cmake --build "$scratch/consumer" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
"$scratch/consumer/consumer"
if [ -x "$scratch/consumer/decide" ]; then "$scratch/consumer/decide"; fi

echo "-- consumer through pkg-config"
pc=$(find "$prefix" -name KSSymbolicExpr.pc)
export PKG_CONFIG_PATH="${pc%/*}"
"$cxx" -std=c++17 "$here/main.cpp" -o "$scratch/by-pkg-config" \
       $(pkg-config --cflags --libs KSSymbolicExpr)
export LD_LIBRARY_PATH="$(pkg-config --variable=libdir KSSymbolicExpr)"
"$scratch/by-pkg-config"
if pkg-config --exists KSSymbolicExprDecide; then
  "$cxx" -std=c++17 "$here/decide.cpp" -o "$scratch/decide-by-pkg-config" \
         $(pkg-config --cflags --libs KSSymbolicExprDecide)
  "$scratch/decide-by-pkg-config"
fi

# A host need not have the Boost that the library was built with, or any, unless it uses the grammar
# or the syntax tree.
echo "-- headers without Boost"
headers=$(find "$prefix/include" -name '*.hpp' ! -name all.hpp ! -name ExprParser.hpp \
               ! -name ExpressionAst.hpp ! -name Ast2SymbolicExprId.hpp)
for header in $headers; do echo "#include \"$header\""; done > "$scratch/headers.cpp"
"$cxx" -std=c++17 -M $(pkg-config --cflags KSSymbolicExpr) "$scratch/headers.cpp" > "$scratch/headers.d"
if grep -o '[^ ]*boost/.*' "$scratch/headers.d"; then fail "the public headers include Boost"; fi

echo "-- other compilers and standards"
build_consumer() { # COMPILER STANDARD
  program=$scratch/consumer-$(basename "$1")-$2
  "$1" -std="$2" -Wall -Wextra -Wpedantic -Werror -include KSSymbolicExpr/all.hpp "$here/main.cpp" -o "$program" \
       $(pkg-config --cflags --libs KSSymbolicExpr) && "$program"
}
for standard in c++17 c++20 c++2b; do
  for compiler in g++ clang++; do
    if command -v $compiler > /dev/null; then
      echo "   $compiler $standard"
      build_consumer $compiler $standard
    fi
  done
done

if [ -x "$prefix/bin/ksexpr" ]; then
  echo "-- the installed tool"
  test "$("$prefix/bin/ksexpr" print 'a  +  b')" = a+b
fi
