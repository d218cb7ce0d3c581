#!/usr/bin/env python3
"""Has the router write a line into its log.

    write_syslog.py MESSAGE [SEVERITY [SOURCE]]

What a service makes of the three texts is its own business: the simulated router takes the first as the source, the
second as level and alias, like 5/DONE, and the third as the message. Status 0 when it accepted them, 2 for wrong usage.
"""

import sys

import qel_api
from qel_api import syslog


def main(message: str, severity: str = "6", source: str = "EXAMPLE") -> None:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    with qel_api.Session("write_syslog"):
        syslog.write(source, severity, message)
        print(f"The router has written: {message}")


if __name__ == "__main__":
    if not 2 <= len(sys.argv) <= 4:
        print(f"usage: {sys.argv[0]} MESSAGE [SEVERITY [SOURCE]]", file=sys.stderr)
        sys.exit(2)
    try:
        main(*sys.argv[1:])
    except qel_api.QelError as error:
        sys.exit(f"write_syslog: {error.function} failed with {error.code:d}")
