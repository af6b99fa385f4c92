# What the headers named on the command line declare: for each name a line with its kind (function,
# inline, variable, type, value, macro, method), the name and the header. Understands the C of the
# layer's headers, no more.
function put(kind, name) {
  if (name != "" && !((header, name) in known)) print kind "\t" name "\t" header
  known[header, name] = 1
}
# The identifiers that begin an entry of the braces of an enumeration.
function put_values(text,    entries, count, i) {
  sub(/^[^{]*\{/, "", text)
  count = split(text, entries, ",")
  for (i = 1; i <= count; ++i)
    if (match(entries[i], /[A-Za-z_][A-Za-z_0-9]*/)) put("value", substr(entries[i], RSTART, RLENGTH))
}
# The last identifier outside braces and brackets.
function last_name(text) {
  while (sub(/\{[^{}]*\}/, "", text) || sub(/\[[^\][]*\]/, "", text)) continue
  gsub(/[^A-Za-z_0-9]+/, " ", text)
  sub(/ $/, "", text)
  sub(/.* /, "", text)
  return text
}
function end_statement(text,    name) {
  while (sub(/__attribute__ *\(\([^()]*(\([^()]*\))?[^()]*\)\)/, "", text)) continue
  gsub(/(^|[^A-Za-z_0-9])(OS_EXPORT|CF_EXPORT|DISPATCH_EXPORT|__extension__|CF_EXTERN_C_(BEGIN|END))/, " ", text)
  sub(/^[ \n]+/, "", text)
  if (text ~ /^(static_assert|_Static_assert|@class|extern "C")/) return
  if (match(text, /(CA|CF|NS)_(ENUM|OPTIONS) *\([^)]*\)/)) put("type", last_name(substr(text, RSTART, RLENGTH)))
  if (text ~ /^(typedef )?[^({]*(enum|(CA|CF|NS)_(ENUM|OPTIONS|VALUES) *\([^)]*\))[^({]*\{/) put_values(text)
  if (text ~ /(CA|CF|NS)_(ENUM|OPTIONS|VALUES) *\(/ || text ~ /^enum/) return
  if (text ~ /^typedef/) {
    name = text
    if (name ~ /^[^{]*\( *[*^]/) sub(/^[^(]*\( *[*^] */, "", name) && sub(/[^A-Za-z_0-9].*/, "", name)
    else name = last_name(name)
    put("type", name)
  } else if (text ~ /^struct [A-Za-z_0-9]+ *\{/) {
    sub(/^struct /, "", text)
    put("type", substr(text, 1, match(text, /[^A-Za-z_0-9]/) - 1))
  } else if (text ~ /\(/) {
    name = text
    sub(/ *\(.*/, "", name)
    put(text ~ /(^| )(inline|CF_INLINE) / ? "inline" : "function", last_name(name))
  } else if (text ~ /^(extern |const |mach_port_t )/ || text ~ /^[A-Za-z_].* k?[A-Za-z_0-9]+$/) {
    if (text !~ /^struct [A-Za-z_0-9]+$/) put("variable", last_name(text))
  }
}
function end_file(    i, c, depth, parens, text) {
  while (match(all, /\/\*([^*]|\*+[^*\/])*\*+\//)) all = substr(all, 1, RSTART - 1) " " substr(all, RSTART + RLENGTH)
  gsub(/extern "C" \{/, "", all)
  for (i = 1; i <= length(all); ++i) {
    c = substr(all, i, 1)
    if (c == "}" && depth == 0) continue
    depth += (c == "{") - (c == "}")
    if (c == "\n") c = " "
    if (c == ";" && depth == 0) { end_statement(text); text = ""; continue }
    text = text c
    if (c == "}" && depth == 0 && text ~ /static inline|CF_INLINE/) { end_statement(text); text = "" }
  }
  all = ""
}
FNR == 1 { if (header) end_file(); header = FILENAME; sub(/.*include\//, "", header); sub(/^\.\//, "", header) }
{ sub(/\/\/.*/, "") }
continued || /^ *#/ {
  if (!continued && $0 ~ /^ *# *define/) {
    match($0, /define +[A-Za-z_0-9]+/)
    name = substr($0, RSTART, RLENGTH)
    sub(/define +/, "", name)
    put("macro", name)
  }
  continued = /\\$/
  next
}
/^@(interface|protocol)/ { put("type", $2); in_class = 1 }
in_class {
  if (/^@property/) put("method", last_name(substr($0, 1, index($0, ";") - 1)))
  if (/^[-+] *\(/) { name = $0; sub(/^[-+] *\([^)]*\) */, "", name); sub(/[^A-Za-z_0-9].*/, "", name); put("method", name) }
  if (/^@end/) in_class = 0
  next
}
{ all = all $0 "\n" }
END { end_file() }
