#!/usr/bin/env bash
# The system's folders do not know which platform they are built for.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
found=$(grep -rnE '^\s*#\s*(if|ifdef|ifndef|elif).*(__linux__|__APPLE__|__gnu_linux__|_WIN32|__unix__|TARGET_OS_|GNUSTEP|__MACH__)' \
  host spec plugin windows client/include client/src/*.?pp tools 2>/dev/null)
[ -z "$found" ] || { echo "platform conditionals in the system:"; echo "$found"; exit 1; }
