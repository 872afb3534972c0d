# SPDX-License-Identifier: Apache-2.0

"""certbot_tree.py FILE...: how certbot's parser reads nginx configurations, as JSON.

For each file the list of what it has found, in order: ["directive", word...], ["open", word...],
["close"], ["comment", text], words and comments as they are written. For a file that the parser does
not take: the name of the exception.
"""
import json
import sys

from certbot_nginx._internal import nginxparser


def flat(entries):
    for entry in entries:
        if entry[0] == "#":
            yield ["comment", "".join(entry)]
        elif isinstance(entry[0], list):
            yield ["open", *entry[0]]
            yield from flat(entry[1])
            yield ["close"]
        else:
            yield ["directive", *entry]


def read(path):
    with open(path, encoding="utf-8", newline="") as file:
        text = file.read()
    try:
        return list(flat(nginxparser.loads(text)))
    except Exception as exception:  # of several libraries
        return type(exception).__name__


json.dump([read(path) for path in sys.argv[1:]], sys.stdout)
