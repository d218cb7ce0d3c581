"""Result codes, and the one hierarchy of exceptions that they become.

Every failed call raises QelError or one of its subclasses. Each failure also leaves a record in the system log that
tells more.
"""

import enum


class ResultCode(enum.IntEnum):
    """What the library's functions return."""

    OK = 0
    ERROR = 1
    PARAM = 2
    NOT_INIT = 3
    NULL = 4
    TIMEOUT = 7
    TYPE = 11
    MEMORY = 12
    NO_SESSION = 14
    ENCODE = 15
    SESSION_OPEN = 16
    SHORT_REPLY = 17
    LOG_LIBRARY = 20
    THREAD = 22
    LENGTH = 23


_MEANINGS = {
    ResultCode.OK: "done",
    ResultCode.ERROR: "refused, not sent or not answered",
    ResultCode.PARAM: "an argument is not valid",
    ResultCode.NOT_INIT: "the library is not started",
    ResultCode.NULL: "a required argument is missing",
    ResultCode.TIMEOUT: "no reply within 60 seconds",
    ResultCode.TYPE: "the connection type is not offered",
    ResultCode.MEMORY: "no memory",
    ResultCode.NO_SESSION: "no session is open",
    ResultCode.ENCODE: "the request could not be built",
    ResultCode.SESSION_OPEN: "a session is open already",
    ResultCode.SHORT_REPLY: "the reply lacks an item",
    ResultCode.LOG_LIBRARY: "the log library did not start",
    ResultCode.THREAD: "a thread could not be started",
    ResultCode.LENGTH: "a reply of impossible length",
}


def _named(code: int) -> ResultCode | int:
    try:
        return ResultCode(code)
    except ValueError:
        return code


class QelError(Exception):
    """A call of the library failed.

    function  The C function's name.
    code      What it returned: a ResultCode, or a plain int where the library passes on a code that is not its own.
    """

    def __init__(self, function: str, code: int) -> None:
        super().__init__(function, code)
        self.function = function
        self.code = _named(code)

    def __str__(self) -> str:
        return f"{self.function} failed with {int(self.code)}: {self._explanation()}"

    def _explanation(self) -> str:
        return _MEANINGS[self.code] if isinstance(self.code, ResultCode) else "a code of the service's own"


class ParameterError(QelError):
    """The library refused an argument; nothing was sent, unless the function says otherwise."""


class NotStartedError(QelError):
    """The library is not started, or was stopped in between."""


class NoSessionError(QelError):
    """No session is open: none was opened, it was closed, or the service has hung up."""


class SessionOpenError(QelError):
    """A session is open already; a process has one."""


class ClosedError(QelError):
    """The object was closed before; the library was not asked."""

    def _explanation(self) -> str:
        return "closed"


class ServiceError(QelError):
    """The service refused a device query with a code of its own, which is the exception's code, a plain int."""

    def __init__(self, function: str, code: int) -> None:
        super().__init__(function, code)
        self.code = code

    def _explanation(self) -> str:
        return "the service's own code"


class CommandError(QelError):
    """A router command was rejected, or not answered.

    command  The command line.
    output   What the router printed, its error message as a rule; empty when there is none.
    """

    def __init__(self, function: str, code: int, command: str, output: str) -> None:
        super().__init__(function, code)
        self.args = (function, code, command, output)
        self.command = command
        self.output = output

    def _explanation(self) -> str:
        return f"{self.command!r} was rejected, not sent or not answered"


_CLASSES: dict[int, type[QelError]] = {
    ResultCode.PARAM: ParameterError,
    ResultCode.NULL: ParameterError,
    ResultCode.NOT_INIT: NotStartedError,
    ResultCode.NO_SESSION: NoSessionError,
    ResultCode.SESSION_OPEN: SessionOpenError,
}


def error_for(function: str, code: int) -> QelError:
    """The exception that stands for a result code."""
    return _CLASSES.get(code, QelError)(function, code)
