"""Device queries: what the router tells about itself.

Each is one request by the process's session and waits for the service, at most 60 seconds. The library moves the
values without knowing them, so the records' fields have the names of qel_api.h, and what they mean is the service's
business. A text is a str, bytes are bytes. A number that the reply lacks is 0xFFFFFFFF or -1, unless it is said to be
left alone; here that is 0. Bytes that are as long as the service makes them have NULs behind them, up to 64 bytes; when
there are more, they end with the last one that is not NUL.

A failure is a QelError; a code of the service's own is a ServiceError. When a reply lacks an item nothing is given.
"""

import ctypes
import sys
from collections.abc import Sequence
from dataclasses import dataclass, fields
from typing import Any, TypeVar

from . import _native
from ._call import code_of, decode, encode, encode_optional, unsigned
from .errors import ResultCode, ServiceError, error_for

# The codes that the queries return by themselves. Every other one comes from the service.
_OWN_CODES = (
    ResultCode.ERROR,
    ResultCode.PARAM,
    ResultCode.NULL,
    ResultCode.NO_SESSION,
    ResultCode.ENCODE,
    ResultCode.SHORT_REPLY,
)

_NOT_GIVEN = 0xFFFFFFFF
_MAC_SIZE = 6
_LEAST_BYTES = 64  # of those that are as long as the service makes them


@dataclass(frozen=True)
class Location:
    """The device's location. The bytes item12 are as long as the service makes them."""

    item5: bytes
    item6: bytes
    item7: bytes
    item8: bytes
    item9: bytes
    item10: bytes
    item11: bytes
    item12: bytes


@dataclass(frozen=True)
class Station:
    """One station of the WLAN."""

    item5: int
    item6: str
    item7: int
    item8: int
    item9: str
    item10: str


@dataclass(frozen=True)
class CellularLink:
    """A summary of the cellular link. The number item18 is left alone when the reply lacks it."""

    item5: str
    item6: str
    item7: str
    item8: str
    item9: str
    item10: int
    item11: int
    item12: int
    item13: int
    item14: int
    item15: int
    item16: int
    item17: int
    item18: int


@dataclass(frozen=True)
class Connection:
    """The state of a cellular interface. The bytes item11 are as long as the service makes them."""

    item6: int
    item7: str
    item8: str
    item9: int
    item10: int
    item11: bytes


@dataclass(frozen=True)
class Message:
    """A stored short message."""

    item6: str
    item7: str


@dataclass(frozen=True)
class AccessUser:
    """An access user. All numbers are left alone when the reply lacks them; user_ip repeats oline_time."""

    user_ip: int
    ssid_name: str
    oline_time: int
    upbytes: int
    downbytes: int


@dataclass(frozen=True)
class Calls:
    """Calls in progress: each entry is six numbers as the service defines them."""

    item6: int
    item7: int
    item8: int
    item9: int
    item10: int
    item11: int
    count: int
    entries: tuple[tuple[int, ...], ...]


@dataclass(frozen=True)
class CitaParameters:
    """The parameters of the CITA function."""

    item5: int
    item6: int
    item7: int
    item8: int
    text9: str
    text10: str
    text11: str
    text12: str
    text13: str
    text14: str
    item15: bytes
    item16: bytes
    item17: str
    item18: int
    item19: int
    item20: int
    item21: int
    item22: int
    item23: int
    item24: int
    item25: int


@dataclass(frozen=True)
class CitaConfiguration:
    """The configuration of the CITA function."""

    item5: bytes
    item6: bytes
    item7: bytes
    item8: bytes
    item9: bytes
    item10: bytes
    item11: bytes
    item12: bytes
    item13: int
    item14: int
    item15: int
    item16: int
    item17: int
    item18: int
    item19: int
    item20: int


def serial_number() -> str:
    """The serial number; empty when the reply lacks it."""
    esn = ctypes.create_string_buffer(_native.ESN_SIZE)
    _ask("vela_dev_get_esn", esn)
    return decode(esn.value)


def access_status() -> int:
    """The access status; 0xFFFFFFFF when the reply lacks it."""
    status = ctypes.c_uint32(_NOT_GIVEN)
    _ask("vela_dev_get_acc_status", ctypes.byref(status))
    return status.value


def backup_configuration() -> int:
    """Has the device back its configuration up, and gives the outcome; -1 when the reply lacks it."""
    outcome = ctypes.c_int32(-1)
    _ask("vela_dev_backup_cfg", ctypes.byref(outcome))
    return outcome.value


def location() -> Location:
    """The device's location."""
    return _record("vela_gps_GetLocation", _native.GpsLocation, Location)


