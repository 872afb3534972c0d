#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Compiles each installed header by itself, but for what only foreign function interfaces read.
#
#   headers.sh INSTALLED COMPILER STANDARD
set -eu

installed=$1 compiler=$2 standard=$3
cd "$installed/include/qeltemplate"
headers=$(find . -name '*.h' ! -name '*_ffi.h')
[ -n "$headers" ]
for header in $headers; do
  echo "$header"
  echo "#include \"$header\"" | "$compiler" -std="c++$standard" -Wall -Wextra -Wpedantic -Wshadow \
    -Wnon-virtual-dtor -Werror -fsyntax-only -I. -x c++ -
done
