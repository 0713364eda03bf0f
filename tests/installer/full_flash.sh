#!/bin/sh
# Runs the update that does not fit on an ext4 of its own, with blocks kept for root.
#
#   full_flash.sh INSTALL_TEST
#
# Takes root, a loop device and mkfs.ext4; without them it says so and ends with 77.
set -eu

program=$1
work=$(mktemp -d)
trap 'umount "$work/flash" 2>/dev/null || true; rm -rf "$work"' EXIT

skip() {
  echo "SKIPPED: full_flash.sh: $1" >&2
  exit 77
}

[ "$(id -u)" = 0 ] || skip "only root mounts a file system"
command -v mkfs.ext4 >/dev/null || skip "mkfs.ext4 is missing (Debian: e2fsprogs)"

truncate -s 40M "$work/image"
mkfs.ext4 -q -m 10 "$work/image"
mkdir "$work/flash"
mount -o loop "$work/image" "$work/flash" 2>/dev/null || skip "there is no loop device"

WZAPP_SMALL_FLASH=$work/flash "$program" --gtest_filter='FullFlashTest.OfTheMachine*'
