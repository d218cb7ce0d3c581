"""The shared object as ctypes sees it: where it is found, its records, its functions.

Everything here mirrors include/qel_api.h, name by name; the typed surface lives in the other modules. The functions are
called through ctypes.CDLL, which lets other Python threads run meanwhile.
"""

import ctypes
import os
from ctypes import (
    POINTER,
    Structure,
    c_char,
    c_char_p,
    c_int,
    c_int32,
    c_uint8,
    c_uint16,
    c_uint32,
    c_uint64,
    c_void_p,
)
from typing import Any

SONAME = "libqel_api.so.2"
PATH_VARIABLE = "QEL_API_LIBRARY"

VERSION_SIZE = 22  # bytes that vela_version fills
ESN_SIZE = 7981  # bytes of the longest serial number that one reply can carry, and of a NUL behind it


# Records


class SessionConfiguration(Structure):
    _fields_ = [
        ("reserved", c_char * 64),
        ("client_name", c_char * 64),
        ("type", c_int32),
        ("server_addr", c_char * 16),
        ("server_port", c_uint16),
    ]


class IclogParameters(Structure):
    _fields_ = [
        ("reserved", c_char * 64),
        ("text", c_char * 64),
        ("level", c_uint32),
        ("infoAlias", c_char * 64),
        ("loginfo", c_char * 256),
    ]


class IfstateParameters(Structure):
    _fields_ = [
        ("reserved", c_char * 64),
        ("text", c_char * 64),
        ("number1", c_uint32),
        ("number2", c_uint32),
    ]


class RouteParameters(Structure):
    _fields_ = [
        ("reserved", c_char * 64),
        ("text1", c_char * 16),
        ("number", c_uint32),
        ("text2", c_char * 8),
        ("text3", c_char * 256),
    ]


class _AlignedItem7(ctypes.Union):
    _fields_ = [("item7", c_uint8 * 8), ("alignment", c_uint64)]


class GpsLocation(Structure):
    _anonymous_ = ["aligned"]
    _fields_ = [
        ("item5", c_uint8 * 4),
        ("item6", c_uint8 * 4),
        ("aligned", _AlignedItem7),
        ("item8", c_uint8 * 8),
        ("item9", c_uint8 * 8),
        ("item10", c_uint8 * 4),
        ("item11", c_uint8 * 4),
        ("item12", c_uint8 * 7924),
    ]


class WlanStation(Structure):
    _fields_ = [
        ("item5", c_uint32),
        ("item6", c_char * 64),
        ("item7", c_uint32),
        ("item8", c_uint32),
        ("item9", c_char * 17),
        ("item10", c_char * 7940),
    ]


class LteBrief(Structure):
    _fields_ = [
        ("text0", c_char * 33),
        *((f"item{item}", c_char * 33) for item in range(5, 10)),
        *((f"item{item}", c_int32) for item in range(10, 18)),
        ("item18", c_uint32),
    ]


class LteConnection(Structure):
    _fields_ = [
        ("item6", c_uint32),
        ("item7", c_char * 64),
        ("item8", c_char * 16),
        ("item9", c_uint32),
        ("item10", c_uint32),
        ("item11", c_uint8 * 7940),
    ]


class LteSms(Structure):
    _fields_ = [("item6", c_char * 32), ("item7", c_char * 7971)]


class AccessUserBrief(Structure):
    _fields_ = [
        ("user_ip", c_uint32),
        ("reserved", c_uint8 * 8),
        ("ssid_name", c_char * 64),
        ("oline_time", c_uint32),
        ("upbytes", c_uint32),
        ("downbytes", c_uint32),
    ]


class VoiceCalls(Structure):
    _fields_ = [
        *((f"item{item}", c_int32) for item in range(6, 12)),
        ("count", c_int32),
        ("entries", c_int32 * 6 * 8),
    ]


SIP_ACCOUNT_SIZE = 66


class VoiceSipAccounts(Structure):
    _fields_ = [("count", c_int32), ("accounts", c_uint8 * SIP_ACCOUNT_SIZE * 10)]


class VoiceCitaParameters(Structure):
    _fields_ = [
        *((f"item{item}", c_uint8) for item in range(5, 9)),
        *((f"text{item}", c_char * 33) for item in range(9, 15)),
        ("item15", c_uint8 * 6),
        ("item16", c_uint8 * 6),
        ("item17", c_char * 33),
        *((f"item{item}", c_int32) for item in range(18, 26)),
    ]


class VoiceCitaConfiguration(Structure):
    _fields_ = [
        *((f"item{item}", c_uint8 * 6) for item in range(5, 13)),
        *((f"item{item}", c_int32) for item in range(13, 21)),
    ]


