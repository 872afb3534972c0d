#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Compares the symbols that the shared library exports with those listed.
#
#   symbols.sh LIBRARY LIST [--write]
#
# --write writes the list instead. A program needs all lines of the list that it was built with: a line
# that goes or changes asks for a new soname, see src/template/CMakeLists.txt.
set -eu

library=$1 list=$2
exported=$(nm --dynamic --defined-only --demangle --format=posix "$library")
exported=$(printf '%s\n' "$exported" |
  sed -n 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
          s/@@.*//p' | LC_ALL=C sort -u)
if [ "${3-}" = --write ]; then
  printf '%s\n' "$exported" >"$list"
  exit
fi
printf '%s\n' "$exported" | diff -u "$list" -
