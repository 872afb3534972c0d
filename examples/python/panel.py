#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""What a panel does with the sites of a server:

    panel.py CONFIG add NAME ROOT            a new site
    panel.py CONFIG rename NAME NEW_NAME
    panel.py CONFIG tls NAME on|off
    panel.py CONFIG remove NAME

Everything else in the file stays as it is. Where QELTEMPLATE_CHECK is a command, such as "nginx -t", it
judges the result, and the old file is put back when it refuses.
"""

import os
import sys
from typing import Dict, List, Tuple

import qeltemplate

SITE = """
server {
	listen 80;
	server_name {% $name %};
	root {% $root %};
}
"""

NAME = """
server {
	server_name {% $name %};
}
"""

TLS = """
server {
	server_name {% $name %};
	{% if $tls == on %}
	listen 443 ssl;
	ssl_certificate /etc/ssl/{% $name %}/fullchain.pem;
	ssl_certificate_key /etc/ssl/{% $name %}/key.pem;
	{% endif %}
}
"""

REMOVAL = """
{% if $site == on %}
server {
	server_name {% $name %};
}
{% endif %}
"""


def request_for(task: str, arguments: List[str]) -> qeltemplate.Request:
    if task == "add":
        name, root = arguments
        return qeltemplate.Request(SITE, {"name": name, "root": root}, create="only", quote=True)
    if task == "rename":
        old_name, new_name = arguments
        return qeltemplate.Request(NAME, {"name": (old_name, new_name)})
    if task == "tls":
        name, tls = arguments
        return qeltemplate.Request(TLS, {"name": (name, name), "tls": tls}, create="never")
    (name,) = arguments
    values = {"name": (name, name), "site": "off"}
    return qeltemplate.Request(REMOVAL, values, must_exist=True)


TASKS: Dict[str, Tuple[str, ...]] = {
    "add": ("NAME", "ROOT"),
    "rename": ("NAME", "NEW_NAME"),
    "tls": ("NAME", "on|off"),
    "remove": ("NAME",),
}


def main() -> None:
    config, task, *arguments = sys.argv[1:] if len(sys.argv) > 2 else ("", "")
    if task not in TASKS or len(arguments) != len(TASKS[task]):
        usage = "\n       ".join(f"panel.py CONFIG {name} {' '.join(TASKS[name])}" for name in TASKS)
        print(f"usage: {usage}", file=sys.stderr)
        sys.exit(2)
    request = request_for(task, arguments)
    try:
        with qeltemplate.update(config, check=os.environ.get("QELTEMPLATE_CHECK", "")) as files:
            for file in files:
                for warning in file.edit(request).warnings:
                    print(f"warning: {warning}", file=sys.stderr)
    except qeltemplate.Refused as refused:
        for finding in refused.findings:
            print(f"not edited: {finding}", file=sys.stderr)
        sys.exit(4)
    except qeltemplate.ServerRefused as refused:
        sys.exit(f"the server does not take it:\n{refused.output}")
    except qeltemplate.UpdateError as error:
        sys.exit(f"panel.py: {error}")


if __name__ == "__main__":
    main()
