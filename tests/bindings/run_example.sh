#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# run_example.sh CONFIG EXPECTED PROGRAM...: the program renames the site example.com in CONFIG to
# example.org, which gives EXPECTED, and fails for a file that is not there with a message that names
# it.
set -eu

config=$1
expected=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$@" "$config" example.com example.org >"$work/edited"
diff "$expected" "$work/edited"

if "$@" "$work/none" example.com example.org >"$work/out" 2>"$work/err"; then
  echo "a missing file is no failure" >&2
  exit 1
fi
test ! -s "$work/out"
grep -q "$work/none" "$work/err" || {
  cat "$work/err" >&2
  exit 1
}
