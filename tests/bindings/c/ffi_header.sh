#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# ffi_header.sh SOURCES: the declarations for foreign function interfaces, which PHP's package has once
# more, are those of the C header.
set -eu

bindings=$1/bindings
for header in "$bindings/c/qeltemplate_ffi.h" "$bindings/php/src/qeltemplate_ffi.h"; do
  "$1/cmake/ffi-header.sh" "$bindings/c/qeltemplate_c.h" | diff "$header" - || {
    echo "make it anew: cmake/ffi-header.sh bindings/c/qeltemplate_c.h >$header" >&2
    exit 1
  }
done
