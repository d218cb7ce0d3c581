"""Starting, opening, closing and stopping, and what is refused in between."""

import gc
import os
import pickle
import signal
import threading
import time
import unittest
import warnings

import qel_api
from qel_api import lifecycle, snmp
from qel_api.errors import error_for
from support import PATIENCE, SessionTest, control, hang_up, run_python, tasks


class LifecycleTest(unittest.TestCase):
    def test_the_version_is_known_before_the_library_is_started(self):
        self.assertEqual(qel_api.version(), "Vela Quor v1.5.70.000")

    def test_the_library_can_be_started_and_stopped_repeatedly(self):
        for _ in range(3):
            qel_api.init()
            qel_api.init()
            with qel_api.Session("test") as session:
                session.keepalive()
            qel_api.release()
            qel_api.release()

    def test_starting_twice_starts_one_pair_of_threads(self):
        qel_api.init()
        before = tasks()
        qel_api.init()
        self.assertEqual(tasks() - before, set())
        qel_api.release()

    def test_the_library_s_threads_have_ended_when_stopping_returns(self):
        before = tasks()
        qel_api.init()
        started = tasks() - before
        self.assertEqual(len(started), 2)
        qel_api.release()
        for task in started:
            self.assertFalse(os.path.exists(f"/proc/self/task/{task}"))

    def test_stopping_closes_the_session_first(self):
        session = qel_api.Session("test")
        qel_api.release()
        self.assertTrue(session.closed)
        self.assertNotIn("session", control("clients")["clients"][-1])

    def test_the_interpreter_ends_after_the_library_s_threads(self):
        script = """
import atexit, os

def tasks():
    return set(os.listdir("/proc/self/task"))

# What is registered first runs last.
atexit.register(lambda: print(len(started), len(started & tasks())))
before = tasks()
import qel_api
qel_api.init()
started = tasks() - before
"""
        ended = run_python(script)
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "2 0\n", ""))

    def test_a_script_that_closes_nothing_ends_well(self):
        ended = run_python("import qel_api; session = qel_api.Session('careless'); cli = session.cli()")
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "", ""))


class LogLibraryTest(unittest.TestCase):
    def test_a_log_library_that_does_not_start_is_told(self):
        os.environ["VELALOG_STANDIN_INIT"] = "1"
        with self.assertRaises(qel_api.QelError) as raised:
            qel_api.Session("test")
        self.assertEqual(raised.exception.function, "vela_init")
        self.assertIs(raised.exception.code, qel_api.ResultCode.LOG_LIBRARY)


class OpenSessionTest(SessionTest):
    def test_a_session_has_a_handle_and_is_kept_alive(self):
        self.assertGreater(self.session.handle, 0)
        self.session.keepalive()
        self.assertEqual(repr(self.session), f"<qel_api.Session {self.session.handle}>")

    def test_a_second_session_is_refused(self):
        with self.assertRaises(qel_api.SessionOpenError) as raised:
            qel_api.Session("second")
        self.assertIs(raised.exception.code, qel_api.ResultCode.SESSION_OPEN)
        self.assertEqual(raised.exception.function, "vela_session_open")
        self.session.keepalive()

    def test_closing_may_be_repeated(self):
        self.session.close()
        self.session.close()
        self.assertTrue(self.session.closed)
        self.assertEqual(repr(self.session), "<qel_api.Session closed>")

    def test_a_closed_session_refuses_every_use_without_asking_the_service(self):
        cli = self.session.cli()
        self.session.close()
        self.assertTrue(cli.closed)
        for use, function in [
            (self.session.keepalive, "vela_session_keepalive"),
            (self.session.cli, "vela_cli_open"),
            (self.session.events, "vela_event_new"),
            (lambda: cli.execute("display version"), "vela_cli_execute"),
            (cli.save, "vela_cli_save"),
        ]:
            with self.assertRaises(qel_api.ClosedError) as raised:
                use()
            self.assertEqual(raised.exception.function, function)
            self.assertEqual(str(raised.exception), f"{function} failed with {raised.exception.code:d}: closed")

    def test_without_a_session_the_process_s_functions_say_so(self):
        self.session.close()
        with self.assertRaises(qel_api.NoSessionError) as raised:
            snmp.get("1.3.6.1.2.1.1.1.0")
        self.assertIs(raised.exception.code, qel_api.ResultCode.NO_SESSION)
        self.assertEqual(str(raised.exception), "vela_snmp_get failed with 14: no session is open")

    def test_a_closed_session_does_not_disturb_the_next_one(self):
        self.session.close()
        with qel_api.Session("next") as following:
            self.session.close()
            following.keepalive()

    def test_a_session_that_nothing_refers_to_stays_open(self):
        self.session.close()
        qel_api.Session("forgotten")
        gc.collect()
        with self.assertRaises(qel_api.SessionOpenError):
            qel_api.Session("second")
        lifecycle.open_session.close()

    def test_a_with_block_closes_whatever_happens(self):
        self.session.close()
        with self.assertRaisesRegex(KeyError, "mine"):
            with qel_api.Session("block") as session, session.cli() as cli:
                raise KeyError("mine")
        self.assertTrue(cli.closed)
        self.assertTrue(session.closed)

    def test_threads_share_the_session(self):
        values = []
        threads = [
            threading.Thread(target=lambda: values.extend(snmp.get("1.3.6.1.2.1.1.5.0") for _ in range(20)))
            for _ in range(4)
        ]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(PATIENCE)
        self.assertEqual(values, ["Tarkon"] * 80)

    def test_a_child_made_by_fork_is_refused(self):
        read, write = os.pipe()
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)  # it has threads, which is the point
            child = os.fork()
        if child == 0:
            try:
                self.session.keepalive()
            except RuntimeError as error:
                os.write(write, str(error).encode())
            os._exit(0)
        os.close(write)
        with open(read) as told:
            self.assertRegex(told.read(), "cannot be used in a process made by fork")
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        self.session.keepalive()


