#!/usr/bin/env bash
# Builds the Audio Units whose sources are in a folder, and soaks each: soak_sources.sh FOLDER
# [options of vesk-soak]. An Audio Unit is a folder below it with C or C++ sources and an Info.plist
# that names AudioComponents. Every folder with headers is searched for them; SHARED names sources
# that all of them link, such as an SDK's base classes. CC, CXX: clang 20 or later; CFLAGS: more.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
sources=$(realpath "${1:?usage: soak_sources.sh FOLDER [options of vesk-soak]}")
shift
programs=$root/build/release/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/components"

flags=(-O2 -fPIC -fblocks -fvisibility=hidden -I"$root/platform/linux/include")
while read -r folder; do flags+=(-I"$folder"); done < <(
  find "$sources" \( -name '*.h' -o -name '*.hpp' \) -printf '%h\n' | sort -u)
read -ra more_flags <<< "${CFLAGS:-}"
read -ra shared <<< "${SHARED:-}"

# Calls of the Audio Unit and CoreFoundation kinds stay undefined: the host has them.
build() {
  local folder=$1 plist=$2 name=$3 objects=() file compiler
  local bundle=$work/components/$name.component
  mkdir -p "$bundle/Resources" "$work/objects/$name"
  while read -r file; do
    compiler=("${CXX:-clang++-22}" -std=c++20)
    [[ $file == *.c ]] && compiler=("${CC:-clang-22}" -std=c11)
    objects+=("$work/objects/$name/${#objects[@]}.o")
    "${compiler[@]}" "${flags[@]}" "${more_flags[@]}" -c -o "${objects[-1]}" "$file" || return
  done < <(find "$folder" \( -name '*.c' -o -name '*.cpp' -o -name '*.cc' \) | sort
           [ ${#shared[@]} -eq 0 ] || printf '%s\n' "${shared[@]}")
  [ ${#objects[@]} -gt 0 ] || { echo "no C or C++ sources"; return 1; }
  "${CXX:-clang++-22}" -shared -o "$bundle/$name" "${objects[@]}" -lm -lBlocksRuntime || return
  cp "$plist" "$bundle/Resources/Info-gnustep.plist"
}

specifications() {
  AUDIO_COMPONENT_PATH=$1 "$programs/vesk-list" | awk -F '\t' '$4 !~ /:LV2_$/ { print $4 }' | sort
}

failed=0
while read -r plist; do
  grep -q AudioComponents "$plist" || continue
  folder=$(dirname "$plist")
  name=$(basename "$folder")
  printf '%-40s ' "$name"
  if build "$folder" "$plist" "$name" > "$work/log" 2>&1; then
    echo built
  else
    echo "not built: $(grep -m 1 -E 'error|undefined|sources' "$work/log" || tail -1 "$work/log")"
    rm -rf "$work/components/$name.component"
    failed=1
  fi
done < <(find "$sources" -name 'Info.plist' -o -name 'Info-gnustep.plist' | sort)

mapfile -t units < <(comm -13 <(specifications "$work") <(specifications "$work/components"))
[ ${#units[@]} -gt 0 ] || { echo "no Audio Unit of $sources is there to be soaked"; exit 1; }
AUDIO_COMPONENT_PATH=$work/components "$programs/vesk-soak" "${units[@]}" "$@" || failed=1
exit $failed
