#!/usr/bin/env bash
# Usage: library_page.sh HEADER EXPORTED PAGE
# The library's manual page declares what the public header does, letter for letter but for white
# space, and names and explains every function that the library exports (a file of their names).
set -euo pipefail
header=$1 exported=$2 page=$3
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Declarations that end in ");", a line each and without white space.
declarations() { tr -d ' \n' | sed 's/);/);\n/g' | sort; }
# Without comments, what is outside of the namespace, and the class.
headerCode() {
  sed -e 's,//.*,,' -e '/^class/,/^};/d' "$header" |
    awk '/^namespace wzapp {/ { on = 1; next } /^}/ { on = 0 } on' | sed 's/WZAPP_API//'
}
pageCode() {
  sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$page" |
    awk '/^namespace wzapp {/ { on = 1; next } /^}/ { on = 0 } on'
}

headerCode | declarations >"$scratch/header"
pageCode | declarations >"$scratch/page"
[ "$(grep -c 'wzAppRun(' "$scratch/header")" -eq 2 ] || {
  echo "The two wzAppRun were not read from the header."
  exit 1
}
diff -U 0 "$scratch/header" "$scratch/page" || {
  echo "The declarations of $(basename "$header") and $(basename "$page") differ (- header, + page)."
  exit 1
}

names=$(sed -n 's/^wzapp::\(wz[A-Za-z]*\)(.*/\1/p' "$exported" | sort -u)
[ -n "$names" ] || { echo "$exported has no functions."; exit 1; }
failed=0
for name in $names; do
  grep -qE "^\.Nm $name( ,)?$" "$page" || { echo "NAME lacks $name."; failed=1; }
  grep -q "[ *]$name(" <(pageCode) || { echo "SYNOPSIS lacks $name."; failed=1; }
  grep -qx "\.It Fn $name" "$page" || { echo "DESCRIPTION lacks $name."; failed=1; }
done
exit $failed
