"""Provisioning: what stands on the router afterwards, and what is refused."""

import qel_api
from qel_api import CellularAuthMode, provisioning
from support import SessionTest

ADDRESS, MASK = "192.168.20.1", "255.255.255.0"


class ProvisioningTest(SessionTest):
    def setUp(self):
        super().setUp()
        self.cli = self.session.cli()
        self.before = self.configuration()

    def configuration(self):
        return self.cli.execute("display current-configuration").splitlines()

    def added(self):
        return [line.strip() for line in self.configuration() if line not in self.before]


class CellularTest(ProvisioningTest):
    def test_an_uplink_is_set_up_and_taken_down(self):
        provisioning.cellular_open("internet.example", "user", "secret", auth_mode=CellularAuthMode.PAP)
        added = self.added()
        self.assertIn("ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", added)
        self.assertIn("apn internet.example", added)
        self.assertIn("user name user password cipher secret authentication-mode pap", added)

        provisioning.cellular_open("internet.example", "user", "secret", auth_mode=CellularAuthMode.PAP)
        self.assertEqual(self.added(), added)

        provisioning.cellular_close()
        self.assertNotIn("ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", self.added())
        self.assertNotIn("apn internet.example", self.added())
        provisioning.cellular_close()

    def test_what_is_not_given_is_not_configured(self):
        provisioning.cellular_open()
        added = self.added()
        self.assertIn("ip route-static 0.0.0.0 0.0.0.0 Cellular0/0/0", added)
        self.assertFalse([line for line in added if line.startswith(("apn ", "user name")) and "profile" not in line])
        provisioning.cellular_close()

    def test_the_authentication_is_chap_when_nothing_else_is_said(self):
        provisioning.cellular_open("a", "user", "secret")
        self.assertIn("user name user password cipher secret authentication-mode chap", self.added())
        provisioning.cellular_close()

    def test_another_interface_is_refused(self):
        for use, function in [
            (lambda: provisioning.cellular_open(interface_name="Cellular0/0/1"), "vela_cellular_open"),
            (lambda: provisioning.cellular_close("Cellular0/0/1"), "vela_cellular_close"),
        ]:
            with self.assertRaises(qel_api.ParameterError) as raised:
                use()
            self.assertEqual(raised.exception.function, function)

    def test_a_nul_is_refused(self):
        for arguments in [("\0",), ("a", "\0", "x"), ("a", "x", "\0")]:
            with self.assertRaisesRegex(ValueError, "has a NUL in it"):
                provisioning.cellular_open(*arguments)
        self.assertEqual(self.added(), [])


class WlanTest(ProvisioningTest):
    def test_an_access_point_is_made_and_removed(self):
        provisioning.wlan_create_ap(1, "Guests", "secret-phrase", ADDRESS, MASK)
        added = self.added()
        for line in ("ssid Guests", f"ip address {ADDRESS} {MASK}", "service-set id 0 wlan 1"):
            self.assertIn(line, added)

        with self.assertRaises(qel_api.ParameterError):
            provisioning.wlan_create_ap(1, "Other", None, "192.168.21.1", MASK)
        with self.assertRaises(qel_api.QelError):
            provisioning.wlan_create_ap(2, "Guests", None, "192.168.21.1", MASK)
        self.assertEqual(self.added(), added)

        provisioning.wlan_delete_ap(1)
        self.assertNotIn("ssid Guests", self.added())
        with self.assertRaises(qel_api.QelError) as raised:
            provisioning.wlan_delete_ap(1)
        self.assertEqual((raised.exception.function, raised.exception.code), ("vela_wlan_delete_ap", 1))

    def test_without_a_pass_phrase_the_network_is_open(self):
        provisioning.wlan_create_ap(3, "Open", None, ADDRESS, MASK)
        self.assertFalse([line for line in self.added() if "security-profile" in line])
        provisioning.wlan_delete_ap(3)

    def test_what_is_not_valid_is_refused(self):
        for use in [
            lambda: provisioning.wlan_create_ap(1, "", None, ADDRESS, MASK),
            lambda: provisioning.wlan_create_ap(1, "x" * 33, None, ADDRESS, MASK),
            lambda: provisioning.wlan_create_ap(1, "x", None, ADDRESS, MASK, radio_if="Wlan-Radio0/0/1"),
            lambda: provisioning.wlan_delete_ap(1, radio_if="Wlan-Radio0/0/1"),
        ]:
            with self.assertRaises(qel_api.ParameterError):
                use()
        for use in [
            lambda: provisioning.wlan_create_ap(-1, "x", None, ADDRESS, MASK),
            lambda: provisioning.wlan_delete_ap(1 << 32),
            lambda: provisioning.wlan_create_ap(1, "x\0", None, ADDRESS, MASK),
        ]:
            with self.assertRaises(ValueError):
                use()
        self.assertEqual(self.added(), [])


class OwnChannelTest(SessionTest):
    def test_without_a_channel_one_is_opened_and_closed(self):
        provisioning.cellular_open()
        with self.session.cli() as cli:
            self.assertIn("dialer-rule", cli.execute("display current-configuration"))
        provisioning.cellular_close()
        with self.session.cli():
            pass
