#!/usr/bin/env bash
# Usage: authorities.sh SOURCE_DIR COMPILER DEVKEYS GENERATOR
# What configuring and building make of WZAPP_AUTHORITIES. The generator is the one that the build
# around this test has made, so that little is compiled.
set -euo pipefail
source=$1 compiler=$2 devkeys=$3 generator=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
keys=$scratch/product build=$scratch/build

fail() {
  printf '%s\n' "$*"
  cat "$scratch/output"
  exit 1
}
configure() {
  cmake -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DWZAPP_TESTS=OFF \
    -DWZAPP_AUTHORITY_GENERATOR="$generator" "$@" >"$scratch/output" 2>&1
}
# Whether the last output tells this. Where its lines are broken depends on how long paths are.
tells() { tr -s ' \n' ' ' <"$scratch/output" | grep -qF -e "$1"; }
build() { cmake --build "$build" --target wzapp_authorities >"$scratch/output" 2>&1; }
# How many sources the last build compiled.
compiled() { grep -c 'Building CXX object' "$scratch/output" || true; }

"$devkeys" "$keys"

# For another machine, which here is this one by another name.
configure_cross() { configure -B "$scratch/cross" -DCMAKE_SYSTEM_NAME=Linux "$@"; }
configure_cross -DWZAPP_AUTHORITIES= && fail "Cross-compiling with development keys configures."
tells 'Development keys cannot be made while' || fail "The message is missing."
# The generator is built by a compiler of this machine, whatever the flags in the environment are for.
library_alone=(-DWZAPP_KIT=OFF -DCMAKE_DISABLE_FIND_PACKAGE_OpenSSL=ON)
configure_cross "${library_alone[@]}" -DWZAPP_AUTHORITIES="$keys" -DWZAPP_AUTHORITY_GENERATOR= \
  -DWZAPP_BUILD_COMPILER= && fail "Cross-compiling without a compiler for this machine configures."
tells 'WZAPP_BUILD_COMPILER' || fail "The compiler is not asked for."
configure_cross "${library_alone[@]}" -DWZAPP_AUTHORITIES="$keys" -DWZAPP_AUTHORITY_GENERATOR= \
  -DWZAPP_BUILD_COMPILER="$compiler" || fail "Cross-compiling does not configure."
CXXFLAGS=--of-another-processor build=$scratch/cross build || fail "The generator is not built."
rm -r "$scratch/cross"
configure_cross -DWZAPP_AUTHORITIES="$keys" -DWZAPP_AUTHORITY_GENERATOR="$generator" ||
  fail "Cross-compiling does not configure."
build=$scratch/cross build || fail "Cross-compiling does not build."

# The library alone, where there is no OpenSSL to make keys with.
configure -B "$scratch/alone" "${library_alone[@]}" && fail "Keys are made without OpenSSL."
tells '-DWZAPP_AUTHORITIES=DIR' || fail "The authorities are not asked for."

configure -DWZAPP_AUTHORITIES= || fail "Without WZAPP_AUTHORITIES it does not configure."
tells 'TRUSTS DEVELOPMENT KEYS and is NOT FOR TERMINALS' ||
  fail "Configuring does not say that development keys are trusted."

configure -DWZAPP_AUTHORITIES="$scratch" && fail "A folder without a table configures."
tells "there is no $scratch/authorities.txt" || fail "The table is not missed."

configure -DWZAPP_AUTHORITIES="$keys" || fail "A product's authorities do not configure."
if grep -qi 'development keys' "$scratch/output"; then
  fail "Development keys are spoken of where a product's authorities are given."
fi
build || fail "A product's authorities do not build."
[ "$(compiled)" -eq 1 ] || fail "More than one source was compiled."

# A comment makes no other table.
{ echo '# Our own'; cat "$keys/authorities.txt"; } >"$scratch/table"
cp "$scratch/table" "$keys/authorities.txt"
build || fail "A comment in the table stops the build."
[ "$(compiled)" -eq 0 ] || fail "A comment in the table has sources compiled again."

# Another certificate does.
cp "$keys/authorities/2.der" "$keys/authorities/1.der"
build || fail "Another certificate does not build."
[ "$(compiled)" -eq 1 ] || fail "Another certificate was not compiled in."

sed -i '/9.der/d' "$keys/authorities.txt"
if build; then fail "A table of eight rows builds."; fi
tells "$keys/authorities.txt: has 8 rows" || fail "The message is missing."

cp "$scratch/table" "$keys/authorities.txt"
rm "$keys/authorities/9.der"
if build; then fail "A table with a missing file builds."; fi
tells "$keys/authorities/9.der: cannot be read" || fail "The message is missing."
