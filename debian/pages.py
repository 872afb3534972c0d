#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Puts the pages of a package into its tree, once all else is in there.

    pages.py PACKAGE TREE

debian/PACKAGE.pages has their places in the sources, as patterns; they lie in the same way below
TREE/usr/share/doc/PACKAGE. A link to what is in the tree leads there. The text of any other link stays,
without the link; a picture goes.
"""

import os
import pathlib
import re
import shutil
import sys

SOURCES = pathlib.Path(__file__).resolve().parent.parent

# What is installed elsewhere than in the sources.
HEADERS = {"src/": "usr/include/qeltemplate/", "bindings/c/": "usr/include/qeltemplate/"}

LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")
FENCED = re.compile(r"^(```.*?^```$)", re.MULTILINE | re.DOTALL)


class Package:
    def __init__(self, name, tree):
        self.tree = tree
        self.doc = pathlib.PurePath("usr/share/doc") / name
        listed = (SOURCES / "debian" / (name + ".pages")).read_text(encoding="utf-8")
        found = (SOURCES.glob(pattern) for pattern in listed.split())
        self.pages = sorted(str(page.relative_to(SOURCES)) for pages in found for page in pages)

    def install(self):
        for name in self.pages:
            target = self.tree / self.doc / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if (SOURCES / name).is_dir():
                shutil.copytree(SOURCES / name, target, dirs_exist_ok=True)
            else:
                shutil.copyfile(SOURCES / name, target)
        for name in self.pages:
            if name.endswith(".md"):
                self.lead(name)

    def lead(self, page):
        """Has the links of the page lead to what the tree holds."""
        file = self.tree / self.doc / page
        parts = FENCED.split(file.read_text(encoding="utf-8"))
        for i in range(0, len(parts), 2):
            parts[i] = LINK.sub(lambda found: self.link(page, found), parts[i])
        file.write_text("".join(parts), encoding="utf-8")

    def link(self, page, found):
        picture, text, target = found.groups()
        name, hash_sign, heading = target.partition("#")
        if "://" in name or not name:
            return found.group()
        place = self.place(os.path.normpath(os.path.join(os.path.dirname(page), name)))
        if place is None:
            return "" if picture else text
        if place.is_relative_to(self.doc):
            shown = os.path.relpath(place, self.doc / os.path.dirname(page))
        else:
            shown = "/" + str(place)
        return f"{picture}[{text}]({shown}{hash_sign}{heading})"

    def place(self, name):
        """Where a file of the sources lies in the tree; none: it is not there."""
        place = self.doc / ("copyright" if name == "LICENSE" else name)
        for folder, include in HEADERS.items():
            if name.startswith(folder):
                place = pathlib.PurePath(include + name[len(folder) :])
        return place if (self.tree / place).exists() else None


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    Package(sys.argv[1], pathlib.Path(sys.argv[2])).install()


if __name__ == "__main__":
    main()
