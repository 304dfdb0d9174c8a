#!/usr/bin/env bash
# Builds the project and runs every test in one configuration.
#
#   scripts/test.sh           the plain build (gcc) in build/
#   scripts/test.sh asan      AddressSanitizer + UndefinedBehaviorSanitizer (gcc) in build-asan/
#   scripts/test.sh tsan      ThreadSanitizer (clang, with -Wthread-safety) in build-tsan/
#   scripts/test.sh armhf     32-bit ARM hard-float cross build, tests under qemu-arm, in build-armhf/
#   scripts/test.sh fuzz      every libFuzzer target of fuzz/CMakeLists.txt with AddressSanitizer +
#                             UBSan (clang) in build-fuzz/, each run for NORVANE_FUZZ_SECONDS (60)
#                             from the seeds in fuzz/corpus/<name>; any finding fails the script
#
# With CI=true warnings are errors. Build trees live in the clone (ignored by git)
# unless NORVANE_BUILD_ROOT names another directory.
set -euo pipefail
cd "$(dirname "$0")/.."
config=${1:-default}
root=${NORVANE_BUILD_ROOT:-$PWD}
jobs=${NORVANE_JOBS:-2}

args=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNORVANE_BUILD_EXAMPLES=ON -DNORVANE_BUILD_APPS=ON)
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
           -DNORVANE_FUZZ=ON -DNORVANE_BUILD_TESTS=OFF -DNORVANE_BUILD_BENCHMARKS=OFF)
    export ASAN_OPTIONS=abort_on_error=0:detect_leaks=1
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ;;
  *) echo "unknown configuration: $config" >&2; exit 2 ;;
esac

ulimit -c 0
cmake -S . -B "$dir" "${args[@]}"
if [[ "$config" == fuzz ]]; then
  # The targets are the norvane_add_fuzzer lines of fuzz/CMakeLists.txt; target
  # <name>_fuzz takes its seeds from fuzz/corpus/<name>. New inputs go to a working
  # corpus in the build tree, findings to build-fuzz/artifacts/; the seeds stay untouched.
  mapfile -t targets < <(sed -n 's/^ *norvane_add_fuzzer(\([A-Za-z0-9_]*\).*/\1/p' fuzz/CMakeLists.txt)
  (( ${#targets[@]} > 0 )) || { echo "no fuzz targets in fuzz/CMakeLists.txt" >&2; exit 1; }
  cmake --build "$dir" -j "$jobs" --target "${targets[@]}"
  failed=()
  summary=()
  for target in "${targets[@]}"; do
    name=${target%_fuzz}
    mkdir -p "$dir/corpus/$name" "$dir/artifacts/$name" "$dir/logs"
    log=$dir/logs/$target.log
    echo "=== $target (${NORVANE_FUZZ_SECONDS:-60} s, seeds fuzz/corpus/$name)"
    # -timeout: an input that runs this long is a hang, and a finding.
    status=0
    "$dir/fuzz/$target" -max_total_time="${NORVANE_FUZZ_SECONDS:-60}" -timeout=25 \
      -print_final_stats=1 -artifact_prefix="$dir/artifacts/$name/" \
      "$dir/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1 || status=$?
    # The whole report, without libFuzzer's progress lines.
    grep -v -e '^#[0-9]' -e '^"' "$log" || true
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    summary+=("$target: ${runs:-?} executions, exit status $status")
    (( status == 0 )) || failed+=("$target")
  done
  echo "=== fuzzing summary"
  printf '  %s\n' "${summary[@]}"
  if (( ${#failed[@]} > 0 )); then
    echo "findings in: ${failed[*]} (inputs in $dir/artifacts/)" >&2
    exit 1
  fi
  exit 0
fi
cmake --build "$dir" -j "$jobs"
ctest --test-dir "$dir" --output-on-failure -j "$jobs"
