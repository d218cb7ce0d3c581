"""What the tests share: a session, the router's control channel, programs that are run, texts that are counted."""

import contextlib
import json
import os
import pathlib
import queue
import socket
import subprocess
import sys
import unittest

import qel_api
from qel_api import _native

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PATIENCE = 120  # seconds; longer than anything takes on a busy machine


class SessionTest(unittest.TestCase):
    """Each test has an open session, which is closed at its end."""

    def setUp(self):
        self.session = qel_api.Session("test")
        self.addCleanup(self.session.close)


def control(line):
    """Has the router's control channel carry out a command, and gives its answer."""
    with socket.socket(socket.AF_UNIX) as channel:
        channel.settimeout(PATIENCE)
        channel.connect(os.environ["QEL_SIM_CONTROL"])
        channel.sendall(line.encode() + b"\n")
        answer = json.loads(channel.makefile().readline())
    assert answer["ok"], f"{line}: {answer}"
    return answer


def hang_up(session):
    """Has the router hang up, and waits until the library knows, which it learns on a thread of its own."""
    control("hang-up")
    while True:
        try:
            session.keepalive()
        except qel_api.NoSessionError:
            return
        except qel_api.QelError:
            continue


def tasks():
    """The threads of this process. One listing may leave out one that runs, when another one ends meanwhile."""
    return {task for _ in range(3) for task in os.listdir("/proc/self/task")}


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)


def run_python(script, *arguments):
    """Runs a script beside this router."""
    return run(sys.executable, "-W", "error", "-c", script, *arguments)


class Inbox(queue.SimpleQueue):
    """Where events are waited for."""

    def next(self):
        return self.get(timeout=PATIENCE)


@contextlib.contextmanager
def counted_texts():
    """Counts the texts that are handed out and given back in the block."""
    given_back = []
    real = _native.library.vela_free

    def vela_free(block):
        if block.value is not None:
            given_back.append(block.value)
        return real(block)

    _native.library.vela_free = vela_free
    try:
        yield given_back
    finally:
        _native.library.vela_free = real
