"""Programs on a Quor router talk to the router's own management service.

    import qel_api

    with qel_api.Session("name") as session:
        with session.cli() as cli:
            print(cli.execute("display version"))

A module for each area: session and lifecycle, cli, events, snmp, syslog, queries, provisioning; errors has the result
codes and the exceptions. docs/python.md is a tour.

Blocking. What waits for the service says so: at most 60 seconds for each request, and up to 60 more before that while
the service takes no bytes. Other Python threads run meanwhile. Any thread may call anything; one request is on its way
at a time, the others wait their turn. A signal that Python handles ends the wait of the main thread: the call fails
although the request was sent, and after Ctrl-C KeyboardInterrupt is raised.

Errors. What fails raises a QelError, with .code and .function. What the library could not be asked is a ValueError or a
TypeError: a text with a NUL in it or too long for its field, a number that is too large.

Texts are sent in UTF-8. What the router prints need not be UTF-8: other bytes become lone surrogates
(errors="surrogateescape"), and become bytes again when they are sent back.

Processes. One process has one session. A process made by fork, as by multiprocessing's start method of that name,
cannot use the library: calls raise RuntimeError there.

The library is the file that the environment variable QEL_API_LIBRARY names, or else libqel_api.so.2.
"""

from . import cli, errors, events, lifecycle, provisioning, queries, session, snmp, syslog
from .cli import Cli
from .errors import (
    ClosedError,
    CommandError,
    NoSessionError,
    NotStartedError,
    ParameterError,
    QelError,
    ResultCode,
    ServiceError,
    SessionOpenError,
)
from .events import Event, EventHandle, EventKind, IclogFilter, IfstateFilter, RouteFilter
from .lifecycle import init, release, version
from .provisioning import CellularAuthMode
from .session import Session
from .snmp import SnmpObject

__version__ = "1.5.70"

__all__ = [
    "CellularAuthMode",
    "Cli",
    "ClosedError",
    "CommandError",
    "Event",
    "EventHandle",
    "EventKind",
    "IclogFilter",
    "IfstateFilter",
    "NoSessionError",
    "NotStartedError",
    "ParameterError",
    "QelError",
    "ResultCode",
    "RouteFilter",
    "ServiceError",
    "Session",
    "SessionOpenError",
    "SnmpObject",
    "cli",
    "errors",
    "events",
    "init",
    "lifecycle",
    "provisioning",
    "queries",
    "release",
    "session",
    "snmp",
    "syslog",
    "version",
]
