#!/usr/bin/env bash
# Usage: error_pages.sh ERROR_PAGES WZ
# Each code that `wz explain` lists has one page, with its title, its rule, its causes and its repair; there
# is no other page.
set -euo pipefail
pages=$1 wz=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$pages" "$scratch/pages"
"$wz" explain | awk '/^WZ-[0-9]/ { print $1 }' | sort >"$scratch/codes"
[ "$(wc -l <"$scratch/codes")" -gt 100 ] || { echo "wz explain lists hardly any code."; exit 1; }
find "$scratch/pages" -name 'WZ-*.md' -printf '%f\n' | sed 's/\.md$//' | sort >"$scratch/found"
diff -U 0 "$scratch/codes" "$scratch/found" || { echo "(+ a page without a code, - a code without a page)"; exit 1; }
while read -r code; do
  for part in "# $code: " '## The rule' '## Common causes' '## The repair'; do
    [ "$(grep -cF -e "$part" "$scratch/pages/$code.md")" -eq 1 ] ||
      { echo "The page of $code does not have \"$part\" once."; exit 1; }
  done
done <"$scratch/codes"
