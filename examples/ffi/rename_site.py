#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Renames a site in an nginx configuration, through the C interface and nothing but ctypes:

    rename_site.py CONFIG OLD_NAME NEW_NAME

QELTEMPLATE_C names the library's file when it is not where the system looks.
"""

import ctypes
import os
import sys

# The lines of a site that hold its name.
TEMPLATE = b"""
server {
	server_name {% $name %} www.{% $name %};
	access_log logs/{% $name %}.access.log;
}
"""

library = ctypes.CDLL(os.environ.get("QELTEMPLATE_C", "libqeltemplate_c.so.0"))

# What qeltemplate_c.h declares: a handle is a number, a status an int, a text goes with its size.
HANDLE = ctypes.c_uint64
TEXT = (ctypes.c_char_p, ctypes.c_size_t)
ERROR = ctypes.POINTER(HANDLE)
for name, *arguments in (
    ("qel_parser_new", *TEXT, *TEXT, ctypes.POINTER(HANDLE), ERROR),
    ("qel_parser_set_value", HANDLE, *TEXT, *TEXT, *TEXT, ERROR),
    ("qel_parser_set_template", HANDLE, *TEXT, ERROR),
    ("qel_parser_apply", HANDLE, ERROR),
    # Not c_char_p: ctypes would lose the pointer that is to be freed.
    (
        "qel_parser_config",
        HANDLE,
        ctypes.POINTER(ctypes.c_void_p),
        ctypes.POINTER(ctypes.c_size_t),
        ERROR,
    ),
    ("qel_parser_free", HANDLE),
    ("qel_error_free", HANDLE),
):
    getattr(library, name).argtypes = arguments
library.qel_text_free.argtypes = [ctypes.c_void_p]
library.qel_text_free.restype = None
library.qel_error_message.argtypes = [HANDLE, ctypes.POINTER(ctypes.c_size_t)]
library.qel_error_message.restype = ctypes.c_char_p
library.qel_status_text.restype = ctypes.c_char_p


def call(function, *arguments):
    """Calls a function whose last argument is the error, and raises what it answers."""
    error = HANDLE()
    status = function(*arguments, error)
    if status != 0:
        message = library.qel_error_message(error, None) or library.qel_status_text(status)
        library.qel_error_free(error)
        raise RuntimeError(os.fsdecode(message))


def rename(config, old_name, new_name):
    parser = HANDLE()
    call(library.qel_parser_new, b"Nginx", 5, config, len(config), parser)
    try:
        values = b"name", 4, old_name, len(old_name), new_name, len(new_name)
        call(library.qel_parser_set_value, parser, *values)
        call(library.qel_parser_set_template, parser, TEMPLATE, len(TEMPLATE))
        call(library.qel_parser_apply, parser)
        text, size = ctypes.c_void_p(), ctypes.c_size_t()
        call(library.qel_parser_config, parser, text, size)
        edited = ctypes.string_at(text, size.value)
        library.qel_text_free(text)
        return edited
    finally:
        library.qel_parser_free(parser)


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: rename_site.py CONFIG OLD_NAME NEW_NAME")
    config_file, old_name, new_name = sys.argv[1:]
    try:
        with open(config_file, "rb") as file:
            config = file.read()
        edited = rename(config, os.fsencode(old_name), os.fsencode(new_name))
    except (OSError, RuntimeError) as error:
        sys.exit(f"rename_site.py: {error}")
    sys.stdout.buffer.write(edited + b"\n")


if __name__ == "__main__":
    main()
