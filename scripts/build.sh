#!/usr/bin/env bash
# Installs what is missing and builds one preset: scripts/build.sh [PRESET] [TARGET ...]
# The preset is `release` unless named. `demo` is the same without editors, SoundFonts, tests and
# benchmarks, to be completed by `release` in the same folder.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=${1:-release}
shift || true

packages=build folder=build/$preset
if [ "$preset" = demo ]; then packages=demo folder=build/release; fi
scripts/install-packages.sh "$packages"

# The newest clang on the machine, unless the caller names one.
if [ -z "${CXX:-}" ]; then
  newest=$(compgen -c clang++- | grep -xE 'clang\+\+-[0-9]+' | sort -V | tail -n 1 || true)
  CXX=${newest:-clang++}
fi
export CXX CC="${CC:-${CXX/clang++/clang}}"

if [ ! -f "$folder/build.ninja" ] ||
    { [ "$preset" = release ] && grep -q '^VESK_BUILD_EDITORS:BOOL=OFF' "$folder/CMakeCache.txt"; }; then
  echo "Configuring $preset with $CXX"
  log=$(mktemp)
  cmake --fresh --preset "$preset" >"$log" 2>&1 || { cat "$log"; rm -f "$log"; exit 1; }
  rm -f "$log"
fi
if [ $# -gt 0 ]; then
  cmake --build --preset "$preset" --target "$@"
else
  cmake --build --preset "$preset"
fi
