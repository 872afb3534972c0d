# SPDX-License-Identifier: Apache-2.0

# Sourced by the run.sh of each example, which has set $dialect and $site.
#
# Leaves the edited site in $work/site.conf, a temporary directory that goes with the script.

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

# named_file DIRECTIVE: the file that the edited site names, if it names any.
named_file() {
  sed -n "s/^[[:blank:]]*$1[[:blank:]][[:blank:]]*\([^;]*\);*\$/\1/p" "$work/site.conf"
}

# make_certificates CERTIFICATE KEY: a self-signed pair at the places that these directives of the
# edited site name.
make_certificates() {
  certificate=$(named_file "$1")
  key=$(named_file "$2")
  [ -n "$certificate" ] || return 0
  mkdir -p "$work/$(dirname "$certificate")" "$work/$(dirname "$key")"
  openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=localhost \
    -out "$work/$certificate" -keyout "$work/$key" 2>"$work/openssl.log" || {
    cat "$work/openssl.log" >&2
    exit 1
  }
}

# judge SERVER COMMAND...: says whether the server's own check accepts the edited site.
judge() {
  server=$1
  shift
  if ! "$@" >"$work/verdict" 2>&1; then
    cat "$work/verdict" >&2
    echo "$server refuses the edited site" >&2
    exit 1
  fi
  echo "$server accepts the edited site"
}

apply --diff "$site"
apply "$site" >"$work/site.conf"
mkdir "$work/logs"
