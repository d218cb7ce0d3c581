"""Starting and stopping the library, and its version.

A Session starts the library by itself, and it is stopped when the interpreter ends. A program that wants to do either
at a time of its own calls init() and release().
"""

import atexit
import ctypes
import os
import threading
import time
from collections.abc import Callable
from typing import Protocol

from . import _native
from ._call import call, decode

_END_SECONDS = 10.0  # how long release() waits for the library's threads


class _Closable(Protocol):
    def close(self) -> None: ...


# Starting, stopping, opening and closing happen one at a time. Reentrant: stopping closes.
lock = threading.RLock()
# The process's session. It is kept here until it is closed, so the garbage collector never closes one.
open_session: _Closable | None = None

_started = False
_process = 0
_threads: set[str] = set()


def version() -> str:
    """The library's version. Returns at once, and works at any time."""
    text = ctypes.create_string_buffer(_native.VERSION_SIZE)
    call("vela_version", text)
    return decode(text.value)


def init() -> None:
    """Starts the library; does nothing when it is started already. Does not wait for the service."""
    global _started, _process
    with lock:
        if _started:
            return
        before = _tasks()
        call("vela_init")
        _threads.update(_tasks() - before - {str(thread.native_id) for thread in threading.enumerate()})
        _started = True
        _process = os.getpid()


def release() -> None:
    """Stops the library; does nothing when it is not started.

    An open session is closed first, which waits for the service as Session.close() does. Then the library's threads are
    asked to end, and waited for, 10 seconds at most: after that no callback runs any more. Not for callbacks to call.
    """
    with lock:
        if not _started:
            return
        if open_session is not None:
            open_session.close()
        _stop()


def _stop() -> None:
    global _started
    call("vela_release")
    _started = False
    _wait_for_threads()


def _tasks() -> set[str]:
    # A listing may leave out a thread that runs, when another one ends meanwhile.
    return {task for _ in range(3) for task in os.listdir("/proc/self/task")}


def _runs(task: str) -> bool:
    return os.path.exists(f"/proc/self/task/{task}")


def _wait_for_threads() -> None:
    # They are detached: that their entries vanish is the only thing that tells.
    limit = time.monotonic() + _END_SECONDS
    while any(map(_runs, tuple(_threads))) and time.monotonic() < limit:
        time.sleep(0.001)
    _threads.clear()


# What is to be let go of before the library is stopped at exit.
before_exit: list[Callable[[], None]] = []


def _stop_at_exit() -> None:
    # A callback must not find the interpreter gone. The session is not closed here: its end would be waited for.
    if _started and _process == os.getpid():
        for let_go in before_exit:
            let_go()
        _stop()


atexit.register(_stop_at_exit)
