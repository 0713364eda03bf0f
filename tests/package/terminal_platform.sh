#!/usr/bin/env bash
# Usage: terminal_platform.sh SOURCE_DIR COMPILER DEVKEYS GENERATOR BUILD_DIR FLAGS
# The library built against a folder with a terminal's platform libraries, here the workstation's of the
# build around this test: what configuring says of the folder, and that hosts link what is installed.
set -euo pipefail
source=$1 compiler=$2 devkeys=$3 generator=$4 workstation=$5/lib flags=$6
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
names='zelguiprt zelhtml jsproc zelipc zelplatforminfo zelsec'
build=$scratch/build

fail() {
  printf '%s\n' "$*"
  cat "$scratch/output"
  exit 1
}
configure() {
  cmake -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DWZAPP_TESTS=OFF \
    -DWZAPP_KIT=OFF -DWZAPP_AUTHORITIES="$scratch/keys" -DWZAPP_AUTHORITY_GENERATOR="$generator" \
    "$@" >"$scratch/output" 2>&1
}
# Makes a folder with the platform libraries.
platform() {
  mkdir -p "$1"
  local name
  for name in $names; do cp "$workstation/lib$name.so" "$1/"; done
}
says() { tr -s ' \n' ' ' <"$scratch/output" | grep -qF -- "$1" || fail "Not said: $1"; }

"$devkeys" "$scratch/keys"
platform "$scratch/one"
platform "$scratch/sysroot/opt/terminal/lib"

# Whatever a tool chain file says of where to search.
for mode in ONLY NEVER BOTH; do
  for directory in "$scratch/one" /opt/terminal/lib "$scratch/sysroot/opt/terminal/lib"; do
    configure -B "$scratch/$mode" -DWZAPP_PLATFORM_DIR="$directory" \
      -DCMAKE_FIND_ROOT_PATH="$scratch/sysroot;/" -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=$mode \
      -DCMAKE_FIND_ROOT_PATH_MODE_PATH=$mode || fail "$directory is not found under $mode."
  done
done

# Another folder takes effect in the same build folder.
configure -DWZAPP_PLATFORM_DIR="$scratch/one" || fail "A platform folder does not configure."
grep -q "$scratch/one/libzelipc.so\|-L$scratch/one" "$build/build.ninja" || fail "The folder is not linked."
platform "$scratch/two"
configure -DWZAPP_PLATFORM_DIR="$scratch/two" || fail "Another platform folder does not configure."
if grep -q "$scratch/one" "$build/build.ninja"; then fail "The first platform folder is still linked."; fi

# A folder that is not there, one without a library, and one for another processor.
configure -DWZAPP_PLATFORM_DIR="$scratch/none" && fail "A missing platform folder configures."
says "there is no directory $scratch/none"
rm "$scratch/two/libzelsec.so"
configure -DWZAPP_PLATFORM_DIR="$scratch/two" && fail "A folder without a library configures."
says "there is no libzelsec.so in $scratch/two"
says 'libzelguiprt.so, libzelhtml.so, libjsproc.so, libzelipc.so, libzelplatforminfo.so, libzelsec.so'
{
  head -c 18 "$workstation/libzelsec.so"
  printf '\377\377'
  tail -c +21 "$workstation/libzelsec.so"
} >"$scratch/two/libzelsec.so"
configure -DWZAPP_PLATFORM_DIR="$scratch/two" && fail "A library for another processor configures."
says "$scratch/two/libzelsec.so is for another processor than"
says 'CMAKE_TOOLCHAIN_FILE'

# Installs with the platform folder $1 below $2, which may be moved then.
install_library() {
  configure -DWZAPP_PLATFORM_DIR="$1" -DCMAKE_FIND_ROOT_PATH="$2" || fail "$1 does not configure."
  mkdir -p "$build/lib"
  cp -P "$workstation"/libwzapp.so* "$build/lib/"
  cmake --install "$build" --prefix "$2/usr" >"$scratch/output" 2>&1 || fail "It does not install."
  libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[^=]*=//p' "$build/CMakeCache.txt")
}
# Links the host against what lies below $1. Compilers of sanitized hosts are given the flags.
host_by_pkg_config() {
  # shellcheck disable=SC2046,SC2086 # several words each
  PKG_CONFIG_LIBDIR=$1/usr/$libdir/pkgconfig PKG_CONFIG_SYSROOT_DIR=$2 \
    "$(dirname "$0")/link_host.sh" "$compiler" "$scratch/host" $flags >"$scratch/output" 2>&1 ||
    fail "By pkg-config, a host does not link."
}
host_by_find_package() {
  rm -rf "$scratch/host_build"
  { cmake -S "$(dirname "$0")/host" -B "$scratch/host_build" -G Ninja -DCMAKE_PREFIX_PATH="$1/usr" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" "${@:2}" &&
    cmake --build "$scratch/host_build"; } >"$scratch/output" 2>&1 ||
    fail "By find_package, a host does not link."
}

# Of the library only that it was linked with these platform libraries matters here, so it is the one of
# the build around this test.
install_library "$scratch/one" "$scratch/native"
host_by_pkg_config "$scratch/native" ''
host_by_find_package "$scratch/native"

# Below a sysroot that is found at another place later.
install_library /opt/terminal/lib "$scratch/sysroot"
mv "$scratch/sysroot" "$scratch/moved"
host_by_pkg_config "$scratch/moved" "$scratch/moved"
host_by_find_package "$scratch/moved" -DCMAKE_FIND_ROOT_PATH="$scratch/moved"

# Without the folder a host does not link; what was tested otherwise?
mv "$scratch/moved/opt" "$scratch/away"
if (host_by_find_package "$scratch/moved" -DCMAKE_FIND_ROOT_PATH="$scratch/moved") >/dev/null; then
  fail "A host links without the platform."
fi

# A platform that lacks a symbol fails where the library is linked.
if ! grep -q 'fsanitize' <<<"$flags"; then
  grep -q -- '-Wl,-z,defs' "$build/build.ninja" || fail "Undefined symbols are not refused."
fi
