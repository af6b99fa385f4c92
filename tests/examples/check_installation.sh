#!/usr/bin/env bash
# check_installation.sh CMAKE BUILD_FOLDER COMPILER: installs into a folder of its own, moves it, and
# there lists plugins, renders a second of music, builds and runs the programs that embed a host, and
# builds and opens a component, as somebody else's project would.
set -euo pipefail
cmake=$1 build=$2 compiler=$3
source=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Nothing that is set here may lead back to the build tree or to what another run left behind.
unset VESK_HOST VESK_LV2_SCAN VESK_MODULE_PATH AUDIO_COMPONENT_PATH
export HOME=$work XDG_CACHE_HOME=$work/cache

"$cmake" --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/vesk"
cd "$work"
if grep -rlF -e "$source/build" -e "$build" --include='*.pc' vesk; then
  echo "an installed file names the build tree"
  exit 1
fi

version=$(sed -n 's/^Version: //p' "$(find vesk -name vesk.pc)")
for program in vesk/bin/*; do
  name=${program##*/}
  [ -s "vesk/share/man/man1/$name.1" ] || { echo "$name has no manual page"; exit 1; }
  # The host has five arguments, and no options.
  [ "$name" = vesk-host ] || [ "$("$program" --version)" = "$name $version" ] ||
    { echo "$name --version says: $("$program" --version)"; exit 1; }
done

plugin=$(vesk/bin/vesk-list | grep -o 'aumu:Sm48:LV2_') ||
  { echo "the installed vesk-list does not know the LV2 plugins"; exit 1; }

# At 120 beats a minute, 96 ticks each: one note of a beat and another beat, which is a second.
printf 'MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0\x0c\0\x90\x3c\x64\x60\x80\x3c\0\x60\xff\x2f\0' >song.mid
vesk/bin/vesk-render "$plugin" --midi song.mid --tail 0 -q -o song.wav
bytes=$(stat -c %s song.wav)
if [ "$bytes" -lt $((48000 * 8)) ] || [ "$bytes" -gt $((48000 * 8 + 8192)) ]; then
  echo "a second of stereo has $bytes bytes"
  exit 1
fi
# Samples are the last part of the file; what precedes them would not read as a level.
tail -c $((40000 * 8)) song.wav | od -An -v -t f4 |
  awk '{ for (i = 1; i <= NF; i++) if ($i > 0.01 && $i < 1) loud++ } END { exit loud < 1000 }' ||
  { echo "the rendered second is silent"; exit 1; }

PKG_CONFIG_PATH=$(dirname "$(find "$work/vesk" -name vesk-client.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config --cflags --libs vesk-client)
"$compiler" -std=c++20 -Wall -Wextra -Werror "$source/docs/examples/embed.cpp" "${flags[@]}" \
  -o vesk/bin/embed
answer=$(vesk/bin/embed "$plugin")
[[ $answer =~ ^peak\ 0\.[0-9]*[1-9] ]] || { echo "the embedding program says: $answer"; exit 1; }

# Somebody else's project, with both kinds of compiler.
for c in "${compiler/clang++/clang}" gcc; do
  cxx=${c/clang/clang++} folder=with-$(basename "$c")
  "$cmake" -S "$source/tests/examples/consumer" -B "$folder" -DEXAMPLES="$source/docs/examples" \
    -Dvesk_DIR="$(dirname "$(find "$work/vesk" -name veskConfig.cmake)")" \
    -DCMAKE_C_COMPILER="$c" -DCMAKE_CXX_COMPILER="${cxx/gcc/g++}" >/dev/null
  "$cmake" --build "$folder" >/dev/null
  for program in embed_c embed_cpp; do
    said=$(VESK_HOST=$work/vesk/bin/vesk-host "$folder/$program" "$plugin") || exit
    [ "${said%%,*}" = "${answer%%,*}" ] || { echo "$program of $c says: $said"; exit 1; }
  done
done
AUDIO_COMPONENT_PATH=$(dirname "$(find . -name pluck.component)") \
  vesk/bin/vesk-list --parameters aumu:Pluk:Exmp >/dev/null
# The same with pkg-config alone.
read -ra flags < <(pkg-config --cflags --libs vesk)
gcc -std=c11 "$source/docs/examples/embed.c" "${flags[@]}" -lm -o by-pkg-config
said=$(PATH=$work/vesk/bin:$PATH LD_LIBRARY_PATH=$(dirname "$(find "$work/vesk" -name libvesk.so.0)") \
  ./by-pkg-config 'MDA ePiano')
[ "$said" = "${answer%%,*}" ] || { echo "with the host on PATH alone: $said"; exit 1; }
read -ra flags < <(pkg-config --cflags vesk-components)
"${compiler/clang++/clang}" -std=c11 -shared -fPIC "${flags[@]}" -o pluck \
  "$source/docs/examples/pluck/"pluck{,ed_strings}.c -lm
found=$(cd vesk/include && echo *)
[ "$found" = vesk ] || { echo "include/ holds $found"; exit 1; }
for header in "$source"/client/include/vesk/*; do
  [ -f "vesk/include/vesk/${header##*/}" ] || { echo "${header##*/} is not installed"; exit 1; }
done
declared=$(grep -ohE '\bvesk_[a-z_]+\(' vesk/include/vesk/vesk.h | tr -d '(' | sort)
exported=$(nm -D --defined-only "$(find vesk -name libvesk.so.0)" |
  sed -n 's/.* \(.*\)@@VESK_0$/\1/p' | grep -v ^VESK | sort)
[ "$declared" = "$exported" ] || { diff <(echo "$declared") <(echo "$exported"); exit 1; }

for module in lv2.so sampler.so soundfont.so windows.so lv2_editor.bundle/lv2_editor \
    lv2_editor.bundle/Resources/Info-gnustep.plist; do
  [ -f "vesk/lib/vesk/$module" ] || { echo "lib/vesk/$module is not installed"; exit 1; }
done
echo "installed: $(cd vesk && find . -type f | wc -l) files; $answer"
