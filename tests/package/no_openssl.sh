#!/usr/bin/env bash
# Usage: no_openssl.sh LIBRARY WZ SOURCE_DIR
# The library stands on its own cryptography: it needs no library of OpenSSL, takes no function of
# one, and no source of it includes a header of one. `wz`, which makes keys by OpenSSL, shows that
# this test would notice.
set -euo pipefail
library=$1 wz=$2 source=$3

needed() { readelf --dynamic "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\].*/\1/p'; }
# Undefined names without their versions.
undefined() { nm --dynamic --undefined-only "$1" | awk '{ print $NF }' | sed 's/@.*//' | LC_ALL=C sort -u; }

crypto=$(ldd "$wz" | sed -n 's/.*libcrypto[^ ]* => \([^ ]*\) .*/\1/p')
[ -n "$crypto" ] || { echo "wz does not link libcrypto; what is this test to compare with?"; exit 1; }
taken() {
  comm -12 <(undefined "$1") <(nm --dynamic --defined-only "$crypto" | awk '{ print $NF }' |
    sed 's/@.*//' | LC_ALL=C sort -u)
}
[ -n "$(taken "$wz")" ] || { echo "wz takes no function of OpenSSL as it seems"; exit 1; }

if needed "$library" | grep -E '^lib(crypto|ssl)'; then
  echo "The library needs OpenSSL."
  exit 1
fi
names=$(taken "$library")
[ -z "$names" ] || { echo "The library takes functions of OpenSSL: $names"; exit 1; }

if grep -rnE '#[[:space:]]*include[[:space:]]*[<"]openssl/' "$source/src" "$source/include"; then
  echo "A source of the library includes OpenSSL."
  exit 1
fi
grep -rqE '#[[:space:]]*include[[:space:]]*[<"]openssl/' "$source/tools/devkeys"
