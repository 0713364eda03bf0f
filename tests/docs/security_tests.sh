#!/bin/sh
# Usage: security_tests.sh SOURCE_DIR
# Every test that the page on security names exists.
set -eu
cd "$1"
missing=0
names=$(grep -oE '`[A-Z][A-Za-z]+\.[A-Z][A-Za-z0-9]+`' docs/security.md | tr -d '`' | sort -u)
[ -n "$names" ]
for name in $names; do
  grep -rqE "^TEST(_[FP])?\(${name%.*}, ${name#*.}\)" tests --include='*.cpp' && continue
  printf 'docs/security.md: there is no test %s\n' "$name"
  missing=1
done
exit $missing
