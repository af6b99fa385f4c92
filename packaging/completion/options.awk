# What stands first on a command line, and what stands behind that.
tolower($1) == "usage:" && !seen++ {
  sub(/^\[/, "", $3)
  print "operand|" kind($3) "|" ($4 ~ /^[A-Z]/ ? kind($4) : kind($3))
}
/^ +-/ {
  sub(/^ +/, "")
  match($0, /^(-[a-z], )?--[a-z0-9-]+( [A-Z[][^ ]*)?/)
  split(substr($0, 1, RLENGTH), words, " ")
  short = words[1] ~ /,$/ ? substr(words[1], 1, 2) : ""
  name = short == "" ? words[1] : words[2]
  takes = short == "" ? words[2] : words[3]
  text = substr($0, RLENGTH + 1)
  head = "option|" name "|" short "|" kind(takes) "|"
  split("", words)
  if (text == "") { wants_text = 1; next }
  sub(/^ +/, "", text)
  print head text
  next
}
wants_text { sub(/^ +/, ""); print head $0; wants_text = 0; next }
# A table in a description: the words that the option takes.
/^                            [a-z]/ && takes != "" {
  word = $1
  sub(/^ +[^ ]+ +/, "")
  print "value|" name "|" word "|" $0
}
/^$/ { takes = "" }
function kind(word) {
  if (word == "" || word ~ /^-/) return "nothing"
  if (word ~ /CHAIN|PLUGIN/) return "chain"
  return word ~ /FILE|FOLDER|DIR|INPUT|\./ ? "file" : "text"
}
