#!/usr/bin/env bash
# Builds the Debian packages of the CMake install with CPack and checks them with
# lintian (errors fail the script):
#   libnorvanecore1, libnorvanecore-dev, norvane-capture
#
#   scripts/package.sh            amd64 (from build/) and armhf (from build-armhf/)
#   scripts/package.sh amd64      the host's architecture only
#   scripts/package.sh armhf      the 32-bit ARM cross build only
#
# It reuses the build trees of scripts/test.sh (configuring them when missing) and
# sets their library folder to Debian's multiarch one (lib/<triplet>); only the
# library, the program and its modules are built. The packages land in
# <tree>/packages/. Run as root on Debian 12 (missing tools are installed).
set -euo pipefail
cd "$(dirname "$0")/.."
root=${NORVANE_BUILD_ROOT:-$PWD}
jobs=${NORVANE_JOBS:-2}
arches=("$@")
[[ ${#arches[@]} -eq 0 ]] && arches=(amd64 armhf)

package() {
  local arch=$1 dir multiarch args=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVANE_BUILD_EXAMPLES=ON -DNORVANE_BUILD_APPS=ON)
  case "$arch" in
    amd64) scripts/install-deps.sh
           dir=$root/build ;;
    armhf) scripts/install-deps.sh armhf
           dir=$root/build-armhf
           args+=(-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/armhf.cmake -DNORVANE_BUILD_BENCHMARKS=OFF) ;;
    *) echo "unknown architecture: $arch (amd64, armhf)" >&2; exit 2 ;;
  esac
  [[ "${CI:-}" == "true" ]] && args+=(-DNORVANE_WERROR=ON)
  multiarch=$(dpkg-architecture -a"$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
  if [[ -f "$dir/CMakeCache.txt" ]]; then args=(); fi   # keep the tree's own settings
  cmake -S . -B "$dir" "${args[@]}" -DCMAKE_INSTALL_LIBDIR="lib/$multiarch" >/dev/null
  cmake --build "$dir" -j "$jobs" --target NorvaneCore norvane-capture
  rm -rf "$dir/packages"
  # dpkg-shlibdeps reads the target architecture from DEB_HOST_ARCH.
  (cd "$dir" && DEB_HOST_ARCH=$arch cpack --config CPackConfig.cmake)
  local debs=("$dir"/packages/*_"$arch".deb)
  echo "== lintian ($arch)"
  # Errors fail; warnings are listed.
  lintian --tag-display-limit 0 --fail-on error "${debs[@]}" || {
    echo "error: lintian reports errors on the $arch packages" >&2; exit 1; }
  for deb in "${debs[@]}"; do
    printf '%s\t%s bytes\n' "$deb" "$(stat -c %s "$deb")"
  done
}

for arch in "${arches[@]}"; do package "$arch"; done
