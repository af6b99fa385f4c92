#!/usr/bin/env bash
# Holds the headers in platform/linux/include to docs/contract.md, which says what the rule is.
#     check_contract.sh [PROGRAM]  PROGRAM carries the layer and must define every function
#     check_contract.sh --print    every name: for whom it is, its kind, its header
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
include=platform/linux/include
mapfile -t headers < <(cd $include && find . -name '*.h' -printf '%P\n' | sort)
in_headers() { (cd $include && "$@" "${headers[@]}"); }
declared=$(in_headers awk -f ../../../scripts/contract_names.awk)

without_comments='s@(^|[^:])//.*@\1@; s@/\*.*\*/@@g; /^ \*/d'
# code FOLDER...: the sources there.
code() {
  find "$@" \( -name '*.[chm]' -o -name '*.[ch]pp' -o -name '*.mm' \) -not -path "$include/*" \
    -exec sed -E "$without_comments" {} +
}
words() { grep -oE '[A-Za-z_][A-Za-z_0-9]*'; }
# A facility's own definitions begin their lines; a call from beside them is no use of them.
layer_words() {
  local folder
  for folder in platform/include platform/macos platform/linux/*/; do
    [ "$folder" = $include/ ] || comm -23 <(code "$folder" | grep '^[^A-Za-z_]' | words | sort -u) \
      <(code "$folder" | grep '^[A-Za-z_]' | grep -oE '[A-Za-z_0-9]+\(' | tr -d '(' | sort -u)
  done
}
# A tag beside its type's name, and the guard around a macro, are no second mention.
header_words() {
  in_headers sed -E "$without_comments; /^#ifn?def/d; s@^typedef struct \w+ \{@@" | words
}
included() {
  { code host spec plugin windows client tools components docs tests/components platform; in_headers cat; } |
    sed -nE 's@^# *(include|import) +<(.*)>.*@\2@p' | sort -u
}
# docs/contract.md: a name, or a header, with the header it stands under.
listed() {
  awk '/^## / { header = $2; print $2 "\t" }
       /^    / && header { for (i = 1; i <= NF; ++i) print $i "\t" header }' docs/contract.md
}

awk -F '\t' -v action="$1" '
  function complain(text) { if (action != "--print") { print text; status = 1 } }
  from == "header" { mentions[$1]++; next }
  from == "list" && /\.h\t/ { listed_header[$1]; next }
  from == "list" && $2 { pattern = $1; gsub(/\*/, "[A-Za-z_0-9]*", pattern)
    list[++entries] = $1; under[entries] = $2; patterns[entries] = "^" pattern "$"; next }
  from == "file" { file[$1]; next }
  from == "included" { is_included[$1]; next }
  from == "declared" { names[++count] = $0; declarations[$2]++; next }
  { uses[$1] = uses[$1] " " from }
  END {
    for (i = 1; i <= count; ++i) {
      split(names[i], part, "\t")
      kind = part[1]; name = part[2]; header = part[3]; who = uses[name]
      if (mentions[name] > declarations[name]) who = who " declarations"
      for (k = 1; k <= entries; ++k) {
        if (under[k] != header || name !~ patterns[k]) continue
        # A group stands for what costs nothing, not for code.
        if (list[k] ~ /\*/ && kind ~ /function|inline|variable/) continue
        met[k] = 1
        if (who !~ /authors/) who = who " authors"
      }
      if (action == "--print") printf "%-38s %-9s %s <%s>\n", substr(who, 2), kind, name, header
      if (!who) complain("<" header "> declares " name ", which nobody uses and docs/contract.md does not list")
    }
    for (k = 1; k <= entries; ++k)
      if (!met[k]) complain("docs/contract.md: <" under[k] "> does not declare " list[k])
    for (name in file)
      if (!(name in is_included) && !(name in listed_header))
        complain("<" name "> is included by nobody, and docs/contract.md does not list it")
    for (name in listed_header)
      if (!(name in file)) complain("docs/contract.md: there is no <" name ">")
    exit status
  }' from=header <(header_words) from=list <(listed) from=included <(included) \
     from=file <(printf '%s\n' "${headers[@]}") \
     from=system <(code host spec plugin windows client tools | words | sort -u) \
     from=components <(code components tests/components docs/examples | words | sort -u) \
     from=layer <(layer_words | sort -u) from=declared - <<< "$declared"
status=$?
if [ -n "$1" ] && [ "$1" != --print ]; then
  # What vesk/ declares, modules define.
  missing=$(comm -23 <(awk -F '\t' '$1 == "function" && $3 !~ /^vesk\// { print $2 }' <<< "$declared" | sort -u) \
    <(nm -D --defined-only "$1" | awk '{ print $3 }' | sort -u))
  [ -z "$missing" ] || { echo "declared, but not defined in $1:"; echo "$missing"; status=1; }
fi
exit $status
