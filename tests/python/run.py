#!/usr/bin/env python3
"""Runs the test classes of a module, each in a process of its own with a router of its own.

    QEL_SIM=build/gcc/bin/qel-sim QEL_API_LIBRARY=build/gcc/lib/libqel_api.so.2 tests/python/run.py MODULE

A class says in `router` with which options of `qel-sim run` its router is started: a scenario, faults. The control
channel is always there. None: its tests start routers of their own.
"""

import importlib
import os
import pathlib
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PATH = [str(HERE), str(HERE.parent.parent / "bindings/python")]
LOADER = unittest.defaultTestLoader


def classes(module: str) -> list[type[unittest.TestCase]]:
    found = vars(importlib.import_module(module)).values()
    tests = [each for each in found if isinstance(each, type) and issubclass(each, unittest.TestCase)]
    return [each for each in tests if each.__module__ == module and LOADER.getTestCaseNames(each)]


def run_class(test_class: type[unittest.TestCase]) -> bool:
    name = f"{test_class.__module__}.{test_class.__qualname__}"
    print(f"== {name}", flush=True)
    options = getattr(test_class, "router", ())
    router = [] if options is None else [os.environ["QEL_SIM"], "run", "--control", *options, "--"]
    tests = [sys.executable, "-W", "error", "-m", "unittest", "-v", name]
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(PATH), "PYTHONDONTWRITEBYTECODE": "1"}
    return subprocess.run(router + tests, env=environment, check=False).returncode == 0


def main() -> int:
    sys.dont_write_bytecode = True
    for name in ("QEL_SIM", "QEL_API_LIBRARY"):
        os.environ[name] = os.path.abspath(os.environ[name])
    sys.path[:0] = PATH
    results = [run_class(each) for each in classes(sys.argv[1])]
    return 0 if results and all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
