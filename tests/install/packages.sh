#!/bin/sh
# Makes the Debian packages and tries them in a small system of their own below the scratch folder:
# installs them, runs the tool, builds programs against them, upgrades, removes. Exits with 77, which
# ctest takes for skipped, where there is no dpkg or nobody may change the root folder.
#   packages.sh SCRATCH_DIR COMPILER [OPTION...]    the options are for CMake
set -eu
scratch=$1 cxx=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
fail() { echo "$*" >&2; exit 1; }
skip() { echo "skipped: $*"; exit 77; }

for tool in dpkg dpkg-deb dpkg-shlibdeps; do
  command -v $tool > /dev/null || skip "no $tool (Debian packages dpkg, dpkg-dev)"
done
if [ "$(id -u)" != 0 ]; then
  unshare --map-root-user true 2> /dev/null || skip "only root can install packages in a folder"
  exec unshare --map-root-user "$0" "$scratch" "$cxx" "$@"
fi
chroot / true 2> /dev/null || skip "chroot is not allowed here"

echo "-- making the packages"
cd "$here/../.."
build=$scratch/build
# What is tested is where things lie, so compiling them may be quick; a cache has the release.
[ -n "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && flags=-DCMAKE_CXX_FLAGS= || flags=-DCMAKE_CXX_FLAGS=-O0
mkdir -p "$scratch"
{
  cmake --fresh --preset package -B "$build" -DCMAKE_CXX_COMPILER="$cxx" \
        "$flags" "$@"
  cmake --build "$build"
} > "$scratch/build.log" 2>&1 || { tail -n 30 "$scratch/build.log"; exit 1; }
rm -rf "$scratch/old" "$scratch/new"
for release in 1 2; do
  [ $release = 1 ] && folder=$scratch/old || folder=$scratch/new
  cpack --config "$build/CPackConfig.cmake" -B "$folder" -D CPACK_DEBIAN_PACKAGE_RELEASE=$release \
        > "$scratch/cpack.log" 2>&1 || { cat "$scratch/cpack.log"; exit 1; }
  rm -r "$folder/_CPack_Packages"
done
names=$(for deb in "$scratch"/old/*.deb; do dpkg-deb -f "$deb" Package; done)
rm -rf "$scratch/contents"
mkdir "$scratch/contents"
for deb in "$scratch"/old/*.deb; do dpkg-deb -x "$deb" "$scratch/contents/$(dpkg-deb -f "$deb" Package)"; done
for deb in "$scratch"/old/*.deb; do
  # The libraries of other packages of ours that this one loads are among what it depends on.
  contents=$scratch/contents/$(dpkg-deb -f "$deb" Package)
  for library in $(find "$contents" -type f \( -name 'lib*.so*' -o -name '_core.*.so' -o -name ksexpr -path '*/bin/*' \) \
                        -exec readelf -d {} + | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort -u); do
    for owner in $(cd "$scratch/contents" && find . -name "$library" | cut -d / -f 2); do
      dpkg-deb -f "$deb" Depends | grep -q "$owner (" || fail "$deb does not say that it needs $owner"
    done
  done
  # The number at the end of a library's package is that in the names that programs ask for.
  for library in $(dpkg-deb -c "$deb" | sed -n 's|.*/lib[^/]*\.so\.\([0-9]*\) -> .*|\1|p'); do
    case $deb in */lib*"$library"_*) ;; *) fail "$deb holds a library of version $library" ;; esac
  done
  dpkg-deb -f "$deb" Depends | grep -q libc6 ||
    case $deb in *-dev_*) ;; *) fail "$deb does not say that it needs libc6" ;; esac
done

# A root folder with a shell, what maintainer scripts call, and the libraries that any program here
# needs. These count as installed there, in the versions that this machine has.
root=$scratch/root
rm -rf "$root"
mkdir -p "$root/usr/bin" "$root/usr/sbin" "$root/usr/lib" "$root/usr/lib64" "$root/etc" "$root/tmp" \
         "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/log"
for folder in bin sbin lib lib64; do ln -s usr/$folder "$root/$folder"; done
put() { # copies files with the libraries that they load
  for file in "$@"; do
    cp -L --parents "$file" "$root"
    ldd "$file" 2> /dev/null | grep -o '/[^ ]*' | sort -u | while read -r library; do
      cp -L --parents "$library" "$root"
    done
  done
}
put /bin/sh /sbin/ldconfig
# The C++ library, as the tool loads it.
for library in $(ldd "$build/tools/ksexpr" | grep -o '/[^ ]*' | grep -v "^$build" | sort -u); do
  cp -L --parents "$library" "$root"
