#!/usr/bin/env bash
# Usage: run.sh BUILD SOURCE [OPTION ...]
# The tests of the sample applications and of what `wz new` makes, by `wz test`, in a copy below the
# build folder. Their runner comes from npm: where that cannot be reached they are skipped (77). The
# options are for the runner.
set -euo pipefail
build=$1 source=$2
shift 2
stage=$build/application_tests
export PATH="$build/bin:$PATH"

skip() { printf 'SKIPPED, the tests of applications did not run: %s\n' "$*"; exit 77; }

command -v npm >/dev/null || skip 'there is no npm (Debian: apt install npm)'
mkdir -p "$stage"
# The packages stay as long as the list of them does.
if ! cmp -s "$source/tests/applications/package-lock.json" "$stage/package-lock.json" ||
   [ ! -e "$stage/node_modules/@playwright/test/cli.js" ]; then
  cp "$source"/tests/applications/package.json "$stage/"
  (cd "$stage" && cp "$source/tests/applications/package-lock.json" . &&
    npm ci --no-audit --no-fund --ignore-scripts >npm.log 2>&1) ||
    { rm -f "$stage/package-lock.json"; cat "$stage/npm.log"; skip 'npm cannot install @playwright/test'; }
fi
rm -rf "$stage/node_modules/wzapp-playwright" "$stage/examples" "$stage/shop" "$stage/applications"
cp -r "$build/share/wzapp/playwright" "$stage/node_modules/wzapp-playwright"
cp -r "$source/examples" "$source/tests/applications" "$stage/"
wz new "$stage/shop" >/dev/null

# Of its own, so that what is left there has been left by the tests.
TMPDIR=$(mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
failed=0
for folder in examples shop applications; do
  wz test "$stage/$folder" -- "$@" || failed=1
done
left=$(find "$TMPDIR" -mindepth 1 -maxdepth 1)
[ -z "$left" ] || { printf 'The tests have left in their folder for temporary files:\n%s\n' "$left"; failed=1; }
exit $failed
