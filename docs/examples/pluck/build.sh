#!/usr/bin/env bash
# Builds the example unit: build.sh FOLDER makes FOLDER/pluck.component. A folder that hosts look
# into is ~/.local/lib/audio-components. CC and CXX name the compilers (clang 20 or later), CFLAGS
# further options for both.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=${1:?usage: build.sh FOLDER}
headers=$here/../../../platform/linux/include
component=$folder/pluck.component
view=$component/Resources/PluckView.bundle
mkdir -p "$view/Resources"

# Calls of the Audio Unit and CoreFoundation kinds stay undefined: the host has them.
read -ra more_flags <<< "${CFLAGS:-}"
flags=(-O2 -fPIC -fblocks -fvisibility=hidden -Wall -Wextra -I"$headers" "${more_flags[@]}")
"${CC:-clang-22}" -std=c11 -shared "${flags[@]}" -o "$component/pluck" \
  "$here/pluck.c" "$here/plucked_strings.c" -lm
cp "$here/Info-gnustep.plist" "$component/Resources/"

# The view is Objective-C++ for GNUstep, whose runtime's headers gcc brings.
gnustep_headers=$(gnustep-config --variable=GNUSTEP_SYSTEM_HEADERS)
gcc_headers=$(find /usr/lib/gcc -path '*/include/objc/objc.h' -printf '%h/..\n' | sort -V | tail -1)
"${CXX:-clang++-22}" -std=c++20 -shared "${flags[@]}" \
  -fobjc-runtime=gcc -fexceptions -fconstant-string-class=NSConstantString \
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -D_NATIVE_OBJC_EXCEPTIONS \
  -isystem "$gnustep_headers" -idirafter "$gcc_headers" \
  -Wno-unused-parameter -Wno-gnu -Wno-objc-protocol-method-implementation \
  -o "$view/PluckView" "$here/PluckView.mm" -lgnustep-gui -lgnustep-base -lobjc -lBlocksRuntime
cp "$here/PluckView-gnustep.plist" "$view/Resources/Info-gnustep.plist"
