"""The CLI channel: commands, answers to prompts, saving, and the texts that come back."""

import unittest

import qel_api
from qel_api import cli as cli_module
from support import SessionTest, counted_texts


class CliTest(SessionTest):
    def setUp(self):
        super().setUp()
        self.cli = self.session.cli()
        self.addCleanup(self.cli.close)

    def test_a_command_gives_what_the_router_printed(self):
        self.assertIn("Quor Router Software, Version 2.0", self.cli.execute("display version"))

    def test_a_command_that_prints_nothing_gives_an_empty_text(self):
        self.assertEqual(self.cli.execute("system-view"), "")
        self.assertEqual(self.cli.execute("return"), "")

    def test_a_rejected_command_raises_with_the_router_s_output(self):
        with self.assertRaises(qel_api.CommandError) as raised:
            self.cli.execute("display verison")
        error = raised.exception
        self.assertIs(error.code, qel_api.ResultCode.ERROR)
        self.assertEqual(error.function, "vela_cli_execute")
        self.assertEqual(error.command, "display verison")
        self.assertIn('Error: unknown word "verison" in the user view.', error.output)
        self.assertEqual(
            str(error), "vela_cli_execute failed with 1: 'display verison' was rejected, not sent or not answered"
        )

    def test_an_empty_command_is_refused(self):
        with self.assertRaises(qel_api.ParameterError) as raised:
            self.cli.execute("")
        self.assertIs(raised.exception.code, qel_api.ResultCode.PARAM)

    def test_a_command_that_fits_no_request_is_refused(self):
        with self.assertRaises(qel_api.CommandError) as raised:
            self.cli.execute("x" * 8000)
        self.assertEqual(raised.exception.output, "")

    def test_prompts_are_answered_by_choices(self):
        for choices in [{"continue": "y"}, [("nothing", "n"), ("continue", "y")], iter([("continue", "y")])]:
            self.assertIn("continue", self.cli.execute("save", choices))
        for choices in [None, {}, [("nothing", "y")]]:
            with self.assertRaises(qel_api.CommandError) as raised:
                self.cli.execute("save", choices)
            self.assertIn("continue", raised.exception.output)

    def test_the_configuration_is_saved(self):
        self.cli.execute("system-view")
        self.cli.execute("sysname Branch-7")
        self.cli.execute("return")
        self.cli.save()
        self.assertIn("sysname Branch-7", self.cli.execute("display saved-configuration"))

    def test_a_text_that_is_no_utf_8_is_itself_again(self):
        latin = b"caf\xe9".decode("utf-8", "surrogateescape")
        self.cli.execute("system-view")
        self.cli.execute("interface GigabitEthernet0/0/0")
        self.cli.execute(f"description {latin}")
        self.assertIn(f"description {latin}", self.cli.execute("display this"))
        self.cli.execute("undo description")
        self.cli.execute("return")

    def test_every_text_is_given_back(self):
        with counted_texts() as texts:
            self.cli.execute("display version")
            self.assertEqual(len(texts), 1)
            with self.assertRaises(qel_api.CommandError):
                self.cli.execute("display verison")
            self.assertEqual(len(texts), 2)
            self.cli.execute("system-view")
            self.cli.execute("return")
            with self.assertRaises(qel_api.ParameterError):
                self.cli.execute("")
        self.assertEqual(len(texts), 2)

    def test_a_nul_is_refused_before_anything_is_sent(self):
        for command, choices in [
            ("display\0version", None),
            ("save", {"con\0tinue": "y"}),
            ("save", [("continue", "\0")]),
        ]:
            with self.assertRaisesRegex(ValueError, "has a NUL in it"):
                self.cli.execute(command, choices)

    def test_there_is_one_channel(self):
        with self.assertRaises(qel_api.QelError) as raised:
            self.session.cli()
        self.assertEqual((raised.exception.function, raised.exception.code), ("vela_cli_open", 1))

    def test_a_closed_channel_refuses_every_use(self):
        self.cli.close()
        self.cli.close()
        self.assertEqual(repr(self.cli), "<qel_api.Cli closed>")
        for use in (lambda: self.cli.execute("display version"), self.cli.save):
            with self.assertRaises(qel_api.ClosedError):
                use()
        with self.session.cli() as following:
            self.assertRaises(qel_api.ClosedError, self.cli.execute, "display version")
            self.assertIn("Quor", following.execute("display version"))
            self.assertEqual(repr(following), f"<qel_api.Cli {following.handle}>")
        self.assertTrue(following.closed)

    def test_closing_the_session_closes_the_channel(self):
        self.session.close()
        self.assertTrue(self.cli.closed)
        with qel_api.Session("next") as following, following.cli() as cli:
            self.cli.close()
            self.assertIn("Quor", cli.execute("display version"))


class OwnChannelTest(SessionTest):
    def test_saving_needs_no_channel(self):
        cli_module.save()
        with self.session.cli() as cli:
            self.assertIn("sysname", cli.execute("display saved-configuration"))

    def test_saving_needs_a_session(self):
        self.session.close()
        with self.assertRaises(qel_api.QelError) as raised:
            cli_module.save()
        self.assertEqual((raised.exception.function, raised.exception.code), ("vela_cli_save", 1))


class RefusalTest(SessionTest):
    router = ("--fault", "cli.close@1:error=5,text=busy")

    def test_a_channel_that_the_service_does_not_close_stays_open(self):
        cli = self.session.cli()
        with self.assertRaises(qel_api.QelError):
            cli.close()
        self.assertFalse(cli.closed)
        self.session.close()
        self.assertTrue(cli.closed)


class MaskedRefusalTest(SessionTest):
    router = ("--fault", "cli.close@1:error=5,text=busy")

    def test_what_went_wrong_in_a_block_is_told_rather_than_that_closing_failed(self):
        with self.assertRaisesRegex(KeyError, "mine"):
            with self.session.cli() as cli:
                raise KeyError("mine")
        self.assertFalse(cli.closed)


class ChoiceTextTest(unittest.TestCase):
    def test_choices_are_pairs_of_quoted_texts(self):
        for choices, text in [
            (None, None),
            ({}, b""),
            ({"continue": "y"}, b'"continue":"y"'),
            ({"a": "b", "c": ""}, b'"a":"b","c":""'),
            ([("same", "1"), ("same", "2")], b'"same":"1","same":"2"'),
        ]:
            self.assertEqual(cli_module.choice_text(choices), text)

    def test_a_quote_is_refused(self):
        for choices in [{'say "yes"': "y"}, {"continue": '"'}]:
            with self.assertRaisesRegex(ValueError, "a choice cannot hold a quote"):
                cli_module.choice_text(choices)
