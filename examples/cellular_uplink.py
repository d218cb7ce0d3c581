#!/usr/bin/env python3
"""Brings the cellular interface up as the router's uplink and takes it down again, and shows what each did to the
router's configuration.

    cellular_uplink.py [APN [USER PASSWORD]]

Status 0 when both went well, 2 for wrong usage. Why something failed stands in the system log.
"""

import sys

import qel_api
from configuration_changes import print_changes
from qel_api import CellularAuthMode, provisioning


def use_uplink(cli: qel_api.Cli, *credentials: str) -> None:
    before = cli.execute("display current-configuration")

    def show_changes() -> None:
        print_changes(before, cli.execute("display current-configuration"))

    try:
        # When a step fails, the router is already as before.
        provisioning.cellular_open(*credentials, auth_mode=CellularAuthMode.AUTO)
    except qel_api.QelError:
        print("The uplink did not come up:")
        show_changes()
        raise
    print("The uplink is up:")
    show_changes()

    try:
        provisioning.cellular_close()
    except qel_api.QelError:
        print("\nThe uplink did not go down, and of it is left:")
        show_changes()
        raise
    print("\nThe uplink is down, and of it is left:")
    show_changes()


def main(*credentials: str) -> None:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    # The calls use the open channel. Nothing else may use it meanwhile.
    with qel_api.Session("cellular_uplink") as session, session.cli() as cli:
        use_uplink(cli, *credentials)


if __name__ == "__main__":
    if len(sys.argv) not in (1, 2, 4):
        print(f"usage: {sys.argv[0]} [APN [USER PASSWORD]]", file=sys.stderr)
        sys.exit(2)
    try:
        main(*sys.argv[1:])
    except qel_api.QelError as error:
        sys.exit(f"cellular_uplink: {error.function} failed with {error.code:d}")
