"""Events: interfaces that go up or down, routes that come and go, lines of the router's log.

Take a handle from Session.events(), add subscriptions to it, each under a tag of your own, and register one callback.
Callbacks run on a thread of the library's, one at a time, in the order in which the service sent the events. While one
runs, the next event that arrives stops all reading from the service: let callbacks return soon, and ask the library
from other threads. `register(queue.SimpleQueue().put)` does just that. An exception in a callback is reported through
sys.unraisablehook, and the next event is delivered all the same.
"""

import ctypes
import enum
import functools
from collections.abc import Callable
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from . import _native, lifecycle
from ._call import call, code_of, decode, encode, encode_within, unsigned
from ._closing import Closing
from .errors import ClosedError, QelError, ResultCode

if TYPE_CHECKING:
    from .session import Session


class EventKind(enum.IntEnum):
    """What an event tells of."""

    ICLOG = 0
    IFSTATE = 2
    ROUTE = 3


@dataclass(frozen=True)
class Event:
    """One event.

    session  The session id in the event's header: the low 16 bits of the session handle.
    tag      The tag under which it was subscribed.
    kind     What it tells of.
    content  The event as a text, or None when it has none.
    """

    session: int
    tag: str
    kind: EventKind
    content: str | None


# What to subscribe to. What the service makes of each value is its own business.


@dataclass(frozen=True)
class IclogFilter:
    """Lines of the information centre's log.

    text        What the service compares with: at most 63 bytes.
    level       The level; with 8, any level, the texts must narrow the subscription down.
    info_alias  The record's alias: at most 63 bytes; with level 8 and no other text at least 4 characters.
    loginfo     A piece of the record; with level 8 and no other text at least 10 characters.
    """

    text: str = ""
    level: int = 7
    info_alias: str = ""
    loginfo: str = ""

    kind = EventKind.ICLOG

    def record(self) -> "ctypes.Array[ctypes.c_char]":
        record = _native.IclogParameters(level=unsigned(self.level, "level"))
        record.text = encode_within(self.text, "text", _native.IclogParameters.text.size)
        record.infoAlias = encode_within(self.info_alias, "info_alias", _native.IclogParameters.infoAlias.size)
        return _with_last_text(record, _native.IclogParameters.loginfo, encode(self.loginfo, "loginfo"))


@dataclass(frozen=True)
class IfstateFilter:
    """The state of interfaces.

    text              The interface: at most 63 bytes.
    number1, number2  As the service defines them.
    """

    text: str = ""
    number1: int = 0
    number2: int = 0

    kind = EventKind.IFSTATE

    def record(self) -> _native.IfstateParameters:
        record = _native.IfstateParameters()
        record.text = encode_within(self.text, "text", _native.IfstateParameters.text.size)
        record.number1 = unsigned(self.number1, "number1")
        record.number2 = unsigned(self.number2, "number2")
        return record


@dataclass(frozen=True)
class RouteFilter:
    """Routes.

    text1  At most 15 bytes.
    text2  At most 7 bytes.
    """

    text1: str = ""
    number: int = 0
    text2: str = ""
    text3: str = ""

    kind = EventKind.ROUTE

    def record(self) -> "ctypes.Array[ctypes.c_char]":
        record = _native.RouteParameters(number=unsigned(self.number, "number"))
        record.text1 = encode_within(self.text1, "text1", _native.RouteParameters.text1.size)
        record.text2 = encode_within(self.text2, "text2", _native.RouteParameters.text2.size)
        return _with_last_text(record, _native.RouteParameters.text3, encode(self.text3, "text3"))


Filter = IclogFilter | IfstateFilter | RouteFilter


def _with_last_text(record: ctypes.Structure, field: Any, text: bytes) -> "ctypes.Array[ctypes.c_char]":
    """The record's bytes with its last text, which may be longer than its field."""
    return ctypes.create_string_buffer(bytes(record)[: field.offset] + text.ljust(field.size, b"\0"))


# Delivery. The library may still call an entry point after its handle was freed. So there is one for each handle's
# number, made once and kept for ever; what it finds is looked up when it is called.

_receivers: "dict[int, EventHandle]" = {}
_entry_points: dict[int, Any] = {}


def _entry_point(number: int) -> Any:
    if number not in _entry_points:
        _entry_points[number] = _native.EventCallback(functools.partial(_deliver, number))
    return _entry_points[number]


