#!/usr/bin/env bash
# Usage: wz_page.sh WZ PAGE
# The manual page of `wz` and its --help tell of the same commands, each with the same options and
# arguments, and of the same exit codes and environment variables. What an option is unless told, as
# the help shows it, stands in the page.
set -euo pipefail
wz=$1 page=$2
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Of a help text: its commands, one below another.
subcommands() { awk '/^Subcommands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }'; }

# Of a help text on standard input: "COMMAND|--option VALUE" and "COMMAND|ARGUMENT" for each option
# and argument. A value is one blank behind the option; what is further away explains it. Defaults and
# the like are cut off.
helpFacts() {
  awk -v command="$1" -v presets="$scratch/presets" '
    /^[A-Z]/ { part = $1 }
    !/^  [^ ]/ { next }
    part == "Positionals:" { sub(/[^A-Z].*/, "", $1); print command "|" $1 }
    part == "Options:" {
      # "  --display WIDTHxHEIGHT=480x800", but no "KEY=VALUE", and up to the explanation
      if ($2 ~ /=/ && $2 != "KEY=VALUE") {
        preset = $0
        sub(/^  [^ ]+ [^=]*=/, "", preset)
        sub(/  .*/, "", preset)
        print command "|" $1 "|" preset >>presets
      }
      value = match($0, /^  [^ ]+ [^ ]/) ? $2 : ""
      sub(/[=:].*/, "", value)
      gsub(/\{false\}/, "", $1)
      count = split($1, names, ",")
      for (i = 1; i <= count; ++i) print command "|" names[i] (value == "" ? "" : " " toupper(value))
    }'
}

# The same of every command, from `wz` itself (an empty name) downwards. Only `wz` itself keeps what
# all have.
everyHelp() {
  local name
  # shellcheck disable=SC2086 # a name of two words is a command and its own
  "$wz" $1 --help >"$scratch/help"
  tee -a "$scratch/helps" <"$scratch/help" >/dev/null
  subcommands <"$scratch/help" >"$scratch/names${1// /-}"
  if [ ! -s "$scratch/names${1// /-}" ]; then
    printf '%s|\n' "$1"
    helpFacts "$1" <"$scratch/help" | grep -vE '\|(-h|--help)$' || true
    return
  fi
  [ -n "$1" ] || helpFacts "" <"$scratch/help"
  while read -r name; do everyHelp "${1:+$1 }$name"; done <"$scratch/names${1// /-}"
}

helpSummary() {
  everyHelp ""
  awk '/^Exit codes:/ { on = 1; next } on && /^  [0-9]/ { print "exit code " $1; next } { on = 0 }' \
    "$scratch/helps"
  grep -oE '\bWZ_[A-Z]+' "$scratch/helps"
}

# The page, read by its macros: .Ss begins a command, .It is an option or an argument of it.
pageSummary() {
  awk '
    $1 == ".Sh" { section = $2; command = ""; next }
    section == "COMMANDS" && $1 == ".Ss" { sub(/^\.Ss /, ""); command = $0; print command "|"; next }
    $1 != ".It" { next }
    section == "EXIT" { print "exit code " $2 }
    section == "ENVIRONMENT" && $3 ~ /^WZ_/ { print $3 }
    section != "COMMANDS" && section != "DESCRIPTION" { next }
    $2 == "Ar" { print command "|" toupper($3); next }
    {
      value = ""
      names = ""
      for (i = 2; i <= NF; ++i) {
        if ($i == "Fl" && $(i + 1) == "Fl") { names = names " --" $(i + 2); i += 2 }
        else if ($i == "Fl") { names = names " -" $(i + 1); ++i }
        else if ($i == "Ar") { value = " " toupper($(i + 1)); sub(/=.*/, "", value) }
      }
      count = split(names, each, " ")
      for (i = 1; i <= count; ++i) print command "|" each[i] value
    }' "$page"
}

# The commands that the page's synopsis shows.
synopsis() {
  awk '$1 == ".Sh" { section = $2 } section == "SYNOPSIS" && $1 == ".Cm" { sub(/^\.Cm /, ""); print }' \
    "$page"
}

compare() {
  sort -u -o "$scratch/expected" "$scratch/expected"
  sort -u -o "$scratch/found" "$scratch/found"
  diff -U 0 "$scratch/expected" "$scratch/found" && return
  echo "$1 (+ in the page only, - missing in the page)."
  exit 1
}

helpSummary >"$scratch/expected"
for fact in '|--version' 'run|APP' 'keys show|--json' 'pack|-o FILE' 'pack|--output FILE' \
  'terminal create|--no-touch' 'exit code 3' WZ_TERMINAL; do
  grep -qxF -e "$fact" "$scratch/expected" || { echo "$fact was not read from the help."; exit 1; }
done
pageSummary >"$scratch/found"
compare "$(basename "$page") and wz --help differ"

sed -n 's/^\([a-z][a-z ]*\)|$/\1/p' "$scratch/expected" >"$scratch/commands"
mv "$scratch/commands" "$scratch/expected"
synopsis >"$scratch/found"
compare "The synopsis of $(basename "$page") and its commands differ"

# The explanation of the option $2 of the command $1 in the page, in one line.
explanation() {
  awk -v command="$1" -v option=" Fl Fl ${2#--}( |$)" '
    $1 == ".Ss" { sub(/^\.Ss /, ""); here = $0 == command; on = 0; next }
    $1 == ".It" || $1 == ".El" { on = here && $0 ~ option; next }
    on { sub(/^\.[A-Z][a-z] /, ""); printf "%s ", $0 }' "$page"
}
[ "$(wc -l <"$scratch/presets")" -gt 8 ] || { echo "Hardly anything is set in the help."; exit 1; }
while IFS='|' read -r command option preset; do
  explanation "$command" "$option" | grep -qF -e "$preset" || {
    echo "$command $option is $preset unless told, but not in the page."
    exit 1
  }
done <"$scratch/presets"
