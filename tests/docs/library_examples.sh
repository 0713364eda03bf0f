#!/usr/bin/env bash
# Usage: library_examples.sh BUILD_DIR COMPILER FLAGS
# The manual pages are installed; the programs in that of the library compile as they stand there,
# against what is installed, and do inside a terminal what the page says.
set -euo pipefail
build=$1 compiler=$2 flags=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix terminal=$scratch/terminal
# Where an installed kit keeps what it makes for its user.
export XDG_DATA_HOME=$scratch/data
. "$(dirname "$0")/page_code.sh"

fail() {
  printf '%s\n' "$*"
  [ ! -e "$scratch/output" ] || cat "$scratch/output"
  exit 1
}

cmake --install "$build" --prefix "$prefix" >"$scratch/output" || fail "It does not install."
for page in wz.1 libwzapp.3; do
  [ -n "$(find "$prefix" -path "*/man${page##*.}/$page")" ] || fail "$page is not installed."
done
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name wzapp.pc)")
export PKG_CONFIG_PATH

# The N-th program of the installed page.
compile() {
  pageCode "$(find "$prefix" -name libwzapp.3)" "$1" >"$scratch/$2.cpp"
  grep -q '^int main' "$scratch/$2.cpp" || fail "The page has no program $1."
  # shellcheck disable=SC2046,SC2086 # several words each
  "$compiler" -std=c++11 -Wall -Wextra -Werror $flags "$scratch/$2.cpp" -o "$scratch/$2" \
    $(pkg-config --cflags --libs wzapp) -Wl,-rpath,"$(pkg-config --variable=libdir wzapp)"
}
inside() { "$prefix/bin/wz" exec --terminal "$terminal" -- "$@" >"$scratch/output" 2>&1; }
expect() { grep -qxF -e "$1" "$scratch/output" || fail "not printed: $1"; }

compile 1 install
compile 2 run
"$prefix/bin/wz" terminal create "$terminal" >/dev/null
"$prefix/bin/wz" new "$scratch/shop" >/dev/null
"$prefix/bin/wz" pack "$scratch/shop" -o "$scratch/shop.zip" --sponsor 123456 >/dev/null

inside "$scratch/install" || fail "The first program fails without a package."
expect 'Overall result: NO PACKAGE'
cp "$scratch/shop.zip" "$terminal/flash/system/wz"
inside "$scratch/install" || fail "The first program fails."
expect 'Overall result: OK'
printf 'no package' >"$terminal/flash/system/wz/shop.zip"
inside "$scratch/install" && fail "The first program does not tell of an error."
expect 'Overall result: ERROR'

application=$terminal/flash/etc/config/wzapp/wz/shop
printf '<script>wz.exit(7);</script>' >"$application/index.html"
inside "$scratch/run" "$scratch/none.MFT" && fail "The second program runs what is not there."
expect 'It did not start: 2'
inside "$scratch/run" /mnt/flash/etc/config/wzapp/wz/shop.MFT || fail "The second program fails."
expect 'It ended with 7.'
