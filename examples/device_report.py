#!/usr/bin/env python3
"""Prints every fact that the device tells, and has it back its configuration up.

    device_report.py [IP-ADDRESS]

The address, 192.168.1.10 when none is given, is looked up in the ARP table and among the access users. A fact that
cannot be had is told on standard error and does not hold up the others. Status 0 when all of them were printed.

The library moves these values without knowing them. The labels are those of the simulated router, docs/facts.md; on
another device the same fields may hold something else.
"""

import functools
import struct
import sys
from collections.abc import Callable, Iterable

import qel_api
from qel_api import queries


def line(label: str, text: str) -> None:
    print(f"{label:<16}{text}")


def failed(error: qel_api.QelError) -> None:
    print(f"device_report: {error.function} failed with {error.code:d}", file=sys.stderr)


# The fields that are bytes or of another sign to the library.


def number(value: bytes) -> int:
    return int.from_bytes(value[:4], sys.byteorder)


def signed(value: int) -> int:
    return value - (1 << 32) if value >= 1 << 31 else value


def real(value: bytes) -> float:
    (result,) = struct.unpack("=d", value)
    return float(result)


def text(value: bytes) -> str:
    return value.partition(b"\0")[0].decode(errors="surrogateescape")


def numbers(values: Iterable[int]) -> str:
    return " ".join(str(value) for value in values)


# The facts, in the order of qel_api.h.


def print_serial_number() -> None:
    line("serial number", queries.serial_number())


def print_access_status() -> None:
    line("access status", str(queries.access_status()))


def print_backup() -> None:
    line("backup", f"outcome {queries.backup_configuration()}")


def print_location() -> None:
    info = queries.location()
    line("location", f"{real(info.item7):.6f}, {real(info.item8):.6f}, {real(info.item9):.1f} m high")
    line(
        "",
        f"fix {number(info.item5)}, satellites {number(info.item6)}, speed {number(info.item10)}, "
        f"course {number(info.item11)}, {text(info.item12)}",
    )


def print_station() -> None:
    info = queries.station()
    line("station", f"{info.item10}, {info.item9}, on {info.item6}")
    line("", f"channel {info.item5}, signal {signed(info.item7)}, {info.item8} s")


def print_cellular_link() -> None:
    info = queries.cellular_link()
    line("cellular link", f"{info.item5}, IMEI {info.item6}, IMSI {info.item7}, ICCID {info.item8}, {info.item9}")
    line(
        "",
        f"SIM {info.item10}, registration {info.item11}, technology {info.item12}, band {info.item17}, "
        f"cell {info.item18}",
    )
    line("", f"RSSI {info.item13}, RSRP {info.item14}, RSRQ {info.item15}, SINR {info.item16}")


def print_connection() -> None:
    info = queries.connection()
    line("connection", f"state {info.item6}, {info.item7}, {info.item8}")
    line("", f"{info.item9} s, {info.item10} bytes in, {number(info.item11)} out")


def print_messages() -> None:
    """Up to the first index that the service refuses with a code of its own; the library's codes are failures."""
    index = 0
    while True:
        try:
            message = queries.message(index)
        except qel_api.ServiceError:
            return
        line(f"message {index}", f"{message.item6}: {message.item7}")
        index += 1


def print_calls() -> None:
    info = queries.calls()
    line(
        "voice",
        f"ports {info.item6}, answered {info.item7}, missed {info.item8}, placed {info.item9}, failed {info.item10}, "
        f"{info.item11} s",
    )
    for index, entry in enumerate(info.entries):
        line(f"call {index}", numbers(entry))


def print_sip_accounts() -> None:
    for index, account in enumerate(queries.sip_accounts()):  # two texts of 33 bytes
        line(f"SIP account {index}", f"{text(account[:33])} at {text(account[33:])}")


def print_cita_parameters() -> None:
    info = queries.cita_parameters()
    line("CITA parameters", numbers([info.item5, info.item6, info.item7, info.item8]))
    texts = [info.text9, info.text10, info.text11, info.text12, info.text13, info.text14, info.item17]
    line("", ", ".join(texts))
    line("", f"{info.item15.hex(':')} {info.item16.hex(':')}")
    line("", numbers(getattr(info, f"item{item}") for item in range(18, 26)))


def print_cita_configuration() -> None:
    info = queries.cita_configuration()
    addresses = [getattr(info, f"item{item}").hex(":") for item in range(5, 13)]
    for index in range(0, len(addresses), 2):
        line("CITA settings" if index == 0 else "", " ".join(addresses[index : index + 2]))
    line("", numbers(getattr(info, f"item{item}") for item in range(13, 21)))


def print_neighbour(ip: str) -> None:
    address = queries.hardware_address(ip)
    line("neighbour", f"{ip}, {address.hex(':')}")
    print("access user")  # the library prints the record's fields
    queries.access_user(address)


def print_all(ip: str) -> bool:
    facts: list[Callable[[], None]] = [
        print_serial_number,
        print_access_status,
        print_backup,
        print_location,
        print_station,
        print_cellular_link,
        print_connection,
        print_messages,
        print_calls,
        print_sip_accounts,
        print_cita_parameters,
        print_cita_configuration,
        functools.partial(print_neighbour, ip),
    ]
    ok = True
    for fact in facts:
        try:
            fact()
        except qel_api.QelError as error:
            failed(error)
            ok = False
    return ok


def main() -> int:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    try:
        with qel_api.Session("device_report"):
            return 0 if print_all(sys.argv[1] if len(sys.argv) > 1 else "192.168.1.10") else 1
    except qel_api.QelError as error:
        failed(error)
        return 1


if __name__ == "__main__":
    sys.exit(main())
