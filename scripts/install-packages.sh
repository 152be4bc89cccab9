#!/bin/sh
# Installs the Debian packages that packaging/control names under Build-Depends and that are missing:
# as root, or with sudo. With nothing missing it asks nobody and needs no network. With
# --without-tests those that only tests and documentation need (marked <!...>) are left out. Other
# arguments are packages to install besides.
set -eu

if ! command -v dpkg-query > /dev/null; then
  echo "This is no Debian system; see docs/building.md for what is needed." >&2
  exit 0
fi
control=$(dirname "$0")/../packaging/control
unwanted=
if [ "${1:-}" = --without-tests ]; then
  unwanted='/<!/d'
  shift
fi

# One line for each dependency, such as "libboost1.81-dev | libboost-dev 1.81".
dependencies() {
  sed -n '/^Build-Depends:/,/^$/ { s/^Build-Depends://; p; }' "$control" |
    tr ',\n' '\n ' | sed "$unwanted" | sed 's/<[^>]*>//g; s/(>= *\([^)]*\))/\1/g'
  echo # ends the last line
  for package in "$@"; do echo "$package"; done
}
installed() { # PACKAGE [VERSION]
  status=$(dpkg-query -W -f '${db:Status-Status} ${Version}' "$1" 2> /dev/null) || return 1
  [ "${status%% *}" = installed ] && dpkg --compare-versions "${status#* }" ge "${2:-0}"
}
available() { # PACKAGE [VERSION]
  candidate=$(apt-cache policy "$1" | sed -n 's/^ *Candidate: //p')
  case $candidate in '' | '(none)') return 1 ;; esac
  dpkg --compare-versions "$candidate" ge "${2:-0}"
}
first() { # TEST DEPENDENCY: the first of the alternatives for which the test holds
  echo "$2" | tr '|' '\n' | while read -r package version; do
    if "$1" "$package" "$version"; then
      echo "$package"
      break
    fi
  done
}
missing=$(dependencies "$@" | while IFS= read -r dependency; do
  [ -n "$(first installed "$dependency")" ] || echo "$dependency"
done)
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" != 0 ]; then
  as_root=sudo
  command -v sudo > /dev/null || {
    echo "Missing packages:" $missing >&2
    echo "Run this as root, or install sudo." >&2
    exit 1
  }
fi
apt() { $as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -q "$@" < /dev/null; }
apt update
packages=$(echo "$missing" | while IFS= read -r dependency; do
  package=$(first available "$dependency")
  # What there is none of is asked for all the same, so that apt names it.
  echo "${package:-$(echo "$dependency" | sed 's/^ *//; s/[ |].*//')}"
done)
echo "Installing:" $packages
# shellcheck disable=SC2086
apt install --no-install-recommends $packages
