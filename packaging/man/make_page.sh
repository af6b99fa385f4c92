#!/bin/sh
# make_page.sh PROGRAM VERSION PAGE: makes PROGRAM's manual page of what it prints for --help.
set -eu
text=$("$1" --help)
mkdir -p "$(dirname "$3")"
printf '%s\n' "$text" |
  awk -v program="$(basename "$1")" -v version="$2" -f "$(dirname "$0")/page.awk" >"$3.new"
mv "$3.new" "$3"
