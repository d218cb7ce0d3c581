"""SNMP reads and walks."""

import qel_api
from qel_api import snmp
from support import SessionTest, counted_texts

SYSTEM = [
    ("1.3.6.1.2.1.1.1.0", "Quor Router Software, Version 2.0"),
    ("1.3.6.1.2.1.1.2.0", "1.3.6.1.4.1.32473.2"),
    ("1.3.6.1.2.1.1.3.0", "8640000"),
    ("1.3.6.1.2.1.1.4.0", "netops@example.com"),
    ("1.3.6.1.2.1.1.5.0", "Tarkon"),
    ("1.3.6.1.2.1.1.6.0", "Rack 4, branch office"),
    ("1.3.6.1.2.1.1.7.0", "78"),
]

SYSTEM_OBJECT = snmp.SnmpObject(*SYSTEM[0])


class ReadTest(SessionTest):
    def test_an_object_is_read(self):
        self.assertEqual(snmp.get("1.3.6.1.2.1.1.5.0"), "Tarkon")
        self.assertEqual(snmp.get(".1.3.6.1.2.1.1.5.0"), "Tarkon")

    def test_the_next_object_is_read(self):
        self.assertEqual(snmp.get_next("1.3.6.1.2.1.1"), SYSTEM[0])
        self.assertEqual(snmp.get_next("1.3.6.1.2.1.1.1.0").oid, "1.3.6.1.2.1.1.2.0")

    def test_what_cannot_be_read_is_raised(self):
        for read, oid in [
            (snmp.get, "1.3.6.1.2.1.99"),
            (snmp.get, "no OID"),
            (snmp.get, ""),
            (snmp.get, "1." * 4100),
            (snmp.get_next, "2.999"),
        ]:
            with self.assertRaises(qel_api.QelError) as raised:
                read(oid)
            self.assertIs(raised.exception.code, qel_api.ResultCode.ERROR)
        with self.assertRaisesRegex(ValueError, "the OID has a NUL in it"):
            snmp.get("1.3\0.6")

    def test_a_walk_gives_the_objects_below(self):
        self.assertEqual(list(snmp.walk("1.3.6.1.2.1.1")), SYSTEM)
        self.assertEqual(list(snmp.walk(".1.3.6.1.2.1.1")), SYSTEM)

    def test_a_walk_ends_at_the_end_of_the_view(self):
        walked = list(snmp.walk())
        self.assertEqual(len(walked), 96)
        self.assertEqual(walked[-1], ("1.3.6.1.2.1.2.2.1.22.4", "0.0"))
        self.assertEqual(list(snmp.walk("2.999")), [])

    def test_an_object_is_not_below_itself(self):
        self.assertEqual(list(snmp.walk("1.3.6.1.2.1.1.1.0")), [])

    def test_a_walk_asks_only_for_what_is_taken(self):
        objects = snmp.walk("1.3.6.1.2.1.1")
        self.assertEqual(next(objects), SYSTEM[0])
        self.session.close()
        with self.assertRaises(qel_api.NoSessionError):
            next(objects)

    def test_every_text_is_given_back(self):
        with counted_texts() as texts:
            snmp.get("1.3.6.1.2.1.1.5.0")
            self.assertEqual(texts, [b"Tarkon"])
            snmp.get_next("1.3.6.1.2.1.1.4.0")
            self.assertEqual(texts, [b"Tarkon", b"Tarkon", b"1.3.6.1.2.1.1.5.0"])
            with self.assertRaises(qel_api.QelError):
                snmp.get("1.3.6.1.2.1.99")
            with self.assertRaises(ValueError):
                snmp.get_next("\0")
        self.assertEqual(len(texts), 3)


class TroubleTest(SessionTest):
    router = ("--fault", "snmp.get_next@3:error=5,text=busy", "--fault", "session.keepalive:error=5")

    def test_a_service_in_trouble_is_not_taken_for_the_end(self):
        seen = []
        with self.assertRaises(qel_api.QelError) as raised:
            for found in snmp.walk():
                seen.append(found)
        self.assertEqual(seen, SYSTEM[:2])
        self.assertEqual(raised.exception.function, "vela_snmp_get_next")


class CircleTest(SessionTest):
    def test_an_object_that_follows_itself_ends_the_walk(self):
        real = snmp.get_next
        self.addCleanup(setattr, snmp, "get_next", real)
        snmp.get_next = lambda oid: SYSTEM_OBJECT
        walk = snmp.walk("1.3.6.1.2.1.1")
        self.assertEqual(next(walk), SYSTEM_OBJECT)
        with self.assertRaises(qel_api.QelError):
            next(walk)
