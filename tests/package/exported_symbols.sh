#!/usr/bin/env bash
# Usage: exported_symbols.sh LIBRARY EXPECTED
# The dynamic symbol table of LIBRARY defines the names of the file EXPECTED and no others, and its
# SONAME is what hosts record.
set -euo pipefail
library=$1 expected=$2

# nm writes a destructor once for each of its variants; they are one name to a host.
found=$(nm --dynamic --defined-only "$library" | awk '{ print $3 }' | c++filt | LC_ALL=C sort -u)
diff -u "$expected" <(printf '%s\n' "$found") || {
  echo "The names that $(basename "$library") exports are not the public ones (+ exported, - missing)."
  exit 1
}

soname=$(readelf --dynamic "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
[ "$soname" = libwzapp.so.1 ] || { echo "SONAME is '$soname', not libwzapp.so.1"; exit 1; }
