#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# wheel.sh SOURCE_DIR PYTHON: `pip install` builds a wheel without network, and the tests pass on it in
# a virtual environment.
set -eu

source=$1
python=$2
unset PYTHONPATH
export PYTHONDONTWRITEBYTECODE=1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# pip leaves files in the directory that it builds in.
mkdir "$work/source"
(cd "$source" && cp -R CMakeLists.txt cmake src bindings "$work/source")

# Setuptools and pytest are the system's.
"$python" -m venv --system-site-packages "$work/venv"
"$work/venv/bin/pip" install --quiet --disable-pip-version-check --no-build-isolation --no-index \
  "$work/source/bindings/python"
rm -rf "$work/source"

cd "$work"
"$work/venv/bin/python" -c 'import sys, qeltemplate; assert qeltemplate.__file__.startswith(sys.prefix)'
if ldd "$work"/venv/lib/python*/site-packages/qeltemplate/*.so | grep libqeltemplate; then
  echo "the module needs a library that is not in the wheel" >&2
  exit 1
fi
"$work/venv/bin/python" -m pytest -q -p no:cacheprovider "$source/tests/bindings/python"
