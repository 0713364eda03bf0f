#!/usr/bin/env bash
# Usage: installed_host.sh BUILD_DIR COMPILER FLAGS find_package|pkg_config
# Installs the build, compiles the host against the installed tree alone and runs it.
set -euo pipefail
build=$1 compiler=$2 flags=$3 way=$4
source=$(cd "$(dirname "$0")" && pwd)/host
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >"$scratch/install.log" || { cat "$scratch/install.log"; exit 1; }

case $way in
  find_package)
    cmake -S "$source" -B "$scratch/host" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$scratch/configure.log" ||
      { cat "$scratch/configure.log"; exit 1; }
    cmake --build "$scratch/host"
    ;;
  pkg_config)
    PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name wzapp.pc)")
    export PKG_CONFIG_PATH
    libdir=$(pkg-config --variable=libdir wzapp)
    mkdir "$scratch/host"
    # shellcheck disable=SC2046,SC2086 # several words each
    "$compiler" -std=c++11 $flags "$source/main.cpp" -o "$scratch/host/host" \
      $(pkg-config --cflags --libs wzapp) -Wl,-rpath,"$libdir"
    ;;
esac

printf '%s\n' /mnt/flash/system/wz /mnt/flash/etc/config/wzapp/wz /mnt/flash/etc/config/wzapp/mp |
  diff - <("$scratch/host/host")
