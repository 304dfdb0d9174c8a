#!/usr/bin/env bash
# Builds the library and runs the main program, norvane-capture, on its built-in
# synthetic frames: it prints one line per frame and a summary scored against the
# frames' ground truth. Arguments are passed to the program (see --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "${NORVANE_JOBS:-2}" --target norvane-capture NorvaneDemoDetector NorvaneBarcodeReader
./build/apps/norvane-capture/norvane-capture "$@"
