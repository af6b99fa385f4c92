#!/usr/bin/env bash
# Builds the fuzz targets and runs them: scripts/fuzz.sh [SECONDS [TARGET ...]]
# Each of the targets (fuzz/TARGET.cpp; all of them unless named) runs for that long, 5 s unless told,
# from the inputs in fuzz/corpus/TARGET, which stay as they are. Inputs that reached something new are
# kept in build/fuzz/new/TARGET for the next run, those that found a fault in build/fuzz/found.
# Exit status: 0 nothing found, 1 findings, 2 no such target.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:-5}
shift || true
[[ $seconds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [SECONDS [TARGET ...]]" >&2; exit 2; }
targets=("$@")
[ $# -gt 0 ] || mapfile -t targets < <(basename -s .cpp -a fuzz/*.cpp)
for target in "${targets[@]}"; do
  [ -f "fuzz/$target.cpp" ] || { echo "$0: there is no target $target" >&2; exit 2; }
done
scripts/build.sh fuzz
mkdir -p build/fuzz/found build/fuzz/log
export seconds UBSAN_OPTIONS=print_stacktrace=1

# One line when it is done; of a finding also how to see it again.
run() {
  local log=build/fuzz/log/$1 count
  mkdir -p "build/fuzz/new/$1"
  # No input takes a second: the limit is for what never ends, also on a busy machine.
  if "build/fuzz/fuzz/$1" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=1024 -max_len=4096 \
      -print_final_stats=1 -artifact_prefix="build/fuzz/found/$1-" \
      "build/fuzz/new/$1" "fuzz/corpus/$1" >"$log" 2>&1; then
    count=$(awk '/number_of_executed_units/ { print $2 }' "$log")
    printf '%-14s %10s inputs, nothing found\n' "$1" "$count"
  else
    grep -aE '(ERROR|SUMMARY): |runtime error: ' "$log" | sort -u
    printf '%-14s FOUND something: all of it in %s, again with\n  build/fuzz/fuzz/%s %s\n' "$1" "$log" "$1" \
      "$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)"
    return 1
  fi
}
export -f run
echo "Running ${#targets[@]} targets for $seconds s each; how far they are is in build/fuzz/log"
# shellcheck disable=SC2016
printf '%s\0' "${targets[@]}" | xargs -0 -P "$(nproc)" -I{} bash -c 'run "$1"' _ {} || exit 1
