#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# The function of each language's page that gives a site another name does what the program does: the file is
# the same byte by byte, and what is refused is said in the same words, with the same places.
#
#   rename.sh TESTS PAGES EXAMPLES INSTALLED WORK
#
# TESTS: this project's tests. PAGES: where the pages lie, in folders named docs. EXAMPLES: its examples. All may
# be the installed ones. Languages find their modules by themselves. WORK is emptied first.
set -eu

tests=$1 pages=$2 examples=$3 installed=$4 work=$5

fail() {
  echo "$*" >&2
  exit 1
}

page() {
  find "$pages" -path "*/docs/$1" | grep . | head -n 1
}

# block PAGE LANGUAGE TEXT: the block of code of the page in which TEXT stands.
block() {
  awk -v fence="\`\`\`$2" -v text="$3" '
    $0 == "```" && inside { if (index(block, text)) { printf "%s", block; found = 1; exit } inside = 0 }
    inside { block = block $0 "\n" }
    $0 == fence { inside = 1; block = "" }
    END { exit !found }' "$(page "$1")" || fail "no $2 block with $3 in $1"
}

rm -rf "$work"
mkdir -p "$work"
cd "$work"

{
  printf '#include <%s>\n' iostream string vector qeltemplate/edit/edit.h qeltemplate/update/update.h
  block cpp.md cpp ' RenameSite('
  cat "$tests/install/rename/main.cpp"
} >rename.cpp
c++ -std=c++17 -Wall -Werror rename.cpp $(pkg-config --cflags --libs qeltemplate_edit qeltemplate_update) -o of_cpp
cc -std=c11 -Wall -Werror "$examples/c/rename.c" $(pkg-config --cflags --libs qeltemplate_c) -o of_c
{
  printf '<?php\nrequire "%s";\n' "${QELTEMPLATE_PHP-Qeltemplate/autoload.php}"
  block php.md php 'function rename_site(' | sed '/^require /d'
  cat "$tests/install/rename/main.php"
} >rename.php
{
  printf 'use strict;\nuse warnings;\n'
  block perl.md perl 'sub rename_site'
  cat "$tests/install/rename/main.pl"
} >rename.pl

edit_by() {
  case $1 in
    cpp | c) shift && "./of_$language" "$@" ;;
    python) shift && python3 "$tests/install/rename/main.py" "$(page python.md)" "$@" ;;
    php) shift && php rename.php "$@" ;;
    perl) shift && perl rename.pl "$@" ;;
    ctypes)
      python3 "$examples/ffi/rename.py" "$2" "$3" "$4" >edited.conf || return
      cp edited.conf "$2"
      ;;
  esac
}

program="$installed/bin/qeltemplate"
printf 'server {\n\tserver_name {%% $name %%};\n}\n' >name.template

# refusals OLD NEW [OPTION]: what the program refuses, as its JSON has it.
refusals() {
  # shellcheck disable=SC2086 # one word, or none
  "$program" explain --json --dialect nginx --template name.template --old "name=$1" --set "name=$2" ${3-} site.conf |
    python3 -c 'import json, sys; [print(each["said"]) for each in json.load(sys.stdin)["refusals"]]'
}

# same REFUSED OLD NEW [--all]: whether it is refused, and the same by all languages. The configuration is site.conf.
same() {
  outcome=$1
  shift
  cp site.conf before.conf
  refused=no
  languages='cpp c python php perl'
  [ $# = 3 ] || languages="$languages ctypes"
  # shellcheck disable=SC2086 # one word, or none
  if "$program" apply --dialect nginx --template name.template --old "name=$1" --set "name=$2" ${3-} site.conf \
    >expected.conf 2>said; then
    : >expected.said
  else
    [ $? = 4 ] || fail "$(cat said)"
    refused=yes
    cp before.conf expected.conf
    refusals "$@" >expected.said || [ $? = 4 ]
    [ -s expected.said ]
  fi
  [ "$refused" = "$outcome" ] || fail "refused: $refused: $* $(cat site.conf said)"
  [ "$refused" = yes ] || [ "$1" = "$2" ] || ! cmp -s before.conf expected.conf || fail "nothing edited: $*"
  for language in $languages; do
    cp before.conf site.conf
    status=0
    edit_by $language site.conf "$1" "$2" ${3+all} 2>said || status=$?
    case $status in
      0) [ "$refused" = no ] ;;
      3) [ "$refused" = yes ] ;;
      *) false ;;
    esac || fail "$language: exit status $status: $(cat said)"
    cmp site.conf expected.conf || fail "$language: another text"
    diff expected.said said || fail "$language: other reasons"
  done
  cp before.conf site.conf
  edits=$((edits + 1))
}

# reason TEXT: it stands in the last refusal.
reason() {
  grep -q -F "$1" expected.said || fail "not '$1': $(cat expected.said)"
}

edits=0

# A redirect and a site, which have one name.
cat >site.conf <<'END'
server {
    listen 80;
    server_name a.example www.a.example;
    return 301 https://$host$request_uri;
}

server {
    listen 443 ssl; # managed by Certbot
    server_name a.example
                www.a.example;

    root   /srv/a.example;
}
server {
    listen 443 ssl;
    server_name b.example;
}
END
same yes a.example c.example
reason 'site.conf:1:1'
reason 'site.conf:7:1'
same no a.example c.example --all
[ "$(grep -c c.example expected.conf)" = 2 ] || fail "not both: $(cat expected.conf)"
same no www.a.example www.c.example --all
same yes a.example b.example --all
reason "b.example"
reason 'site.conf:14:1'
same yes a.example 'c.example; root /' --all
reason "the value 'name' does not stay in its place"
reason 'name.template:2:2'
same yes a.example 'c.example d.example' --all
same yes x.example c.example --all
same yes b.example 'c.example
    root /'

cat >site.conf <<'END'
# caf? and two blank lines


server {
    listen      80;
    server_name a.example   www.a.example;  # the customer's own

    root /srv/a.example;
}
server {
	listen 80;
	server_name "b.example";
}
server { listen 80; server_name c.example; } server { listen 81; server_name c.example; }
END
# One byte that is no UTF-8, and a last line without an end.
printf '# caf\351' >>site.conf
same no a.example d.example
same no www.a.example www.d.example
same no b.example d.example
same no a.example a.example
same no a.example "$(printf 'caf\303\251.example')"
same yes a.example b.example
same yes c.example d.example
same yes none.example d.example
same yes a.example 'd.example; root /'
same yes a.example ''
sed 's/$/\r/' site.conf >site.crlf
mv site.crlf site.conf
same no a.example d.example
printf '\nserver {\n' >>site.conf
same yes a.example d.example
: >site.conf
same yes a.example d.example
echo "$edits edits, the same in C++, C, Python, PHP, Perl and by ctypes"
