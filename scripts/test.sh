#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: scripts/test.sh [PRESET ...]
# Without arguments the presets are `release` and `asan`; `tsan` and `rtsan` are the others.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || set -- release asan

scripts/install-packages.sh test

for preset in "$@"; do
  echo "== $preset: building"
  scripts/build.sh "$preset"
  echo "== $preset: testing"
  # One more than there are processors, since tests mostly wait.
  ctest --preset "$preset" --parallel "$(($(nproc) + 1))"
done
