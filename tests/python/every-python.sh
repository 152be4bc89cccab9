#!/bin/sh
# Installs the Python package for every Python that there is (or those that are named) and runs its
# tests there: by pip in a virtual environment, and by CMake alone where there is no setuptools that
# the Python can use. Nothing is fetched: what a Python has not itself is the system's.
#   every-python.sh SCRATCH_DIR [PYTHON...]
set -eu
scratch=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
fail() { echo "$*" >&2; exit 1; }

if [ $# -eq 0 ]; then
  for python in /usr/bin/python3 "$HOME"/.pyenv/versions/3.*/bin/python3; do
    [ ! -x "$python" ] || set -- "$@" "$python"
  done
fi
mkdir -p "$scratch"
for python in "$@"; do
  "$python" -c 'import sys; sys.exit(sys.version_info < (3, 9))' || continue
  version=$("$python" -c 'import sys; print("%d.%d.%d" % sys.version_info[:3])')
  header=$("$python" -c 'import sysconfig; print(sysconfig.get_path("include") + "/Python.h")')
  [ -e "$header" ] || { echo "-- $version: skipped, no headers"; continue; }
  echo "-- $version"
  folder=$scratch/$version
  rm -rf "$folder"
  unset PYTHONPATH
  "$python" -m venv "$folder"
  mkdir "$folder/system"
  # Not setuptools, which Debian has changed for its own Python.
  for module in wheel pytest _pytest pluggy iniconfig py packaging attr attrs exceptiongroup tomli; do
    found=/usr/lib/python3/dist-packages/$module
    # What a package is found by goes with it: setuptools asks there for the commands of others.
    "$folder/bin/python" -c "import $module" 2> /dev/null ||
      for part in "$found" "$found.py" "$found"-*-info; do
        [ ! -e "$part" ] || ln -s "$part" "$folder/system/"
      done
  done
  export PYTHONPATH="$folder/system"
  if "$folder/bin/python" -c 'import setuptools, wheel' 2> /dev/null; then
    "$folder/bin/python" -m pip install --no-build-isolation --no-index --no-deps \
      --disable-pip-version-check "$root" > "$folder/log" 2>&1
  else
    echo "   no setuptools, so without pip"
    { cmake --preset release -S "$root" -B "$folder/build" -DPython3_EXECUTABLE="$folder/bin/python" \
            -DKS_BUILD_TESTS=OFF -DKS_BUILD_EXAMPLES=OFF -DKS_PYTHON_DIR=lib/python${version%.*}/site-packages &&
      cmake --build "$folder/build" --target ksexpr_python &&
      for component in host library decide python; do
        cmake --install "$folder/build" --prefix "$folder" --component "$component" || exit 1
      done
    } > "$folder/log" 2>&1
  fi || { tail -n 30 "$folder/log"; fail "$version: it cannot be installed"; }
  (cd "$folder" && PYTHONDONTWRITEBYTECODE=1 "$folder/bin/python" -m pytest -q -p no:cacheprovider "$here") ||
    fail "$version: the tests fail"
done
