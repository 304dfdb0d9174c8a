#!/usr/bin/env bash
# The barcode module against the decoders alone on the same image files, one scoring
# rule for all (scripts/barcode-compare.py says how each is run): builds what it needs,
# then runs the comparison.
#
#   scripts/barcode-compare.sh [DIR [RUNS]]   (default: ../shared/barcode-samples, 3 runs)
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-../shared/barcode-samples}
[[ -d "$dir" ]] || { echo "error: not a directory: $dir" >&2; exit 2; }
scripts/install-deps.sh >&2
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >&2
cmake --build build -j "${NORVANE_JOBS:-2}" \
  --target decoder_alone norvane-capture NorvaneBarcodeReader >&2
exec /usr/bin/python3 scripts/barcode-compare.py "$dir" "${2:-3}"
