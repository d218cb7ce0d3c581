"""Events: what is delivered to whom, callbacks that fail, and how long a registration lasts."""

import gc
import os
import sys
import threading
import unittest
import weakref

import qel_api
from qel_api import EventKind, IclogFilter, IfstateFilter, RouteFilter, _native, events
from support import PATIENCE, Inbox, SessionTest, control, hang_up, run_python

DOWN = "interface GigabitEthernet0/0/0 down (shut down)"
UP = "interface GigabitEthernet0/0/0 up"


class EventsTest(SessionTest):
    def watch(self, callback, tag="interfaces", what=IfstateFilter()):
        handle = self.session.events()
        handle.add(tag, what)
        handle.register(callback)
        return handle


class DeliveryTest(EventsTest):
    def test_shutting_an_interface_from_the_cli_is_an_event(self):
        inbox = Inbox()
        handle = self.watch(inbox.put)
        with self.session.cli() as cli:
            for command in ("system-view", "interface GigabitEthernet0/0/0", "shutdown", "undo shutdown", "return"):
                cli.execute(command)
        session = self.session.handle & 0xFFFF
        self.assertEqual(inbox.next(), qel_api.Event(session, "interfaces", EventKind.IFSTATE, DOWN))
        self.assertEqual(inbox.next(), qel_api.Event(session, "interfaces", EventKind.IFSTATE, UP))
        handle.close()

    def test_every_kind_is_delivered_under_its_tag(self):
        inbox = Inbox()
        handle = self.session.events()
        handle.add("lines", IclogFilter(level=2))
        handle.add("interfaces", IfstateFilter())
        handle.add("routes", RouteFilter())
        handle.register(inbox.put)
        control("log FAN/2/FAN_OFF: it stands")
        control("link Cellular0/0/0 up")
        control("event route a route")
        seen = [inbox.next() for _ in range(3)]
        self.assertEqual([event.tag for event in seen], ["lines", "interfaces", "routes"])
        self.assertEqual([event.kind for event in seen], [EventKind.ICLOG, EventKind.IFSTATE, EventKind.ROUTE])
        self.assertTrue(seen[0].content.endswith(" FAN/2/FAN_OFF: it stands"))
        self.assertEqual(seen[2].content, "a route")
        control("link Cellular0/0/0 down")
        self.assertEqual(inbox.next().tag, "interfaces")

    def test_an_event_without_content_has_none(self):
        inbox = Inbox()
        self.watch(inbox.put)
        registration = control("clients")["clients"][-1]["registrations"][0]["name"]
        control(f"raw all {registration} interfaces")
        self.assertIsNone(inbox.next().content)

    def test_filters_reach_the_router(self):
        inbox = Inbox()
        handle = self.session.events()
        handle.add("interfaces", IfstateFilter("Cellular", number1=1))
        handle.add("routes", RouteFilter("10.0.0.0", 8, "static", "x" * 300))
        handle.add("lines", IclogFilter("FAN", 8, "FAN_OFF", "it stands" + "!" * 300))
        handle.add("last", RouteFilter(text3="192.168.1.254"))
        handle.register(inbox.put)
        control("link GigabitEthernet0/0/1 down")
        control("link Cellular0/0/0 up")
        control("link Cellular0/0/0 down")
        control("log FAN/2/FAN_OFF: it stands")
        control("log FAN/2/FAN_OFF: it stands" + "!" * 300)
        with self.session.cli() as cli:
            cli.execute("system-view")
            cli.execute("ip route-static 10.1.0.0 16 192.168.1.254")
        seen = [inbox.next() for _ in range(3)]
        self.assertEqual([event.tag for event in seen], ["interfaces", "lines", "last"])
        self.assertEqual(seen[0].content, "interface Cellular0/0/0 up")
        control("link GigabitEthernet0/0/1 up")

    def test_ten_thousand_events_come_in_order(self):
        inbox = Inbox()
        self.watch(inbox.put)
        control("flood 10000")
        contents = [inbox.next().content for _ in range(10000)]
        self.assertEqual(contents, [f"event {number}" for number in range(1, 10001)])

    def test_the_kind_is_known_though_another_handle_was_freed(self):
        inbox = Inbox()
        waiting = self.session.events()
        waiting.add("routes", RouteFilter())
        self.watch(print).close()  # the library forgets the kinds of all tags
        waiting.register(inbox.put)
        control("event route x")
        self.assertEqual(inbox.next().kind, EventKind.ROUTE)

    def test_a_callback_may_call_the_library(self):
        inbox = Inbox()
        self.watch(lambda event: inbox.put(qel_api.snmp.get("1.3.6.1.2.1.1.5.0")))
        control("event ifstate x")
        self.assertEqual(inbox.next(), "Tarkon")


