#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Builds a program outside of this project that lists the sites of a server with the installed library,
# and has it list some.
#
#   sites.sh WAY INSTALLED WORK COMPILER STANDARD
#
# WAY: find_package or pkg-config. WORK is emptied first.
set -eu

way=$1 installed=$2 work=$3 compiler=$4 standard=$5
flags="-Wall -Wextra -Wpedantic -Werror"

rm -rf "$work"
mkdir -p "$work/sites"
cd "$work"
cat >list.cpp <<'END'
#include <qeltemplate/server/sites.h>

#include <cstdio>

int main(int, char** arguments) {
  tov_server::ReadingOptions options;
  options.dialect = tov_server::Dialect::kNginx;
  options.main = arguments[1];
  const tov_server::Sites read = tov_server::ReadSites(options);
  for (const tov_server::Site& site : read.sites) {
    if (!tov_server::HasAddress(site, options.dialect, "443")) continue;
    std::printf("%s %s\n", site.names.front().c_str(), tov_edit::Shown(site.place).c_str());
  }
  for (const tov_server::Finding& finding : read.server.findings) {
    std::printf("%s\n", tov_edit::Shown(finding).c_str());
  }
}
END
case $way in
  find_package)
    cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(list LANGUAGES CXX)
find_package(qeltemplate 0.1 CONFIG REQUIRED)
add_executable(list list.cpp)
target_link_libraries(list PRIVATE qeltemplate::qeltemplate_server)
END
    cmake -S . -B build -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_STANDARD="$standard" \
      -DCMAKE_CXX_EXTENSIONS=OFF -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$installed"
    cmake --build build
    program=build/list
    ;;
  pkg-config)
    PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name qeltemplate_server.pc)")
    export PKG_CONFIG_PATH
    # shellcheck disable=SC2046,SC2086
    "$compiler" -std=c++"$standard" $flags list.cpp $(pkg-config --cflags --libs qeltemplate_server) -o list
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir qeltemplate_server)
    export LD_LIBRARY_PATH
    program=./list
    ;;
  *)
    echo "unknown way: $way" >&2
    exit 1
    ;;
esac

echo 'http { include sites/*; include none; }' >nginx.conf
echo 'server { listen 443 ssl; server_name a.example; }' >sites/a
echo 'server { listen 80; server_name b.example; }' >sites/b
$program nginx.conf >listed
diff -u - listed <<'END'
a.example sites/a:1:1
nginx.conf:1:25: there is no 'none'
END
