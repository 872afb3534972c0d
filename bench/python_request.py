#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Times a whole request from Python against the same request in C++, in one process:

    python_request.py [--sites=1000] [--rounds=300] [--limit=1.1] BUILD_DIR

Both edit one site of many, taking turns. For each dialect and kind of text the median of the ratios of
each round is written. Fails when one is above the limit.
"""

import argparse
import ctypes
import statistics
import subprocess
import sys
import time
from pathlib import Path

# bench/sites.h: how the folder of a site is called before and after.
OLD, NEW = "public", "htdocs"


def sites_text(build, what, dialect, sites):
    command = [build / "bench" / "write_sites", what, dialect, str(sites)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def seconds_in_cpp(build):
    """The function of cpp_request.cpp."""
    function = ctypes.CDLL(str(build / "bench" / "libcpp_request.so")).SecondsOfEdit
    function.argtypes = [ctypes.c_char_p] * 4
    function.restype = ctypes.c_double
    return function


def seconds_in_python(parser_class, dialect, config, template, expected):
    begin = time.perf_counter()
    parser = parser_class(config, dialect)
    parser.set_value("folder", OLD, NEW)
    edited = parser.set_template(template).apply().config()
    # Freed within its time, as in C++.
    del parser
    seconds = time.perf_counter() - begin
    return seconds if edited == expected else -1


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--sites", type=int, default=1000)
    arguments.add_argument("--rounds", type=int, default=300)
    arguments.add_argument("--limit", type=float, default=1.1)
    arguments.add_argument("build", type=lambda path: Path(path).resolve())
    options = arguments.parse_args()
    sys.path.insert(0, str(options.build / "bindings" / "python"))
    from qeltemplate.engine import Parser  # pylint: disable=import-outside-toplevel

    in_cpp = seconds_in_cpp(options.build)
    highest = 0.0
    for dialect in ("Nginx", "Apache"):
        config = sites_text(options.build, "config", dialect, options.sites)
        template = sites_text(options.build, "template", dialect, options.sites)
        edited_site = f"/srv/site{options.sites // 2}/"
        expected = config.rstrip("\n").replace(edited_site + OLD, edited_site + NEW)
        texts = [config, template, expected]
        bytes_of_texts = [text.encode() for text in texts]
        for kind, kind_texts in ((str, texts), (bytes, bytes_of_texts)):
            rounds = []
            for _ in range(options.rounds):
                cpp = in_cpp(dialect.encode(), *bytes_of_texts)
                python = seconds_in_python(Parser, dialect, *kind_texts)
                if cpp < 0 or python < 0:
                    sys.exit(f"python_request.py: {dialect}: the edited text is wrong")
                rounds.append((cpp, python))
            ratio = statistics.median(python / cpp for cpp, python in rounds)
            cpp, python = (1000 * statistics.median(times) for times in zip(*rounds))
            print(
                f"{dialect:6} {kind.__name__:5} {options.sites} sites:"
                f" C++ {cpp:.3f} ms, Python {python:.3f} ms, ratio {ratio:.3f}"
            )
            highest = max(highest, ratio)
    if highest > options.limit:
        sys.exit(f"python_request.py: {highest:.3f} is above {options.limit}")


if __name__ == "__main__":
    main()
