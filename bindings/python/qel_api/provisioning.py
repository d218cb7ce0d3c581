"""Provisioning: a cellular uplink, and WLAN access points.

Each call types a list of commands into the CLI channel: the open one, or one that it opens and closes. Meanwhile
nothing else may use the channel, and no two of these calls may run at once. Each command waits for the service, at most
60 seconds. What was set up is not saved to the start-up configuration; see cli.save().

The texts are sent as they are given: none may hold a blank or a line end that the router would take for its own. The
system log's record of a command that the router refuses shows the command, a password included.
"""

import enum

from ._call import call, encode, encode_optional, unsigned


class CellularAuthMode(enum.IntEnum):
    """How the cellular network asks for the credentials."""

    AUTO = 0
    PAP = 1
    BOTH = 2
    CHAP = 3


CELLULAR_INTERFACE = "Cellular0/0/0"
WLAN_RADIO = "Wlan-Radio0/0/0"


def cellular_open(
    apn: str | None = None,
    user_name: str | None = None,
    password: str | None = None,
    *,
    auth_mode: CellularAuthMode = CellularAuthMode.CHAP,
    interface_name: str = CELLULAR_INTERFACE,
) -> None:
    """Makes the cellular interface the uplink of the default route. May be repeated: what stands on the router already
    is not added again. When a step fails, everything is taken down again as by cellular_close().

    apn                  The access point's name; None or empty: none is configured.
    user_name, password  The credentials; with one of them None or empty, none are configured.
    interface_name       Every other one is a ParameterError, and nothing is sent.
    """
    call(
        "vela_cellular_open",
        encode(interface_name, "the interface"),
        encode_optional(apn, "the APN"),
        encode_optional(user_name, "the user name"),
        encode_optional(password, "the password"),
        auth_mode,
    )


def cellular_close(interface_name: str = CELLULAR_INTERFACE) -> None:
    """Takes down what cellular_open() made, and only what is there. The first step that fails ends the call."""
    call("vela_cellular_close", encode(interface_name, "the interface"))


def wlan_create_ap(
    vap_id: int,
    ssid: str,
    pass_phrase: str | None,
    ip_address: str,
    mask: str,
    *,
    radio_if: str = WLAN_RADIO,
) -> None:
    """Makes an access point on the radio. When a step fails, everything is removed again as by wlan_delete_ap().

    vap_id            The WLAN id on the radio, which names the access point; ParameterError when it is taken.
    ssid              1 to 32 bytes.
    pass_phrase       For WPA2. None: an open network. Empty: a security profile is made, but the network stays open.
    ip_address, mask  As the router's command "ip address" takes them.
    radio_if          Every other one is a ParameterError, and nothing is sent.
    """
    call(
        "vela_wlan_create_ap",
        encode(radio_if, "the radio"),
        unsigned(vap_id, "the WLAN id"),
        encode(ssid, "the SSID"),
        encode_optional(pass_phrase, "the pass phrase"),
        encode(ip_address, "the address"),
        encode(mask, "the mask"),
    )


def wlan_delete_ap(vap_id: int, *, radio_if: str = WLAN_RADIO) -> None:
    """Removes the access point with this WLAN id, or what is there of it; QelError when a part was not removed, as when
    there is no such access point."""
    call("vela_wlan_delete_ap", encode(radio_if, "the radio"), unsigned(vap_id, "the WLAN id"))