class CallbackFailureTest(EventsTest):
    def test_an_exception_goes_to_the_unraisable_hook_and_the_next_event_is_delivered(self):
        inbox, reported = Inbox(), Inbox()
        self.addCleanup(setattr, sys, "unraisablehook", sys.unraisablehook)
        sys.unraisablehook = lambda report: reported.put((report.exc_type, str(report.exc_value)))
        failures = iter([ValueError("first"), SystemExit(3), KeyboardInterrupt()])

        def callback(event):
            for failure in failures:
                raise failure
            inbox.put(event.content)

        self.watch(callback)
        for content in ("one", "two", "three", "four"):
            control(f"event ifstate {content}")
        self.assertEqual(reported.next(), (ValueError, "first"))
        self.assertEqual(reported.next(), (SystemExit, "3"))
        self.assertEqual(reported.next()[0], KeyboardInterrupt)
        self.assertEqual(inbox.next(), "four")


class LifetimeTest(EventsTest):
    def test_a_registration_lasts_though_nothing_refers_to_it(self):
        inbox = Inbox()
        self.watch(lambda event: inbox.put(event.content))
        gc.collect()
        control("event ifstate still here")
        self.assertEqual(inbox.next(), "still here")

    def test_a_closed_handle_lets_its_callback_go_and_keeps_the_entry_point(self):
        class Callback:
            def __call__(self, event):
                pass

        callback = Callback()
        gone = weakref.ref(callback)
        handle = self.watch(callback)
        number = handle.handle
        entry_point = events._entry_points[number]
        handle.close()
        del callback
        gc.collect()
        self.assertIsNone(gone())
        # The library may be about to call it still.
        self.assertIs(events._entry_points[number], entry_point)
        entry_point(1, b"interfaces", EventKind.IFSTATE, None, 0)

    def test_nothing_is_delivered_after_closing(self):
        first, second = Inbox(), Inbox()
        self.watch(first.put).close()
        self.watch(second.put)
        control("event ifstate for the second")
        self.assertEqual(second.next().content, "for the second")
        self.assertTrue(first.empty())

    def test_a_callback_may_close_its_handle(self):
        inbox = Inbox()

        def callback(event):
            handle.close()
            inbox.put(handle.closed)

        handle = self.watch(callback)
        control("event ifstate x")
        self.assertTrue(inbox.next())

    def test_closing_while_the_callback_runs_does_not_disturb_it(self):
        inbox, proceed = Inbox(), threading.Event()

        def callback(event):
            inbox.put("began")
            inbox.put(proceed.wait(PATIENCE))

        handle = self.watch(callback)
        control("event ifstate x")
        self.assertEqual(inbox.next(), "began")
        handle.close()
        gc.collect()
        proceed.set()
        self.assertTrue(inbox.next())

    def test_closing_may_be_repeated(self):
        handle = self.watch(print)
        number = handle.handle
        self.assertEqual(repr(handle), f"<qel_api.EventHandle {number}>")
        handle.close()
        handle.close()
        self.assertFalse(handle.registered)
        self.assertEqual(repr(handle), "<qel_api.EventHandle closed>")
        with self.session.events() as following:
            self.assertEqual(following.handle, number)
            handle.close()
            following.add("interfaces", IfstateFilter())

    def test_a_closed_handle_refuses_every_use(self):
        handle = self.watch(print)
        handle.close()
        for use, function in [
            (lambda: handle.add("x", IfstateFilter()), "vela_event_add"),
            (lambda: handle.register(print), "vela_event_reg"),
        ]:
            with self.assertRaises(qel_api.ClosedError) as raised:
                use()
            self.assertEqual(raised.exception.function, function)

    def test_a_handle_that_was_never_registered_is_given_back(self):
        for _ in range(20):
            with self.session.events() as handle:
                handle.add("interfaces", IfstateFilter())
            self.assertEqual(handle.handle, 0)

    def test_closing_one_that_was_never_registered_leaves_the_registered_one_alone(self):
        inbox = Inbox()
        registered = self.watch(inbox.put)
        other = self.session.events()
        other.add("routes", RouteFilter())
        other.close()
        self.assertTrue(other.closed)
        control("event ifstate still here")
        self.assertEqual(inbox.next().content, "still here")

        # Both are free again.
        registered.close()
        self.assertEqual([self.session.events().handle for _ in range(2)], [0, 1])

    def test_closing_the_session_closes_its_handles(self):
        registered, waiting = self.watch(print), self.session.events()
        self.session.close()
        self.assertTrue(registered.closed and waiting.closed)
        with qel_api.Session("next") as session, session.events() as handle:
            self.assertEqual(handle.handle, 0)

    def test_a_hang_up_closes_handles_silently_and_they_leave_the_next_session_s_alone(self):
        lost = self.watch(print)
        hang_up(self.session)
        inbox = Inbox()
        with qel_api.Session("again") as session, session.events() as handle:
            self.assertTrue(lost.closed)
            self.assertEqual(handle.handle, lost.handle)
            handle.add("interfaces", IfstateFilter())
            handle.register(inbox.put)
            lost.close()
            control("event ifstate x")
            self.assertEqual(inbox.next().content, "x")

    def test_a_handle_is_closed_silently_after_a_hang_up(self):
        handle = self.watch(print)
        hang_up(self.session)
        handle.close()
        self.assertTrue(handle.closed)

    def test_the_thread_that_callbacks_run_on_has_ended_when_the_library_is_released(self):
        inbox = Inbox()
        self.watch(lambda event: inbox.put(threading.current_thread().native_id))
        control("event ifstate x")
        entry = f"/proc/self/task/{inbox.next()}"
        self.assertTrue(os.path.exists(entry))
        qel_api.release()
        self.assertFalse(os.path.exists(entry))

    def test_sixteen_handles_can_be_taken(self):
        handles = [self.session.events() for _ in range(16)]
        self.assertEqual([handle.handle for handle in handles], list(range(16)))
        with self.assertRaises(qel_api.QelError) as raised:
            self.session.events()
        self.assertEqual((raised.exception.function, raised.exception.code), ("vela_event_new", 1))


