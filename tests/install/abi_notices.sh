#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# What abi.sh notices of changes, and what is none.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat >site.h <<'END'
#include <string>
#include <vector>
namespace panel {
struct Alias {
  std::string name;
};
struct Site {
  std::string name;
  std::vector<Alias> aliases;
  int port = 80;
};
class Sites {
 public:
  Sites();
  void Add(const Site& site);
 private:
  class Data;
  Data* m_data;
};
}
extern "C" int sites_count(const panel::Sites* sites, int least);
END
cat >site.cpp <<'END'
#include "site.h"
namespace panel {
struct Helper {
  std::vector<Alias> aliases;
};
class Sites::Data {
 public:
  int count = 0;
};
Sites::Sites() : m_data(new Data) {}
void Sites::Add(const Site& site) {
  Helper helper{site.aliases};
  helper.aliases.resize(1);
  m_data->count += site.port;
}
}
int sites_count(const panel::Sites* sites, int least) { return sites == nullptr ? least : 0; }
END
cp site.h site.h.before
cp site.cpp site.cpp.before

build() {
  c++ -std=c++17 -g -fPIC -fvisibility-inlines-hidden -shared site.cpp -o libsite.so
}

abi() {
  "$here/abi.sh" "$@" baseline.abi libsite.so "$here/abi.suppr" site.h
}

# notices YES_OR_NO NAME SCRIPT [WORD]: whether it is another interface when sed's SCRIPT has changed the
# sources; WORD is told then.
notices() {
  sed -i "$3" site.h site.cpp
  build
  found=no
  abi >said 2>&1 || found=yes
  if [ "$found" != "$1" ] || { [ "$found" = yes ] && ! grep -q "$4" said; }; then
    cat said >&2
    echo "$2: noticed: $found, not $1 with '${4-}'" >&2
    exit 1
  fi
  cp site.h.before site.h
  cp site.cpp.before site.cpp
}

build
abi --write
notices no 'nothing' ''
notices no 'code behind it' 's/site == nullptr/!site/'
notices no 'a hidden structure' 's/Helper/Other/'
notices no 'a hidden member' 's/int count = 0;/long count = 0; int more = 0;/'
notices no 'a function that has come' 's/^extern "C".*/&\nextern "C" void more();/; s/^int sites_count/extern "C" void more() {}\n\n&/'
notices no 'a type that has come' 's/^class Sites {/struct More {\n  int more;\n};\n&/; s/^int sites_count/panel::More g_more;\n&/'
notices yes 'a parameter of C' 's/int least/long least/' sites_count
notices yes 'a result of C' 's/int sites_count/long sites_count/' sites_count
notices yes 'a parameter of C++' 's/Add(const Site& site)/Add(const Site\& site, int)/' Sites::Add
notices yes 'a function that has gone' '/sites_count/d' sites_count
notices yes 'a member of a structure' 's/int port = 80;/&\n  bool tls = false;/' Site
notices yes 'a member of what stands in a container' '/^struct Alias/a int more = 0;' Alias
notices yes 'a type of a member' 's/int port/unsigned port/' port
