#compdef @program@
# Completion in zsh: the options are those of --help, the plugins vesk-list's.

_vesk_chains() {
  local list=vesk-list effects_only name maker type text
  local -a names texts titles
  [[ $1 != */* ]] || list=${1:h}/vesk-list
  compset -P '*[|]' && effects_only=yes
  if compset -P '*:*@'; then
    _files -g '*.aupreset'
    return
  fi
  for line in ${(f)"$(command $list 2>/dev/null)"}; do
    local -a columns=("${(@s:	:)line}")
    name=$columns[1] type=$columns[3] text=$columns[4]
    [[ -z $effects_only || $text == auf[xm]:* ]] || continue
    names+=("$name")
    texts+=("$text")
    titles+=("$text  $name ($type)")
  done
  compadd -a names
  compadd -l -d titles -a texts
}

_vesk() {
  local program=${~words[1]} line what name short takes text operand=nothing later=nothing action
  local -a lines specs
  local -A values
  lines=("${(@f)$(command $program --help 2>/dev/null | awk '
@options_awk@')}")
  for line in $lines; do
    IFS='|' read -r what name short takes text <<<"$line"
    [[ $what != value ]] || values[$name]+="$short "
    [[ $what != operand ]] || operand=$name later=$short
  done
  for line in $lines; do
    IFS='|' read -r what name short takes text <<<"$line"
    [[ $what == option ]] || continue
    text=${${${text//\\/}//\[/(}//\]/)}
    text=${text//:/\\:}
    action=''
    case $takes in
      chain) action=":chain:_vesk_chains ${(q)program}" ;;
      file) action=':file:_files' ;;
      text) action=":value:(${values[$name]})" ;;
    esac
    specs+=("*$name${action:+=}[$text]$action")
    [[ -z $short ]] || specs+=("*$short${action:++}[$text]$action")
  done
  local -A offers=(chain ":chain:_vesk_chains ${(q)program}" file ':file:_files')
  [[ -z $offers[$operand] ]] || specs+=("1$offers[$operand]")
  [[ -z $offers[$later] ]] || specs+=("*$offers[$later]")
  _arguments -s $specs
}
_vesk "$@"
