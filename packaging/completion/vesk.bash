# Completion of @program@ in bash: the options are those of its --help, the plugins vesk-list's.

_vesk_options() {
  command -- "${1/#\~/$HOME}" --help 2>/dev/null | awk '
@options_awk@'
}

# _vesk_chains LIST TEXT: chains that begin with TEXT; LIST is a vesk-list.
_vesk_chains() {
  local last=${2##*|} head
  head=${2%"$last"}
  if [[ $last == *:*@* ]]; then
    compgen -P "$head${last%%@*}@" -f -X '!*.aupreset' -- "${last#*@}"
    compgen -P "$head${last%%@*}@" -S / -d -- "${last#*@}"
    return
  fi
  # What follows another plugin is an effect.
  command -- "$1" 2>/dev/null | head=$head text=$2 awk -F '\t' '
    function offer(name) { if (index(name, ENVIRON["text"]) == 1) print name }
    ENVIRON["head"] == "" || $4 ~ /^auf[xm]:/ { offer(ENVIRON["head"] $1); offer(ENVIRON["head"] $4) }'
}

# _vesk PROGRAM WORD: WORD is what readline replaces, which begins after the last of its break characters.
_vesk() {
  local line=${COMP_LINE:0:COMP_POINT} raw='' word='' quote='' quoted='' previous='' i c words=()
  for ((i = 0; i < ${#line}; ++i)); do
    c=${line:i:1}
    if [[ -n $quote && $c == "$quote" ]]; then
      quote=''
    elif [[ -n $quote ]]; then
      quoted+=$c word+=$c
    elif [[ $c == [\'\"] ]]; then
      quote=$c quoted=''
    elif [[ $c == '\' ]]; then
      raw+=$c
      ((++i))
      c=${line:i:1}
      word+=$c
    elif [[ $c == [[:space:]] ]]; then
      [[ -z $word ]] || words+=("$word")
      previous=${word:-$previous} raw='' word=''
      continue
    else
      word+=$c
    fi
    raw+=$c
  done

  local option=$previous prefix='' value=$word
  if [[ $word == --*=* ]]; then
    option=${word%%=*} prefix=${word%%=*}= value=${word#*=}
  fi
  local what name short takes text kind=nothing operand=text later=text matched=''
  local names=() values=()
  local -A kinds=()
  while IFS='|' read -r what name short takes text; do
    case $what in
      operand) operand=$name later=$short ;;
      option)
        names+=("$name")
        kinds[$name]=$takes
        [[ -z $short ]] || kinds[$short]=$takes
        [[ $option != "$name" && $option != "$short" ]] || kind=$takes matched=$name
        ;;
      value) [[ $name != "$matched" ]] || values+=("$short") ;;
    esac
  done < <(_vesk_options "$1")

  for ((i = 1; i < ${#words[@]}; ++i)); do
    if [[ ${words[i]} != -* ]]; then
      operand=$later
    elif [[ -n ${kinds[${words[i]}]-} && ${kinds[${words[i]}]} != nothing ]]; then
      ((++i))
    fi
  done
  [[ $kind != nothing || -n $prefix ]] || kind=$operand
  local found=() list=vesk-list
  [[ $1 != */* ]] || list=${1%/*}/vesk-list
  if [[ -n $matched && ${#values[@]} -gt 0 ]]; then
    mapfile -t found < <(compgen -W "${values[*]}" -- "$value")
  elif [[ $word == -* && -z $prefix ]]; then
    mapfile -t found < <(compgen -W "${names[*]}" -- "$word")
  elif [[ $kind == chain ]]; then
    mapfile -t found < <(_vesk_chains "${list/#\~/$HOME}" "$value")
  elif [[ $kind == file ]]; then
    mapfile -t found < <(compgen -f -- "$value")
  fi
  [[ ${#found[@]} -ne 1 ]] || [[ ! -d ${found[0]/#\~/$HOME} && ${found[0]} != */ ]] ||
    { found[0]=${found[0]%/}/; compopt -o nospace 2>/dev/null; }

  local whole
  COMPREPLY=()
  for whole in "${found[@]}"; do
    whole=$prefix$whole
    if [[ -n $quote ]]; then
      COMPREPLY+=("${whole:${#word} - ${#quoted}}")
    else
      printf -v whole %q "$whole"
      whole=${whole/#\\~\//\~/}
      COMPREPLY+=("${whole:${#raw} - ${#2}}")
    fi
  done
}
complete -F _vesk @program@
