#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# make_locales.sh OUT: makes the locales in which the tests run once more. Needs Debian's locales.
set -eu

out=$1
source=/usr/share/i18n/locales/tr_TR
mkdir -p "$out"

# Turkish writes 1.234,5, and the small and large "i" of other languages are not each other's.
[ -d "$out/tr_TR.UTF-8" ] || localedef --no-archive -i tr_TR -f UTF-8 "$out/tr_TR.UTF-8"
[ -d "$out/tr_TR.ISO-8859-9" ] ||
  localedef --no-archive -i tr_TR -f ISO-8859-9 "$out/tr_TR.ISO-8859-9"

# As other C libraries have it: the bytes 0x85 and 0xA0 are blanks.
sed -e 's/<U0020>;<U1680>/<U0020>;<U0085>;<U00A0>;<U1680>/' -e 's/<U00A0>\.\./<U00A1>../' \
  "$source" >"$out/tr_blanks"
[ -d "$out/tr_blanks.ISO-8859-9" ] ||
  localedef --no-archive -i "$out/tr_blanks" -f ISO-8859-9 "$out/tr_blanks.ISO-8859-9"
