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

# Where the sources lie is no part of it.
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
  exit
fi

# Of structures that stand in containers only, abidiff does not tell: they are reached through what is not ours.
structures() {
  sed -n "s/.*<class-decl name='\([^']*\)' size-in-bits='\([0-9]*\)'.*/\1, \2 bits/p" "$1" | LC_ALL=C sort
}

structures "$baseline" >"$work/structures"
structures "$work/now.abi" | LC_ALL=C comm -23 "$work/structures" - >"$work/other"
status=0
abidiff --no-show-locs --no-added-syms --suppressions "$suppressions" "$baseline" "$work/now.abi" || status=$?
if [ -s "$work/other" ]; then
  echo "$library: these structures are no more as they were:"
  cat "$work/other"
  status=1
fi
exit $status
