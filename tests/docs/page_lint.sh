#!/usr/bin/env bash
# Usage: page_lint.sh PAGE...
# Neither mandoc nor groff finds fault with the manual pages. What this machine has of other manual
# pages is no fault of these. 77, which ctest shows as skipped: neither is installed.
set -euo pipefail
export LC_ALL=C
faults=$(
  for page in "$@"; do
    if command -v mandoc >/dev/null; then
      mandoc -T lint -W all "$page" 2>&1 | grep -vE 'referenced manual not found|mandoc\.db' || true
    fi
    if command -v groff >/dev/null; then groff -mandoc -ww -T utf8 "$page" 2>&1 >/dev/null || echo "groff fails."; fi
  done
)
printf '%s' "${faults:+$faults$'\n'}"
[ -z "$faults" ] || exit 1
command -v mandoc >/dev/null || command -v groff >/dev/null || {
  echo "Neither mandoc nor groff is installed."
  exit 77
}
