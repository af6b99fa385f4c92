#!/usr/bin/env bash
# Words of shared memory are made atomic in one place only.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
found=$(grep -rnE '\batomic_ref\b|__atomic_(load|store|exchange)' --include='*.[ch]pp' --include='*.h' --include='*.mm' \
  host spec plugin windows client tools | grep -v '^host/atomics.hpp:')
[ -z "$found" ] || { echo "atomic access to plain words outside host/atomics.hpp:"; echo "$found"; exit 1; }
