#!/usr/bin/env python3
"""Makes an access point on the radio, tries a second one that the router cannot make, and deletes the first; shows what
each did to the router's configuration.

    wlan_access_point.py [SSID [PASS-PHRASE]]

The second one wants the address that the first one has. The router refuses that when a part of the access point is made
already, and the library removes the part. Status 0 when all went like that, 2 for wrong usage. Why something failed
stands in the system log.
"""

import sys

import qel_api
from configuration_changes import print_changes
from qel_api import provisioning

ADDRESS = "192.168.20.1"
MASK = "255.255.255.0"


def configuration(cli: qel_api.Cli) -> str:
    return cli.execute("display current-configuration")


def create(cli: qel_api.Cli, before: str, ssid: str, pass_phrase: str | None) -> None:
    try:
        provisioning.wlan_create_ap(1, ssid, pass_phrase, ADDRESS, MASK)
    except qel_api.QelError:
        print(f"The access point {ssid} is not made:")
        print_changes(before, configuration(cli))
        raise
    print(f"The access point {ssid} is made:")
    print_changes(before, configuration(cli))


def fail_to_create(cli: qel_api.Cli, ssid: str) -> None:
    """The router stays as it was, although the access point's VLAN and interface were made before the refusal."""
    before = configuration(cli)
    try:
        provisioning.wlan_create_ap(2, ssid, None, ADDRESS, MASK)
    except qel_api.QelError as error:
        if error.code != qel_api.ResultCode.ERROR:
            raise
        print("\nAnother one, with the same address, was refused, and of it is left:")
        print_changes(before, configuration(cli))
    else:
        sys.exit("wlan_access_point: the second access point was not refused")


def delete_again(cli: qel_api.Cli, before: str) -> None:
    try:
        provisioning.wlan_delete_ap(1)
    except qel_api.QelError:
        print("\nThe access point is not deleted, and of it is left:")
        print_changes(before, configuration(cli))
        raise
    print("\nThe access point is deleted, and of it is left:")
    print_changes(before, configuration(cli))


def use_access_point(cli: qel_api.Cli, ssid: str, pass_phrase: str | None) -> None:
    before = configuration(cli)
    create(cli, before, ssid, pass_phrase)
    try:
        fail_to_create(cli, "Second")
    finally:
        delete_again(cli, before)


def main(ssid: str = "Guests", pass_phrase: str | None = None) -> None:
    sys.stdout.reconfigure(line_buffering=True)  # also into a pipe
    # The calls use the open channel. Nothing else may use it meanwhile.
    with qel_api.Session("wlan_access_point") as session, session.cli() as cli:
        use_access_point(cli, ssid, pass_phrase)  # None: an open network


if __name__ == "__main__":
    if len(sys.argv) > 3:
        print(f"usage: {sys.argv[0]} [SSID [PASS-PHRASE]]", file=sys.stderr)
        sys.exit(2)
    try:
        main(*sys.argv[1:])
    except qel_api.QelError as error:
        sys.exit(f"wlan_access_point: {error.function} failed with {error.code:d}")
