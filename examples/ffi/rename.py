#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Gives a site of an nginx configuration another name, through the C interface and nothing but ctypes:

    rename.py CONFIG OLD_NAME NEW_NAME

Writes the edited text; CONFIG stays as it is. The exit status is 3 when the edit is refused. QELTEMPLATE_C
names the library's file when it is not where the system looks.
"""

import ctypes
import os
import sys

TEMPLATE = b"server {\n\tserver_name {% $name %};\n}\n"

library = ctypes.CDLL(os.environ.get("QELTEMPLATE_C", "libqeltemplate_c.so.0"))

# What qeltemplate_c.h declares: a handle is a number, a status an int, a text goes with its size.
OK, REFUSED = 0, 9
REFUSALS = 0
HANDLE = ctypes.c_uint64
HANDLE_OUT = ctypes.POINTER(HANDLE)
TEXT = (ctypes.c_char_p, ctypes.c_size_t)
SIZE_OUT = ctypes.POINTER(ctypes.c_size_t)
FINDING = (HANDLE, ctypes.c_int, ctypes.c_size_t)
for name, result, *arguments in (
    ("qel_request_new", ctypes.c_int, *TEXT, *TEXT, *TEXT, HANDLE_OUT, HANDLE_OUT),
    ("qel_request_set_value", ctypes.c_int, HANDLE, *TEXT, *TEXT, *TEXT, HANDLE_OUT),
    ("qel_request_free", ctypes.c_int, HANDLE),
    ("qel_edit", ctypes.c_int, HANDLE, *TEXT, *TEXT, HANDLE_OUT, HANDLE_OUT),
    # Not c_char_p: a text may hold a NUL byte, at which that would end.
    ("qel_result_text", ctypes.c_void_p, HANDLE, SIZE_OUT),
    ("qel_result_free", ctypes.c_int, HANDLE),
    ("qel_finding_count", ctypes.c_size_t, HANDLE, ctypes.c_int),
    ("qel_finding_said", ctypes.c_void_p, *FINDING, SIZE_OUT),
    ("qel_error_message", ctypes.c_void_p, HANDLE, SIZE_OUT),
    ("qel_error_free", ctypes.c_int, HANDLE),
    ("qel_status_text", ctypes.c_char_p, ctypes.c_int),
):
    function = getattr(library, name)
    function.restype, function.argtypes = result, arguments


class Refused(Exception):
    """An edit that is not made. Its arguments are the reasons, each with its place."""


def call(function, *arguments):
    """Calls a function whose last argument is the error, and raises that. Returns the status."""
    error = HANDLE()
    status = function(*arguments, error)
    if status not in (OK, REFUSED):
        message = handed_out(library.qel_error_message, error) or library.qel_status_text(status)
        library.qel_error_free(error)
        raise RuntimeError(os.fsdecode(message))
    return status


def handed_out(function, *arguments):
    """A copy of a text that belongs to the library."""
    size = ctypes.c_size_t()
    return ctypes.string_at(function(*arguments, size), size.value)


def rename(config, name, old_name, new_name):
    """The edited configuration; `name` stands for it in messages. All are bytes."""
    request, result = HANDLE(), HANDLE()
    try:
        template = TEMPLATE, len(TEMPLATE), b"name.template", len(b"name.template")
        call(library.qel_request_new, b"nginx", 5, *template, request)
        values = b"name", 4, old_name, len(old_name), new_name, len(new_name)
        call(library.qel_request_set_value, request, *values)
        if call(library.qel_edit, request, config, len(config), name, len(name), result) == OK:
            return handed_out(library.qel_result_text, result)
        count = library.qel_finding_count(result, REFUSALS)
        raise Refused(*(handed_out(library.qel_finding_said, result, REFUSALS, i) for i in range(count)))
    finally:
        library.qel_result_free(result)
        library.qel_request_free(request)


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: rename.py CONFIG OLD_NAME NEW_NAME")
    try:
        with open(sys.argv[1], "rb") as file:
            config = file.read()
        sys.stdout.buffer.write(rename(config, *map(os.fsencode, sys.argv[1:])))
    except Refused as refused:
        for reason in refused.args:
            print(os.fsdecode(reason), file=sys.stderr)
        sys.exit(3)
    except (OSError, RuntimeError) as error:
        sys.exit(f"rename.py: {error}")


if __name__ == "__main__":
    main()