class HangUpTest(SessionTest):
    def setUp(self):
        super().setUp()
        self.cli = self.session.cli()
        hang_up(self.session)

    def test_closing_is_silent_after_the_service_has_hung_up(self):
        self.cli.close()
        self.session.close()
        self.assertTrue(self.session.closed)

    def test_a_new_session_ends_the_one_that_was_lost(self):
        with qel_api.Session("again") as again:
            self.assertTrue(self.session.closed)
            self.assertTrue(self.cli.closed)
            self.session.close()
            again.keepalive()


class RefusalTest(unittest.TestCase):
    router = ("--fault", "session.open@1:error=5,text=busy", "--fault", "session.close@1:error=5,text=busy")

    def test_what_the_service_refuses_is_raised_and_may_be_repeated(self):
        with self.assertRaises(qel_api.QelError) as raised:
            qel_api.Session("refused")
        self.assertIs(type(raised.exception), qel_api.QelError)
        self.assertIs(raised.exception.code, qel_api.ResultCode.ERROR)
        self.assertEqual(
            str(raised.exception), "vela_session_open failed with 1: refused, not sent or not answered"
        )

        session = qel_api.Session("accepted")
        with self.assertRaises(qel_api.QelError):
            session.close()
        self.assertFalse(session.closed)
        hang_up(session)
        session.close()
        self.assertTrue(session.closed)


class SignalTest(SessionTest):
    router = ("--fault", "session.keepalive@1:no_answer")
    limit = 60  # seconds: the library's own, after which the call would fail all the same

    def test_a_signal_that_python_handles_ends_the_wait(self):
        received, ended, main = [], threading.Event(), threading.get_ident()
        self.addCleanup(signal.signal, signal.SIGUSR1, signal.signal(signal.SIGUSR1, lambda *_: received.append(1)))

        def interrupt():
            while not ended.wait(0.02):  # repeated, for the first may come before the wait begins
                signal.pthread_kill(main, signal.SIGUSR1)

        thread = threading.Thread(target=interrupt)
        began = time.monotonic()
        thread.start()
        with self.assertRaises(qel_api.QelError):
            self.session.keepalive()
        waited = time.monotonic() - began
        ended.set()
        thread.join(PATIENCE)
        self.assertLess(waited, self.limit)
        self.assertTrue(received)
        self.session.keepalive()


class ArgumentTest(unittest.TestCase):
    def test_a_client_name_has_64_bytes_at_most(self):
        with self.assertRaisesRegex(ValueError, "the client name takes 64 bytes at most, not 65"):
            qel_api.Session("é" * 32 + "x")
        with qel_api.Session("é" * 32):
            pass

    def test_a_client_name_is_a_text_without_a_nul(self):
        with self.assertRaisesRegex(ValueError, "the client name has a NUL in it"):
            qel_api.Session("a\0b")
        with self.assertRaisesRegex(TypeError, "the client name is a str, not bytes"):
            qel_api.Session(b"name")

    def test_other_connection_types_are_refused(self):
        for connection_type, code in [(1, qel_api.ResultCode.TYPE), (5, 5)]:
            with self.assertRaises(qel_api.QelError) as raised:
                qel_api.Session("test", connection_type=connection_type)
            self.assertEqual(raised.exception.code, code)


class ErrorTest(unittest.TestCase):
    def test_every_failure_is_one_of_the_hierarchy(self):
        for code, kind in [
            (qel_api.ResultCode.PARAM, qel_api.ParameterError),
            (qel_api.ResultCode.NULL, qel_api.ParameterError),
            (qel_api.ResultCode.NOT_INIT, qel_api.NotStartedError),
            (qel_api.ResultCode.NO_SESSION, qel_api.NoSessionError),
            (qel_api.ResultCode.SESSION_OPEN, qel_api.SessionOpenError),
            (qel_api.ResultCode.MEMORY, qel_api.QelError),
            (99, qel_api.QelError),
        ]:
            error = error_for("vela_x", code)
            self.assertIs(type(error), kind)
            self.assertEqual((error.function, error.code), ("vela_x", code))

    def test_every_result_code_has_an_explanation(self):
        explanations = {str(error_for("f", code)).partition(": ")[2] for code in qel_api.ResultCode}
        self.assertEqual(len(explanations), len(qel_api.ResultCode))

    def test_errors_survive_pickling(self):
        for error in [
            error_for("vela_x", 14),
            qel_api.ServiceError("vela_y", 30),
            qel_api.CommandError("vela_cli_execute", 1, "save", "no"),
        ]:
            copy = pickle.loads(pickle.dumps(error))
            self.assertEqual((type(copy), vars(copy), str(copy)), (type(error), vars(error), str(error)))
