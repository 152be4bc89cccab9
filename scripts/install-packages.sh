#!/bin/sh
# Installs the Debian packages that the project needs and that are missing: as root, or with sudo.
# With nothing missing it asks nobody and needs no network.
set -eu

if ! command -v dpkg-query > /dev/null; then
  echo "This is no Debian system; see docs/building.md for what is needed." >&2
  exit 0
fi
installed() { dpkg-query -W -f '${Status}\n' "$1" 2> /dev/null | grep -q '^install ok installed'; }

missing=
for package in cmake ninja-build g++ pkgconf libgtest-dev libgmock-dev libcli11-dev \
               nlohmann-json3-dev libunistring-dev libcadical-dev python3 doxygen chromium; do
  installed "$package" || missing="$missing $package"
done
# Debian 12 has two releases of Boost and calls the older one libboost-dev; later ones are new enough.
if ! installed libboost1.81-dev &&
   ! dpkg --compare-versions "$(dpkg-query -W -f '${Version}' libboost-dev 2> /dev/null || echo 0)" ge 1.81
then
  boost=wanted
fi
[ -n "$missing${boost:-}" ] || exit 0

as_root=
if [ "$(id -u)" != 0 ]; then
  as_root=sudo
  command -v sudo > /dev/null || {
    echo "Missing packages:$missing${boost:+ libboost1.81-dev}" >&2
    echo "Run this as root, or install sudo." >&2
    exit 1
  }
fi
apt() { $as_root env DEBIAN_FRONTEND=noninteractive apt-get -y -q "$@" < /dev/null; }
apt update
if [ -n "${boost:-}" ]; then
  if apt-cache show libboost1.81-dev > /dev/null 2>&1; then
    missing="$missing libboost1.81-dev"
  else
    missing="$missing libboost-dev"
  fi
fi
echo "Installing:$missing"
# shellcheck disable=SC2086
apt install --no-install-recommends $missing
