#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Renames a site in an nginx configuration and writes the edited text to standard output:

    rename_site.py CONFIG OLD_NAME NEW_NAME

The engine does it, which drops blank lines; panel.py shows the careful edit.
"""

import sys
from pathlib import Path

from qeltemplate import engine

# The lines of a site that hold its name.
TEMPLATE = """
server {
	server_name {% $name %} www.{% $name %};
	access_log logs/{% $name %}.access.log;
}
"""


def rename(config: bytes, old_name: str, new_name: str) -> bytes:
    parser = engine.Parser(config, dialect="Nginx")
    parser.set_value("name", old=old_name, new=new_name)
    return parser.set_template(TEMPLATE).apply().config()


def main() -> None:
    if len(sys.argv) != 4:
        sys.exit("usage: rename_site.py CONFIG OLD_NAME NEW_NAME")
    config_file, old_name, new_name = sys.argv[1:]
    try:
        edited = rename(Path(config_file).read_bytes(), old_name, new_name)
    except (OSError, engine.Error) as error:
        sys.exit(f"rename_site.py: {error}")
    sys.stdout.buffer.write(edited + b"\n")


if __name__ == "__main__":
    main()
