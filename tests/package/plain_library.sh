#!/usr/bin/env bash
# Usage: plain_library.sh SOURCE_DIR COMPILER KEYS FOLDER
# Builds the library alone in FOLDER, without sanitizers and with all debug information, for the tests that
# look at such a one.
set -euo pipefail
source=$1 compiler=$2 keys=$3 folder=$4
launcher=()
! command -v ccache >/dev/null || launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$source" -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" "${launcher[@]}" \
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG='-g -O0' -DWZAPP_TESTS=OFF -DWZAPP_KIT=OFF \
  -DWZAPP_PLATFORM_DIR= -DWZAPP_AUTHORITIES="$keys"
cmake --build "$folder" --target wzapp
