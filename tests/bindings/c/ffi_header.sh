#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# ffi_header.sh SOURCES: the declarations for foreign function interfaces are those of the C header.
set -eu

"$1/cmake/ffi-header.sh" "$1/bindings/c/qeltemplate_c.h" | diff "$1/bindings/c/qeltemplate_ffi.h" - || {
  echo "make it anew: cmake/ffi-header.sh bindings/c/qeltemplate_c.h >bindings/c/qeltemplate_ffi.h" >&2
  exit 1
}
