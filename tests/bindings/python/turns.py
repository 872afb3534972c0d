# SPDX-License-Identifier: Apache-2.0

"""Whether other threads of Python run while the library works."""

import sys
import threading
import time


def others_run_during(work):
    """Whether another one does, in one of many calls of `work`. With a switch interval of hours only
    who gives the GIL away lets it run."""
    turns = []
    working = threading.Event()

    def take_turn():
        working.wait()
        turns.append("ran")

    other = threading.Thread(target=take_turn)
    other.start()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(3600)
    try:
        working.set()
        deadline = time.monotonic() + 60
        while not turns and time.monotonic() < deadline:
            work()
        return bool(turns)
    finally:
        sys.setswitchinterval(interval)
        other.join()
