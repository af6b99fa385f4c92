#!/usr/bin/env bash
# Opens and closes the editor of every installed LV2 plugin (or of the codes named, such as
# aufx:kZu9:LV2_) without touching it, and says which of them rewrote their preset file all the
# same: those do not keep their own state byte for byte. Takes some seconds a plugin.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bin=$PWD/build/release/bin
scripts/build.sh release vesk-host vesk-list vesk-edit vesk-lv2-scan windows.so lv2.so >/dev/null

work=$(mktemp -d)
trap 'kill "${server:-}" 2>/dev/null || true; rm -rf "$work"' EXIT
mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp 3>"$work/display" >/dev/null 2>&1 &
server=$!
DISPLAY=:$(head -n 1 "$work/display")
export DISPLAY

if [ $# -gt 0 ]; then codes=("$@"); else mapfile -t codes < <("$bin/vesk-list" | grep -oE '^[^ ]+:LV2_'); fi
kept=0 rewrote=() failed=()
for code in "${codes[@]}"; do
  [ -t 2 ] && printf '\r%s  %d of %d ' "$code" $((kept + ${#rewrote[@]} + ${#failed[@]} + 1)) "${#codes[@]}" >&2
  preset=$work/preset.aupreset
  rm -f "$preset" "$preset~"
  status=0
  # Ended in order, as by its last window.
  timeout --signal=TERM --kill-after=30 "${SECONDS_OPEN:-3}" "$bin/vesk-edit" "$code@$preset" \
    >"$work/log" 2>&1 || status=$?
  if [ -e "$preset" ]; then
    rewrote+=("$code")
  elif [ "$status" -ne 0 ] && [ "$status" -ne 124 ]; then
    failed+=("$code: $(tail -n 1 "$work/log")")
  else
    kept=$((kept + 1))
  fi
done
[ -t 2 ] && echo >&2
echo "$kept of ${#codes[@]} left their preset alone"
for code in "${rewrote[@]}"; do echo "rewrote it: $code"; done
for line in "${failed[@]}"; do echo "did not open: $line"; done
