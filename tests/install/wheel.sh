#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# wheel.sh SOURCE_DIR PYTHON: packs the source distribution, builds a wheel of that alone, without network,
# and the tests and an example pass on it in a virtual environment.
set -eu

source=$1
python=$2
unset PYTHONPATH
export PYTHONDONTWRITEBYTECODE=1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "$*" >&2
  exit 1
}

# Setuptools leaves files in the directory that it packs.
mkdir "$work/source"
(cd "$source" && cp -R CMakeLists.txt LICENSE cmake src bindings "$work/source")
(cd "$work/source/bindings/python" &&
  "$python" -c 'import sys; from setuptools import build_meta; build_meta.build_sdist(sys.argv[1])' "$work" >/dev/null)
rm -rf "$work/source"
if tar -t -f "$work"/qeltemplate-*.tar.gz | grep -E '__pycache__|\.egg-info/.*\.so|/build/'; then
  fail 'the source distribution has what a build has left'
fi

# Setuptools and pytest are the system's.
"$python" -m venv --system-site-packages "$work/venv"
pip() { "$work/venv/bin/pip" --quiet --disable-pip-version-check "$@"; }
cd "$work"
# What is tested is that it builds, not how fast it is.
CMAKE_ARGS=-DCMAKE_CXX_FLAGS_RELEASE=-O0
export CMAKE_ARGS
pip wheel --no-build-isolation --no-index --no-deps "$work"/qeltemplate-*.tar.gz
"$python" -m zipfile -l "$work"/qeltemplate-*.whl >contents
for file in dist-info/LICENSE qeltemplate/py.typed qeltemplate/_qeltemplate.pyi qeltemplate/engine.py; do
  grep -q "$file" contents || fail "no $file in the wheel"
done
pip install --no-index "$work"/qeltemplate-*.whl

"$work/venv/bin/python" -c 'import sys, qeltemplate; assert qeltemplate.__file__.startswith(sys.prefix)'
if ldd "$work"/venv/lib/python*/site-packages/qeltemplate/*.so | grep libqeltemplate; then
  fail 'the module needs a library that is not in the wheel'
fi
cp "$source/examples/nginx/example.com.conf" site.conf
"$work/venv/bin/python" "$source/examples/python/panel.py" site.conf rename example.com example.org
sed 's/server_name example\.com/server_name example.org/' "$source/examples/nginx/example.com.conf" |
  diff - site.conf
# Pages, types and real servers have been asked about the same module already.
tests="$source/tests/bindings/python"
"$work/venv/bin/python" -m pytest -q -p no:cacheprovider --ignore "$tests/test_docs.py" \
  --ignore "$tests/test_typing.py" --ignore "$tests/test_live.py" "$tests"
