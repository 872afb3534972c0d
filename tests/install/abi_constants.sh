#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# abi_constants.sh [--write] BASELINE HEADER: each number in BASELINE is still what the header in C says.
# Debug information does not tell: the functions take them as int.
set -eu

if [ "$1" = --write ]; then
  grep -o 'QEL_[A-Z_]* = -*[0-9][0-9]*' "$3" | LC_ALL=C sort >"$2"
  exit
fi
[ -s "$1" ]
status=0
while read -r constant; do
  grep -q "\<$constant\>" "$2" || {
    echo "$2: $constant no more" >&2
    status=1
  }
done <"$1"
exit $status
