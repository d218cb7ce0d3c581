"""The device queries: every field of every record, and what is raised when a query fails."""

import json
import os
import pathlib
import struct
import sys
import tempfile
import unittest

import qel_api
from qel_api import _native, queries
from support import SessionTest, run, run_python

MAC = bytes.fromhex("00005e005310")


def account(user, registrar):
    return user.encode().ljust(33, b"\0") + registrar.encode().ljust(33, b"\0")


def number(value):
    return value.to_bytes(4, "little")


class FactTest(SessionTest):
    def test_the_device_tells_its_serial_number(self):
        self.assertEqual(queries.serial_number(), "QEL2016090800017")

    def test_the_device_tells_its_access_status(self):
        self.assertEqual(queries.access_status(), 1)

    def test_the_device_backs_its_configuration_up(self):
        self.assertEqual(queries.backup_configuration(), 0)

    def test_the_location(self):
        self.assertEqual(
            queries.location(),
            queries.Location(
                item5=number(3),
                item6=number(9),
                item7=struct.pack("<d", 52.5),
                item8=struct.pack("<d", 13.375),
                item9=struct.pack("<d", 34.5),
                item10=number(0),
                item11=number(0),
                item12=b"2016-09-08 12:00:00".ljust(64, b"\0"),
            ),
        )

    def test_the_station(self):
        self.assertEqual(
            queries.station(), queries.Station(6, "Tarkon", 0xFFFFFFFF - 51, 3725, "00:00:5e:00:53:10", "laptop-7")
        )

    def test_the_cellular_link(self):
        self.assertEqual(
            queries.cellular_link(),
            queries.CellularLink(
                item5="Example Mobile",
                item6="490154203237518",
                item7="001010123456789",
                item8="8988211000000000012",
                item9="QM-620 1.04",
                item10=1,
                item11=1,
                item12=4,
                item13=-71,
                item14=-98,
                item15=-10,
                item16=14,
                item17=3,
                item18=26378241,
            ),
        )

    def test_the_connection(self):
        expected = queries.Connection(0, "internet.example", "0.0.0.0", 0, 0, bytes(64))
        self.assertEqual(queries.connection(), expected)
        self.assertEqual(queries.connection("Cellular0/0/0"), expected)

    def test_the_short_messages(self):
        self.assertEqual(queries.message(0), queries.Message("+49301234567", "Your data plan was renewed."))
        self.assertEqual(queries.message(1).item6, "Example Mobile")

    def test_the_hardware_address_of_a_neighbour(self):
        self.assertEqual(queries.hardware_address("192.168.1.10"), MAC)

    def test_the_access_user(self):
        self.assertEqual(queries.access_user(MAC), queries.AccessUser(3725, "Tarkon", 3725, 1048576, 8388608))

    def test_the_calls(self):
        self.assertEqual(
            queries.calls(), queries.Calls(2, 41, 3, 27, 1, 10860, count=1, entries=((1, 0, 2, 95, 8, 0),))
        )

    def test_the_cita_parameters(self):
        self.assertEqual(
            queries.cita_parameters(),
            queries.CitaParameters(
                *(1, 0, 2, 8),
                *("cita.example.com", "backup.example.com", "branch", "example.com", "0", "112"),
                *(bytes.fromhex("00005e005301"), bytes.fromhex("00005e0053fe"), "1.0"),
                *(5060, 5061, 30, 3600, 3, 20, 160, 0),
            ),
        )

    def test_the_cita_configuration(self):
        addresses = [bytes.fromhex(f"00005e0053{last:02x}") for last in range(0x80, 0x88)]
        self.assertEqual(queries.cita_configuration(), queries.CitaConfiguration(*addresses, *range(1, 9)))

    def test_what_the_library_prints_comes_in_its_place(self):
        script = (
            "import qel_api; from qel_api import queries\n"
            "print('before')\n"
            f"queries.access_user({MAC!r})\n"
            "print('behind')"
        )
        self.session.close()
        printed = run_python(f"import qel_api\nwith qel_api.Session('p'):\n    exec({script!r})")
        self.assertEqual(
            printed.stdout,
            "before\nuser_ip = 3725\nssid_name = Tarkon\noline_time = 3725\nupbytes = 1048576\ndownbytes = 8388608\n"
            "behind\n",
        )


class LongItemTest(unittest.TestCase):
    router = None

    def test_items_are_given_whole_however_long_the_service_makes_them(self):
        facts = {
            "device": {"esn": "QEL" + "1" * 7952},
            "location": {"time": "noon" + "." * 7855},
            "stations": [{"mac": "00:00:5e:00:53:10", "name": "s" * 7821 + "!"}],
            "messages": [{"index": 0, "text": "m" * 7914 + "!"}],
        }
        script = (
            "import qel_api; from qel_api import queries\n"
            "with qel_api.Session('long'):\n"
            "    print(queries.serial_number())\n"
            "    print(queries.location().item12.decode())\n"
            "    print(queries.station().item10)\n"
            "    print(queries.message(0).item7)\n"
        )
        with tempfile.TemporaryDirectory() as directory:
            scenario = pathlib.Path(directory) / "scenario.json"
            scenario.write_text(json.dumps({"facts": facts}))
            options = ["--scenario", str(scenario)]
            printed = run(os.environ["QEL_SIM"], "run", *options, "--", sys.executable, "-c", script)
        self.assertEqual((printed.returncode, printed.stderr), (0, ""))
        self.assertEqual(
            printed.stdout.splitlines(),
            [
                facts["device"]["esn"],
                facts["location"]["time"],
                facts["stations"][0]["name"],
                facts["messages"][0]["text"],
            ],
        )


