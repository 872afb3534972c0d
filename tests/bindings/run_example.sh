#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# run_example.sh CONFIG EXPECTED PROGRAM...: the program renames the site example.com in CONFIG to
# example.org, which gives EXPECTED, and fails for a file that is not there with a message that names
# it. Where REAL_CONFIG names a file, it also renames domain.tld in that.
set -eu

config=$1
expected=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$@" "$config" example.com example.org >"$work/edited"
diff "$expected" "$work/edited"

# Names are bytes.
"$@" "$config" example.com "$(printf 'caf\303\251.example')" >"$work/edited"
sed "s/example\.org/$(printf 'caf\303\251.example')/g" "$expected" | diff - "$work/edited"

if "$@" "$work/none" example.com example.org >"$work/out" 2>"$work/err"; then
  echo "a missing file is no failure" >&2
  exit 1
fi
test ! -s "$work/out"
grep -q "$work/none" "$work/err" || {
  cat "$work/err" >&2
  exit 1
}

real=${REAL_CONFIG-}
[ -f "$real" ] || exit 0
"$@" "$real" domain.tld domain.example >"$work/edited"
# The site's log is new there, and the library drops blank lines.
grep -v '^[[:blank:]]*$' "$real" |
  sed 's/server_name domain\.tld www\.domain\.tld;/server_name domain.example www.domain.example;/' >"$work/expected"
[ "$(grep -c 'access_log logs/domain\.example\.access\.log;' "$work/edited")" = 1 ]
grep -v 'logs/domain\.example\.' "$work/edited" | sed 's/^[[:blank:]]*server_name/    server_name/' |
  diff "$work/expected" -
