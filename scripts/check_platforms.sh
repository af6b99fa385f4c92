#!/usr/bin/env bash
# Outside platform/ and the files that a build chooses, no source knows which platform it is built
# for.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
found=$(grep -rnE '^\s*#\s*(if|ifdef|ifndef|elif).*(__linux__|__APPLE__|__gnu_linux__|_WIN32|__unix__|TARGET_OS_|GNUSTEP|__MACH__)' \
  bench client/include client/src/*.?pp components fuzz host plugin spec tests tools windows 2>/dev/null | grep -v "^tests/headers/")
[ -z "$found" ] || { echo "platform conditionals in the system:"; echo "$found"; exit 1; }