class ExitTest(EventsTest):
    SCRIPT = """
import socket, sys, time, qel_api
session = qel_api.Session("exit")
events = session.events()
events.add("x", qel_api.IfstateFilter())
began = []
events.register(lambda event: began.append(event) or time.sleep(0.001))
channel = socket.socket(socket.AF_UNIX)
channel.connect(sys.argv[1])
channel.sendall(b"flood 3000\\n")
channel.detach()  # it ends with the process
while not began:
    session.keepalive()
"""

    def test_an_interpreter_that_ends_in_the_middle_of_a_flood_ends_well(self):
        for _ in range(3):
            ended = run_python(self.SCRIPT, os.environ["QEL_SIM_CONTROL"])
            self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "", ""))

    def test_the_events_that_are_left_at_the_end_are_not_waited_for(self):
        script = """
import atexit, socket, sys, time

began = []
at_the_end = []
atexit.register(lambda: print(len(began) - len(at_the_end)))  # the first one registered runs last
import qel_api
atexit.register(lambda: at_the_end.extend(began))

session = qel_api.Session("exit")
events = session.events()
events.add("x", qel_api.IfstateFilter())
events.register(lambda event: began.append(event) or time.sleep(0.05))
channel = socket.socket(socket.AF_UNIX)
channel.connect(sys.argv[1])
channel.sendall(b"flood 3000 0 200\\n")
channel.detach()  # it ends with the process
while len(began) < 2:
    time.sleep(0.001)
"""
        ended = run_python(script, os.environ["QEL_SIM_CONTROL"])
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        self.assertLess(int(ended.stdout), 50)  # of more than a hundred in one receive


