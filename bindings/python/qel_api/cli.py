"""The CLI channel: router commands, as an operator would type them."""

import ctypes
from collections.abc import Iterable, Mapping
from typing import TYPE_CHECKING

from ._call import OwnedText, call, code_of, encode
from ._closing import Closing
from .errors import ClosedError, CommandError, NoSessionError, ResultCode, error_for

if TYPE_CHECKING:
    from .session import Session

Choices = Mapping[str, str] | Iterable[tuple[str, str]]


def choice_text(choices: Choices | None) -> bytes | None:
    """Answers to prompts as the library takes them: pairs of quoted texts."""
    if choices is None:
        return None
    pairs = choices.items() if isinstance(choices, Mapping) else choices
    return b",".join(_quoted(prompt) + b":" + _quoted(answer) for prompt, answer in pairs)


def _quoted(text: str) -> bytes:
    encoded = encode(text, "a choice")
    if b'"' in encoded:
        raise ValueError(f"a choice cannot hold a quote: {text!r}")
    return b'"' + encoded + b'"'


def save() -> None:
    """Saves the router's running configuration, answering its prompt, on the open channel or on one of its own. When
    that fails on a channel of its own, the channel stays open until the session is closed. Waits for the service, at
    most 60 seconds for each of up to three requests."""
    call("vela_cli_save")


class Cli(Closing):
    """The open CLI channel, from Session.cli(). It is meant for one thread at a time."""

    def __init__(self, session: "Session") -> None:
        handle = ctypes.c_uint32()
        call("vela_cli_open", ctypes.byref(handle))
        self.handle = handle.value
        self._session = session
        self._closed = False

    @property
    def closed(self) -> bool:
        """Whether the channel, or its session, has been closed."""
        return self._closed or self._session.closed

    def execute(self, command: str, choices: Choices | None = None) -> str:
        """Runs one command and gives what the router printed. Waits for the service, at most 60 seconds.

        choices  The answers to the prompts that the command may raise: pairs of a piece of the prompt and the answer,
                 as a mapping or an iterable. They go to the router last pair first. None may hold a quote.

        A command that the router rejects, or does not answer, raises CommandError, with the output.
        """
        self._refuse_closed("vela_cli_execute")
        line, answers = encode(command, "the command"), choice_text(choices)
        with OwnedText() as result:
            code = code_of("vela_cli_execute", self.handle, line, answers, result.out)
            output = result.text or ""
        if code == ResultCode.ERROR:
            raise CommandError("vela_cli_execute", code, command, output)
        if code != ResultCode.OK:
            raise error_for("vela_cli_execute", code)
        return output

    def save(self) -> None:
        """Saves the router's running configuration, answering its prompt. Waits for the service, at most 60 seconds."""
        self._refuse_closed("vela_cli_save")
        save()

    def close(self) -> None:
        """Closes the channel. Waits for the service, at most 60 seconds. May be repeated, and is silent when the
        session has gone. When the service refuses, the channel stays open."""
        if self.closed:
            return
        try:
            call("vela_cli_close", self.handle)
        except NoSessionError:
            pass
        self._closed = True

    def _refuse_closed(self, function: str) -> None:
        if self.closed:
            raise ClosedError(function, ResultCode.ERROR)

    def __repr__(self) -> str:
        return f"<qel_api.Cli {'closed' if self.closed else self.handle}>"
