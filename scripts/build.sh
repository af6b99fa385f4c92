#!/usr/bin/env bash
# Installs what is missing and builds one preset: scripts/build.sh [PRESET] [TARGET ...]
# The preset is `release` unless named.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=${1:-release}
shift || true

scripts/install-packages.sh

# The newest clang on the machine, unless the caller names one.
if [ -z "${CXX:-}" ]; then
  for version in 24 23 22 21 20; do
    if command -v "clang++-$version" >/dev/null; then
      export CC="clang-$version" CXX="clang++-$version"
      break
    fi
  done
fi
: "${CXX:=clang++}" "${CC:=clang}"
export CC CXX

if [ ! -f "build/$preset/build.ninja" ]; then
  echo "Configuring $preset with $CXX"
  cmake --fresh --preset "$preset" >"/tmp/vesk-configure-$$.log" 2>&1 ||
    { cat "/tmp/vesk-configure-$$.log"; rm -f "/tmp/vesk-configure-$$.log"; exit 1; }
  rm -f "/tmp/vesk-configure-$$.log"
fi
if [ $# -gt 0 ]; then
  cmake --build --preset "$preset" --target "$@"
else
  cmake --build --preset "$preset"
fi
