#!/usr/bin/env bash
# Opens and closes the editor of every LV2 plugin in the Debian packages named (all that have
# interfaces, without arguments) and touches nothing. Prints a table in Markdown, a row a package: how
# many plugins, the kinds of interfaces in its descriptions, and how many showed one of their own, of
# which kind, or the panel. Then which rewrote their preset file all the same (these do not keep their
# own state byte for byte), and why others failed. The packages are unpacked under build/interfaces,
# not installed; some look for their files under /usr/share all the same. Takes some four seconds a
# plugin; build/interfaces/results has a line for each.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ $# -gt 0 ] || set -- abgate avldrums.lv2 calf-plugins dpf-plugins-lv2 dragonfly-reverb-lv2 \
  drumkv1-lv2 eq10q foo-yc20 guitarix-lv2 invada-studio-plugins-lv2 ir.lv2 lsp-plugins-lv2 \
  lv2-examples padthv1-lv2 samplv1-lv2 setbfree synthv1-lv2 vocproc x42-plugins yoshimi zam-plugins \
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

# kinds FOLDER: the classes of interfaces in its descriptions, and whether one wants the instance.
kinds() {
  grep -rhoE --include='*.ttl' '(Gtk|Gtk3|Qt4|Qt5|X11)UI|(kx:|external-ui#)Widget|\bui:UI\b|requiredFeature.*instance-access' "$1" |
    sed -E 's/UI$//; s/.*Widget/external/; s/.*instance-access/(instance)/; s/ui:/other/' | sort -u | paste -sd ' '
}

# shown_by EDITOR: how the interface in its window runs: X11 in the host, or a toolkit in a helper.
shown_by() {
  local host helper
  host=$(pgrep -P "$1" -x vesk-host) || true
  helper=$(pgrep -P "${host:-0}" -x vesk-lv2-ui) || { echo X11; return; }
  case $(grep -oE 'libgtk-x11-2|libgtk-3|libQt5Widgets' "/proc/$helper/maps" | head -n 1) in
    libgtk-x11-2) echo Gtk2 ;;
    libgtk-3) echo Gtk3 ;;
    libQt5Widgets) echo Qt5 ;;
    *) echo external ;;
  esac
}

# look_at CODE: prints what became of it: the kind that is shown, or panel, with -rewrote, or why it
# failed.
look_at() {
  local preset=$work/preset.aupreset log=$work/log editor window='' shown=panel
  rm -f "$preset" "$preset~"
  "$bin/vesk-edit" "$1@$preset" >"$log" 2>&1 &
  editor=$!
  for _ in {1..300}; do
    window=$(xdotool search --onlyvisible --name ' - preset.aupreset$' 2>/dev/null | head -n 1) || true
    { [ -n "$window" ] || ! kill -0 $editor 2>/dev/null; } && break
    sleep 0.1
  done
  if [ -n "$window" ]; then
    sleep "${SECONDS_OPEN:-2}"
    xwininfo -children -id "$window" 2>/dev/null | grep -q ' 0x.*+' && shown=$(shown_by $editor)
    kill -TERM $editor 2>/dev/null || true
  else
    kill -KILL $editor 2>/dev/null || true
  fi
  if ! wait $editor || [ -z "$window" ]; then
    echo "failed $(tail -n 1 "$log")"
  elif [ -e "$preset" ]; then
    echo "$shown-rewrote"
  else
    echo "$shown $(sed -n 's/.*its own interface cannot be shown: //p' "$log" | head -n 1)"
  fi
}

# The vocabularies, without the plugins that are installed beside them.
mkdir -p "$work/vocabularies"
dpkg -L lv2-dev | grep '\.lv2$' | xargs -I{} ln -sfn {} "$work/vocabularies"
notes=()
: >"$work/results"
echo '| package | plugins | kinds | X11 | Gtk 2 | Qt 5 | external | panel |'
echo '|---|---|---|---|---|---|---|---|'
for package in "$@"; do
  unpack "$package"
  export LV2_PATH="$work/$package/usr/lib/lv2:$work/vocabularies"
  LD_LIBRARY_PATH=$(printf '%s:' "$work/$package"/usr/lib/*-linux-gnu*{,/*/})
  QT_PLUGIN_PATH=$(printf '%s:' "$work/$package"/usr/lib/*-linux-gnu*/qt?/plugins)
  export LD_LIBRARY_PATH QT_PLUGIN_PATH
  mapfile -t found < <(codes)
  declare -A shown=()
  done=0
  for code in "${found[@]}"; do
    done=$((done + 1))
    [ -t 2 ] && printf '\r%s  %d of %d  %s ' "$package" $done ${#found[@]} "$code" >&2
    result=$(look_at "$code")
    echo "$package $code $result" >>"$work/results"
    kind=${result%%[- ]*}
    shown[$kind]=$((${shown[$kind]:-0} + 1))
    case $result in
      *-rewrote) notes+=("$package: $code rewrote its preset ($kind)") ;;
      failed* | panel\ ?*) notes+=("$package: $code ${result}") ;;
    esac
  done
  [ -t 2 ] && printf '\r%70s\r' '' >&2
  echo "| $package | ${#found[@]} | $(kinds "$work/$package/usr/lib/lv2") | ${shown[X11]:-} |" \
    "${shown[Gtk2]:-} | ${shown[Qt5]:-} | ${shown[external]:-} | ${shown[panel]:-} |"
done
[ ${#notes[@]} -eq 0 ] || printf '%s\n' '' "${notes[@]}"
