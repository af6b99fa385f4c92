# Makes a manual page of what a program says for --help: paragraphs, usage lines, options with their
# descriptions, examples. What stands deeper than an option's description, or is no option, is a
# table, and stays as it is.
#     PROGRAM --help | awk -v program=NAME -v version=V -f page.awk
function escaped(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  gsub(/'/, "\\(aq", text)
  sub(/^\./, "\\\\\\&.", text)
  return text
}
function put(text) { body = body text "\n" }
function section(title) { close_table(); put(".SH " title) }
function open_table() { if (!in_table) put(".nf"); in_table = 1 }
function close_table() { if (in_table) put(".fi"); in_table = 0 }
function indent_of(line,  rest) {
  rest = line
  sub(/^ */, "", rest)
  return length(line) - length(rest)
}
function bold(words) {
  gsub(/--?[a-z][a-z0-9-]*/, "\\fB&\\fR", words)
  gsub(/-/, "\\-", words)
  return words
}

# The first sentence says what the program is, without its name before that.
!summary && /^[A-Za-z]/ && tolower($1) != "usage:" {
  summary = $0
  sub("^" program " ", "", summary)
  if (summary !~ /[,:;(.]/ && (getline following) > 0) summary = summary " " (more = following)
  sub(/ ?[,:;(.].*/, "", summary)
  summary = tolower(substr(summary, 1, 1)) substr(summary, 2)
}
tolower($1) == "usage:" {
  in_usage = 1
  sub(/^[Uu]sage: */, "")
  synopsis = synopsis ".B " escaped($0) "\n.br\n"
  next
}
in_usage && /^ / { sub(/^ */, ""); synopsis = synopsis ".B " escaped($0) "\n.br\n"; next }
in_usage { in_usage = 0 }

/^$/ { column = 0; close_table(); put(".PP"); next }
tolower($0) ~ /^(examples|environment):$/ {
  title = toupper($0)
  sub(/:/, "", title)
  section(title)
  next
}
/^Exit status: / { section("EXIT STATUS"); sub(/^Exit status: /, "") }
/^ +-/ {
  close_table()
  if (!had_options++) put(".SH OPTIONS")
  column = 0
  rest = $0
  sub(/^ +/, "", rest)
  # Names, then what they take: a word that begins with a capital or a bracket.
  match(rest, /^(-[a-z], )?-[a-z0-9-]+( [A-Z[][^ ]*)?/)
  words = substr(rest, 1, RLENGTH)
  text = substr(rest, RLENGTH + 1)
  if (text != "") {
    column = indent_of($0) + length(words) + indent_of(text)
    sub(/^ +/, "", text)
    put(".TP\n" bold(words) "\n" escaped(text))
  } else {
    put(".TP\n" bold(words))
    column = -1
  }
  next
}
/^ / {
  if (column < 0) column = indent_of($0)
  if (column > 0 && indent_of($0) <= column) { close_table(); sub(/^ */, ""); put(escaped($0)); next }
  open_table()
  sub(/^  /, "")
  if (column > 0) $0 = substr($0, column - 1)
  put(escaped($0))
  next
}
{
  close_table()
  put(escaped($0))
  if (more) put(escaped(more))
  more = ""
}
END {
  close_table()
  printf ".TH %s 1 \"\" \"vesk %s\" \"vesk\"\n", toupper(program), version
  printf ".SH NAME\n%s \\- %s\n", escaped(program), escaped(summary)
  printf ".SH SYNOPSIS\n%s.SH DESCRIPTION\n%s", synopsis, body
  print ".SH SEE ALSO\n.BR vesk\\-chain (7)"
}
