#!/usr/bin/env bash
# The program shown in docs/embedding.md is the one that the tests build.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
# shellcheck disable=SC2016
diff <(sed -n '/^```cpp$/,/^```$/p' docs/embedding.md | sed '1d;$d') docs/examples/embed.cpp ||
  { echo "docs/embedding.md and docs/examples/embed.cpp differ"; exit 1; }
