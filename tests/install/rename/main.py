# SPDX-License-Identifier: Apache-2.0

"""Calls the function of the page: main.py PAGE FILE OLD_NAME NEW_NAME [all]"""

import doctest
import sys

import qeltemplate

with open(sys.argv[1], encoding="utf-8") as page:
    examples = doctest.DocTestParser().get_examples(page.read())
(source,) = (example.source for example in examples if "def rename_site(" in example.source)
known = {"qeltemplate": qeltemplate}
exec(source, known)
options = {"all": True} if sys.argv[5:] == ["all"] else {}
reasons = known["rename_site"](*sys.argv[2:5], **options)
for reason in reasons:
    print(reason, file=sys.stderr)
sys.exit(3 if reasons else 0)
