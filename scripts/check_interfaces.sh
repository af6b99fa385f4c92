#!/usr/bin/env bash
# Opens and closes the editor of every LV2 plugin in the Debian packages named (all that have
# interfaces, without arguments) and touches nothing. Says for each package how many plugins showed
# an interface of their own and which of those rewrote their preset file all the same: these do not
# keep their own state byte for byte. The packages are unpacked under build/interfaces, not
# installed. Takes some four seconds a plugin.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || set -- avldrums.lv2 calf-plugins dpf-plugins-lv2 dragonfly-reverb-lv2 guitarix-lv2 \
  lsp-plugins-lv2 padthv1-lv2 samplv1-lv2 setbfree synthv1-lv2 drumkv1-lv2 x42-plugins zam-plugins \
  zynaddsubfx-lv2

command -v xwininfo >/dev/null || { echo "$0: xwininfo is missing (package x11-utils)" >&2; exit 1; }
scripts/build.sh release vesk-host vesk-list vesk-edit vesk_lv2 vesk-lv2-scan vesk_windows_module
bin=$PWD/build/release/bin
work=$PWD/build/interfaces
mkdir -p "$work"

. scripts/virtual_display.sh
export XDG_CACHE_HOME="$work"

# unpack PACKAGE: it and what it needs, into a folder of its own.
unpack() {
  local folder=$work/$1 file
  [ -d "$folder" ] && return
  rm -rf "$folder.part"
  mkdir -p "$folder.part"
  mapfile -t needed < <(apt-get install --simulate --no-install-recommends "$1" | awk '/^Inst/ {print $2}')
  (cd "$folder.part" && apt-get download -qq "${needed[@]:-$1}" 2>/dev/null)
  for file in "$folder.part"/*.deb; do
    dpkg-deb -x "$file" "$folder.part"
    rm "$file"
  done
  mv "$folder.part" "$folder"
}

codes() { "$bin/vesk-list" | grep -oE '\b[a-z]{4}:[^ ]+:LV2_' | sort; }

# look_at CODE: prints what became of it: own, panel, own-rewrote, panel-rewrote, or why it failed.
look_at() {
  local preset=$work/preset.aupreset log=$work/log editor window='' shown=panel
  rm -f "$preset" "$preset~"
  "$bin/vesk-edit" "$1@$preset" >"$log" 2>&1 &
  editor=$!
  for _ in {1..200}; do
    window=$(xdotool search --onlyvisible --name ' - preset.aupreset$' 2>/dev/null | head -n 1) || true
    { [ -n "$window" ] || ! kill -0 $editor 2>/dev/null; } && break
    sleep 0.1
  done
  if [ -n "$window" ]; then
    sleep "${SECONDS_OPEN:-2}"
    xwininfo -children -id "$window" 2>/dev/null | grep -q ' 0x.*+' && shown=own
    kill -TERM $editor 2>/dev/null || true
  else
    kill -KILL $editor 2>/dev/null || true
  fi
  if ! wait $editor || [ -z "$window" ]; then
    echo "failed $(tail -n 1 "$log")"
  elif [ -e "$preset" ]; then
    echo "$shown-rewrote"
  else
    echo "$shown"
  fi
}

# The vocabularies, without the plugins that are installed beside them.
mkdir -p "$work/vocabularies"
dpkg -L lv2-dev | grep '\.lv2$' | xargs -I{} ln -sfn {} "$work/vocabularies"
notes=()
printf '%-22s %8s %9s %8s %7s\n' package plugins interface rewrote failed
for package in "$@"; do
  unpack "$package"
  export LV2_PATH="$work/$package/usr/lib/lv2:$work/vocabularies"
  LD_LIBRARY_PATH=$(printf '%s:' "$work/$package"/usr/lib/*-linux-gnu*{,/*/})
  QT_PLUGIN_PATH=$(printf '%s:' "$work/$package"/usr/lib/*-linux-gnu*/qt?/plugins)
  export LD_LIBRARY_PATH QT_PLUGIN_PATH
  mapfile -t found < <(codes)
  own=0 rewrote=0 failed=0 done=0
  for code in "${found[@]}"; do
    done=$((done + 1))
    [ -t 2 ] && printf '\r%s  %d of %d  %s ' "$package" $done ${#found[@]} "$code" >&2
    result=$(look_at "$code")
    case $result in
      own*) own=$((own + 1)) ;;&
      *-rewrote) rewrote=$((rewrote + 1)) notes+=("$package: $code rewrote its preset (${result%-*})") ;;
      failed*) failed=$((failed + 1)) notes+=("$package: $code ${result}") ;;
    esac
  done
  [ -t 2 ] && printf '\r%70s\r' '' >&2
  printf '%-22s %8d %9d %8d %7d\n' "$package" ${#found[@]} $own $rewrote $failed
done
[ ${#notes[@]} -eq 0 ] || printf '%s\n' '' "${notes[@]}"
