#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Runs the example panel in an empty directory: the life of a site, and what is refused.
#
#   panel.sh WORK PROGRAM...
#
# WORK is emptied first.
set -eu

work=$1
shift

fail() {
  echo "$*" >&2
  exit 1
}

# holds TEXT: the configuration.
holds() {
  printf '%s\n' "$1" | diff -u - sites.conf || fail 'another configuration'
}

# refuses STATUS FINDING WORDS...: with the name of the finding in what is said, and nothing changed.
refuses() {
  cp sites.conf before
  status=$1 finding=$2
  shift 2
  code=0
  "$@" 2>said || code=$?
  [ "$code" = "$status" ] || fail "exit status $code instead of $status: $(cat said)"
  grep -q -F "$finding" said || fail "nothing of '$finding': $(cat said)"
  cmp before sites.conf || fail 'changed though refused'
}

rm -rf "$work"
mkdir -p "$work"
cd "$work"
other='server {
	listen 80;
	server_name other.example;  # by hand
}'
printf '%s\n' "$other" >sites.conf

"$@" sites.conf add a.example /srv/a
holds "$other
server {
	listen 80;
	server_name a.example;
	root /srv/a;
}"
"$@" sites.conf rename a.example b.example
"$@" sites.conf tls b.example on
holds "$other
server {
	listen 80;
	listen 443 ssl;
	server_name b.example;
	root /srv/a;
	ssl_certificate /etc/ssl/b.example/fullchain.pem;
	ssl_certificate_key /etc/ssl/b.example/key.pem;
}"

refuses 4 '[unmatched-section]' "$@" sites.conf rename a.example c.example
refuses 4 '[collision]' "$@" sites.conf rename b.example other.example
refuses 4 '[value]' "$@" sites.conf rename b.example 'c.example; autoindex on'
refuses 4 '[not-found]' "$@" sites.conf remove c.example
refuses 4 'sites.conf:5' "$@" sites.conf add b.example /srv/x
refuses 1 'does not take it' env QELTEMPLATE_CHECK=false "$@" sites.conf rename b.example c.example
refuses 1 'No such file or directory' "$@" nowhere.conf rename b.example c.example
refuses 2 'usage' "$@" sites.conf frobnicate

"$@" sites.conf tls b.example off
holds "$other
server {
	listen 80;
	server_name b.example;
	root /srv/a;
}"
"$@" sites.conf remove b.example
holds "$other"
