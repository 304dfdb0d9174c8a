#!/usr/bin/env bash
# usage: run_install_test.sh BUILD_DIR PROJECT_DIR WORK_DIR C_COMPILER CXX_COMPILER
set -euo pipefail
build=$1 project=$2 work=$3 cc=$4 cxx=$5
rm -rf "$work"
mkdir -p "$work"
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

echo "== CMake package"
cmake -S "$project" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"
"$work/cmake/consumer_c"

echo "== pkg-config"
pcdir=$(dirname "$(find "$prefix" -name norvane-core.pc | head -n 1)")
libdir=$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir norvane-core)
flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs norvane-core)
# shellcheck disable=SC2086
"$cxx" -std=c++17 -Wall -Werror "$project/consumer.cpp" $flags -Wl,-rpath,"$libdir" -o "$work/pc_consumer"
"$work/pc_consumer"
# shellcheck disable=SC2086
"$cc" -std=c99 -pedantic -Wall -Werror "$project/consumer_c.c" $flags -Wl,-rpath,"$libdir" -o "$work/pc_consumer_c"
"$work/pc_consumer_c"

echo "== a module built against the package, run by the installed program"
if [[ -x "$prefix/bin/norvane-capture" ]]; then
  cmake -S "$project/../../../docs/examples/module" -B "$work/module" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
  cmake --build "$work/module" >/dev/null
  routerdir=$(dirname "$(find "$prefix" -name 'libNorvaneRouter.so.1' | head -n 1)")
  out=$(LD_LIBRARY_PATH="$routerdir" NORVANE_MODULE_PATH="$work/module" \
        "$prefix/bin/norvane-capture" --module tiles --frames 4)
  grep -q "ground truth: 16 of 16 tiles read" <<<"$out" || { echo "$out"; exit 1; }
  LD_LIBRARY_PATH="$routerdir" "$prefix/bin/norvane-capture" --help | grep "modules found: .*labels" >/dev/null
fi
echo "install consumers ok"