class RefusalTest(EventsTest):
    def test_tags_are_not_empty_and_no_piece_of_an_earlier_one(self):
        handle = self.session.events()
        handle.add("interfaces", IfstateFilter())
        for tag in ("", "interfaces", "face"):
            with self.assertRaises(qel_api.QelError) as raised:
                handle.add(tag, IfstateFilter())
            self.assertEqual((raised.exception.function, raised.exception.code), ("vela_event_add", 1))
        with self.assertRaisesRegex(ValueError, "the tag has a NUL in it"):
            handle.add("a\0b", IfstateFilter())

    def test_a_subscription_to_everything_is_refused(self):
        with self.assertRaises(qel_api.QelError):
            self.session.events().add("lines", IclogFilter(level=8))

    def test_subscriptions_come_before_the_callback(self):
        handle = self.watch(print)
        with self.assertRaisesRegex(RuntimeError, "before the callback is registered"):
            handle.add("routes", RouteFilter())

    def test_a_handle_has_one_callback(self):
        handle = self.watch(print)
        with self.assertRaisesRegex(RuntimeError, "has a callback already"):
            handle.register(print)

    def test_a_second_registration_is_refused_and_leaves_the_first_alone(self):
        inbox = Inbox()
        self.watch(inbox.put)
        with self.assertRaisesRegex(RuntimeError, "another handle has a callback"):
            self.watch(print, "others")
        control("event ifstate still here")
        self.assertEqual(inbox.next().content, "still here")

    def test_a_callback_is_registered_in_the_session_s_thread(self):
        handle, inbox = self.session.events(), Inbox()

        def register():
            try:
                handle.register(print)
            except RuntimeError as error:
                inbox.put(str(error))

        threading.Thread(target=register).start()
        self.assertRegex(inbox.next(), "in the thread that opened the session")


class LastStepRefusalTest(EventsTest):
    router = ("--fault", "event.register@2:error=5,text=busy")

    def test_a_handle_whose_registration_failed_at_its_last_step_is_given_back(self):
        inbox = Inbox()
        with self.session.events() as handle:
            handle.add("interfaces", IfstateFilter())
            with self.assertRaises(qel_api.QelError):
                handle.register(inbox.put)
            self.assertFalse(handle.registered)
        self.assertTrue(handle.closed)
        following = self.watch(inbox.put)
        self.assertEqual(following.handle, handle.handle)
        control("event ifstate x")
        self.assertEqual(inbox.next().content, "x")


class CloseRefusalTest(EventsTest):
    router = ("--fault", "event.register@3:error=5,text=busy")

    def test_a_handle_that_the_service_does_not_take_back_stays_registered(self):
        inbox = Inbox()
        handle = self.watch(inbox.put)
        with self.assertRaises(qel_api.QelError) as raised:
            handle.close()
        self.assertEqual(raised.exception.function, "vela_event_free")
        self.assertTrue(handle.registered)
        self.assertFalse(handle.closed)
        handle.close()
        self.assertTrue(handle.closed)


class FilterTest(unittest.TestCase):
    def test_a_text_that_does_not_fit_its_field_is_refused(self):
        for what, field, limit in [
            (IclogFilter(text="x" * 64), "text", 63),
            (IclogFilter(info_alias="x" * 64), "info_alias", 63),
            (IfstateFilter("x" * 64), "text", 63),
            (RouteFilter("x" * 16), "text1", 15),
            (RouteFilter(text2="x" * 8), "text2", 7),
        ]:
            with self.assertRaisesRegex(ValueError, f"{field} takes {limit} bytes at most, not {limit + 1}"):
                what.record()

    def test_a_number_of_more_than_32_bits_is_refused(self):
        for what in (IclogFilter(level=-1), IfstateFilter(number1=1 << 32), RouteFilter(number=1 << 32)):
            with self.assertRaisesRegex(ValueError, "is a number from 0 to 4294967295"):
                what.record()

    def test_a_nul_is_refused(self):
        for what in (IclogFilter(loginfo="a\0b"), IfstateFilter("a\0b"), RouteFilter(text3="a\0b")):
            with self.assertRaisesRegex(ValueError, "has a NUL in it"):
                what.record()

    def test_the_last_text_may_go_on_behind_its_field(self):
        for what, record in [
            (IclogFilter(loginfo="x" * 300), _native.IclogParameters.loginfo),
            (RouteFilter(text3="x" * 300), _native.RouteParameters.text3),
        ]:
            self.assertEqual(bytes(what.record())[record.offset :], b"x" * 300 + b"\0")
