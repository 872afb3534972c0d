#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# exports.sh LIBRARY HEADER: the library exports exactly the functions that the header declares.
set -eu

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
nm -D --defined-only "$1" | awk '$2 != "A" { sub("@.*", "", $3); print $3 }' | sort >"$work/exported"
tr '\n' ' ' <"$2" | grep -o 'QEL_API [a-z][^(]*' | sed 's/.*[ *]//' | sort >"$work/declared"
test -s "$work/declared"
diff "$work/declared" "$work/exported"
