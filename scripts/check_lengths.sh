#!/usr/bin/env bash
# A file beyond 500 lines holds more than one idea.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
found=$(find bench client components docs fuzz host platform plugin spec tests tools windows \
  \( -name '*.[ch]pp' -o -name '*.mm' -o -name '*.c' -o -name '*.h' -o -name '*.m' \) -exec wc -l {} + |
  awk '$2 != "total" && $1 > 500')
[ -z "$found" ] || { echo "files of more than 500 lines:"; echo "$found"; exit 1; }
