#!/usr/bin/env bash
# Usage: abi.sh [--record] BUILD_DIR SOURCE_DIR DESCRIPTION
# Hosts that were linked yesterday run with this library: what its public header gives has the binary
# interface that was recorded. --record writes another, on purpose.
set -euo pipefail
record=
[ "$1" != --record ] || { record=yes; shift; }
library=$1/lib/libwzapp.so headers=$2/include description=$3
skip() {
  printf 'SKIPPED: %s\n' "$*"
  exit 77
}
command -v abidiff >/dev/null || skip "abidiff is missing (Debian's package abigail-tools)"

# Of types, those of the header; the standard library's are its own business.
if [ -n "$record" ]; then
  abidw --headers-dir "$headers" --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
    --type-id-style hash --out-file "$description" "$library"
  exit
fi
[ -e "$description" ] || skip "nothing is recorded for this processor ($(basename "$description"))"
abidiff --headers-dir2 "$headers" --drop-private-types "$description" "$library" ||
  { echo "The binary interface is not the one in $(basename "$description")."; exit 1; }
