#!/usr/bin/env bash
# Usage: readme_host.sh BUILD_DIR COMPILER FLAGS README
# The host program that README prints compiles against the installed tree as it stands there, and runs
# an application inside a terminal.
set -euo pipefail
build=$1 compiler=$2 flags=$3 readme=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix terminal=$scratch/terminal
# Where an installed kit keeps what it makes for its user.
export XDG_DATA_HOME=$scratch/data

sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$readme" >"$scratch/host.cpp"
grep -q wzAppRun "$scratch/host.cpp" || { echo "README has no host program"; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$scratch/install.log" || { cat "$scratch/install.log"; exit 1; }
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name wzapp.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046,SC2086 # several words each
"$compiler" -std=c++11 -Wall -Wextra -Werror $flags "$scratch/host.cpp" -o "$scratch/host" \
  $(pkg-config --cflags --libs wzapp) -Wl,-rpath,"$(pkg-config --variable=libdir wzapp)"

"$prefix/bin/wz" terminal create "$terminal" >/dev/null
application=$terminal/flash/etc/config/wzapp/wz/echo
mkdir -p "$application"
printf '{"application": {"id": "echo", "version": "1"}, "desktop": {"file": "index.html"}}' \
  >"$application.MFT"
printf '<script>wz.exit(0, { twice: wz.properties.amount + wz.properties.amount });</script>' \
  >"$application/index.html"

"$prefix/bin/wz" exec --terminal "$terminal" -- "$scratch/host" \
  /mnt/flash/etc/config/wzapp/wz/echo.MFT desktop >"$scratch/output" || { cat "$scratch/output"; exit 1; }
for line in 'amount = 1250' 'twice = 12501250' 'wz_appId = echo' 'wz_terminalSerialNo = 10000000001'; do
  grep -qx "$line" "$scratch/output" || { echo "not printed: $line"; cat "$scratch/output"; exit 1; }
done
