#!/usr/bin/env bash
# The barcode module against the decoder alone, on the same image files: files read
# (by the rule of router/ground_truth.h) and wall seconds of the decoder
# alone (bench/barcode/decoder_alone) and of norvane-capture --module barcode with 1
# and 2 workers, then the folders where the decoder alone and the module with 1
# worker read different numbers of files. A run that fails is reported, and the
# others still run.
#
#   scripts/barcode-compare.sh [DIR]     (default: ../shared/barcode-samples beside the clone)
set -euo pipefail
usage="usage: scripts/barcode-compare.sh [DIR]   (default DIR: ../shared/barcode-samples beside the clone)"
if [[ $# -gt 1 || "${1:-}" == -* ]]; then
  echo "$usage" >&2
  exit 2
fi
if [[ $# -eq 1 ]]; then
  [[ -d "$1" ]] || { echo "error: not a directory: $1" >&2; echo "$usage" >&2; exit 2; }
  dir=$(cd "$1" && pwd)
fi
cd "$(dirname "$0")/.."
if [[ $# -eq 0 ]]; then
  [[ -d ../shared/barcode-samples ]] || {
    echo "error: no ../shared/barcode-samples beside the clone; name a directory" >&2
    echo "$usage" >&2
    exit 2
  }
  dir=$(cd ../shared/barcode-samples && pwd)
fi

scripts/install-deps.sh >&2
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >&2
cmake --build build -j "${NORVANE_JOBS:-2}" \
  --target decoder_alone norvane-capture NorvaneBarcodeReader >&2

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# run NAME COMMAND...: the command's output in $out/NAME.out (.err), its exit status
# in $out/NAME.status and its wall seconds in $out/NAME.seconds.
run() {
  local name=$1 start end status=0
  shift
  start=$(date +%s.%N)
  "$@" >"$out/$name.out" 2>"$out/$name.err" || status=$?
  end=$(date +%s.%N)
  echo "$status" >"$out/$name.status"
  awk -v s="$start" -v e="$end" 'BEGIN { printf "%.2f\n", e - s }' >"$out/$name.seconds"
}

capture=build/apps/norvane-capture/norvane-capture
run alone build/bench/barcode/decoder_alone "$dir" --by-folder
run workers1 "$capture" --module barcode --input "$dir" --by-folder --workers 1
run workers2 "$capture" --module barcode --input "$dir" --by-folder --workers 2

echo "files: $dir"
printf '%-30s %-20s %8s\n' run "files read" seconds
for name in alone workers1 workers2; do
  case $name in
    alone) label="decoder alone" ;;
    workers1) label="norvane-capture, 1 worker" ;;
    workers2) label="norvane-capture, 2 workers" ;;
  esac
  read_text=$(awk '/^ground truth: [0-9]+ of [0-9]+ files read/ { v = $3 " of " $5 } END { print v }' \
    "$out/$name.out")
  status=$(cat "$out/$name.status")
  if [[ "$status" != 0 ]]; then
    read_text="${read_text:+$read_text, }exit $status"
  elif [[ -z "$read_text" ]]; then
    read_text="no ground truth line"
  fi
  printf '%-30s %-20s %8s\n' "$label" "$read_text" "$(cat "$out/$name.seconds")"
done
grep '^decoder alone:' "$out/alone.out" || true
for name in alone workers1 workers2; do
  if [[ "$(cat "$out/$name.status")" != 0 ]]; then
    echo "--- $name exited with status $(cat "$out/$name.status"); the end of its error output:"
    tail -n 5 "$out/$name.err"
  fi
done

# The folder table of a run's output: "FOLDER<TAB>FILES<TAB>READ" per folder.
folder_table() {
  awk '
    /^by folder: files read/ { on = 1; next }
    on && /^  / {
      line = $0
      if (match(line, /[ ]+[0-9]+[ ]+[0-9]+[ ]*$/) == 0) { on = 0; next }
      folder = substr(line, 1, RSTART - 1)
      sub(/^ +/, "", folder)
      printf "%s\t%d\t%d\n", folder, $(NF - 1), $NF
      next
    }
    on { on = 0 }
  ' "$1"
}
folder_table "$out/alone.out" >"$out/alone.folders"
folder_table "$out/workers1.out" >"$out/workers1.folders"

echo
if [[ ! -s "$out/alone.folders" || ! -s "$out/workers1.folders" ]]; then
  echo "no per-folder comparison: a folder table is missing"
  exit 0
fi
awk -F '\t' '
  FNR == NR { files[$1] = $2; alone[$1] = $3; order[++n] = $1; next }
  {
    if (!($1 in files)) { files[$1] = 0; alone[$1] = 0; order[++n] = $1 }
    files1[$1] = $2; module[$1] = $3
  }
  END {
    printf "%-28s %7s %7s %9s %6s\n", "folder", "files", "alone", "1 worker", "diff"
    for (i = 1; i <= n; ++i) {
      f = order[i]
      if (!(f in files1)) { files1[f] = 0; module[f] = 0 }
      count = files[f] == files1[f] ? files[f] : files[f] "/" files1[f]
      totalFiles += files[f]; totalFiles1 += files1[f]
      totalAlone += alone[f]; totalModule += module[f]
      if (alone[f] == module[f] && files[f] == files1[f]) continue
      printf "%-28s %7s %7d %9d %+6d\n", f, count, alone[f], module[f], module[f] - alone[f]
    }
    count = totalFiles == totalFiles1 ? totalFiles : totalFiles "/" totalFiles1
    printf "%-28s %7s %7d %9d %+6d\n", "total", count, totalAlone, totalModule, totalModule - totalAlone
  }
' "$out/alone.folders" "$out/workers1.folders"
