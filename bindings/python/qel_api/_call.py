"""How the other modules call the library: result codes become exceptions, texts go in checked and come out freed."""

import ctypes
import os
from types import TracebackType
from typing import Any, Self

from . import _native
from .errors import ResultCode, error_for

_forked = False


def _note_fork() -> None:
    global _forked
    _forked = True


os.register_at_fork(after_in_child=_note_fork)


def refuse_after_fork() -> None:
    """A child made by fork has none of the library's threads, and its parent's session: no call may reach it."""
    if _forked:
        raise RuntimeError("qel_api: the library cannot be used in a process made by fork; use spawn, or a subprocess")


def code_of(name: str, *arguments: Any) -> int:
    """Calls a function and gives its result code."""
    refuse_after_fork()
    return int(getattr(_native.library, name)(*arguments))


def call(name: str, *arguments: Any) -> None:
    """Calls a function; a result code other than OK is raised."""
    code = code_of(name, *arguments)
    if code != ResultCode.OK:
        raise error_for(name, code)


def encode(text: str, what: str) -> bytes:
    """A text as C has it, in UTF-8; bytes that came out of decode() are themselves again."""
    if not isinstance(text, str):
        raise TypeError(f"{what} is a str, not {type(text).__name__}")
    encoded = text.encode("utf-8", "surrogateescape")
    if b"\0" in encoded:
        raise ValueError(f"{what} has a NUL in it")
    return encoded


def encode_optional(text: str | None, what: str) -> bytes | None:
    return None if text is None else encode(text, what)


def encode_within(text: str, what: str, size: int) -> bytes:
    """A text for a field of size bytes, the NUL at its end included."""
    encoded = encode(text, what)
    if len(encoded) >= size:
        raise ValueError(f"{what} takes {size - 1} bytes at most, not {len(encoded)}")
    return encoded


def decode(encoded: bytes) -> str:
    """A text of the router's. Bytes that are no UTF-8 become lone surrogates, so that nothing is lost."""
    return encoded.decode("utf-8", "surrogateescape")


def unsigned(value: int, what: str) -> int:
    """A number of 32 bits: ctypes would cut a larger one."""
    if not 0 <= value <= 0xFFFFFFFF:
        raise ValueError(f"{what} is a number from 0 to 4294967295, not {value}")
    return value


class OwnedText:
    """Where the library puts a text that it hands out; what was put there is given back when the block is left."""

    def __init__(self) -> None:
        self._pointer = ctypes.c_char_p()

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        pointer, self._pointer = self._pointer, ctypes.c_char_p()
        _native.library.vela_free(pointer)

    @property
    def out(self) -> Any:
        """The argument for the call."""
        return ctypes.byref(self._pointer)

    @property
    def text(self) -> str | None:
        """The text; None when there is none."""
        value = self._pointer.value
        return None if value is None else decode(value)