def station() -> Station:
    """One station of the WLAN."""
    return _record("vela_wlan_GetStationInfo", _native.WlanStation, Station)


def cellular_link() -> CellularLink:
    """A summary of the cellular link."""
    return _record("vela_arp_get_lte", _native.LteBrief, CellularLink)


def connection(interface: str | None = None) -> Connection:
    """The state of a cellular interface, Cellular0/0/0 by default."""
    name = encode_optional(interface, "the interface")
    return _record("vela_cellular_GetInfo", _native.LteConnection, Connection, name)


def message(index: int) -> Message:
    """A stored short message."""
    return _record("vela_get_sms_info", _native.LteSms, Message, unsigned(index, "the index"))


def hardware_address(ip: str) -> bytes:
    """The hardware address, 6 bytes, that the ARP table holds for an IP address."""
    mac = (ctypes.c_uint8 * _MAC_SIZE)()
    _ask("vela_arp_get_mac_by_ip", encode(ip, "the address"), mac)
    return bytes(mac)


def access_user(mac: bytes) -> AccessUser:
    """The access user with a hardware address, 6 bytes. On success the library also prints the fields to standard
    output, a line each; they come behind what the program has printed before."""
    if len(mac) != _MAC_SIZE:
        raise ValueError(f"a hardware address has {_MAC_SIZE} bytes, not {len(mac)}")
    if sys.stdout is not None:
        sys.stdout.flush()
    address = (ctypes.c_uint8 * _MAC_SIZE).from_buffer_copy(mac)
    user = _record("vela_nac_get_access_by_mac", _native.AccessUserBrief, AccessUser, address)
    ctypes.CDLL(None).fflush(None)
    return user


def calls() -> Calls:
    """The calls in progress, 8 at most: when there are more, or an entry is missing, the query fails."""
    return _record("vela_voice_get_call_info", _native.VoiceCalls, Calls)


def set_sip_accounts(accounts: Sequence[bytes]) -> None:
    """Stores SIP accounts, at most 107, each of at most 66 bytes; NULs fill up a shorter one. When the service does not
    store them, its outcome is the ServiceError's code."""
    size = _native.SIP_ACCOUNT_SIZE
    for account in accounts:
        if len(account) > size:
            raise ValueError(f"an account has at most {size} bytes, not {len(account)}")
    header = bytes(_native.VoiceSipAccounts(count=len(accounts)))[: _native.VoiceSipAccounts.accounts.offset]
    stored = header + b"".join(account.ljust(size, b"\0") for account in accounts)
    _ask("vela_voice_set_sip_account", ctypes.create_string_buffer(stored))


def sip_accounts() -> list[bytes]:
    """The SIP accounts, 66 bytes each, 10 at most: when there are more, or one is missing, the query fails."""
    record = _native.VoiceSipAccounts()
    _ask("vela_voice_get_sip_account", ctypes.byref(record))
    return [bytes(account) for account in record.accounts[: record.count]]


def cita_parameters() -> CitaParameters:
    """The parameters of the CITA function."""
    return _record("vela_voice_get_cita_param", _native.VoiceCitaParameters, CitaParameters)


def cita_configuration() -> CitaConfiguration:
    """The configuration of the CITA function."""
    return _record("vela_voice_get_cita_config_info", _native.VoiceCitaConfiguration, CitaConfiguration)


# How all of them are asked


def _ask(function: str, *arguments: Any) -> None:
    code = code_of(function, *arguments)
    if code == ResultCode.OK:
        return
    raise error_for(function, code) if code in _OWN_CODES else ServiceError(function, code)


_Result = TypeVar("_Result")


def _record(function: str, record_type: type[ctypes.Structure], result: type[_Result], *arguments: Any) -> _Result:
    """Asks for a record and gives those of its fields that the result has; of an array, the entries that count."""
    record = record_type()
    _ask(function, *arguments, ctypes.byref(record))
    values = {field.name: _plain(getattr(record, field.name)) for field in fields(result)}
    if "entries" in values:
        values["entries"] = values["entries"][: values["count"]]
    return result(**values)


def _plain(value: Any) -> Any:
    if isinstance(value, bytes):
        return decode(value)
    if not isinstance(value, ctypes.Array):
        return value
    if value._type_ is not ctypes.c_uint8:
        return tuple(tuple(entry) for entry in value)
    # How long the item was is not told. Of the NULs that the field was cleared with, no more are given than the least.
    sent = bytes(value)
    return sent[: max(len(sent.rstrip(b"\0")), _LEAST_BYTES)]
