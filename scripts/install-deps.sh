#!/usr/bin/env bash
# Installs the Debian 12 packages the project needs, only those that are missing.
# Run as root. Safe to run again: with everything present it does nothing.
#
#   scripts/install-deps.sh            build, tests, benchmarks, sanitizers
#   scripts/install-deps.sh armhf      also the 32-bit ARM cross toolchain and qemu
set -euo pipefail

BASE_PKGS=(
  cmake ninja-build make pkgconf g++ gcc binutils python3
  clang libclang-rt-14-dev          # ThreadSanitizer build, -Wthread-safety, fuzzing
  libjsoncpp-dev                    # the library's one dependency
  libgtest-dev libgmock-dev         # tests
  libbenchmark-dev                  # benchmarks
  libspdlog-dev                     # benchmarks only: the log benchmark's baseline
  libyuv-dev                        # speed anchor of the pixel-conversion benchmarks
  libstb-dev zlib1g-dev libwebp-dev libturbojpeg0-dev # norvane-capture: image files in, PNG image logs out
  libzxing-dev libopencv-imgproc-dev  # the barcode module: decoder, candidate regions
  dpkg-dev fakeroot file lintian    # scripts/package.sh: Debian packages and their checks
  zbar-tools                        # scripts/barcode-compare.sh: ZBar alone
  help2man man-db                   # the manual page: made from --help, checked with man
  doxygen                           # the API reference (warnings are errors)
  python3-pip python3-venv python3-setuptools python3-wheel python3-numpy  # the Python package
  python3-pil                       # the Python package's tests: PIL images in
  python3-zxing-cpp                 # scripts/python-compare.py: the decoder's own Python call
)
ARMHF_HOST_PKGS=(g++-arm-linux-gnueabihf gcc-arm-linux-gnueabihf qemu-user)
ARMHF_TARGET_PKGS=(libjsoncpp-dev:armhf libgtest-dev:armhf libgmock-dev:armhf
                   libasan8:armhf libubsan1:armhf libwebp-dev:armhf libturbojpeg0-dev:armhf)

missing_packages() {
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || echo "$p"
  done
}

apt_update() {
  # An index of a foreign architecture can fail to download while a mirror syncs;
  # the main indexes still carry every package, so carry on and check afterwards.
  apt-get update -q || echo "warning: apt-get update reported errors; continuing" >&2
}

install_missing() {
  local missing
  missing=$(missing_packages "$@")
  [[ -z "$missing" ]] && return 0
  apt_update
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing
  missing=$(missing_packages "$@")
  if [[ -n "$missing" ]]; then
    echo "error: could not install: $missing" >&2
    return 1
  fi
}

want=("${BASE_PKGS[@]}")
for group in "$@"; do
  case "$group" in
    armhf)
      if ! dpkg --print-foreign-architectures | grep -qx armhf; then
        dpkg --add-architecture armhf
      fi
      want+=("${ARMHF_HOST_PKGS[@]}" "${ARMHF_TARGET_PKGS[@]}")
      ;;
    *) echo "unknown group: $group" >&2; exit 2 ;;
  esac
done
install_missing "${want[@]}"
