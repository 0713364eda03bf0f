#!/usr/bin/env bash
# Usage: run.sh BUILD SOURCE PART [OPTION ...]
# The tests of the workbench in the system's Chromium. PART: page (the page before a mock of the
# workbench), quick (the least of that), real (wz workbench as it is), soak (memory while an application chatters
# for WZ_SOAK_MINUTES, 10), long (every width with every colour, and the soak), bench (figures by the clock),
# pictures (makes those of the documentation). What they stand on comes from npm: where that cannot be reached
# they are skipped (77). The options are for the runner.
set -euo pipefail
build=$(realpath "$1") source=$(realpath "$2") part=$3
shift 3
stage=$build/workbench_tests

skip() { printf 'SKIPPED, the tests of the workbench did not run: %s\n' "$*"; exit 77; }

command -v npm >/dev/null || skip 'there is no npm (Debian: apt install npm)'
WZ_BROWSER=${WZ_BROWSER:-$(command -v chromium || true)}
[ -n "$WZ_BROWSER" ] || skip 'there is no chromium (Debian: apt install chromium)'
mkdir -p "$stage"
# Two parts may run at once.
exec 9>"$stage/lock"
flock 9
if ! cmp -s "$source/tests/workbench/package-lock.json" "$stage/package-lock.json" ||
   [ ! -e "$stage/node_modules/@playwright/test/cli.js" ]; then
  cp "$source/tests/workbench/package.json" "$stage/"
  (cd "$stage" && cp "$source/tests/workbench/package-lock.json" . &&
    npm ci --no-audit --no-fund --ignore-scripts >npm.log 2>&1) ||
    { rm -f "$stage/package-lock.json"; cat "$stage/npm.log"; skip 'npm cannot install @playwright/test'; }
fi
cp "$source"/tests/workbench/*.js* "$stage/"
flock -u 9

case $part in
  quick) projects=(--project=quick) ;;
  page) projects=(--project=wide --project=narrow) ;;
  real) projects=(--project=real-wide --project=real-narrow) ;;
  long) projects=(--project=wide --project=narrow --project=soak); export WZ_LONG=1 ;;
  soak | bench | pictures) projects=("--project=$part") ;;
  *) printf 'run.sh: there is no part %s\n' "$part" >&2; exit 2 ;;
esac

# Of its own, so that what is left there has been left by the tests.
TMPDIR=$(mktemp -d)
export TMPDIR WZ_BROWSER
export WZ_WORKBENCH_PAGE=$source/tools/wz/workbench/page WZ_SOURCE=$source WZ_BUILD=$build
trap 'rm -rf "$TMPDIR"' EXIT
cd "$stage"
exec 9>&-
node node_modules/@playwright/test/cli.js test --output="$stage/results-$part" "${projects[@]}" "$@"
