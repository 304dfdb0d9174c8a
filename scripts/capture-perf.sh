#!/usr/bin/env bash
# Speed of the main program, norvane-capture, with its label detector on synthetic frames drawn before its
# clock starts: frames per second with 1 and 2 workers, and the share of the run time
# spent outside the detector's pixel work, measured as the time of the same run with a
# detector that does nothing (--module-options noop) against the time of the real
# run. Every figure is the median of several runs; the machine's other load shows in
# them, so run it on a quiet machine.
#
#   scripts/capture-perf.sh [FRAMES [RUNS]]     (defaults: 480 frames, 5 runs)
set -euo pipefail
cd "$(dirname "$0")/.."
frames=${1:-480}
runs=${2:-5}
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "${NORVANE_JOBS:-2}" --target norvane-capture NorvaneDemoDetector >/dev/null
program=build/apps/norvane-capture/norvane-capture

# The median wall time (seconds, from the program's time: line) of RUNS runs.
median_seconds() {
  for ((i = 0; i < runs; ++i)); do
    # Exit status 1 is a run that found nothing, as the detector doing nothing does.
    { "$program" --module labels --frames "$frames" "$@" || (($? == 1)); } |
      awk '/^time:/ { print $2 }'
  done | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'
}

declare -A real
for workers in 1 2; do
  real[$workers]=$(median_seconds --workers "$workers")
  noop=$(median_seconds --workers "$workers" --module-options noop)
  awk -v w="$workers" -v f="$frames" -v r="${real[$workers]}" -v n="$noop" 'BEGIN {
    printf "%d worker%s: %.1f frames/s (%.3f s for %d frames); with a detector doing nothing %.3f s: %.1f%% of the run outside the detector'\''s pixel work\n",
      w, w == 1 ? "" : "s", f / r, r, f, n, 100 * n / r
  }'
done
awk -v a="${real[1]}" -v b="${real[2]}" 'BEGIN { printf "2 workers vs 1: %.2fx as fast\n", a / b }'
