#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# replay.sh BUILD_DIR SEED CASES: so many attempts from SEED on, by edit_attack_test, which judges what
# comes of them; then all of these edits through the C interface and through Python, with the same
# results. In portions, of which each is written down (see case_writer.h).
set -eu

build=$1
seed=$2
left=$3
portion=5000
folder=$build/tests/edit/attacks
here=$(dirname "$0")

while [ "$left" -gt 0 ]; do
  count=$((left < portion ? left : portion))
  QELTEMPLATE_WRITE_CASES=$folder
  export QELTEMPLATE_WRITE_CASES
  rm -rf "$folder"
  mkdir -p "$folder"
  SEED=$seed CASES=$count "$build/tests/edit/edit_attack_test" --gtest_brief=1
  "$build/tests/c_cases_test" "$folder"
  QELTEMPLATE_EDIT_CASES=$folder PYTHONPATH=$build/bindings/python PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 -m pytest -q -p no:cacheprovider -k edits_as_in_cpp \
    "$here/../../bindings/python/edit_cases.py"
  seed=$((seed + count))
  left=$((left - count))
done
rm -r "$folder"
