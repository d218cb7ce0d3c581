"""Everything in docs/python.md is run: the Python blocks as one program, whose output stands behind each, and the shell
blocks."""

import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

import qel_api

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ["QEL_SIM"]).parent.parent
DOCUMENT = (ROOT / "docs/python.md").read_text()
PATIENCE = 120  # seconds; longer than anything takes on a busy machine


def blocks():
    return re.findall(r"^```(\w+)\n(.*?)^```$", DOCUMENT, re.MULTILINE | re.DOTALL)


class DocumentTest(unittest.TestCase):
    router = None
    maxDiff = None

    def test_the_python_blocks_print_what_stands_behind_them(self):
        expected = "".join(text for kind, text in blocks() if kind == "text")
        program = "".join(f"{text}\n" for kind, text in blocks() if kind == "python")
        ran = subprocess.run(
            [os.environ["QEL_SIM"], "run", "--", sys.executable, "-c", program],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=False,
        )
        self.assertEqual((ran.returncode, ran.stdout, ran.stderr), (0, expected, ""))

    def test_the_shell_blocks_run(self):
        for script in (text for kind, text in blocks() if kind == "sh"):
            here = re.sub(r"(\$PWD/)?build/gcc", lambda _: shlex.quote(str(BUILD)), script)
            ran = subprocess.run(
                ["bash", "-euc", here],
                cwd=ROOT,
                capture_output=True,
                text=True,
                timeout=PATIENCE,
                check=False,
            )
            self.assertEqual(ran.returncode, 0, ran.stderr)

    def test_every_exception_and_query_stands_in_a_table(self):
        named = set(re.findall(r"^\| `(\w+)", DOCUMENT, re.MULTILINE))
        exceptions = {name for name in vars(qel_api.errors) if name.endswith("Error")}
        self.assertLessEqual(exceptions, named)
        module = vars(qel_api.queries)
        own = {name for name, each in module.items() if getattr(each, "__module__", "") == module["__name__"]}
        queries = {name for name in own if name.islower() and not name.startswith("_")}
        self.assertEqual(len(queries), 15)
        self.assertLessEqual(queries, named)
