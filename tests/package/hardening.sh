#!/usr/bin/env bash
# Usage: hardening.sh BUILD_DIR SOURCE_DIR
# What is installed carries the guards that it is compiled and linked with, and no name of the folders that
# it was built in.
set -euo pipefail
build=$1 source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >"$scratch/install.log" ||
  { cat "$scratch/install.log"; exit 1; }

failed=0 products=0 canaries=0 fortified=0
lacks() {
  printf '%s: %s\n' "${file#"$scratch/prefix/"}" "$*"
  failed=1
}
while IFS= read -r -d '' file; do
  [ "$(head -c 4 "$file" | tail -c 3)" = ELF ] || continue
  products=$((products + 1))
  head=$(readelf --file-header "$file") segments=$(readelf --segments --wide "$file")
  dynamic=$(readelf --dynamic "$file") symbols=$(nm --dynamic --undefined-only "$file")
  grep -q 'Type:.*DYN' <<<"$head" || lacks "is not position independent"
  grep -q GNU_RELRO <<<"$segments" || lacks "has no part that turns read-only"
  grep -qE '\(FLAGS.*(BIND_NOW|NOW)' <<<"$dynamic" || lacks "is not bound when it is loaded"
  grep -q 'GNU_STACK.*RWE' <<<"$segments" && lacks "has a stack that runs code"
  grep -q '(TEXTREL)' <<<"$dynamic" && lacks "has code that the loader changes"
  grep -q __stack_chk_fail <<<"$symbols" && canaries=$((canaries + 1))
  grep -qE '__[a-z]+_chk' <<<"$symbols" && fortified=$((fortified + 1))
  grep -qF -e "$source/" -e "$build/" "$file" && lacks "names the folder that it was built in"
done < <(find "$scratch/prefix" -type f -print0)

[ "$products" -gt 0 ] || { echo "Nothing was installed."; exit 1; }
library=$(find "$scratch/prefix" -name 'libwzapp.so.*' -type f)
nm --dynamic --undefined-only "$library" >"$scratch/symbols"
grep -q __stack_chk_fail "$scratch/symbols" || { echo "The library's frames are not guarded."; failed=1; }
grep -qE '__[a-z_]+_chk' \
  <(grep -v stack_chk "$scratch/symbols") || { echo "The library's buffers are not guarded."; failed=1; }
printf '%s products, %s with guarded frames, %s with guarded calls\n' "$products" "$canaries" "$fortified"
exit "$failed"
