#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# spdx.sh [--check]: puts the licence's identifier at the head of every source file that lacks it, or only
# names those files and fails.
set -eu
cd "$(dirname "$0")/.."

identifier='SPDX-License-Identifier: Apache-2.0'
status=0

# head_with COMMENT PATTERN...: puts the identifier behind COMMENT, below the first line of a script.
head_with() {
  comment=$1
  shift
  for file in $(git ls-files -- "$@"); do
    # A header that programs without a preprocessor read has C comments only.
    if head -n 2 "$file" | grep -q -F -x -e "$comment $identifier" -e "/* $identifier */"; then continue; fi
    if [ "$check" = --check ]; then
      echo "$file: no $identifier" >&2
      status=1
      continue
    fi
    if head -n 1 "$file" | grep -q '^#!'; then line=1; else line=0; fi
    {
      head -n $line "$file"
      printf '%s %s\n\n' "$comment" "$identifier"
      tail -n +$((line + 1)) "$file"
    } >"$file.new"
    cat "$file.new" >"$file"
    rm "$file.new"
  done
}

check=${1-}
head_with // '*.h' '*.cpp' '*.js'
head_with '#' '*.sh' '*.py' '*.cmake' '*CMakeLists.txt' Makefile .ci/run debian/rules
exit $status
