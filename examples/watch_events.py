#!/usr/bin/env python3
"""Shows what happens on the router as it happens, until Ctrl-C: interfaces, routes, and lines of its log.

    watch_events.py [INTERFACE [SECONDS]]

INTERFACE is a piece of the names of the interfaces to tell of, all by default; SECONDS is how often the program tells
the router that it is still there, 10 by default. Status 0 when it was ended by SIGINT or SIGTERM, 1 when anything
failed or the router hung up, 2 for wrong usage.

Events arrive on a thread of the library's, which calls print_event; the main thread waits for signals. A signal that
Python handles would end a request in progress, so they are blocked and waited for.
"""

import signal
import sys

import qel_api
from qel_api import EventKind, IclogFilter, IfstateFilter, RouteFilter

ENDS = {signal.SIGINT, signal.SIGTERM}
NAMES = {EventKind.IFSTATE: "ifstate", EventKind.ROUTE: "route", EventKind.ICLOG: "log"}
LONGEST_INTERFACE = 63


def print_event(event: qel_api.Event) -> None:
    """It returns soon: the next event waits for it."""
    print(f"{NAMES[event.kind]:<10}{event.content or ''}")


def wait_for_end(session: qel_api.Session, seconds: int) -> None:
    """The library does not tell when the router hangs up, but the next call does."""
    while signal.sigtimedwait(ENDS, seconds) is None:
        session.keepalive()


def main(interface: str, seconds: int) -> None:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    # Before there are other threads, so that all of them leave the signals to this one.
    signal.pthread_sigmask(signal.SIG_BLOCK, ENDS)
    with qel_api.Session("watch_events") as session, session.events() as events:
        # Tags are the program's own; none may be a piece of another.
        events.add("interfaces", IfstateFilter(interface))  # any state, any cause
        events.add("routes", RouteFilter())  # every route
        events.add("lines", IclogFilter(level=7))  # every level, and nothing else to match
        # From the thread that opened the session: the router knows the program by that thread's name.
        events.register(print_event)
        print("Watching. Ctrl-C ends.")
        wait_for_end(session, seconds)
    print("Ended.")


if __name__ == "__main__":
    interface = sys.argv[1] if len(sys.argv) > 1 else ""
    seconds = sys.argv[2] if len(sys.argv) > 2 else "10"
    if len(sys.argv) > 3 or not seconds.isdecimal() or int(seconds) < 1 or len(interface.encode()) > LONGEST_INTERFACE:
        print(f"usage: {sys.argv[0]} [INTERFACE [SECONDS]]", file=sys.stderr)
        sys.exit(2)
    try:
        main(interface, int(seconds))
    except qel_api.QelError as error:
        sys.exit(f"watch_events: {error.function} failed with {error.code:d}")
