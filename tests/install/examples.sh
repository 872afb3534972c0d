#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Builds the examples in C++ and in C with what is installed, by CMake and by pkg-config, and runs those of
# all languages, and what their pages show.
#
#   examples.sh TESTS EXAMPLES PAGES INSTALLED WORK
#
# TESTS: this project's tests. EXAMPLES: its examples, PAGES: where its pages are; both may be the installed
# ones. WORK is emptied first.
set -eu

tests=$1 examples=$2 pages=$3 installed=$4 work=$5

check() {
  echo "$*"
  "$tests/bindings/run_example.sh" "$examples/nginx/example.com.conf" "$tests/bindings/renamed.conf" "$@"
}

# check_site PROGRAM...: one that does what control panels do.
check_site() {
  echo "$*"
  "$tests/bindings/run_site.sh" "$examples" "$@"
}

# one INSTALLED_FILE: where it is.
one() {
  find "$installed/lib" "$installed/share" -path "*/$1" | grep . || {
    echo "$1 is not installed" >&2
    exit 1
  }
}

rm -rf "$work"
mkdir -p "$work"
cp -R "$examples/cpp" "$examples/c" "$work"
PKG_CONFIG_PATH=$(dirname "$(one qeltemplate.pc)")
LD_LIBRARY_PATH=$(dirname "$(one libqeltemplate.so)")
export PKG_CONFIG_PATH

for language in cpp c; do
  cmake -S "$work/$language" -B "$work/$language/build" -G Ninja -DCMAKE_PREFIX_PATH="$installed"
  cmake --build "$work/$language/build"
  check "$work/$language/build/rename_site"
done
"$tests/install/replaced.sh" "$work/replaced" "$work/cpp/build/replace_file"

"$tests/install/panel.sh" "$work/panel" "$work/cpp/build/panel"

# pkg-config does not say where the libraries are to be found when the program runs.
cd "$work/cpp"
c++ -std=c++17 rename_site.cpp $(pkg-config --cflags --libs qeltemplate) -o rename_site
check env LD_LIBRARY_PATH="$LD_LIBRARY_PATH" ./rename_site
c++ -std=c++17 replace_file.cpp $(pkg-config --cflags --libs qeltemplate_update) -o replace_file
"$tests/install/replaced.sh" "$work/replaced" env LD_LIBRARY_PATH="$LD_LIBRARY_PATH" "$work/cpp/replace_file"
c++ -std=c++17 panel.cpp $(pkg-config --cflags --libs qeltemplate_edit qeltemplate_update) -o panel
"$tests/install/panel.sh" "$work/panel" env LD_LIBRARY_PATH="$LD_LIBRARY_PATH" "$work/cpp/panel"
cd "$work/c"
cc -std=c11 rename_site.c $(pkg-config --cflags --libs qeltemplate_c) -o rename_site
check env LD_LIBRARY_PATH="$LD_LIBRARY_PATH" ./rename_site
cc -std=c11 site.c $(pkg-config --cflags --libs qeltemplate_c) -o site
check_site env LD_LIBRARY_PATH="$LD_LIBRARY_PATH" ./site

QELTEMPLATE_C=$(one libqeltemplate_c.so.0)
export QELTEMPLATE_C
PERL5LIB=$(dirname "$(one perl5/Qeltemplate.pm)")
QELTEMPLATE_PHP=$(one Qeltemplate/autoload.php)
PYTHONPATH=$(dirname "$(dirname "$(one py.typed)")")
PYTHONDONTWRITEBYTECODE=1
export PERL5LIB QELTEMPLATE_PHP PYTHONPATH PYTHONDONTWRITEBYTECODE
check_site perl "$examples/perl/site.pl"
check_site php "$examples/php/site.php"
for language in perl php; do
  "$tests/bindings/run_page.sh" "$(find "$pages" -path "*/$language.md" | head -n 1)" $language $language
done
check python3 "$examples/python/rename_site.py"
"$tests/install/panel.sh" "$work/panel" python3 "$examples/python/panel.py"
for program in 'python3 rename_site.py' 'perl rename_site.pl'; do
  check "${program% *}" "$examples/ffi/${program#* }"
done

export LD_LIBRARY_PATH
"$tests/install/rename.sh" "$tests" "$pages" "$examples" "$installed" "$work/rename"
