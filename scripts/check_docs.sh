#!/usr/bin/env bash
# What documents say of the sources holds: links lead somewhere, every document is in the index,
# every environment variable in its table, every command of the misbehaving units too, and the program
# in docs/embedding.md is what tests build.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
failed=0
complain() {
  echo "$1"
  failed=1
}

while IFS=: read -r document target; do
  [ -e "$(dirname "$document")/$target" ] || complain "$document: no such file: $target"
done < <(grep -oE '\]\([^):#]+' README.md CONTRIBUTING.md docs/*.md | sed 's/\](//')
for document in docs/*.md; do
  [ "$document" = docs/README.md ] || grep -qF "(${document#docs/})" docs/README.md ||
    complain "docs/README.md does not name $document"
done
while read -r variable; do
  grep -qF "\`$variable\`" docs/environment.md || complain "docs/environment.md does not name $variable"
done < <(grep -rhoE 'getenv\("[A-Z_0-9]+' client components host platform plugin spec tests/components \
  tools windows | sed 's/.*"//' | sort -u)
# shellcheck disable=SC2016
diff <(sed -n '/^```cpp$/,/^```$/p' docs/embedding.md | sed '1d;$d') docs/examples/embed.cpp ||
  complain "docs/embedding.md and docs/examples/embed.cpp differ"
diff <(sed -nE 's/^\| ([0-9]{1,2} \| [a-z-]+) \|.*/\1/p' docs/misbehaving.md) <(
  sed -nE 's/^  COMMAND\([^"]*"([a-z-]+)".*/\1/p' tests/components/misbehaving/misbehaving.c |
    awk '{ print NR - 1 " | " $0 }') || complain "docs/misbehaving.md names other commands"
exit $failed
