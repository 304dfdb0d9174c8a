#!/usr/bin/env bash
# Checks the symbols libNorvaneCore exports against the Debian symbols file of its
# architecture (cmake/debian/libnorvanecore1.symbols.ARCH): a symbol removed or added
# fails, so that the binary interface changes only on purpose.
#   scripts/check-symbols.sh LIBRARY ARCH
# After an intended change, write the file anew:
#   NORVANE_SYMBOLS_UPDATE=1 scripts/check-symbols.sh LIBRARY ARCH
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
library=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
arch=$2
file=$source_dir/cmake/debian/libnorvanecore1.symbols.$arch
version=$(sed -n 's/^set(NORVANE_VERSION \(.*\))$/\1/p' "$source_dir/CMakeLists.txt")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/debian"
printf 'Source: norvane-core\n\nPackage: libnorvanecore1\nArchitecture: any\n' >"$work/debian/control"
cd "$work"
if [[ -n "${NORVANE_SYMBOLS_UPDATE:-}" ]]; then
  dpkg-gensymbols -q -a"$arch" -plibnorvanecore1 -v"$version" -e"$library" -O"$file"
  echo "wrote $file"
else
  dpkg-gensymbols -c4 -a"$arch" -plibnorvanecore1 -v"$version" -e"$library" -I"$file" \
    -O"$work/symbols"
  echo "symbols of $(basename "$library") ($arch) match $(basename "$file")"
fi
