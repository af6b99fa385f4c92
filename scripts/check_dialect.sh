#!/usr/bin/env bash
# One way to write what can be written in two; CONTRIBUTING.md has the list. What clang-format and
# clang-tidy hold is not looked at here.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
status=0
complain() { [ -z "$2" ] || { echo "$1:"; echo "$2"; status=1; }; }
code=(bench client components fuzz host platform plugin spec tests tools windows)
in_code() { grep -rnE "$1" --include='*.[ch]pp' --include='*.mm' --include='*.h' "${code[@]}"; }
ours() { grep -vE '^(platform/linux/include|tests/components)/'; }

complain 'constants are written in small letters with underscores; kNames are the SDK'"'"'s' \
  "$(in_code '\b(const|constexpr|constinit)\b[^=({;]*[ *&]k[A-Z]\w*(\[\w*\])?( =|\{|;)' | ours |
    grep -vE '\bk(CF|AU|Audio)[A-Za-z0-9_]+(\[|\{| =)')"
complain 'test names are words run together, each with a capital' \
  "$(in_code '^(TEST|TEST_F|TEST_P)\(\w+, *(\w*_\w*|[a-z]\w*)\)')"
complain 'an error text is a reference' "$(in_code 'std::string ?\* ?(error|reason|why)\b' | ours)"
complain 'our own headers are included by their path from the root' \
  "$(in_code '^\s*#\s*(include|import) "[^/"]*"' | ours)"
exit $status