class SipAccountTest(SessionTest):
    def test_accounts_are_stored_and_read(self):
        self.assertEqual(
            queries.sip_accounts(), [account("branch-1", "sip.example.com"), account("branch-2", "sip.example.com")]
        )
        stored = [account(f"user-{index}", "sip.example.net") for index in range(10)]
        queries.set_sip_accounts(stored)
        self.assertEqual(queries.sip_accounts(), stored)
        queries.set_sip_accounts([b"short"])
        self.assertEqual(queries.sip_accounts(), [b"short".ljust(66, b"\0")])
        queries.set_sip_accounts([])
        self.assertEqual(queries.sip_accounts(), [])

    def test_up_to_107_accounts_can_be_stored(self):
        queries.set_sip_accounts([account("user", "sip.example.net")] * 107)
        with self.assertRaises(qel_api.QelError) as raised:
            queries.sip_accounts()
        self.assertIs(raised.exception.code, qel_api.ResultCode.ERROR)
        with self.assertRaises(qel_api.QelError) as raised:
            queries.set_sip_accounts([b""] * 108)
        self.assertIs(raised.exception.code, qel_api.ResultCode.ENCODE)

    def test_an_account_has_66_bytes_at_most(self):
        with self.assertRaisesRegex(ValueError, "an account has at most 66 bytes, not 67"):
            queries.set_sip_accounts([b"x" * 67])


class RefusalTest(SessionTest):
    router = ("--fault", "device.access:error=1,text=x", "--fault", "gps.location:error=-1294967296,text=no antenna")

    def test_a_code_of_the_service_s_own_is_told(self):
        for query, function, code in [
            (lambda: queries.message(7), "vela_get_sms_info", 30),
            (lambda: queries.hardware_address("192.168.1.99"), "vela_arp_get_mac_by_ip", 30),
            (lambda: queries.access_user(bytes(6)), "vela_nac_get_access_by_mac", 30),
            (lambda: queries.connection("Cellular9/9/9"), "vela_cellular_GetInfo", 30),
            (lambda: queries.hardware_address("nowhere"), "vela_arp_get_mac_by_ip", 23),
            (queries.location, "vela_gps_GetLocation", 3000000000),
        ]:
            with self.assertRaises(qel_api.ServiceError) as raised:
                query()
            self.assertEqual((raised.exception.function, raised.exception.code), (function, code))
            self.assertEqual(str(raised.exception), f"{function} failed with {code}: the service's own code")

    def test_a_code_that_the_library_returns_too_is_no_service_error(self):
        with self.assertRaises(qel_api.QelError) as raised:
            queries.access_status()
        self.assertIs(type(raised.exception), qel_api.QelError)

    def test_what_cannot_be_asked_is_refused(self):
        for query, text in [
            (lambda: queries.access_user(b"12345"), "a hardware address has 6 bytes, not 5"),
            (lambda: queries.message(-1), "the index is a number from 0 to 4294967295, not -1"),
            (lambda: queries.message(1 << 32), "the index is a number from 0 to 4294967295, not 4294967296"),
            (lambda: queries.hardware_address("1\0"), "the address has a NUL in it"),
            (lambda: queries.connection("C\0"), "the interface has a NUL in it"),
        ]:
            with self.assertRaisesRegex(ValueError, text):
                query()

    def test_without_a_session_nothing_is_asked(self):
        self.session.close()
        for query in (
            queries.serial_number,
            queries.access_status,
            queries.backup_configuration,
            queries.location,
            queries.station,
            queries.cellular_link,
            queries.connection,
            lambda: queries.message(0),
            lambda: queries.hardware_address("192.168.1.10"),
            lambda: queries.access_user(MAC),
            queries.calls,
            lambda: queries.set_sip_accounts([]),
            queries.sip_accounts,
            queries.cita_parameters,
            queries.cita_configuration,
        ):
            with self.assertRaises(qel_api.NoSessionError):
                query()

    def test_a_null_pointer_is_the_library_s_to_refuse(self):
        for function, code in [
            ("vela_dev_get_esn", qel_api.ResultCode.PARAM),
            ("vela_wlan_GetStationInfo", qel_api.ResultCode.NO_SESSION),
        ]:
            self.assertEqual(getattr(_native.library, function)(None), code)


class MissingItemTest(SessionTest):
    router = (
        *("--fault", "device.esn:missing_item=5"),
        *("--fault", "device.access:missing_item=6"),
        *("--fault", "device.backup:missing_item=7"),
        *("--fault", "lte.brief:missing_item=13"),
        *("--fault", "lte.sms:missing_item=6"),
        *("--fault", "voice.cita_config:missing_item=5"),
    )

    def test_a_single_value_that_is_missing_has_a_stand_in(self):
        self.assertEqual(queries.serial_number(), "")
        self.assertEqual(queries.access_status(), 0xFFFFFFFF)
        self.assertEqual(queries.backup_configuration(), -1)
        self.assertEqual(queries.cellular_link().item13, -1)

    def test_a_required_item_that_is_missing_fails_the_query(self):
        for query, code in [
            (lambda: queries.message(0), qel_api.ResultCode.ERROR),
            (queries.cita_configuration, qel_api.ResultCode.SHORT_REPLY),
        ]:
            with self.assertRaises(qel_api.QelError) as raised:
                query()
            self.assertIs(raised.exception.code, code)

