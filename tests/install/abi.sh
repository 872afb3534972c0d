#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Compares the binary interface of a shared library with the one of the last release. Needs Debian's
# abigail-tools. A program that was built before needs all of it: what goes or changes asks for a new soname.
#
#   abi.sh [--write] BASELINE LIBRARY SUPPRESSIONS HEADER...
#
# The library has to have debug information where its exported functions are. HEADERS are those that its users
# include: types that stand elsewhere are nobody's business. What comes to the interface is no difference.
# --write writes the baseline instead: for a release, or with a new soname.
set -eu

write=
if [ "$1" = --write ]; then
  write=yes
  shift
fi
baseline=$1 library=$2 suppressions=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/headers"
cp "$@" "$work/headers"

# All types, since those that stand in containers only are reached through what is not ours. Where the sources lie
# is no part of it.
interface() {
  abidw --exported-interfaces-only --load-all-types --drop-private-types --suppressions "$suppressions" \
    --headers-dir "$work/headers" \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --type-id-style hash "$library" |
    sed "s:^\(  <abi-instr .*\) path='[^']*/\([^/']*\)':\1 path='\2':"
}

interface >"$work/now.abi"
grep -q '<function-decl ' "$work/now.abi" || {
  echo "$library: nothing is known of its functions" >&2
  exit 1
}
if [ -n "$write" ]; then
  cp "$work/now.abi" "$baseline"
else
  abidiff --no-show-locs --no-added-syms --non-reachable-types --suppressions "$suppressions" "$baseline" "$work/now.abi"
fi
