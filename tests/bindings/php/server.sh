#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# server.sh PHP CLASSES: PHP's server edits a configuration when the classes are loaded beforehand, and may
# not use FFI when they are not.
set -eu

php=$1 classes=$2
work=$(mktemp -d)
server=
trap 'test -z "$server" || kill "$server"; rm -rf "$work"' EXIT

cat >"$work/index.php" <<'END'
<?php
require 'CLASSES/autoload.php';
try {
    $edit = new Qeltemplate\Edit('nginx', "server {\nserver_name {% \$name %};\n}\n");
    echo $edit->set('name', old: 'a', new: 'b')->apply("server {\nserver_name a;\n}\n")->text;
} catch (FFI\Exception $forbidden) {
    echo $forbidden->getMessage();
}
END
sed -i "s|CLASSES|$classes|" "$work/index.php"

# answer SETTING...: what a server with these settings answers.
answer() {
  : >"$work/log"
  "$php" -d ffi.enable=preload "$@" -S 127.0.0.1:0 -t "$work" >"$work/log" 2>&1 &
  server=$!
  tries=0
  until address=$(sed -n 's|.*(\(http://[0-9.:]*\)) started.*|\1|p' "$work/log") && [ -n "$address" ]; do
    tries=$((tries + 1))
    [ "$tries" -lt 200 ] || {
      cat "$work/log" >&2
      exit 1
    }
    sleep 0.05
  done
  "$php" -r 'echo file_get_contents($argv[1]);' "$address" >"$work/answer"
  kill "$server"
  wait "$server" || true
  server=
}

user=
[ "$(id -u)" != 0 ] || user='-d opcache.preload_user=root'
answer -d opcache.enable=1 -d opcache.enable_cli=1 -d opcache.preload="$classes/preload.php" $user
printf 'server {\nserver_name b;\n}\n' | diff - "$work/answer"
answer
grep -q 'restricted by "ffi.enable"' "$work/answer" || {
  cat "$work/answer" "$work/log" >&2
  exit 1
}
