#!/usr/bin/env bash
# Makes a library to link against of the names on standard input: macos_library.sh INSTALL_NAME
cat <<EOF
--- !tapi-tbd
tbd-version: 4
targets: [ arm64-macos, x86_64-macos ]
install-name: '$1'
exports:
  - targets: [ arm64-macos, x86_64-macos ]
    symbols: [ $(sed "s/.*/'&'/" | paste -sd,) ]
...
EOF
