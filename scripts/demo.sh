#!/usr/bin/env bash
# Builds the library and runs its main example program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "${NORVANE_JOBS:-2}" --target norvane-basic
./build/examples/basic/norvane-basic
