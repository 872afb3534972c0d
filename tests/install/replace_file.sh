#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Builds and runs the example replace_file outside of this project.
#
#   replace_file.sh WAY SOURCES INSTALLED WORK COMPILER STANDARD
#
# WAY: find_package or pkg-config. INSTALLED: where the library is installed. WORK is emptied first.
set -eu

way=$1 sources=$2 installed=$3 work=$4 compiler=$5 standard=$6
flags='-Wall -Wextra -Wpedantic -Werror -fvisibility=hidden'

rm -rf "$work"
mkdir -p "$work"
cd "$work"
cp "$sources/examples/cpp/replace_file.cpp" .

case $way in
  find_package)
    grep -v -e rename_site -e panel -e 'find_package(qeltemplate 0' "$sources/examples/cpp/CMakeLists.txt" >CMakeLists.txt
    cmake -S . -B build -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_STANDARD="$standard" \
      -DCMAKE_CXX_EXTENSIONS=OFF -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$installed"
    cmake --build build
    "$sources/tests/install/replaced.sh" "$work/run" "$work/build/replace_file"
    ;;
  pkg-config)
    PKG_CONFIG_PATH=$(dirname "$(find "$installed" -name qeltemplate_update.pc)")
    export PKG_CONFIG_PATH
    # shellcheck disable=SC2086,SC2046 # one word for each option
    "$compiler" -std="c++$standard" $flags replace_file.cpp \
      $(pkg-config --cflags --libs qeltemplate_update) -o replace_file
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir qeltemplate_update)
    export LD_LIBRARY_PATH
    "$sources/tests/install/replaced.sh" "$work/run" "$work/replace_file"
    ;;
  *)
    echo "unknown way: $way" >&2
    exit 1
    ;;
esac
