#!/usr/bin/env bash
# Usage: reproducible.sh SOURCE_DIR COMPILER KEYS
# Built in two folders with names of different lengths, and by two users where root runs this, library,
# tool and whatever else is installed have the same octets, with their debug information. Of the day
# nothing can differ: what would write it does not compile.
set -euo pipefail
source=$1 compiler=$2 keys=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
chmod 755 "$scratch"
export CCACHE_DISABLE=1

# Builds a copy of the sources, started by the words behind the folder.
build() {
  local folder=$scratch/$1
  shift
  mkdir -p "$folder/keys"
  (cd "$source" && tar -c CMakeLists.txt CMakePresets.json cmake docs include kit platform src tools examples) |
    tar -x -C "$folder"
  cp -r "$keys/." "$folder/keys/"
  chmod -R a+rwX "$folder"
  "$@" cmake -S "$folder" -B "$folder/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS=-Werror=date-time -DWZAPP_TESTS=OFF \
    -DWZAPP_AUTHORITIES="$folder/keys" -DCMAKE_INSTALL_PREFIX=/usr >"$folder/log" 2>&1 &&
    "$@" cmake --build "$folder/build" >"$folder/log" 2>&1 &&
    DESTDIR=$folder/image "$@" cmake --install "$folder/build" >>"$folder/log" 2>&1 ||
    { cat "$folder/log"; exit 1; }
}

build one env HOME=/nowhere
if [ "$(id -u)" -eq 0 ]; then
  build another/folder/with/a/longer/name setpriv --reuid=65534 --regid=65534 --clear-groups \
    env HOME=/elsewhere USER=another LC_ALL=C.UTF-8 TZ=Asia/Tokyo
else
  echo "Not root: both are built by the same user."
  build another/folder/with/a/longer/name env HOME=/elsewhere LC_ALL=C.UTF-8 TZ=Asia/Tokyo
fi

one=$scratch/one/image/usr another=$scratch/another/folder/with/a/longer/name/image/usr
for product in bin/wz "$(cd "$one" && find lib -name 'libwzapp.so.*.*.*')"; do
  readelf --sections --wide "$one/$product" | grep -q ' \.debug_info ' ||
    { echo "$product has no debug information; what has been compared?"; exit 1; }
done
diff -r "$one" "$another" || { echo "The two builds differ."; exit 1; }
printf '%s files with the same octets\n' "$(find "$one" -type f | wc -l)"
