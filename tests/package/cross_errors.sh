#!/usr/bin/env bash
# Usage: cross_errors.sh SOURCE_DIR
# What a build for another processor says where something is missing: the thing, and what to do.
set -euo pipefail
source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
tools=$scratch/tools
mkdir "$tools"

# A machine with little on it: these programs, and packages as dpkg-query answers for them.
for name in bash cat cmake dirname env grep id mktemp ninja rm sed tr uname; do
  ln -s "$(command -v "$name")" "$tools/"
done
has_all_but() {
  printf '#!/bin/sh\nfor name; do :; done\n[ "$name" = "%s" ] || printf "ii "\n' "$1" >"$tools/dpkg-query"
  chmod +x "$tools/dpkg-query"
}
run() { PATH=$tools "$@" >"$scratch/output" 2>&1; }
says() {
  tr -s ' \n' ' ' <"$scratch/output" | grep -qF -e "$1" ||
    { echo "Not said: $1"; cat "$scratch/output"; exit 1; }
}

run "$source/dev" cross mips && { echo "An unknown processor is built for."; exit 1; }
says "no processor 'mips': armhf, arm64, i386, s390x or debian11"

has_all_but qemu-user-static
run "$source/dev" cross armhf && { echo "Tests run without an emulator."; exit 1; }
says 'these Debian packages are missing: qemu-user-static'

has_all_but g++-arm-linux-gnueabihf
run "$source/dev" cross armhf && { echo "It is compiled without a compiler."; exit 1; }
says 'these Debian packages are missing: g++-arm-linux-gnueabihf'

run cmake -S "$source" -B "$scratch/build" -G Ninja -DWZAPP_KIT=OFF -DWZAPP_TESTS=OFF \
  -DCMAKE_TOOLCHAIN_FILE="$source/cmake/toolchains/armhf.cmake" &&
  { echo "It is configured without a compiler."; exit 1; }
says "There is no arm-linux-gnueabihf-g++ (Debian's package g++-arm-linux-gnueabihf)"

# A sysroot whose packages nobody has, and one on a machine that has no apt.
run "$source/cmake/toolchains/make_sysroot" armhf bookworm "$scratch/sysroot" zlib1g-dev &&
  { echo "A sysroot is made without apt."; exit 1; }
says 'make_sysroot: needs apt-get'
if command -v apt-get >/dev/null; then
  WZAPP_DEBIAN_MIRROR=file:///nowhere/debian "$source/cmake/toolchains/make_sysroot" armhf bookworm \
    "$scratch/sysroot" zlib1g-dev >"$scratch/output" 2>&1 && { echo "A sysroot is made of nothing."; exit 1; }
  says 'the packages for armhf cannot be had from file:///nowhere/debian: is there a network?'
fi
