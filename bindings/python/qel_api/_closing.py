"""What is opened and closed: a `with` block closes it."""

from types import TracebackType
from typing import Self

from .errors import QelError


class Closing:
    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        try:
            self.close()
        except QelError:
            if error is None:  # else what went wrong first is what the caller wants to know
                raise
