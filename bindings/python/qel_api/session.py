"""The session with the router's management service: one in a process."""

import ctypes
import threading

from . import _native, lifecycle
from ._call import call, encode_within
from ._closing import Closing
from .cli import Cli
from .errors import ClosedError, NoSessionError, QelError, ResultCode
from .events import EventHandle


class Session(Closing):
    """An open session; `with Session("name") as session:` closes it at the end.

    Starts the library when need be. Opening waits for the service, at most 60 seconds. While it is open, the functions
    of snmp, syslog, queries and provisioning work too: they use the process's session.

    An open session is not garbage: it stays open until it is closed, or until the service hangs up.

    client_name      Told to the service: at most 64 bytes.
    connection_type  0, the local socket. Nothing else is offered.
    """

    def __init__(self, client_name: str, *, connection_type: int = 0) -> None:
        configuration = _native.SessionConfiguration(type=connection_type)
        size = _native.SessionConfiguration.client_name.size + 1  # one that fills its field needs no NUL there
        configuration.client_name = encode_within(client_name, "the client name", size)
        handle = ctypes.c_uint32()
        self._event_handles: list[EventHandle] = []
        self._closed = True
        with lifecycle.lock:
            lifecycle.init()
            call("vela_session_open", ctypes.byref(configuration), ctypes.byref(handle))
            if isinstance(lifecycle.open_session, Session):
                lifecycle.open_session._end()  # the service has hung up on it, or there would be no second one
            lifecycle.open_session = self
            self._closed = False
        self.handle = handle.value
        self._thread = threading.get_ident()

    @property
    def closed(self) -> bool:
        """Whether close() has been called. That the service has hung up, only the next call tells."""
        return self._closed

    def keepalive(self) -> None:
        """Tells the service that the client is still there; nothing else does. Waits for it, at most 60 seconds."""
        self._refuse_closed("vela_session_keepalive")
        call("vela_session_keepalive", self.handle)

    def cli(self) -> Cli:
        """Opens the CLI channel, of which there is one. Waits for the service, at most 60 seconds."""
        self._refuse_closed("vela_cli_open")
        return Cli(self)

    def events(self) -> EventHandle:
        """Takes an event handle. Waits for the service, at most 60 seconds."""
        self._refuse_closed("vela_event_new")
        handle = EventHandle(self)
        self._event_handles.append(handle)
        return handle

    def close(self) -> None:
        """Closes the event handles, the CLI channel and the session, each of which waits for the service, at most 60
        seconds. May be repeated, and is silent when the service has hung up. When the service refuses, the session
        stays open."""
        with lifecycle.lock:
            if self._closed:
                return
            failure = self._close_event_handles()
            try:
                call("vela_session_close", self.handle)
            except NoSessionError:
                failure = None
            self._end()
            if failure is not None:
                raise failure

    def _close_event_handles(self) -> QelError | None:
        """All of them, whatever one meets; the last failure is told. The registered one is first: only after it can
        the others be given back."""
        failure = None
        for handle in sorted(self._event_handles, key=lambda handle: not handle.registered):
            try:
                handle.close()
            except QelError as error:
                failure = error
        return failure

    def _end(self) -> None:
        self._closed = True
        for handle in self._event_handles:
            handle._end()
        self._event_handles.clear()
        if lifecycle.open_session is self:
            lifecycle.open_session = None

    def _forget(self, handle: EventHandle) -> None:
        if handle in self._event_handles:
            self._event_handles.remove(handle)

    def _closed_event_handles(self) -> list[EventHandle]:
        return [handle for handle in self._event_handles if handle.closed]

    def _refuse_closed(self, function: str) -> None:
        if self._closed:
            raise ClosedError(function, ResultCode.NO_SESSION)

    def _opened_here(self) -> bool:
        return threading.get_ident() == self._thread

    def _has_gone(self) -> bool:
        try:
            self.keepalive()
        except (NoSessionError, ClosedError):
            return True
        except QelError:
            pass
        return False

    def __repr__(self) -> str:
        return f"<qel_api.Session {'closed' if self._closed else self.handle}>"
