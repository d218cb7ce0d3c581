#!/usr/bin/env python3
"""Prints the SNMP objects of a subtree, or one object.

    snmp_walk.py [OID]

OID is 1.3.6.1.2.1 when none is given. Status 0 when there was anything to print and nothing failed. What went wrong in
detail stands in the system log.
"""

import sys

import qel_api
from qel_api import snmp


def walk(root: str) -> None:
    any_below = False
    for oid, value in snmp.walk(root):
        print(f"{oid} = {value}")
        any_below = True
    if not any_below:  # it may be an object itself
        print(f"{root} = {snmp.get(root)}")


def main() -> None:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    # What is asked for may have a dot in front, what is answered has none.
    root = sys.argv[1].removeprefix(".") if len(sys.argv) > 1 else "1.3.6.1.2.1"
    with qel_api.Session("snmp_walk"):
        walk(root)


if __name__ == "__main__":
    try:
        main()
    except qel_api.QelError as error:
        sys.exit(f"snmp_walk: {error.function} failed with {error.code:d}")
