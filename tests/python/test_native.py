"""The ctypes declarations against the C library: records, functions, constants, and how the library is found."""

import ctypes
import os
import re
import subprocess
import sys
import unittest

import qel_api
from qel_api import _native
from support import ROOT, run

HEADER = (ROOT / "include/qel_api.h").read_text()


def fields_of(record):
    """Name, type of each field; those of an anonymous union stand for it."""
    for name, kind in record._fields_:
        if name in getattr(record, "_anonymous_", ()):
            yield kind._fields_[0]
        else:
            yield name, kind


def layout(name, record):
    """A record as tests/abi/record_layout.txt lists it."""
    yield f"{name} {ctypes.sizeof(record)} align {ctypes.alignment(record)}"
    for field, kind in fields_of(record):
        yield f"    {field} {getattr(record, field).offset} {ctypes.sizeof(kind)}"


class RecordTest(unittest.TestCase):
    def test_every_record_is_laid_out_as_c_has_it(self):
        listed = (ROOT / "tests/abi/record_layout.txt").read_text().splitlines()
        ours = [line for name, record in _native.RECORDS.items() for line in layout(name, record)]
        self.assertEqual(ours, listed)

    def test_every_result_field_is_a_field_of_its_record(self):
        for result, record in [
            (qel_api.queries.Location, _native.GpsLocation),
            (qel_api.queries.Station, _native.WlanStation),
            (qel_api.queries.CellularLink, _native.LteBrief),
            (qel_api.queries.Connection, _native.LteConnection),
            (qel_api.queries.Message, _native.LteSms),
            (qel_api.queries.AccessUser, _native.AccessUserBrief),
            (qel_api.queries.Calls, _native.VoiceCalls),
            (qel_api.queries.CitaParameters, _native.VoiceCitaParameters),
            (qel_api.queries.CitaConfiguration, _native.VoiceCitaConfiguration),
        ]:
            not_filled = {"text0", "reserved"}
            filled = [name for name, _ in fields_of(record) if name not in not_filled]
            self.assertEqual(list(result.__dataclass_fields__), filled, result)


C_TYPES = {
    "int32_t": ctypes.c_int32,
    "uint32_t": ctypes.c_uint32,
    "tagVELA_EVENT": ctypes.c_int32,
    "tagCELLULAR_AUTH_MODE": ctypes.c_int32,
    "fEventCallBack": _native.EventCallback,
    "void*": ctypes.c_void_p,
    "char*": ctypes.c_char_p,
    "char**": ctypes.POINTER(ctypes.c_char_p),
    "int32_t*": ctypes.POINTER(ctypes.c_int32),
    "uint32_t*": ctypes.POINTER(ctypes.c_uint32),
    "uint8_t*": ctypes.POINTER(ctypes.c_uint8),
    **{f"{name}*": ctypes.POINTER(record) for name, record in _native.RECORDS.items()},
}


def declared_functions():
    """Name, result and parameter types of every function of the header."""
    for result, name, parameters in re.findall(r"^VELA_EXPORT ([\w*]+) (\w+)\(([^)]*)\);", HEADER, re.MULTILINE):
        kinds = [] if parameters == "void" else re.split(r",\s+", parameters)
        yield name, C_TYPES[result], [C_TYPES[re.sub(r"^const | \w+$", "", kind)] for kind in kinds]


class FunctionTest(unittest.TestCase):
    # A record that may go on behind its end is passed as bytes.
    as_bytes = {"vela_voice_set_sip_account"}

    def test_every_exported_function_is_declared_and_no_other(self):
        exported = (ROOT / "tests/abi/exports.txt").read_text().split()
        self.assertEqual(sorted(_native.FUNCTIONS), sorted(exported))

    def test_every_function_has_the_header_s_types(self):
        declared = list(declared_functions())
        self.assertEqual(sorted(name for name, _, _ in declared), sorted(_native.FUNCTIONS))
        for name, result, parameters in declared:
            if name in self.as_bytes:
                parameters = [ctypes.c_void_p]
            function = getattr(_native.library, name)
            self.assertIs(function.restype, result, name)
            self.assertEqual(function.argtypes, parameters, name)

    def test_a_block_from_vela_malloc_goes_back_to_vela_free(self):
        block = _native.library.vela_malloc(16)
        ctypes.memset(block, 0xFF, 16)
        self.assertEqual(_native.library.vela_free(block), qel_api.ResultCode.OK)


