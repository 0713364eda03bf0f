#!/usr/bin/env bash
# Usage: platform_conformance.sh WZ PROGRAM OTHER_PLATFORM
# The workstation's platform is what its interfaces say; one that reads no JSON is not, and is told so.
set -euo pipefail
wz=$1 program=$2 other=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$wz" terminal create "$scratch/terminal" >/dev/null
"$wz" exec --terminal "$scratch/terminal" -- "$program" >"$scratch/output" ||
  { cat "$scratch/output"; exit 1; }
grep -qE '^([0-9]+) of \1 claims hold$' "$scratch/output" || { cat "$scratch/output"; exit 1; }

# A sanitized program wants its own library first; here the platform comes before it.
if "$wz" exec --terminal "$scratch/terminal" -- env "LD_PRELOAD=$other" \
  ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0 "$program" >"$scratch/output" 2>&1; then
  echo "A platform that reads no JSON passes."
  exit 1
fi
grep -q "zelipc values: parse of '7' reads all octets" "$scratch/output" ||
  { cat "$scratch/output"; exit 1; }
