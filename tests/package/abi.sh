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

# The functions that are exported, with the types that they name. A host does not care what libraries this
# one needs, or where it was built.
if [ -n "$record" ]; then
  abidw --exported-interfaces-only --headers-dir "$headers" --drop-private-types --drop-undefined-syms \
    --no-elf-needed --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names \
    --type-id-style hash --out-file "$description" "$library"
  exit
fi
[ -e "$description" ] || skip "nothing is recorded for this processor ($(basename "$description"))"
# Without the headers here: of types without a place in a file it would take them for private, and say nothing.
compare() { abidiff --exported-interfaces-only "$1" "$library"; }
compare "$description" || { echo "The binary interface is not the one in $(basename "$description")."; exit 1; }

# A class of another size, and a function that is gone, are noticed.
other=$(mktemp)
trap 'rm -f "$other"' EXIT
sed "s/\(class-decl name='WZApp' size-in-bits='\)128/\1192/" "$description" >"$other"
if compare "$other" >/dev/null; then echo "Another size is not noticed."; exit 1; fi
sed 's/wzInstallAppRoot/wzInstallOtherRoot/g' "$description" >"$other"
if compare "$other" >/dev/null; then echo "Another function is not noticed."; exit 1; fi
