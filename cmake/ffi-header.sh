#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# ffi-header.sh HEADER: writes the declarations of the C header without macros, comments and
# preprocessor lines, as foreign function interfaces take them (PHP's FFI::cdef, Python's cffi, LuaJIT).
set -eu

cat <<'END'
/* SPDX-License-Identifier: Apache-2.0 */
/* clang-format off */
/* Made from qeltemplate_c.h, which is the manual, by cmake/ffi-header.sh. Foreign function interfaces
 * read it as it is; of <stdint.h> and <stddef.h> they know uint64_t and size_t. */

END
# The preprocessor takes out the comments; what the header includes is left out before.
sed '/^#if/,/^#endif/d; /^#/d' "$1" |
  sed '1i #define QEL_API\n#define QEL_NOEXCEPT' |
  cc -E -P -x c - | sed 's/  */ /g; s/^ //; s/ ;/;/g'
