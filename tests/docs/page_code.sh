# shellcheck shell=bash
# For other scripts: what stands in EXAMPLES of a manual page.

# The text of the literal blocks of the page $1; of its N-th block alone where N is given.
pageCode() {
  awk -v only="${2:-0}" '
    $1 == ".Sh" { on = $2 == "EXAMPLES" }
    !on { next }
    $1 == ".Bd" { inside = 1; ++count; next }
    $1 == ".Ed" { inside = 0; next }
    inside && (only == 0 || only == count)' "$1" |
    sed -e "s/\\\\(aq/'/g" -e 's/\\-/-/g' -e 's/\\e/\\/g'
}
