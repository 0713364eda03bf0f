#!/usr/bin/env bash
# Usage: missing_symbol.sh BUILD_DIR COMPILER
# A platform that lacks a symbol fails where the library is linked, with its name, and not in a terminal's
# loader. BUILD_DIR is of plain_library.sh.
set -euo pipefail
build=$1 compiler=$2
scratch=$(mktemp -d)
# Others look at this library too.
restore() { cmake -DWZAPP_PLATFORM_DIR= "$build" >/dev/null && cmake --build "$build" --target wzapp >/dev/null; }
trap 'rm -rf "$scratch"; restore' EXIT
mkdir "$scratch/platform"
cp "$build"/interfaces/lib*.so "$scratch/platform/"
link() {
  cmake -DWZAPP_PLATFORM_DIR="$scratch/platform" "$build" >"$scratch/output" 2>&1 &&
    rm -f "$build/lib/libwzapp.so.1.0.0" && cmake --build "$build" --target wzapp >>"$scratch/output" 2>&1
}

link || { cat "$scratch/output"; echo "The library does not link against the whole platform."; exit 1; }
symbol=$(nm --dynamic --defined-only "$scratch/platform/libzelsec.so" | awk '$2 == "T" { print $3; exit }')
[ -n "$symbol" ] || { echo "libzelsec.so has no function; what is there to be without?"; exit 1; }
echo 'int other;' >"$scratch/other.cpp"
"$compiler" -shared -fPIC -Wl,-soname,libzelsec.so "$scratch/other.cpp" -o "$scratch/platform/libzelsec.so"
if link; then
  echo "The library links against a platform without $symbol."
  exit 1
fi
grep -q "undefined reference to .*$(c++filt "$symbol" | sed 's/(.*//')" "$scratch/output" ||
  { cat "$scratch/output"; echo "The link does not name $symbol."; exit 1; }
