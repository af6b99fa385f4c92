#!/usr/bin/env bash
# Makes the pictures of editors in docs/images: real plugins' own interfaces and the generic panel,
# each in a host process, on an X server without a screen. The plugins' packages are unpacked under
# build/screenshots, not installed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

for program in import convert; do
  command -v "$program" >/dev/null ||
    { echo "$0: $program is missing (package imagemagick)" >&2; exit 1; }
done
scripts/build.sh release vesk-host vesk-edit vesk_lv2 vesk-lv2-scan vesk_windows_module

work=$PWD/build/screenshots
mkdir -p "$work"/{packages,defaults} docs/images
packages=(
  guitarix-lv2 libzita-convolver4 libzita-resampler1 libsigc++-2.0-0v5
  zam-plugins dragonfly-reverb-lv2
)
for package in "${packages[@]}"; do
  compgen -G "$work/packages/${package}_*.deb" >/dev/null ||
    (cd "$work/packages" && apt-get download -qq "$package" 2>/dev/null)
done
for file in "$work"/packages/*.deb; do dpkg-deb -x "$file" "$work/root"; done
export LV2_PATH="$work/root/usr/lib/lv2:/usr/lib/lv2"
LD_LIBRARY_PATH=$(echo "$work"/root/usr/lib/*-linux-gnu*)
export LD_LIBRARY_PATH
export XDG_CACHE_HOME=$work

. scripts/virtual_display.sh

# picture NAME ELEMENT: the editor of one plugin, while it plays.
picture() {
  local name=$1 element=$2 editor window=
  build/release/bin/vesk-edit "$element" --notes >"$work/$name.log" 2>&1 &
  editor=$!
  for _ in {1..100}; do
    window=$(xdotool search --onlyvisible --name . 2>/dev/null | head -n 1) || true
    [ -n "$window" ] && break
    sleep 0.1
  done
  [ -n "$window" ] || { echo "$0: no editor of $element, see $work/$name.log" >&2; return 1; }
  sleep 2
  import -window "$window" "$work/$name.png"
  convert "$work/$name.png" -strip -resize '720x>' +dither -colors 128 \
    -define png:compression-level=9 "PNG8:docs/images/$name.png"
  kill -TERM $editor
  wait $editor || true
  echo "docs/images/$name.png: $(identify -format '%wx%h' "docs/images/$name.png")," \
    "$(stat -c %s "docs/images/$name.png") bytes"
}

picture editor-gxrat aufx:xsUI:LV2_
picture editor-zamulticomp aufx:3nbf:LV2_
picture editor-dragonfly aufx:wUVD:LV2_
picture editor-panel aufx:kZu9:LV2_
