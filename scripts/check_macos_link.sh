#!/usr/bin/env bash
# Starts a link for macOS, with a libc++ that exports every name of C++ the objects ask for: there is
# no list of what macOS's has. check_macos_link.sh COMPILER ARGUMENT...
set -euo pipefail
library=$(mktemp -d)
trap 'rm -rf "$library"' EXIT
objects=() folder=.
for argument; do
  case $argument in
    *.o | *.a) objects+=("$argument") ;;
    -L*) folder=${argument#-L} ;;
    -l*) objects+=("$folder/lib${argument#-l}.a") ;;
  esac
done
# Those of namespace std and its types, operator new and delete, and the runtime.
names='__Z(N?K?St|NK?St|T[ISV]N?K?St|T[ISV]N10__cxxabiv1|Tv0_n[0-9]+_NSt|TIP?K?[a-z]$|n[wa]|d[la])'
names+='|___(cxa_|dynamic_cast$|gxx_personality_v0$)'
nm=llvm-nm${1##*clang++}
"$nm" --undefined-only --just-symbol-name "${objects[@]}" | grep -E "^($names)" | sort -u |
  "$(dirname "$0")/macos_library.sh" /usr/lib/libc++.1.dylib >"$library/libc++.tbd"
"$@" -L"$library"
