#!/usr/bin/env bash
# Usage: recipes.sh SOURCE_DIR
# What can be said of the recipes without their tools: that shell, Python and make parse them, that they name
# the version, the licence and the options of this tree.
set -euo pipefail
source=$1
layer=$source/packaging/yocto/meta-wzapp tree=$source/packaging/buildroot
version=$(sed -n 's/^project(wzapp VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
fail() { printf '%s\n' "$*"; exit 1; }

recipe=$layer/recipes-wzapp/wzapp/wzapp_$version.bb
[ -e "$recipe" ] || fail "There is no recipe of version $version."
grep -q "md5=$(md5sum "$source/LICENSE" | cut -d' ' -f1)" "$recipe" || fail "The recipe has another licence."
grep -q "^WZAPP_VERSION = $version$" "$tree/package/wzapp/wzapp.mk" || fail "The makefile has another version."
grep -q "^libwzapp ($version)" "$source/debian/changelog" || fail "debian/changelog has another version."

# The functions of the class as shell, and the anonymous function of the recipe as Python.
for name in do_compile do_install; do
  sed -n "/^$name() {/,/^}/p" "$layer/classes/wzapp-application.bbclass" | tr -d '$' | sed 's/{\([A-Z_]*\)}/\1/g' |
    sh -n || fail "$name is no shell."
done
{ echo 'def anonymous(d, bb):'; sed -n '/^python () {/,/^}/p' "$recipe" | sed '1d;$d'; } |
  python3 -c 'import ast, sys; ast.parse(sys.stdin.read())' || fail "The recipe's function is no Python."
make --no-print-directory -n -f - BR2_EXTERNAL_WZAPP_PATH="$tree" all >/dev/null <<MAKE || fail "make does not read wzapp.mk."
qstrip = \$(strip \$(subst ",,\$(1)))
all:
include $tree/external.mk
MAKE

# Each option that a recipe gives is one of the build.
grep -rhoE -e '-D(WZAPP_[A-Z_]+)' "$source/packaging" "$source/debian/rules" | sed 's/^-D//' | sort -u |
  while read -r option; do
    grep -rqE "(option|set|find_program)\($option " "$source/CMakeLists.txt" "$source/cmake" ||
      fail "-D$option is no option of the build."
  done
