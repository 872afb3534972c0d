#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Edits one of the example sites by the example template, shows what changes, and has nginx judge the
# result.
#
#   run.sh PATH_TO_QELTEMPLATE
#
# Ends with 0 only when nginx accepts the edited sites. Nothing outside a temporary directory is
# written, and no server is started.
set -eu

dialect=nginx
site=sites.conf
. "$(dirname "$0")/../common.sh"

make_certificates ssl_certificate ssl_certificate_key
echo "ssl_session_timeout 1440m;" >"$work/certs/options-ssl-nginx.conf"
mkdir "$work/temp"
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
judge "$(nginx -v 2>&1 | sed 's/^nginx version: //')" nginx -t -p "$work" -c nginx.conf
