# SPDX-License-Identifier: Apache-2.0

# Sourced by the run.sh of each example, which has set $dialect and $site.
#
# Leaves the edited sites in $work/site.conf, a temporary directory that goes with the script.

if [ $# -ne 1 ]; then
  echo "usage: run.sh PATH_TO_QELTEMPLATE" >&2
  exit 2
fi
case $1 in
  */*) qeltemplate=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") ;;
  *) qeltemplate=$1 ;;
esac
PATH=$PATH:/usr/sbin:/sbin

cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

apply() {
  "$qeltemplate" apply --dialect "$dialect" --template site.template --values values.json "$@"
}

# named_files DIRECTIVE...: the files that the edited sites name by these directives.
named_files() {
  for directive in "$@"; do
    sed -n "s/^[[:blank:]]*${directive}[[:blank:]][[:blank:]]*\([^;[:blank:]]*\).*/\1/p" "$work/site.conf"
  done
}

# make_certificates CERTIFICATE KEY: self-signed ones at the places that these directives of the
# edited sites name.
make_certificates() {
  openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=localhost \
    -out "$work/certificate" -keyout "$work/key" 2>"$work/openssl.log" || {
    cat "$work/openssl.log" >&2
    exit 1
  }
  for file in $(named_files "$1" "$2"); do
    mkdir -p "$work/$(dirname "$file")"
  done
  for file in $(named_files "$1"); do cp "$work/certificate" "$work/$file"; done
  for file in $(named_files "$2"); do cp "$work/key" "$work/$file"; done
}

# judge SERVER COMMAND...: says whether the server's own check accepts the edited sites.
judge() {
  server=$1
  shift
  if ! "$@" >"$work/verdict" 2>&1; then
    cat "$work/verdict" >&2
    echo "$server refuses the edited sites" >&2
    exit 1
  fi
  echo "$server accepts the edited sites"
}

apply --diff "$site"
apply "$site" >"$work/site.conf"
apply "$work/site.conf" | cmp "$work/site.conf" - || {
  echo "the same edit once more changes the edited sites" >&2
  exit 1
}
echo "the same edit once more changes nothing"
mkdir "$work/logs"
