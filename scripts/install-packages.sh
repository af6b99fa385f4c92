#!/usr/bin/env bash
# Installs the Debian packages that something needs, where they are missing:
# scripts/install-packages.sh [demo | build | test | macos]. `build` unless named; each has those
# before it.
set -euo pipefail

# What apt and dpkg know is matched as an extended regular expression, since some names carry a
# version; the newest of several counts. CLANG stands for the version of the compiler.
demo=(
  # toolchain
  clang-CLANG lld-CLANG cmake ninja-build pkg-config
  # the layer
  libblocksruntime-dev libexpat1-dev libdbus-1-dev
  # LV2 plugins, and what the tools read, write and draw
  liblilv-dev lv2-dev libsndfile1-dev libebur128-dev libcairo2-dev libfftw3-dev libsamplerate0-dev
  nlohmann-json3-dev
  # what is played
  mda-lv2
)
build=(
  # editors' windows
  libgnustep-base-dev libgnustep-gui-dev 'gnustep-back0\.[0-9]+-cairo' 'libobjc-[0-9]+-dev'
  libx11-dev libxi-dev
  # SoundFonts
  libfluidsynth-dev
  # vesk-play; the JACK server of tests is jackd2
  libjack-jackd2-dev
  # tests and sanitizers
  libgtest-dev libclang-rt-CLANG-dev
)
test=(
  llvm-CLANG clang-tidy-CLANG clang-format-CLANG
  dbus locales procps xvfb xdotool openbox jackd2
  # what completion is tried in
  fish zsh
  # the Python package
  python3-numpy python3-pytest python3-distributed
  # plugins with interfaces and states of their own
  lv2-examples guitarix-lv2 setbfree
)

# what scripts/check_macos.sh fetches macOS's headers with
macos=(npm)

group=${1:-build}
case $group in
  demo) wanted=("${demo[@]}") ;;
  build) wanted=("${demo[@]}" "${build[@]}") ;;
  test) wanted=("${demo[@]}" "${build[@]}" "${test[@]}") ;;
  macos) wanted=("${demo[@]}" "${build[@]}" "${test[@]}" "${macos[@]}") ;;
  *) echo "$0: the groups are demo, build, test and macos, not '$group'" >&2; exit 2 ;;
esac
usable_clang='clang-(2[0-9]|[3-9][0-9])'

# The newest of the names on standard input that match $1 as a whole.
newest() { grep -xE -- "$1" | sort -V | tail -n 1; }

# Puts the names in `wanted` that are missing into `missing`, as apt has them: versions are those of
# $1, a list of names, and stay patterns where it has none.
look() {
  local names=$1 installed clang pattern name
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' 2>/dev/null |
    sed -n 's/^installed //p' || true)
  clang=$(newest "$usable_clang" <<<"$installed" || newest "$usable_clang" <<<"$names" || true)
  missing=()
  for pattern in "${wanted[@]}"; do
    [ -z "$clang" ] || pattern=${pattern/CLANG/${clang#clang-}}
    newest "$pattern" <<<"$installed" >/dev/null && continue
    name=$(newest "$pattern" <<<"$names" || true)
    missing+=("${name:-$pattern}")
  done
}

look ''
[ ${#missing[@]} -gt 0 ] || exit 0
if ! command -v apt-get >/dev/null; then
  echo "There is no apt-get here. Missing for the $group (CLANG is 20 or later): ${missing[*]}" >&2
  exit 1
fi
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "Packages are missing. Installing them takes root, and there is no sudo here; as root, run" >&2
    echo "  $(realpath "$0") $group" >&2
    exit 1
  }
  as_root=(sudo)
fi

echo "Asking apt what there is"
"${as_root[@]}" apt-get update -qq
look "$(apt-cache pkgnames)"
if [[ ${missing[*]} == *CLANG* ]]; then
  echo "apt offers no clang 20 or later. Debian 12 and 13 have one among their updates: are those" >&2
  echo "(the suites *-updates and *-security) among apt's sources?" >&2
  exit 1
fi

echo "Installing for the $group: ${missing[*]}"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes \
  --no-install-recommends -o Dpkg::Progress-Fancy=1 "${missing[@]}"