def _deliver(number: int, session: int, tag: bytes, kind: int, content: int | None, unused: int) -> None:
    receiver = _receivers.get(number)
    if receiver is not None:
        text = None if content is None else decode(ctypes.string_at(content))
        receiver._receive(session, decode(tag), kind, text)


# The events that are left at exit are not worth waiting for.
lifecycle.before_exit.append(_receivers.clear)


class EventHandle(Closing):
    """An event handle, from Session.events(): one of 16 in a process.

    It stays registered until it or its session is closed, or the service hangs up, whether or not anything refers to
    it. It need not be closed by the thread that registered it.
    """

    def __init__(self, session: "Session") -> None:
        handle = ctypes.c_uint32()
        call("vela_event_new", ctypes.byref(handle))
        self.handle = handle.value
        self._session = session
        self._kinds: dict[str, EventKind] = {}
        self._callback: Callable[[Event], object] | None = None
        self._closed = False

    @property
    def closed(self) -> bool:
        """Whether the handle, or its session, has been closed."""
        return self._closed

    @property
    def registered(self) -> bool:
        """Whether events are delivered."""
        return self._callback is not None and not self._closed

    def add(self, tag: str, what: Filter) -> None:
        """Subscribes to events under a tag. Waits for the service, at most 60 seconds.

        tag  Not empty, and not a piece of the handle's tags joined by " or ". When these are longer than 256 characters
             a further tag is subscribed, but nothing is delivered under it.

        Only before register(): the service would not learn that a later one belongs to the handle.
        """
        self._refuse_closed("vela_event_add")
        if self.registered:
            raise RuntimeError("qel_api: subscriptions are added before the callback is registered")
        record = what.record()
        call("vela_event_add", self.handle, what.kind, encode(tag, "the tag"), ctypes.byref(record))
        self._kinds[tag] = what.kind

    def register(self, callback: Callable[[Event], object]) -> None:
        """Registers the callback: events are delivered from now on. Waits for the service, at most 60 seconds for each
        of two requests. Only in the thread that opened the session, by whose name the service knows this client, and
        for one handle at a time."""
        self._refuse_closed("vela_event_reg")
        if self.registered:
            raise RuntimeError("qel_api: the handle has a callback already")
        if not self._session._opened_here():
            raise RuntimeError("qel_api: events are registered in the thread that opened the session")
        if _receivers:  # the library would refuse too, but only after the service has forgotten the other one's tags
            raise RuntimeError("qel_api: another handle has a callback; one can have one at a time")
        self._callback = callback
        _receivers[self.handle] = self
        try:
            call("vela_event_reg", self.handle, _entry_point(self.handle))
        except BaseException:
            self._stop()
            raise

    def close(self) -> None:
        """Gives the handle back: the callback is not called for any further event, but a call in progress goes on.
        Waits for the service, at most 60 seconds for each of up to three requests. May be repeated, and is silent when
        the session has gone. When the service refuses, the handle stays as it is.

        The library takes back only what has been registered, and only one can be: while another handle is registered,
        one that is not stays taken, and is given back when that one is closed."""
        if self._closed:
            return
        if _receivers and not self.registered:
            self._end()
            return
        self._give_back()
        for left in self._session._closed_event_handles():
            left._give_back()

    def _give_back(self) -> None:
        if not self.registered:
            # It may be registered though register() failed, at its last step; whether it can be freed tells.
            code_of("vela_event_reg", self.handle, _entry_point(self.handle))
        try:
            call("vela_event_free", self.handle)
        except QelError:
            if not self._session._has_gone():
                raise
        self._end()
        self._session._forget(self)

    def _receive(self, session: int, tag: str, kind: int, content: str | None) -> None:
        # The library forgets the kinds of all tags when any handle is freed; this handle has not forgotten its own.
        callback = self._callback
        if callback is not None:
            callback(Event(session, tag, self._kinds.get(tag, EventKind(kind)), content))

    def _stop(self) -> None:
        self._callback = None
        if _receivers.get(self.handle) is self:
            del _receivers[self.handle]

    def _end(self) -> None:
        self._closed = True
        self._stop()

    def _refuse_closed(self, function: str) -> None:
        if self._closed:
            raise ClosedError(function, ResultCode.ERROR)

    def __repr__(self) -> str:
        return f"<qel_api.EventHandle {'closed' if self._closed else self.handle}>"
