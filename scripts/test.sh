#!/usr/bin/env bash
# Builds the project and runs every test in one configuration.
#
#   scripts/test.sh           the plain build (gcc) in build/
#   scripts/test.sh asan      AddressSanitizer + UndefinedBehaviorSanitizer (gcc) in build-asan/
#   scripts/test.sh tsan      ThreadSanitizer (clang, with -Wthread-safety) in build-tsan/
#   scripts/test.sh armhf     32-bit ARM hard-float cross build, tests under qemu-arm, in build-armhf/
#   scripts/test.sh fuzz      libFuzzer targets with AddressSanitizer + UBSan (clang) in build-fuzz/,
#                             each run for NORVANE_FUZZ_SECONDS (60) from the corpus in fuzz/corpus/
#
# With CI=true warnings are errors. Build trees live in the clone (ignored by git)
# unless NORVANE_BUILD_ROOT names another directory.
set -euo pipefail
cd "$(dirname "$0")/.."
config=${1:-default}
root=${NORVANE_BUILD_ROOT:-$PWD}
jobs=${NORVANE_JOBS:-2}

args=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVANE_BUILD_EXAMPLES=ON)
[[ "${CI:-}" == "true" ]] && args+=(-DNORVANE_WERROR=ON)
case "$config" in
  default)
    scripts/install-deps.sh
    dir=$root/build ;;
  asan)
    scripts/install-deps.sh
    dir=$root/build-asan
    args+=(-DNORVANE_SANITIZE=address,undefined -DNORVANE_BUILD_BENCHMARKS=OFF)
    export ASAN_OPTIONS=abort_on_error=0:detect_leaks=1:strict_string_checks=1
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ;;
  tsan)
    scripts/install-deps.sh
    dir=$root/build-tsan
    args+=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DNORVANE_SANITIZE=thread
           -DNORVANE_BUILD_BENCHMARKS=OFF)
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ;;
  armhf)
    scripts/install-deps.sh armhf
    dir=$root/build-armhf
    args+=(-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/toolchains/armhf.cmake -DNORVANE_BUILD_BENCHMARKS=OFF) ;;
  fuzz)
    scripts/install-deps.sh
    dir=$root/build-fuzz
    args+=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DNORVANE_SANITIZE=address,undefined
           -DNORVANE_FUZZ=ON -DNORVANE_BUILD_TESTS=OFF -DNORVANE_BUILD_BENCHMARKS=OFF
           -DNORVANE_BUILD_EXAMPLES=OFF)
    export ASAN_OPTIONS=abort_on_error=0:detect_leaks=1
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ;;
  *) echo "unknown configuration: $config" >&2; exit 2 ;;
esac

ulimit -c 0
cmake -S . -B "$dir" "${args[@]}"
if [[ "$config" == fuzz ]]; then
  # New inputs go to a working corpus in the build tree; the seeds stay untouched.
  cmake --build "$dir" -j "$jobs" --target ini_fuzz
  mkdir -p "$dir/corpus/ini"
  "$dir/fuzz/ini_fuzz" -max_total_time="${NORVANE_FUZZ_SECONDS:-60}" -print_final_stats=1 \
    "$dir/corpus/ini" fuzz/corpus/ini
  exit 0
fi
cmake --build "$dir" -j "$jobs"
ctest --test-dir "$dir" --output-on-failure -j "$jobs"
