#!/usr/bin/env bash
# Usage: link_host.sh COMPILER OUTPUT [FLAG...]
# Compiles the smallest host by what pkg-config says of the library.
set -euo pipefail
compiler=$1 output=$2
shift 2
words=$(pkg-config --cflags --libs wzapp)
# shellcheck disable=SC2086 # several words
exec "$compiler" -std=c++11 "$@" "$(dirname "$0")/host/main.cpp" -o "$output" $words
