#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Builds and runs a program outside of this project that uses the engine in one of the ways of docs/install.md, by
# the lines that stand there. As a part of the project, the careful edit comes with it.
#
#   consumer.sh WAY SOURCES INSTALLED WORK COMPILER STANDARD SHARED
#
# WAY: find_package, pkg-config, add_subdirectory or FetchContent. INSTALLED: where the library is
# installed; the latter two ways build it from SOURCES, shared or not as SHARED (ON, OFF) says. WORK is
# emptied first.
set -eu

way=$1 sources=$2 installed=$3 work=$4 compiler=$5 standard=$6 shared=$7

pages=$sources/docs
. "$(dirname "$0")/pages.sh"

rm -rf "$work"
mkdir -p "$work"
cd "$work"
{ block engine cpp 'std::string Edited('; cat "$sources/tests/install/lines_main.cpp"; } >lines.cpp
flags="-Wall -Wextra -Wpedantic -Werror -fvisibility=hidden"

# built_by_cmake FLAGS OPTION TARGET...
built_by_cmake() {
  cmake -S . -B build -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_STANDARD="$standard" \
    -DCMAKE_CXX_EXTENSIONS=OFF -DCMAKE_CXX_FLAGS="$flags $1" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DCMAKE_PREFIX_PATH="$installed" ${2:+"$2"} || fail 'cmake'
  shift 2
  cmake --build build --target "$@" || fail 'cmake --build'
  build/lines
}

# both TEXT: the project of the page's block in which TEXT stands, with the program for the careful edit that
# links.sh runs, and with that for the engine.
both() {
  block install cmake "$1" >CMakeLists.txt
  {
    echo 'add_executable(lines lines.cpp)'
    echo 'target_link_libraries(lines PRIVATE qeltemplate::qeltemplate)'
  } >>CMakeLists.txt
  {
    printf '#include <%s>\n' iostream iterator stdexcept string
    block cpp cpp 'std::string Moved('
    cat "$sources/tests/install/links/edit.cpp"
  } >edit.cpp
  built_by_cmake '' "-DBUILD_SHARED_LIBS=$shared" edit lines
  block cpp nginx 'root   ' >site.conf
  sed 's:\(root *\)/srv/a.example:\1/data:' site.conf >expected.conf
  build/edit /data <site.conf | diff expected.conf - || fail 'another edit'
}

# What belongs to the library must not show in the project that it is a part of.
check_parent() {
  # An option of the command line gets a type from whoever declares it.
  leaked=$(grep -E '^(BUILD_SHARED_LIBS:BOOL|BUILD_TESTING:|QELTEMPLATE_(WERROR|BUILD_TESTS|FUZZER):)' \
    build/CMakeCache.txt) && fail "options: $leaked"
  grep -F -e "$work/edit.cpp" -e "$work/lines.cpp" build/compile_commands.json | grep -q -- -Wconversion && fail 'warnings of the library'
  ctest --test-dir build -N | grep -q '^Total Tests: 0$' || fail 'tests of the library'
  [ -z "$(find build -name 'qeltemplate' -type f)" ] || fail 'the program'
  cmake --install build --prefix "$work/parent"
  [ -z "$(find parent -type f 2>/dev/null)" ] || fail 'files of the library installed'
  case $shared in
    ON) made=libqeltemplate.so ;;
    *) made=libqeltemplate.a ;;
  esac
  [ -n "$(find build -name $made)" ] || fail "no $made"
}

case $way in
  find_package)
    block install cmake 'qeltemplate::qeltemplate)' >CMakeLists.txt
    # The program has functions of its own that are named as the library's helpers, and shows them.
    built_by_cmake '-DHOST_HAS_HELPERS -fvisibility=default' '' lines
    ;;
  pkg-config)
    PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name qeltemplate.pc)")
    export PKG_CONFIG_PATH
    block install sh ' qeltemplate)' | sed "s/^c++ -std=c++17/$compiler -std=c++$standard $flags/" >build.sh
    sh -e -x build.sh
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir qeltemplate) ./lines
    ;;
  add_subdirectory)
    ln -s "$sources" libqeltemplate
    both 'add_subdirectory('
    check_parent
    ;;
  FetchContent)
    tar -C "$sources" -c -z -f libqeltemplate.tar.gz CMakeLists.txt cmake src
    both 'FetchContent_'
    check_parent
    # Asked to, it installs the libraries as they are built here.
    cmake -S . -B build -DQELTEMPLATE_INSTALL=ON -DQELTEMPLATE_BUILD_UPDATE=ON
    cmake --build build
    cmake --install build --prefix "$work/parent"
    "$sources/tests/install/consumer.sh" pkg-config "$sources" "$work/parent" "$work/user" \
      "$compiler" "$standard" "$shared"
    for user_way in find_package pkg-config; do
      "$sources/tests/install/replace_file.sh" $user_way "$sources" "$work/parent" "$work/user" \
        "$compiler" "$standard"
    done
    ;;
  *) fail "unknown way: $way" ;;
esac
