#!/usr/bin/env bash
# Usage: wz_examples.sh BUILD_DIR SOURCE_DIR
# What stands in EXAMPLES of the manual page of `wz` works, from top to bottom.
set -euo pipefail
build=$1 source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
  printf '%s\n' "$*"
  cat "$scratch/output"
  exit 1
}

. "$(dirname "$0")/page_code.sh"
pageCode "$source/docs/man/wz.1" >"$scratch/examples"
[ "$(grep -c '^wz ' "$scratch/examples")" -gt 10 ] || fail "The page has hardly any example."
echo wait >>"$scratch/examples"

mkdir "$scratch/tree"
ln -s "$source/examples" "$scratch/tree/examples"
cd "$scratch/tree"
env -u DISPLAY -u WAYLAND_DISPLAY -u WZ_TERMINAL -u WZ_KEYS PATH="$build/bin:$PATH" \
  bash -euxo pipefail "$scratch/examples" >"$scratch/output" 2>&1 || fail "An example fails."

for line in 'shop 1.0.0  for 123456' 'tip ended with result 0' '{"known":false}' 'removed shop 1.0.0'; do
  grep -qF -e "$line" "$scratch/output" || fail "not printed: $line"
done
[ -s tip.png ] || fail "There is no picture."