class ConstantTest(unittest.TestCase):
    def of_header(self, prefix):
        return {name: int(value) for name, value in re.findall(rf"^ +{prefix}(\w+) = (\d+)", HEADER, re.MULTILINE)}

    def test_the_result_codes_are_the_header_s(self):
        codes = {code.name: code.value for code in qel_api.ResultCode}
        expected = {"OK": 0, **self.of_header("VELA_ERROR_")}
        expected["ERROR"] = int(re.search(r"VELA_ERROR = (\d+)", HEADER).group(1))
        self.assertEqual(codes, expected)

    def test_the_sizes_are_the_header_s(self):
        defined = re.findall(r"^#define VELA_(\w+_SIZE) (\d+)", HEADER, re.MULTILINE)
        self.assertEqual([name for name, _ in defined], ["VERSION_SIZE", "ESN_SIZE"])
        for name, value in defined:
            self.assertEqual(getattr(_native, name), int(value), name)

    def test_the_event_kinds_are_the_header_s(self):
        self.assertEqual({kind.name: kind.value for kind in qel_api.EventKind}, self.of_header("VELA_EVENT_"))

    def test_the_authentication_modes_are_the_header_s(self):
        modes = {mode.name: mode.value for mode in qel_api.CellularAuthMode}
        self.assertEqual(modes, self.of_header("VELA_CELLULAR_AUTH_"))

    def test_the_soname_is_the_shared_object_s(self):
        with open(os.environ["QEL_API_LIBRARY"], "rb") as library:
            self.assertIn(b"\0" + _native.SONAME.encode() + b"\0", library.read())


class LoadTest(unittest.TestCase):
    def import_with(self, **environment):
        clean = {name: value for name, value in os.environ.items() if name != "QEL_API_LIBRARY"}
        return subprocess.run(
            [sys.executable, "-c", "import qel_api"],
            env={**clean, **environment},
            capture_output=True,
            text=True,
            check=False,
        )

    def test_the_soname_is_looked_for_when_no_file_is_named(self):
        directory = os.path.dirname(os.environ["QEL_API_LIBRARY"])
        self.assertEqual(self.import_with(LD_LIBRARY_PATH=directory).returncode, 0)

        missing = self.import_with(LD_LIBRARY_PATH="/nonexistent")
        self.assertEqual(missing.returncode, 1)
        self.assertIn(
            "ImportError: qel_api: cannot load libqel_api.so.2 (QEL_API_LIBRARY is not set, so looked for on the "
            "loader's path): ",
            missing.stderr,
        )

    def test_a_file_that_is_missing_is_named(self):
        missing = self.import_with(QEL_API_LIBRARY="/nonexistent.so")
        self.assertEqual(missing.returncode, 1)
        self.assertIn(
            "ImportError: qel_api: cannot load /nonexistent.so (named by QEL_API_LIBRARY): /nonexistent.so: cannot "
            "open shared object file: No such file or directory. Install the library, or set QEL_API_LIBRARY to its "
            "file.\n",
            missing.stderr,
        )

    def test_another_library_is_told_apart(self):
        other = self.import_with(QEL_API_LIBRARY="libc.so.6")
        self.assertEqual(other.returncode, 1)
        self.assertIn("has no vela_init: it is not this package's library\n", other.stderr)


class HelpTest(unittest.TestCase):
    def test_the_module_prints_the_version_and_a_screen_of_help(self):
        shown = run(sys.executable, "-m", "qel_api")
        self.assertEqual((shown.returncode, shown.stderr), (0, ""))
        self.assertTrue(shown.stdout.startswith("Vela Quor v1.5.70.000\n\nPrograms on a Quor router"))
        lines = shown.stdout.splitlines()
        self.assertLessEqual(len(lines), 24)
        self.assertLessEqual(max(len(line) for line in lines), 80)
        self.assertEqual(run(sys.executable, "-m", "qel_api", "--help").stdout, shown.stdout)

    def test_other_arguments_are_refused(self):
        refused = run(sys.executable, "-m", "qel_api", "walk")
        self.assertEqual((refused.returncode, refused.stdout), (2, ""))
        self.assertEqual(refused.stderr, "usage: python3 -m qel_api\n")

    def test_the_package_s_version_is_the_library_s(self):
        self.assertIn(f"v{qel_api.__version__}.", qel_api.version())
        project = (ROOT / "bindings/python/pyproject.toml").read_text()
        self.assertIn(f'version = "{qel_api.__version__}"', project)
