#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# run_site.sh EXAMPLES PROGRAM...: the program adds a site, renames it, switches TLS on and removes it,
# so that the file is what it was; what it refuses, and what fails, changes nothing.
set -eu

panel=$1/panel
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sites=$work/sites.conf
cp "$panel/sites.conf" "$sites"

# expect LINE...: these lines follow those of the other site.
expect() {
  { cat "$panel/sites.conf"; printf '%s\n' "$@"; } | diff - "$sites"
}

# fails STATUS TEXT ARGUMENT...: and says this, and leaves the file alone.
fails() {
  status=$1 text=$2
  shift 2
  cp "$sites" "$work/before"
  set +e
  "$@" 2>"$work/err"
  got=$?
  set -e
  [ "$got" = "$status" ] && grep -q -- "$text" "$work/err" && cmp "$work/before" "$sites" && return
  cat "$work/err" >&2
  echo "exit status $got, not $status with '$text'" >&2
  exit 1
}

"$@" add "$panel" "$sites" new.example
expect 'server {' '    listen 80;' '    server_name new.example;' '    root /srv/new.example;' '}'
"$@" rename "$panel" "$sites" new.example shop.example
expect 'server {' '    listen 80;' '    server_name shop.example;' '    root /srv/shop.example;' '}'
"$@" tls "$panel" "$sites" shop.example
grep -q 'ssl_certificate_key /etc/ssl/shop.example.key;' "$sites"
grep -q 'listen 443 ssl;' "$sites"
"$@" tls "$panel" "$sites" shop.example
"$@" remove "$panel" "$sites" shop.example
cmp "$panel/sites.conf" "$sites"
grep -q shop.example "$sites~"

fails 3 'refused: .*none.example' "$@" rename "$panel" "$sites" none.example x.example
fails 3 'refused: .*none.example' "$@" tls "$panel" "$sites" none.example
fails 3 'refused: ' "$@" remove "$panel" "$sites" none.example
fails 3 'refused: ' "$@" add "$panel" "$sites" 'a.example; root /'
fails 1 "$work/none" "$@" add "$panel" "$work/none" a.example
