#!/usr/bin/env bash
# Usage: lacking_instructions.sh SOURCE_DIR COMPILER [EMULATOR ARGUMENT...]
# A library that was built for more than the processor has says so where it is loaded, and what to do. One
# that was built for any processor is loaded without a word.
set -euo pipefail
source=$1 compiler=$2
shift 2
emulator=("$@")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Instructions that hardly a machine has, or that its emulator can be without.
lacking=() remedy=
case $($compiler -dumpmachine) in
  x86_64-* | i?86-*) flag=-mfma4 name=FMA4 ;;
  arm-*) flag=-mfpu=neon name=NEON lacking=(-cpu max,neon=off) ;;
  aarch64-*) flag=-march=armv8.1-a name='the atomic instructions (LSE)' remedy=-march=...+lse lacking=(-cpu cortex-a53) ;;
  *) echo "SKIPPED: no instructions are known that this processor may lack"; exit 77 ;;
esac
if [ ${#emulator[@]} -gt 0 ] && [ ${#lacking[@]} -gt 0 ]; then
  emulator=("${emulator[0]}" "${lacking[@]}" "${emulator[@]:1}")
elif [ ${#lacking[@]} -gt 0 ]; then
  echo "SKIPPED: only an emulator can be told to lack $name"; exit 77
elif grep -q '^flags.* fma4 ' /proc/cpuinfo; then
  echo "SKIPPED: this processor has $name"; exit 77
fi

echo 'int main() { return 0; }' >"$scratch/host.cpp"
load() {
  "$compiler" -std=c++20 -O2 -fPIC -shared "$@" "$source/src/support/required_instructions.cpp" \
    -o "$scratch/libbuilt.so"
  "$compiler" "$scratch/host.cpp" -Wl,--no-as-needed -L"$scratch" -lbuilt -Wl,-rpath,"$scratch" -o "$scratch/host"
  result=0
  "${emulator[@]}" "$scratch/host" >"$scratch/output" 2>&1 || result=$?
}

load
[ "$result" -eq 0 ] && [ ! -s "$scratch/output" ] ||
  { cat "$scratch/output"; echo "A library for any processor is not loaded: $result"; exit 1; }

load $flag
[ "$result" -eq 127 ] || { cat "$scratch/output"; echo "It ended with $result instead of 127."; exit 1; }
said="libwzapp: this processor lacks $name, for which the library was built. Build it without ${remedy:-$flag},"
grep -qF -e "$said" "$scratch/output" ||
  { cat "$scratch/output"; echo "It does not say what is lacking."; exit 1; }
