#!/bin/sh
# Edits the example site by the example template, shows what changes, and has nginx judge the result.
#
#   run.sh PATH_TO_QELTEMPLATE
#
# Ends with 0 only when nginx accepts the edited site. Nothing outside a temporary directory is
# written, and no server is started.
set -eu

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
  "$qeltemplate" apply --dialect nginx --template site.template --values values.json "$@"
}

# make_certificates SITE: a self-signed pair at the places that SITE names, if it names any.
make_certificates() {
  certificate=$(sed -n 's/^[[:blank:]]*ssl_certificate[[:blank:]][[:blank:]]*\(.*\);$/\1/p' "$1")
  key=$(sed -n 's/^[[:blank:]]*ssl_certificate_key[[:blank:]][[:blank:]]*\(.*\);$/\1/p' "$1")
  [ -n "$certificate" ] || return 0
  mkdir -p "$work/$(dirname "$certificate")" "$work/$(dirname "$key")"
  openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=localhost \
    -out "$work/$certificate" -keyout "$work/$key" 2>"$work/openssl.log" || {
    cat "$work/openssl.log" >&2
    exit 1
  }
}

apply --diff example.com.conf
apply example.com.conf >"$work/site.conf"

make_certificates "$work/site.conf"
mkdir "$work/logs"
cat >"$work/nginx.conf" <<'END'
pid nginx.pid;
error_log logs/error.log;
events {
}
http {
	client_body_temp_path temp/body;
	proxy_temp_path temp/proxy;
	fastcgi_temp_path temp/fastcgi;
	uwsgi_temp_path temp/uwsgi;
	scgi_temp_path temp/scgi;
	include site.conf;
}
END
mkdir "$work/temp"
if ! nginx -t -p "$work" -c nginx.conf 2>"$work/verdict"; then
  cat "$work/verdict" >&2
  echo "nginx refuses the edited site" >&2
  exit 1
fi
echo "$(nginx -v 2>&1 | sed 's/^nginx version: //') accepts the edited site"
