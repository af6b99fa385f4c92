#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need, where they are missing.
set -euo pipefail

packages=(
  # toolchain
  clang-22 libclang-rt-22-dev lld-22 llvm-22 clang-tidy-22 clang-format-22
  cmake ninja-build pkg-config
  # the platform layer
  libblocksruntime-dev libexpat1-dev libdbus-1-dev
  # windows
  libgnustep-base-dev libgnustep-gui-dev gnustep-back0.29-cairo libobjc-12-dev libx11-dev libxi-dev
  # components and tools
  liblilv-dev lv2-dev libsndfile1-dev libebur128-dev libcairo2-dev libfftw3-dev
  libsamplerate0-dev nlohmann-json3-dev
  # tests and benchmarks
  libgtest-dev dbus locales procps xvfb xdotool openbox
  # what is played, and plugins with interfaces and states of their own for the tests
  mda-lv2 lv2-examples guitarix-lv2 setbfree
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if ! command -v apt-get >/dev/null; then
  echo "Missing packages, and no apt-get to install them with: ${missing[*]}" >&2
  exit 1
fi
echo "Installing ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
  "${missing[@]}" >/dev/null