done
if [ -e /etc/ld.so.conf ]; then cp -r --parents /etc/ld.so.conf /etc/ld.so.conf.d "$root"; fi
needed=$(for deb in "$scratch"/old/*.deb; do dpkg-deb -f "$deb" Depends; done |
           tr ',|' '\n\n' | sed 's/^ *//; s/ .*//' | sort -u)
for package in $needed; do
  dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2> /dev/null | grep -q '^ii' || continue
  dpkg-query -W -f 'Package: ${Package}\nStatus: install ok installed\nVersion: ${Version}\nArchitecture: ${Architecture}\nMaintainer: nobody\nDescription: of this machine\n\n' \
             "$package"
  : > "$root/var/lib/dpkg/info/$package.list"
done > "$root/var/lib/dpkg/status"
files() { (cd "$root" && find . -path ./var -prune -o ! -name ld.so.cache -print | sort); }
files > "$scratch/before"
in_root() { PATH=/usr/sbin:/usr/bin:/sbin:/bin dpkg --root="$root" --log=/dev/null "$@"; }
quiet() { "$@" > "$scratch/dpkg.log" 2>&1 || { cat "$scratch/dpkg.log"; exit 1; }; }
refused() { if "$@" > "$scratch/dpkg.log" 2>&1; then fail "dpkg did it all the same: $*"; fi; }
tool() { chroot "$root" /usr/bin/ksexpr "$@"; }

echo "-- installing"
refused in_root --install "$scratch"/old/ksexpr_*.deb
in_root --purge ksexpr > /dev/null 2>&1
quiet in_root --install "$scratch"/old/*.deb
[ "$(tool simplify 'N == 5 && 2 + 3 == N')" = N==5 ] || fail "ksexpr does not run"
[ -z "$(in_root --verify)" ] || fail "files are not as in the packages"
for file in man/man1/ksexpr.1 bash-completion/completions/ksexpr zsh/vendor-completions/_ksexpr \
            fish/vendor_completions.d/ksexpr.fish; do
  [ -s "$root/usr/share/$file" ] || fail "$file is not installed"
done

module() { # what the installed Python package answers, in the Python of this machine
  libraries=$(cd "$root/usr/lib" && echo "$root"/usr/lib/*-linux-*)
  LD_LIBRARY_PATH=$libraries PYTHONPATH=$root/usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 -c 'import ksexpr; print(ksexpr.parse("N == 5 && 2 + 3 == N").simplify())'
}
case $names in
  *python3-ksexpr*) [ "$(module)" = N==5 ] || fail "the Python package does not work" ;;
esac

echo "-- programs that use the package"
pc=$(find "$root/usr/lib" -name KSSymbolicExpr.pc)
export PKG_CONFIG_PATH="${pc%/*}"
[ "$PKG_CONFIG_PATH" = "$root/usr/lib/$("$cxx" -print-multiarch)/pkgconfig" ] ||
  fail "$pc is not where pkg-config looks"
rm -rf "$scratch/consumer"
cmake -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_CXX_COMPILER="$cxx" \
      > "$scratch/configure.log"
cmake --build "$scratch/consumer" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
"$cxx" -std=c++17 "$here/main.cpp" -o "$scratch/by-pkg-config" \
       $(pkg-config --cflags --libs KSSymbolicExpr)
for program in "$scratch/consumer/consumer" "$scratch/by-pkg-config" "$scratch/consumer/decide"; do
  [ -x "$program" ] || continue
  cp "$program" "$root/tmp/program"
  chroot "$root" /tmp/program
  rm "$root/tmp/program"
done

echo "-- upgrading"
refused in_root --install "$scratch"/new/libtqkssymbolicexpr-dev_*.deb
quiet in_root --install "$scratch"/new/*.deb
for name in $names; do
  case $(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${db:Status-Abbrev}${Version}' "$name") in
    'ii '*-2) ;;
    *) fail "$name was not upgraded" ;;
  esac
done
[ "$(tool print 'a  +  b')" = a+b ] || fail "ksexpr does not run after the upgrade"

echo "-- removing"
refused in_root --remove libtqkssymbolicexpr1
[ "$(tool print 'a  +  b')" = a+b ] || fail "ksexpr does not run although nothing was removed"
# shellcheck disable=SC2086
quiet in_root --purge $names
files > "$scratch/after"
diff "$scratch/before" "$scratch/after" || fail "the packages left the above"
