#!/usr/bin/env bash
# Runs clang-tidy over our sources: scripts/tidy.sh [FILE | FOLDER ...]; all of them unless named.
#
# What is looked at is what the release preset compiles, headers with the sources that include them.
# CLANG_TIDY names another clang-tidy than clang-tidy-22. Exit status: 0 nothing found, 1 findings,
# 2 nothing to look at. JOBS is how many run at once, the number of CPUs unless told.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
database=$root/build/release
export database tidy=${CLANG_TIDY:-clang-tidy-22}

command -v "$tidy" >/dev/null || { echo "there is no $tidy; see scripts/install-packages.sh" >&2; exit 2; }
[ -f "$database/compile_commands.json" ] ||
  { echo "build/release is not configured; run scripts/build.sh first" >&2; exit 2; }

wanted=("$root")
if [ $# -gt 0 ]; then
  mapfile -t wanted < <(realpath -m -- "$@")
fi
mapfile -t built < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$database/compile_commands.json" | sort -u)
sources=()
for source in "${built[@]}"; do
  for place in "${wanted[@]}"; do
    case $source in
      "$place" | "$place"/*) sources+=("$source"); break ;;
    esac
  done
done
[ ${#sources[@]} -gt 0 ] || { echo "nothing that the release preset compiles: $*" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export work

# Prints one line for a source, in one write: found or clean, where the text is, the source.
check() {
  local text verdict=clean
  text=$(mktemp -p "$work")
  "$tidy" -p "$database" --quiet "$1" >"$text" 2>&1 || verdict=found
  printf '%s %s %s\n' "$verdict" "$text" "$1"
}
export -f check

check_all() {
  # shellcheck disable=SC2016
  printf '%s\0' "${sources[@]}" |
    xargs -0 -P "${JOBS:-$(nproc)}" -I{} bash -c 'check "$1"' _ {}
}

done=0 findings=0
while read -r verdict text source; do
  done=$((done + 1))
  progress="[$done/${#sources[@]}] ${source#"$root"/}"
  if [ -t 1 ]; then printf '\r\033[K%s' "$progress"; else echo "$progress"; fi
  if [ "$verdict" = found ]; then
    findings=$((findings + 1))
    [ ! -t 1 ] || echo
    grep -vE '^[0-9]+ warnings?( and [0-9]+ errors?)? (generated|treated)' "$text" || true
  fi
done < <(check_all)
[ ! -t 1 ] || printf '\r\033[K'
[ "$done" -eq ${#sources[@]} ] ||
  { echo "stopped after $done of ${#sources[@]} sources" >&2; exit 2; }
[ "$findings" -eq 0 ] || { echo "$findings of $done sources with findings"; exit 1; }
echo "$done sources, nothing found"
