#!/usr/bin/env bash
# Installs the host's Debian packages with apt, builds the consumer project against
# /usr through the CMake package and through pkg-config, runs it, runs
# norvane-capture from PATH with its installed modules and the Python package against
# the system library, then removes the packages. Also checks the cross-built
# packages' architecture and contents with dpkg-deb. Run as root.
#
# usage: run_deb_test.sh HOST_PACKAGE_DIR [CROSS_PACKAGE_DIR...]
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
host_dir=$(cd "$1" && pwd)
shift
[[ $(id -u) -eq 0 ]] || { echo "run as root" >&2; exit 2; }
packages=(libnorvanecore1 libnorvanecore-dev libnorvanerouter1 norvane-capture)
arch=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
work=$(mktemp -d)

deb_of() { ls "$1/$2"_*_"$3".deb; }
cleanup() {
  DEBIAN_FRONTEND=noninteractive apt-get purge -y -q "${packages[@]}" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT

echo "== cross packages"
for dir in "$@"; do
  for deb in "$dir"/*.deb; do
    cross_arch=$(dpkg-deb -f "$deb" Architecture)
    [[ "$deb" == *_"$cross_arch".deb && "$cross_arch" != "$arch" ]] || {
      echo "error: $deb has architecture $cross_arch" >&2; exit 1; }
  done
  cross_multiarch=$(dpkg-architecture -a"$cross_arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
  mkdir -p "$work/$cross_arch"
  for package in "${packages[@]}"; do
    dpkg-deb -x "$(deb_of "$dir" "$package" "$cross_arch")" "$work/$cross_arch"
  done
  root=$work/$cross_arch/usr
  for file in "lib/$cross_multiarch/libNorvaneCore.so.1" "lib/$cross_multiarch/libNorvaneCore.so" \
              "lib/$cross_multiarch/pkgconfig/norvane-core.pc" include/norvane/NorvaneCoreC.h \
              "lib/$cross_multiarch/cmake/NorvaneCore/NorvaneCoreConfig.cmake" \
              "lib/$cross_multiarch/libNorvaneRouter.so.1" include/norvane/router/NorvaneRouterC.h \
              bin/norvane-capture "lib/$cross_multiarch/norvane/modules/liblabels.so"; do
    [[ -e "$root/$file" ]] || { echo "error: $cross_arch packages lack /usr/$file" >&2; exit 1; }
  done
  file -L "$root/lib/$cross_multiarch/libNorvaneCore.so.1" "$root/bin/norvane-capture"
  dpkg-deb -f "$(deb_of "$dir" libnorvanecore1 "$cross_arch")" Depends | grep libjsoncpp >/dev/null
  echo "$cross_arch packages ok"
done

echo "== apt-get install ($arch)"
debs=()
for package in "${packages[@]}"; do debs+=("$(deb_of "$host_dir" "$package" "$arch")"); done
DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${debs[@]}" >/dev/null
dpkg -L libnorvanecore1 | grep -x "/usr/lib/$multiarch/libNorvaneCore.so.1" >/dev/null

echo "== CMake package from /usr"
cmake -S "$source_dir/tests/install/project" -B "$work/cmake" >/dev/null
grep -qx "NorvaneCore_DIR:PATH=/usr/lib/$multiarch/cmake/NorvaneCore" "$work/cmake/CMakeCache.txt"
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"
"$work/cmake/consumer_c"
ldd "$work/cmake/consumer" | grep -E "libNorvaneCore.so.1 => (/usr)?/lib/$multiarch/" >/dev/null

echo "== pkg-config from /usr"
flags=$(pkg-config --cflags --libs norvane-core)
# shellcheck disable=SC2086
c++ -std=c++17 -Wall -Werror "$source_dir/tests/install/project/consumer.cpp" $flags -o "$work/pc_consumer"
"$work/pc_consumer"
# shellcheck disable=SC2086
cc -std=c99 -pedantic -Wall -Werror "$source_dir/tests/install/project/consumer_c.c" $flags -o "$work/pc_consumer_c"
"$work/pc_consumer_c"

echo "== norvane-capture from PATH"
(cd "$work" && norvane-capture --module labels --frames 4 --workers 2 | tail -n 1)
if [[ -e "/usr/lib/$multiarch/norvane/modules/libbarcode.so" ]]; then
  (cd "$work" && norvane-capture --frames 2 | tail -n 1)
fi

echo "== a module built against /usr, run by the installed program"
cmake -S "$source_dir/docs/examples/module" -B "$work/module" >/dev/null
cmake --build "$work/module" >/dev/null
out=$(cd "$work" && NORVANE_MODULE_PATH="$work/module" norvane-capture --module tiles --frames 4)
grep -q "ground truth: 16 of 16 tiles read" <<<"$out" || { echo "$out"; exit 1; }

echo "== manual page, documentation, symbols file"
man -l /usr/share/man/man1/norvane-capture.1.gz | grep -- '--formats' >/dev/null
MANPAGER=cat man norvane-capture | grep 'read the codes in image files' >/dev/null
for doc in README.md writing-a-module.md c-interface.md examples/module/tiles_module.cpp \
           examples/adapter_demo.c; do
  [[ -s "/usr/share/doc/libnorvanecore-dev/$doc" ]] || { echo "error: no $doc" >&2; exit 1; }
done
dpkg-deb --ctrl-tarfile "$(deb_of "$host_dir" libnorvanecore1 "$arch")" | tar -xO ./symbols |
  diff - "$source_dir/cmake/debian/libnorvanecore1.symbols.$arch"
"$source_dir/scripts/check-symbols.sh" "/usr/lib/$multiarch/libNorvaneCore.so.1" "$arch"

echo "== Python package with the system library"
env -u NORVANE_LIBRARY PYTHONPATH="$source_dir/python" /usr/bin/python3 -c '
import norvane
assert norvane.library_version() == norvane.__version__
maps = open("/proc/self/maps").read()
assert "/lib/'"$multiarch"'/libNorvaneCore.so.1" in maps, "not the system library"
print("python: version", norvane.library_version())'

echo "== apt-get purge"
DEBIAN_FRONTEND=noninteractive apt-get purge -y -q "${packages[@]}" >/dev/null
! dpkg -s libnorvanecore1 >/dev/null 2>&1
[[ ! -e "/usr/lib/$multiarch/libNorvaneCore.so.1" && ! -e /usr/bin/norvane-capture &&
   ! -e "/usr/lib/$multiarch/libNorvaneRouter.so.1" ]]
echo "Debian packages ok"
