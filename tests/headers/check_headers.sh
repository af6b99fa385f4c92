#!/usr/bin/env bash
# check_headers.sh LANGUAGE COMPILER: compiles every public SDK header alone as c, c++,
# objective-c or objective-c++. Exit status 77 means that this machine has no GNUstep headers.
set -euo pipefail

language=$1
compiler=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
include="$root/platform/linux/include"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

flags=(-fsyntax-only -fblocks -Wall -Wextra -Wpedantic -Werror -isystem "$work" -I "$include")
case $language in
  c | objective-c) flags+=(-std=c11) ;;
  c++ | objective-c++) flags+=(-std=c++20) ;;
  *) echo "unknown language $language" >&2; exit 2 ;;
esac
case $language in
  objective-*)
    gnustep=$(gnustep-config --variable=GNUSTEP_SYSTEM_HEADERS || true)
    gcc_include=$(find /usr/lib/gcc -path '*/include/objc/objc.h' -printf '%h/..\n' | sort -V | tail -1)
    if [ ! -d "$gnustep/AppKit" ] || [ -z "$gcc_include" ]; then
      echo "skipped: no GNUstep headers (package libgnustep-gui-dev)"
      exit 77
    fi
    # GNUstep's headers ask for it; the runtime's own is another one.
    mkdir -p "$work/objc"
    echo '#include <Block.h>' > "$work/objc/blocks_runtime.h"
    flags+=(-fobjc-runtime=gcc -fexceptions -fobjc-exceptions -D_NATIVE_OBJC_EXCEPTIONS -DGNUSTEP
            -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -fconstant-string-class=NSConstantString
            -isystem "$gnustep" -isystem "$gcc_include")
    ;;
esac

cd "$include"
# These exist to be included by Objective-C alone.
objective_only='^(CoreAudioKit|AppKit|Foundation|Cocoa|objc)/'
headers=$(find . -name '*.h' -printf '%P\n' | sort)
case $language in
  c | c++) headers=$(grep -Ev "$objective_only" <<< "$headers") ;;
esac

export compiler language
check() {
  local header=$1
  shift
  # A header of macros alone is no translation unit of C.
  printf "#include <%s>\nextern int something_declared;\n" "$header" |
    "$compiler" -x "$language" "$@" - ||
    { echo "as $language: <$header> does not compile alone"; return 1; }
}
export -f check
count=$(wc -l <<< "$headers")
[ "$count" -gt 40 ] || { echo "only $count headers found in $include" >&2; exit 1; }
xargs -P "$(nproc)" -I{} bash -c 'check "$@"' _ {} "${flags[@]}" <<< "$headers"
echo "$count headers compile alone as $language"
