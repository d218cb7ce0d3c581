"""Lines that the router writes into its log."""

import qel_api
from qel_api import syslog
from support import SessionTest


class SyslogTest(SessionTest):
    def test_the_router_writes_the_line(self):
        syslog.write("BACKUP", "5/DONE", "nightly backup done")
        with self.session.cli() as cli:
            self.assertIn(" BACKUP/5/DONE: nightly backup done", cli.execute("display logbuffer"))

    def test_a_nul_is_refused(self):
        for texts in [("\0", "", ""), ("", "\0", ""), ("", "", "\0")]:
            with self.assertRaisesRegex(ValueError, "a text has a NUL in it"):
                syslog.write(*texts)

    def test_texts_that_fit_no_request_are_refused(self):
        with self.assertRaises(qel_api.QelError) as raised:
            syslog.write("X", "6", "x" * 8000)
        self.assertEqual((raised.exception.function, raised.exception.code), ("vela_syslog", 1))

    def test_without_a_session_nothing_is_written(self):
        self.session.close()
        with self.assertRaises(qel_api.NoSessionError):
            syslog.write("X", "6", "x")