# Each record under its name in the header.
RECORDS: dict[str, type[Structure]] = {
    "tagVELA_SESSION_CFG_T": SessionConfiguration,
    "tagVELA_ICLOG_PARA": IclogParameters,
    "tagVELA_IFSTATE_PARA": IfstateParameters,
    "tagVELA_ROUTE_PARA": RouteParameters,
    "tagGPS_LOCATION_INFO": GpsLocation,
    "WLAN_STATION_INFO_tag": WlanStation,
    "tagLTE_BREIFINFO_T": LteBrief,
    "tagLTE_CONNECTION_INFO": LteConnection,
    "tagLTE_SMS_INFO": LteSms,
    "tagACCESS_USER_BREIFINFO_T": AccessUserBrief,
    "stVOICE_CALL_INFO": VoiceCalls,
    "stVOICE_SIP_ACCOUNT_INFO": VoiceSipAccounts,
    "tagVOICE_CITA_PARAM": VoiceCitaParameters,
    "tagVOICE_CITA_CONFIG_INFO": VoiceCitaConfiguration,
}


# Functions

# session, tag, kind, content, unused
EventCallback = ctypes.CFUNCTYPE(None, c_uint32, c_char_p, c_int32, c_void_p, c_int)

_Text = c_char_p
_TextOut = POINTER(c_char_p)

# Name: result and parameters.
FUNCTIONS: dict[str, tuple[Any, list[Any]]] = {
    "vela_init": (c_int32, []),
    "vela_release": (c_int32, []),
    "vela_version": (c_int32, [c_char_p]),
    "vela_malloc": (c_void_p, [c_uint32]),
    "vela_free": (c_int32, [c_void_p]),
    "vela_session_open": (c_int32, [POINTER(SessionConfiguration), POINTER(c_uint32)]),
    "vela_session_close": (c_int32, [c_uint32]),
    "vela_session_keepalive": (c_int32, [c_uint32]),
    "vela_cli_open": (c_int32, [POINTER(c_uint32)]),
    "vela_cli_execute": (c_int32, [c_uint32, _Text, _Text, _TextOut]),
    "vela_cli_save": (c_int32, []),
    "vela_cli_close": (c_int32, [c_uint32]),
    "vela_event_new": (c_int32, [POINTER(c_uint32)]),
    "vela_event_add": (c_int32, [c_uint32, c_int32, _Text, c_void_p]),
    "vela_event_reg": (c_int32, [c_uint32, EventCallback]),
    "vela_event_free": (c_int32, [c_uint32]),
    "vela_snmp_get": (c_int32, [_Text, _TextOut]),
    "vela_snmp_get_next": (c_int32, [_Text, _TextOut, _TextOut]),
    "vela_syslog": (c_int32, [_Text, _Text, _Text]),
    "vela_dev_get_esn": (c_uint32, [c_char_p]),
    "vela_dev_get_acc_status": (c_uint32, [POINTER(c_uint32)]),
    "vela_dev_backup_cfg": (c_uint32, [POINTER(c_int32)]),
    "vela_gps_GetLocation": (c_uint32, [POINTER(GpsLocation)]),
    "vela_wlan_GetStationInfo": (c_uint32, [POINTER(WlanStation)]),
    "vela_arp_get_lte": (c_uint32, [POINTER(LteBrief)]),
    "vela_cellular_GetInfo": (c_uint32, [_Text, POINTER(LteConnection)]),
    "vela_get_sms_info": (c_uint32, [c_uint32, POINTER(LteSms)]),
    "vela_arp_get_mac_by_ip": (c_uint32, [_Text, POINTER(c_uint8)]),
    "vela_nac_get_access_by_mac": (c_uint32, [POINTER(c_uint8), POINTER(AccessUserBrief)]),
    "vela_voice_get_call_info": (c_uint32, [POINTER(VoiceCalls)]),
    "vela_voice_set_sip_account": (c_uint32, [c_void_p]),
    "vela_voice_get_sip_account": (c_uint32, [POINTER(VoiceSipAccounts)]),
    "vela_voice_get_cita_param": (c_uint32, [POINTER(VoiceCitaParameters)]),
    "vela_voice_get_cita_config_info": (c_uint32, [POINTER(VoiceCitaConfiguration)]),
    "vela_cellular_open": (c_int32, [_Text, _Text, _Text, _Text, c_int32]),
    "vela_cellular_close": (c_int32, [_Text]),
    "vela_wlan_create_ap": (c_int32, [_Text, c_uint32, _Text, _Text, _Text, _Text]),
    "vela_wlan_delete_ap": (c_int32, [_Text, c_uint32]),
}


def _load() -> ctypes.CDLL:
    path = os.environ.get(PATH_VARIABLE)
    wanted = path or SONAME
    source = f"named by {PATH_VARIABLE}" if path else f"{PATH_VARIABLE} is not set, so looked for on the loader's path"
    try:
        library = ctypes.CDLL(wanted)
    except OSError as error:
        raise ImportError(
            f"qel_api: cannot load {wanted} ({source}): {error}. "
            f"Install the library, or set {PATH_VARIABLE} to its file."
        ) from None
    for name, (result, parameters) in FUNCTIONS.items():
        try:
            function = getattr(library, name)
        except AttributeError:
            raise ImportError(
                f"qel_api: {wanted} ({source}) has no {name}: it is not this package's library"
            ) from None
        function.restype = result
        function.argtypes = parameters
    return library


library = _load()
