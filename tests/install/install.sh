#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Installs a build tree, moves what is there now to INSTALLED, and looks it over.
#
#   install.sh BUILD INSTALLED VERSION
set -eu

build=$1 installed=$2 version=$3

fail() {
  echo "$*" >&2
  exit 1
}

rm -rf "$installed" "$installed.first"
cmake --install "$build" --prefix "$installed.first"
mv "$installed.first" "$installed"

if grep -rlI -F "$installed.first" "$installed"; then fail 'the place of installation is kept'; fi
[ "$("$installed/bin/qeltemplate" --version)" = "qeltemplate $version" ] || fail 'the program does not run'

# Nothing is promised of this library's binary interface: no program loads the one of another version.
server=$(find "$installed" -name libqeltemplate_server.so)
if [ -n "$server" ]; then
  LC_ALL=C readelf --dynamic "$server" | grep -q "soname: \[libqeltemplate_server\.so\.$version\]" || fail 'another soname'
fi

# Only what a user of the library may include.
for header in section_tree.h framework/str.h framework/test.h framework/tov_file.h; do
  [ -e "src/template/$header" ] || fail "no such header: $header"
  found=$(find "$installed" -path "*/template/$header")
  [ -z "$found" ] || fail "$header is installed"
done
for header in commit.h descriptor.h locked_file.h shell_command.h; do
  [ -e "src/update/$header" ] || fail "no such header: $header"
  found=$(find "$installed" -path "*/update/$header")
  [ -z "$found" ] || fail "$header is installed"
done
for header in script.h server_reader.h; do
  [ -e "src/server/$header" ] || fail "no such header: $header"
  found=$(find "$installed" -path "*/server/$header")
  [ -z "$found" ] || fail "$header is installed"
done
