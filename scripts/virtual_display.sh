# To be sourced by a script that has set `work` to a folder: starts an X server without a screen,
# names it in DISPLAY, and ends it with the script.
# shellcheck shell=bash disable=SC2154
for program in Xvfb xdotool; do
  command -v "$program" >/dev/null ||
    { echo "$0: $program is missing (packages xvfb, xdotool)" >&2; exit 1; }
done
rm -f "$work/display"
Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp -noreset 3>"$work/display" >/dev/null 2>&1 &
server=$!
trap 'kill $server' EXIT
for _ in {1..100}; do
  [ -s "$work/display" ] && break
  sleep 0.1
done
DISPLAY=:$(<"$work/display")
export DISPLAY
