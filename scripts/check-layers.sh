#!/usr/bin/env bash
# Checks that library includes point down the layers only:
#   core 0; log and basic_structures 1 (neither includes the other); geometry 2;
#   intermediate_results 3; task_runtime 4; above the library the router 5, the modules 6
#   and the programs 7.
# Looks at every source and header of those folders and of include/norvane/<layer>/.
# Prints each include that runs up (or across between log and basic_structures) and
# exits 1 if there is one. Usage: scripts/check-layers.sh [source root]
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

rank() {
  case $1 in
    core) echo 0 ;;
    log | basic_structures) echo 1 ;;
    geometry) echo 2 ;;
    intermediate_results) echo 3 ;;
    task_runtime) echo 4 ;;
    router) echo 5 ;;
    modules) echo 6 ;;
    apps) echo 7 ;;
    *) echo -1 ;;
  esac
}

bad=0
for layer in core log basic_structures geometry intermediate_results task_runtime router modules apps; do
  own=$(rank "$layer")
  for dir in "$layer" "include/norvane/$layer"; do
    [[ -d $dir ]] || continue
    while IFS=: read -r file line text; do
      target=$(sed -E 's@.*#include "(\.\./)*(norvane/)?([a-z_]+)/.*@\3@' <<<"$text")
      other=$(rank "$target")
      ((other < 0)) && continue
      if ((other > own)) || { ((other == own)) && [[ $target != "$layer" ]]; }; then
        echo "$file:$line: $layer (layer $own) includes $target (layer $other)"
        bad=1
      fi
    done < <(grep -rnE '^\s*#\s*include\s+"' --include='*.h' --include='*.cpp' --include='*.c' "$dir" || true)
  done
done
exit "$bad"
