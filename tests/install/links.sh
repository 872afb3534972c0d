#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Builds a program with each of the installed libraries, by the lines that install.md has for it, and runs it. The
# programs are those that the pages show.
#
#   links.sh WAY TESTS PAGES EXAMPLES INSTALLED WORK
#
# WAY: find_package or pkg-config. TESTS: this project's tests. PAGES: the folder of install.md. EXAMPLES: this
# project's examples. Pages and examples may be the installed ones. WORK is emptied first.
set -eu

way=$1 tests=$2 pages=$3 examples=$4 installed=$5 work=$6

. "$(dirname "$0")/pages.sh"

# built NAME LIBRARY SOURCE: by the lines in which the target, or the module, of the library stands last.
built() {
  case $way in
    find_package)
      block install cmake "qeltemplate::$2)" >CMakeLists.txt
      cmake -S . -B "$1.build" -G Ninja -DCMAKE_PREFIX_PATH="$installed" || fail "$1: cmake"
      cmake --build "$1.build" || fail "$1: cmake --build"
      program=$work/$1.build/$1
      ;;
    pkg-config)
      block install sh "$2)" >build.sh
      sh -e -x build.sh || fail "$1: $(cat build.sh)"
      program=$work/$1
      ;;
    *) fail "unknown way: $way" ;;
  esac
}

# cpp NAME TEXT PAGE: NAME.cpp from the page's block in which TEXT stands, and from the main function here.
cpp() {
  {
    printf '#include <%s>\n' iostream iterator stdexcept string vector
    block "$3" cpp "$2"
    cat "$tests/install/links/$1.cpp"
  } >"$1.cpp"
}

rm -rf "$work"
mkdir -p "$work"
cd "$work"
if [ "$way" = pkg-config ]; then
  PKG_CONFIG_PATH=$(dirname "$(find "$installed/lib" -name qeltemplate.pc)")
  export PKG_CONFIG_PATH
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir qeltemplate)
  export LD_LIBRARY_PATH
fi

cpp edit 'std::string Moved(' cpp
built edit qeltemplate_edit
block cpp nginx 'root   ' >site.conf
"$program" /data/a.example <site.conf | diff site.conf - >said || [ $? = 1 ]
diff - said <<'END_OF_SAID' || fail 'edit: another text'
12c12
<     root                 /srv/a.example;
---
>     root                 /data/a.example;
END_OF_SAID
"$program" '/data; autoindex on' <site.conf 2>said && fail 'edit: not refused'
grep -q "^site.template:4:3: the value 'root' does not stay" said || fail "edit: $(cat said)"

cp "$examples/cpp/panel.cpp" .
built panel qeltemplate_update
"$tests/install/panel.sh" "$work/panel.run" "$program"

cpp sites 'PlacesOf(' cpp
built sites qeltemplate_server
mkdir conf
echo 'http { include conf/*; }' >nginx.conf
echo 'server { listen 443 ssl; server_name *.a.example; }' >conf/a
echo 'server { listen 80; server_name b.example; }' >conf/b
[ "$("$program" nginx.conf www.a.example)" = conf/a:1:1 ] || fail "sites: $("$program" nginx.conf www.a.example)"

cp "$examples/c/rename.c" .
built rename qeltemplate_c
"$program" conf/b b.example c.example
[ "$(cat conf/b)" = 'server { listen 80; server_name c.example; }' ] || fail "rename: $(cat conf/b)"
"$program" conf/b b.example d.example 2>said && fail 'rename: not refused'
grep -q '^name.template:1:1: there is no ' said || fail "rename: $(cat said)"

cpp lines 'std::string Edited(' engine
built lines qeltemplate
printf 'server {\n\tserver_name a.example;\n\troot /a;\n}\n' >lines.conf
[ "$("$program" <lines.conf)" = "$(sed s/a.example/b.example/ lines.conf)" ] || fail "lines: $("$program" <lines.conf)"
