#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# install-packages.sh PACKAGE...: installs those of the Debian packages that are missing. Services that
# come with them are not started.
set -eu

missing=
for package in "$@"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "install-packages.sh: run as root, or install sudo:$missing" >&2
    exit 1
  }
  as_root=sudo
fi
echo "Installing$missing"
$as_root apt-get update -q

policy=/usr/sbin/policy-rc.d
if [ ! -e "$policy" ]; then
  trap '$as_root rm -f "$policy"' EXIT
  printf '#!/bin/sh\nexit 101\n' | $as_root tee "$policy" >/dev/null
  $as_root chmod +x "$policy"
fi
# shellcheck disable=SC2086 # one word for each package
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing
