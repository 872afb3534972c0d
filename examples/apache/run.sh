#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# Edits one of the example sites by the example template, shows what changes, and has httpd judge the
# result.
#
#   run.sh PATH_TO_QELTEMPLATE
#
# Ends with 0 only when httpd accepts the edited sites. Nothing outside a temporary directory is
# written, and no server is started.
set -eu

dialect=apache
site=sites.conf
. "$(dirname "$0")/../common.sh"

make_certificates SSLCertificateFile SSLCertificateKeyFile
echo "SSLEngine on" >"$work/certs/options-ssl-apache.conf"
{
  for module in mpm_event authz_core alias rewrite ssl; do
    echo "LoadModule ${module}_module /usr/lib/apache2/modules/mod_$module.so"
  done
  cat <<'END'
ServerName localhost
PidFile httpd.pid
ErrorLog logs/error.log
LogFormat "%h %l %u %t \"%r\" %>s %O" combined
Listen 127.0.0.1:8081
Listen 127.0.0.1:8443
Include site.conf
END
} >"$work/httpd.conf"
judge "$(apache2 -v | sed -n 's/^Server version: \([^ ]*\).*/\1/p')" \
  apache2 -t -d "$work" -f "$work/httpd.conf"
