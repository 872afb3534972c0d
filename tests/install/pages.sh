# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh

# For the scripts beside it, which set $pages to the folder of the pages.

fail() {
  echo "$*" >&2
  exit 1
}

# block PAGE LANGUAGE TEXT: the block of code in LANGUAGE of PAGE.md in which TEXT stands.
block() {
  awk -v fence="\`\`\`$2" -v text="$3" '
    $0 == "```" && inside { if (index(block, text)) { printf "%s", block; found = 1; exit } inside = 0 }
    inside { block = block $0 "\n" }
    $0 == fence { inside = 1; block = "" }
    END { exit !found }' "$pages/$1.md" || fail "no $2 block with $3 in $1.md"
}
