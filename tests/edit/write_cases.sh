#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# write_cases.sh FOLDER TEST...: has the tests, programs, write their edits into FOLDER, which is
# emptied first. See case_writer.h.
set -eu

folder=$1
shift
rm -rf "$folder"
mkdir -p "$folder"
for test in "$@"; do
  QELTEMPLATE_WRITE_CASES=$folder "$test" --gtest_brief=1
done
find "$folder" -name '*.jsonl' | grep -q . || {
  echo "no cases in $folder" >&2
  exit 1
}
