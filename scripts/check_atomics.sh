#!/usr/bin/env bash
# Words that another process writes are made atomic in these places only: the block's by
# host/atomics.hpp, the records' by the layer. Beside them the layer does so with what the SDK
# declares as plain (dispatch_once_t), and tests that stand in for the other side.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
found=$(grep -rnE '\batomic_ref\b|\b__atomic_[a-z]' --include='*.[ch]pp' --include='*.h' --include='*.mm' \
  bench client components fuzz host platform plugin spec tests tools windows |
  grep -vE '^(host/atomics.hpp|platform/linux/(workgroup/workgroup|records/parent_record|dispatch/queue).cpp|platform/linux/include/libkern/.*):' |
  grep -vE '^tests/[^:]*:.*\batomic_ref\b')
[ -z "$found" ] || { echo "atomic access to plain words beside the helpers:"; echo "$found"; exit 1; }
