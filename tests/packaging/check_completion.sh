#!/usr/bin/env bash
# check_completion.sh BUILD_FOLDER: every option of --help is in its page, and bash completes what it
# should, as readline asks for it; fish and zsh too, where they are installed. Of plugins the tests'
# own are known, and nothing of the user's.
set -u
share=$1/share PATH=$1/bin:$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CACHE_HOME=$work/cache LV2_PATH='' AUDIO_COMPONENT_PATH=$1/components
cd "$work" || exit
touch song.mid 'my song.mid' p.aupreset p.txt
mkdir folder
failed=0
expect() {  # WHAT GOT WANTED
  [ "$2" = "$3" ] || { echo "$1: got '$2', not '$3'"; failed=1; }
}
type=$(vesk-list --type instrument | head -n 1 | cut -f 4)
effect=$(vesk-list --type effect | head -n 1 | cut -f 4)
[ -n "$effect" ] || { echo "there is no effect among the tests' components"; exit 1; }

for file in "$share"/bash-completion/completions/*; do
  # shellcheck source=/dev/null
  source "$file"
done
# LINE, the part of it that readline replaces, what may stand there
while IFS='@' read -r line word wanted; do
  line=${line//%/@} word=${word//%/@} wanted=${wanted//%/@}
  COMP_LINE=$line COMP_POINT=${#line} COMPREPLY=()
  _vesk "${line%% *}" "$word" 2>/dev/null
  expect "$line" "$(IFS=,; echo "${COMPREPLY[*]}")" "$wanted"
done <<EOT
vesk-list --reso@--reso@--resolve
vesk-render x --m@--m@--midi
vesk-list -t in@in@instrument
vesk-list --type midi-@midi-@midi-effect,midi-processor
vesk-list --type=in@in@instrument
vesk-list --json x@x@
vesk-list wor@wor@
vesk-render x -m so@so@song.mid
vesk-render x --midi my@my@my\\ song.mid
vesk-render x --midi 'my@my@my song.mid
vesk-render x --midi=so@so@song.mid
vesk-render x -o fol@fol@folder/
vesk-render -q -r 8000 x so@so@song.mid
vesk-render -q -r 8000 so@so@
vesk-render x song.mid --format o@o@ogg,opus
vesk-render x --tempo fol@fol@
vesk-render ${type%:*}:@@${type##*:}
vesk-render '${type%:*}:@${type%:*}:@$type
vesk-list --parameters "$type@$type@$type
vesk-edit '$type|${effect%:*}:@$type|${effect%:*}:@$type|$effect
vesk-edit '$type|aumu:@$type|aumu:@
vesk-edit '$type%p@$type%p@$type%p.aupreset
EOT
for program in "$1"/bin/vesk-*; do
  page=$share/man/man1/${program##*/}.1
  [ -f "$page" ] || continue
  # Every option of --help stands at the head of a paragraph in the page.
  while read -r option; do
    grep -A 1 '^\.TP' "$page" | grep -qF -- "\\fB${option//-/\\-}\\fR" || {
      echo "$page does not describe $option"
      failed=1
    }
  done < <("$program" --help | grep -oE '^ +(-[a-z], )?--[a-z0-9-]+' | grep -oE -- '-[a-z-]+[a-z0-9-]*')
done

if command -v fish >/dev/null; then
  in_fish() {
    # shellcheck disable=SC2016
    fish --no-config -c 'for f in $argv[1]/fish/vendor_completions.d/*; source $f; end
      complete -C $argv[2]' "$share" "$1" | cut -f 1 | paste -sd ,
  }
  expect fish "$(in_fish 'vesk-list --reso')" --resolve
  expect fish "$(in_fish 'vesk-list --type midi-')" midi-effect,midi-processor
  expect fish "$(in_fish "vesk-edit '${type%:*}:")" "$type"
  expect fish "$(in_fish "vesk-edit '$type|${effect%:*}:")" "$type|$effect"
  expect fish "$(in_fish 'vesk-render x --midi so')" song.mid
  expect fish "$(in_fish 'vesk-render x so')" song.mid
else
  echo "fish is not installed, and not tried"
fi
if command -v zsh >/dev/null; then
  # LINE and what stands there after a tab, in a terminal.
  in_zsh() {
    # shellcheck disable=SC2016
    TERM=dumb share=$share line=$1 whole=$2 timeout 30 zsh -f -c '
      zmodload zsh/zpty
      zpty shell "zsh -f -i"
      zpty -w shell "fpath=(\$share/zsh/vendor-completions \$fpath); autoload -Uz compinit
        compinit -u; PS1=rea\"\"dy"
      zpty -r shell out "*ready*"
      zpty -w -n shell "$line"$'"'\\t'"'
      zpty -r shell out "*${(b)whole}*"' || { echo "zsh: '$1' does not become '$2'"; failed=1; }
  }
  in_zsh 'vesk-list --reso' 'vesk-list --resolve'
  in_zsh 'vesk-list --type midi-e' 'vesk-list --type midi-effect'
  in_zsh "vesk-edit '${type%???}" "vesk-edit '$type"
  in_zsh "vesk-edit '$type|aufx:Gai" "vesk-edit '$type|aufx:Gain:Vesk"
  in_zsh "vesk-edit '$type@p" "vesk-edit '$type@p.aupreset"
  in_zsh 'vesk-render x --midi so' 'vesk-render x --midi song.mid'
  in_zsh 'vesk-render x so' 'vesk-render x song.mid'
else
  echo "zsh is not installed, and not tried"
fi
exit $failed
