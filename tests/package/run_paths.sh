#!/usr/bin/env bash
# Usage: run_paths.sh BUILD_DIR
# No program and no library, built or installed, looks for libraries where whoever starts it stands: every
# element of a run path is absolute or begins with $ORIGIN. An empty one means the current directory.
set -euo pipefail
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >"$scratch/install.log" ||
  { cat "$scratch/install.log"; exit 1; }

# The run path of a file, one element a line, each between brackets.
elements() {
  readelf --dynamic --wide "$1" 2>/dev/null |
    sed -n 's/.*(\(RPATH\|RUNPATH\)).*\(\[.*\]\)$/\2/p' | sed 's/:/]\n[/g'
}
is_elf() { [ "$(head -c 4 "$1" | tail -c 3)" = ELF ]; }

products=0 with_path=0 failed=0
while IFS= read -r -d '' file; do
  is_elf "$file" || continue
  products=$((products + 1))
  found=$(elements "$file")
  [ -z "$found" ] || with_path=$((with_path + 1))
  # shellcheck disable=SC2016 # $ORIGIN is meant to the letter
  bad=$(printf '%s\n' "$found" | grep -vE '^(\[/.*|\[\$ORIGIN(/.*)?\])?$' || true)
  [ -z "$bad" ] || { printf '%s: run path element %s\n' "$file" "$bad"; failed=1; }
done < <(find "$build/bin" "$build/lib" "$scratch/prefix" -type f -print0 2>/dev/null)

[ "$products" -ge 3 ] || { echo "Only $products products were found below $build."; exit 1; }
# Without the option that leaves run paths out, the library finds the platform beside it by one.
grep -qE '^CMAKE_SKIP_(INSTALL_)?RPATH:[^=]*=(ON|TRUE|YES|1)$' "$build/CMakeCache.txt" ||
  [ "$with_path" -gt 0 ] || { echo "No product has a run path; what has been tested?"; exit 1; }
exit "$failed"
