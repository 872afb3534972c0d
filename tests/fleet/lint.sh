#!/bin/sh
# SPDX-License-Identifier: Apache-2.0

# lint.sh: what ansible-lint and ansible-test say of the collection for Ansible.
#
# Some tests of ansible-test fetch their tools from outside. What these tests look at is looked at here by
# the same tools from Debian's packages, with the settings of ansible-test.
set -eu
cd "$(dirname "$0")/../.."

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
collection=$place/ansible_collections/qeltemplate/web
mkdir -p "$(dirname "$collection")"
cp -R integrations/ansible "$collection"
cd "$collection"
git init -q  # both look at the files of a repository
git add -A
export ANSIBLE_COLLECTIONS_PATH="$place" ANSIBLE_COLLECTIONS_PATHS="$place" NO_COLOR=1 LC_ALL=C.UTF-8
export HOME="$place" PYTHONDONTWRITEBYTECODE=1

ansible-lint --offline --strict

sanity=/usr/lib/python3/dist-packages/ansible_test/_util/controller/sanity
tests=$(ansible-test sanity --list-tests 2>/dev/null |
  grep -vxE 'ansible-doc|import|pep8|pylint|runtime-metadata|validate-modules|yamllint' | sed 's/^/--test /')
# shellcheck disable=SC2086 # one word for each
ansible-test sanity --python 3.11 $tests

pycodestyle --max-line-length 160 --ignore "$(paste -sd, $sanity/pep8/current-ignore.txt)" plugins
yamllint --strict -c $sanity/yamllint/config/default.yml .
for module in plugins/modules/*.py; do
  name=qeltemplate.web.$(basename "$module" .py)
  ansible-doc --json "$name" >/dev/null
  PYTHONPATH="$sanity/validate-modules:$place" /usr/bin/python3 $sanity/validate-modules/validate.py --arg-spec \
    --collection ansible_collections/qeltemplate/web --collection-version 0.1.0 "$module" >said || true
  # The licence of modules that come with Ansible itself.
  if grep -v 'missing-gplv3-license\|^$\|^=*$\|^\*' said; then exit 1; fi
done
ansible-doc --type role --json qeltemplate.web.qeltemplate_site >/dev/null
