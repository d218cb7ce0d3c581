"""The examples print what their C namesakes print, each on a router of its own."""

import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BIN = pathlib.Path(os.environ["QEL_SIM"]).parent
PATIENCE = 120  # seconds; longer than anything takes on a busy machine


class ExampleTest(unittest.TestCase):
    router = None

    def start(self, options, command):
        return subprocess.Popen(
            [os.environ["QEL_SIM"], "run", *options, "--", *command],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )

    def finish(self, process):
        out, err = process.communicate(timeout=PATIENCE)
        return process.returncode, out, err

    def run_python(self, task, *arguments, options=()):
        return self.finish(self.start(options, [sys.executable, str(ROOT / f"examples/{task}.py"), *arguments]))

    def run_c(self, task, *arguments, options=()):
        return self.finish(self.start(options, [str(BIN / f"{task}_c"), *arguments]))


class LikeCTest(ExampleTest):
    def assert_alike(self, task, *arguments, options=()):
        expected = self.run_c(task, *arguments, options=options)
        self.assertEqual(self.run_python(task, *arguments, options=options), expected)
        return expected

    def test_every_task_has_an_example(self):
        in_c = {path.stem for path in (ROOT / "examples").glob("*.[ch]")}
        self.assertEqual({path.stem for path in (ROOT / "examples").glob("*.py")}, in_c)

    def test_session(self):
        status, out, _ = self.assert_alike("session", "demo")
        self.assertEqual(status, 0)
        self.assertIn("Session 1 is open.\n", out)
        self.assertTrue(out.endswith("\nThe configuration is saved.\n"))

    def test_a_session_that_is_refused(self):
        status, out, err = self.run_python("session", options=["--fault", "session.open:error=5,text=busy"])
        self.assertEqual((status, out), (1, "Vela Quor v1.5.70.000\n"))
        self.assertEqual(err, "session: vela_session_open failed with 1: refused, not sent or not answered\n")

    def test_device_report(self):
        self.assertEqual(self.assert_alike("device_report")[0], 0)

    def test_a_device_report_with_facts_that_cannot_be_had(self):
        faults = ["--fault", "gps.location:error=40,text=no antenna", "--fault", "lte.sms@2:missing_item=6"]
        self.assertEqual(self.assert_alike("device_report", "192.168.1.99", options=faults)[0], 1)

    def test_snmp_walk(self):
        self.assertEqual(self.assert_alike("snmp_walk")[0], 0)
        self.assertEqual(self.assert_alike("snmp_walk", ".1.3.6.1.2.1.1")[0], 0)
        self.assertEqual(self.assert_alike("snmp_walk", "1.3.6.1.2.1.2.2.1.22.4")[0], 0)
        self.assertEqual(self.assert_alike("snmp_walk", "1.3.6.1.2.1.3")[0], 1)

    def test_write_syslog(self):
        self.assertEqual(self.assert_alike("write_syslog", "nightly backup done", "5/DONE", "BACKUP")[0], 0)
        self.assertEqual(
            self.assert_alike("write_syslog", "x", options=["--fault", "syslog.write:error=5,text=full"])[0], 1
        )

    def test_cellular_uplink(self):
        for credentials in [(), ("internet.example",), ("internet.example", "user", "secret")]:
            self.assertEqual(self.assert_alike("cellular_uplink", *credentials)[0], 0)
        fault = ["--fault", "cli.execute@20:error=24,text=busy"]
        self.assertEqual(self.assert_alike("cellular_uplink", options=fault)[0], 1)

    def test_wlan_access_point(self):
        self.assertEqual(self.assert_alike("wlan_access_point")[0], 0)
        self.assertEqual(self.assert_alike("wlan_access_point", "Office", "a pass-phrase")[0], 1)
        self.assertEqual(self.assert_alike("wlan_access_point", "Office", "pass-phrase")[0], 0)

    def test_wrong_usage(self):
        for task, *arguments in [
            ("write_syslog",),
            ("watch_events", "", "0"),
            ("watch_events", "x" * 64),
            ("cellular_uplink", "internet.example", "user"),
            ("wlan_access_point", "Office", "secret", "more"),
        ]:
            status, out, err = self.run_python(task, *arguments)
            self.assertEqual((status, out), (2, ""))
            self.assertRegex(err, r"^usage: .*\.py .*\n$")


class WatchTest(ExampleTest):
    """The watcher prints what happens until a signal ends it."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.control = f"{directory.name}/control.socket"

    def watch(self, *arguments):
        command = [sys.executable, str(ROOT / "examples/watch_events.py"), *arguments]
        watcher = self.start([f"--control={self.control}"], command)
        self.assertEqual(watcher.stdout.readline(), "Watching. Ctrl-C ends.\n")
        return watcher

    def ask(self, *lines):
        with socket.socket(socket.AF_UNIX) as channel:
            channel.connect(self.control)
            answers = channel.makefile()
            for line in lines:
                channel.sendall(line.encode() + b"\n")
                self.assertIn('"ok":true', answers.readline(), line)

    def test_what_happens_is_shown_until_a_signal_ends_it(self):
        for end in (signal.SIGINT, signal.SIGTERM):
            watcher = self.watch()
            self.ask("link g0/0/0 down", "cli system-view", "cli ip route-static 10.0.0.0 8 192.168.1.254")
            shown = [watcher.stdout.readline() for _ in range(4)]
            self.assertEqual(shown[0], "ifstate   interface GigabitEthernet0/0/0 down (no link)\n")
            self.assertRegex(shown[1], r"^log       .* Tarkon IFNET/4/IF_DOWN: interface .*\n$")
            self.assertEqual(shown[2], "route     route 10.0.0.0/8 added, static, via 192.168.1.254\n")
            self.assertRegex(shown[3], r"^log       .* Tarkon ROUTE/6/ROUTE_ADDED: route .*\n$")
            watcher.send_signal(end)
            self.assertEqual(self.finish(watcher), (0, "Ended.\n", ""))

    def test_the_interfaces_are_those_it_is_asked_for(self):
        watcher = self.watch("Cellular")
        self.ask("link g0/0/0 down", "link Cellular0/0/0 up", "event route last")
        shown = ""
        while not shown.endswith("route     last\n"):
            shown += watcher.stdout.readline()
        self.assertEqual(re.findall("^ifstate .*$", shown, re.MULTILINE), ["ifstate   interface Cellular0/0/0 up"])
        watcher.send_signal(signal.SIGTERM)
        self.assertEqual(self.finish(watcher)[0], 0)

    def test_it_fails_when_the_router_hangs_up(self):
        # A keepalive that meets the hang-up itself is unanswered; one that comes later has no session.
        unanswered, without_session = (
            (1, "", f"watch_events: vela_session_keepalive failed with {code}\n") for code in (1, 14)
        )
        ended = unanswered
        while ended == unanswered:
            watcher = self.watch("", "1")
            self.ask("hang-up")
            ended = self.finish(watcher)
        self.assertEqual(ended, without_session)
