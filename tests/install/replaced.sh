#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Runs the example replace_file in an empty directory: what is accepted, what is refused, and what fails.
#
#   replaced.sh WORK PROGRAM...
#
# WORK is emptied first.
set -eu

work=$1
shift

fail() {
  echo "$*" >&2
  exit 1
}

# holds FILE TEXT
holds() {
  printf '%s\n' "$2" | cmp - "$1" || fail "$1 should hold '$2'"
}

rm -rf "$work"
mkdir -p "$work"
cd "$work"
echo old >site

echo new | "$@" site 'grep -q new site' 'cat site >loaded' >said || fail 'not accepted'
holds site new
holds site~ old
holds loaded new
holds said 'site is new'

echo newer | "$@" site 'echo no; exit 7' 'touch reloaded' 2>said && fail 'not refused'
holds site new
holds site~ old
holds said 'replace_file: refused: echo no; exit 7: refuses the new files (exit status 7), the old ones are back:
no'

echo newer | "$@" nowhere '' '' 2>said && fail 'not failed'
holds said 'replace_file: nowhere: No such file or directory'
[ "$(echo *)" = 'loaded said site site~' ] || fail "left behind: $(echo *)"
