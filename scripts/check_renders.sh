#!/usr/bin/env bash
# Renders the demo song twice through every installed LV2 plugin and names those whose two results
# differ, are silent, or fail: a plugin that is deterministic by itself must give the same bytes,
# however busy the machine is. Plugins that seed themselves from the clock differ rightly.
#     check_renders.sh [WORDS]   only plugins whose line in vesk-list matches
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
scripts/build.sh release vesk-host vesk-list vesk-parameters vesk-render vesk_lv2 vesk-lv2-scan || exit
bin=$PWD/build/release/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bin/vesk-render" aumu:Sm48:LV2_ --midi songs/demo.mid -o "$work/in.wav" -q ||
  { echo "$0: the input of effects is played by MDA ePiano (package mda-lv2)" >&2; exit 1; }
mapfile -t lines < <("$bin/vesk-list" | grep ':LV2_' | grep -i -- "${1:-.}")
count=0 same=0
for line in "${lines[@]}"; do
  IFS=$'\t' read -r name maker type code <<<"$line"
  ((++count))
  [ -t 2 ] && printf '\r\033[K%d of %d: %s' "$count" "${#lines[@]}" "$name" >&2
  case $code in
    aufx:*) source=(--input "$work/in.wav") ;;
    aumf:*) source=(--input "$work/in.wav" --midi songs/demo.mid) ;;
    *) source=(--midi songs/demo.mid) ;;
  esac
  remark=
  for round in one two; do
    said=$("$bin/vesk-render" "$code" "${source[@]}" -o "$work/$round.wav" 2>&1) ||
      { remark="failed: ${said##*$'\n'}"; break; }
  done
  if [ -z "$remark" ]; then
    ((++same))
    cmp -s "$work/one.wav" "$work/two.wav" || { remark="differs"; ((--same)); }
    case $said in *"output is silent"*) remark="${remark:+$remark, }silent" ;; esac
  fi
  [ -t 2 ] && printf '\r\033[K' >&2
  [ -z "$remark" ] || echo "$code $name: $remark"
done
echo "$same of $count give the same twice"
