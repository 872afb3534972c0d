#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# The blocks of code of a page are one program, which writes what the page's blocks of text say.
#
#   run_page.sh PAGE LANGUAGE PROGRAM...
#
# LANGUAGE: php or perl. PROGRAM runs a file. QELTEMPLATE_PHP names the file that loads PHP's classes where they are
# not installed.
set -eu

page=$1 language=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# blocks LANGUAGE: all of them, one behind the other.
blocks() {
  awk -v fence="\`\`\`$1" '
    $0 == "```" { inside = 0 }
    inside { print }
    $0 == fence { inside = 1 }' "$page"
}

blocks text >"$work/expected"
[ -s "$work/expected" ] || {
  echo "$page: no text" >&2
  exit 1
}
{
  case $language in
    php) printf '<?php\n' ;;
    perl) printf 'use strict;\nuse warnings;\n' ;;
  esac
  blocks "$language" | sed "s|^require 'Qeltemplate/autoload.php'|require '${QELTEMPLATE_PHP-Qeltemplate/autoload.php}'|"
} >"$work/page"
"$@" "$work/page" >"$work/said"
diff "$work/expected" "$work/said"
