"""SNMP reads. They use the process's session, and each waits for the service, at most 60 seconds."""

from collections.abc import Iterator
from typing import NamedTuple

from ._call import OwnedText, call, encode
from .errors import QelError, ResultCode


class SnmpObject(NamedTuple):
    """An object's OID, and its value as a text."""

    oid: str
    value: str


def get(oid: str) -> str:
    """Reads one object's value. QelError when there is no such object, too."""
    with OwnedText() as value:
        call("vela_snmp_get", encode(oid, "the OID"), value.out)
        return value.text or ""


def get_next(oid: str) -> SnmpObject:
    """Reads the object that follows an OID. QelError when none follows, too."""
    with OwnedText() as next_oid, OwnedText() as value:
        call("vela_snmp_get_next", encode(oid, "the OID"), next_oid.out, value.out)
        return SnmpObject(next_oid.text or "", value.text or "")


def walk(root: str = "1.3.6.1.2.1") -> Iterator[SnmpObject]:
    """Reads the objects below an OID, one request each, until one lies beyond it or there are no more.

    The library tells the end of all objects like any refusal: when the service then still answers a keepalive, it is
    taken for the end.
    """
    root = oid = root.removeprefix(".")
    while True:
        try:
            found = get_next(oid)
        except QelError as error:
            if error.code == ResultCode.ERROR and _service_answers():
                return
            raise
        if not found.oid.startswith(root + "."):
            return
        if found.oid == oid:  # it would never end
            raise QelError("vela_snmp_get_next", ResultCode.ERROR)
        yield found
        oid = found.oid


def _service_answers() -> bool:
    try:
        call("vela_session_keepalive", 0)
    except QelError:
        return False
    return True
