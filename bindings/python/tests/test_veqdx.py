"""Tests of the Python binding (unittest).

Environment: VEQDX_LIBRARY names libveqdx.so (else the package's own search order applies);
QDX_SIM names the qdx-sim program for the tests against the emulator.
"""
import ctypes
import os
import re
import subprocess
import tempfile
import threading
import shutil
import sys
import unittest
from ctypes import POINTER, c_char, c_char_p, c_double, c_int16, c_int32, c_uint16, c_uint32
from pathlib import Path

import gen_constants
import veqdx
from veqdx import lowlevel as ll

BINDING = Path(__file__).resolve().parent.parent
HEADER = BINDING.parent.parent / "include" / "veqdx.h"
SIMULATED = dict(resource="TCPIP::localhost::INSTR", options="Simulate=true")


def signed(code):
    return code - (1 << 32) if code & 0x80000000 else code


class HeaderTest(unittest.TestCase):
    def test_constants_file_is_a_fresh_generation(self):
        committed = (BINDING / "veqdx" / "_constants.py").read_text(encoding="utf-8")
        self.assertEqual(committed, gen_constants.generate(HEADER.read_text(encoding="utf-8")))

    def test_constant_values(self):
        self.assertEqual(veqdx.VEQDX_ERROR_UNKNOWN_CHANNEL_NAME, signed(0xBFFA0020))
        self.assertEqual(veqdx.IVI_ERROR_INVALID_SESSION_HANDLE, signed(0xBFFA1190))
        self.assertEqual(veqdx.VEQDX_WARN_NSUP_REV_QUERY, 0x3FFA0069)
        self.assertEqual(veqdx.VEQDX_ATTR_OCP_LIMIT, 1150012)
        self.assertEqual(veqdx.VEQDX_ATTR_ALANOG_CONTROL_RANGE, 1150005)
        self.assertEqual(veqdx.VEQDX_VAL_TRIG_SW_TRIG_FUNC, 2)
        self.assertEqual(ll.VEQDX_VAL_SUB_REGISTER_EVENT, 2)
        self.assertFalse([name for name in vars(veqdx) if name.endswith("_") and name.isupper()])

    def test_every_function_has_the_header_prototype(self):
        c_types = {"ViSession": c_uint32, "ViStatus": c_int32, "ViInt32": c_int32,
                   "ViInt16": c_int16, "ViBoolean": c_uint16, "ViReal64": c_double,
                   "ViAttr": c_uint32, "ViConstString": c_char_p}
        text = re.sub(r"/\*.*?\*/", "", HEADER.read_text(encoding="utf-8"), flags=re.S)
        found = re.findall(r"VEQDX_EXPORT\s+ViStatus\s+(\w+)\s*\(([^)]*)\)", text)
        self.assertEqual(len(found), 70)
        self.assertEqual(sorted(ll.PROTOTYPES), sorted(name for name, _ in found))
        for name, params in found:
            expected = []
            for param in (p.strip() for p in params.split(",")):
                kind = param.split()[0].rstrip("*")
                if param.startswith("ViChar") and param.endswith("]"):
                    expected.append(POINTER(c_char))
                elif "*" in param:
                    expected.append(POINTER(c_types[kind]))
                else:
                    expected.append(c_types[kind])
            function = getattr(ll, name)
            self.assertEqual(function.argtypes, expected, name)
            self.assertIs(function.restype, c_int32, name)


class LoadingTest(unittest.TestCase):
    def load(self, package_parent, library):
        env = dict(os.environ, PYTHONPATH=str(package_parent), PYTHONDONTWRITEBYTECODE="1")
        env.pop("VEQDX_LIBRARY", None)
        if library is not None:
            env["VEQDX_LIBRARY"] = library
        return subprocess.run([sys.executable, "-c", "import veqdx; print(veqdx.lowlevel."
                               "library._name)"], env=env, cwd=package_parent,
                              capture_output=True, text=True)

    def test_search_order(self):
        with tempfile.TemporaryDirectory() as parent:
            shutil.copytree(BINDING / "veqdx", Path(parent) / "veqdx")
            beside = Path(parent) / "veqdx" / "libveqdx.so"
            beside.symlink_to(Path(ll.library._name).resolve())
            found = self.load(parent, None)
            self.assertEqual(found.stdout.strip(), str(beside), found.stderr)
            refused = self.load(parent, str(Path(parent) / "missing.so"))
            self.assertNotEqual(refused.returncode, 0)
            self.assertIn("missing.so", refused.stderr)


class SessionlessTest(unittest.TestCase):
    def test_error_message(self):
        self.assertEqual(veqdx.error_message(0x3FFA0065),
                         "ID Query is not supported by this instrument.")
        self.assertEqual(veqdx.error_message(signed(0xBFFA4218)),
                         "The given Sub-Register type is invalid.")
        buffer = ctypes.create_string_buffer(256)
        self.assertEqual(ll.veqdx_error_message(0, 123, buffer), veqdx.VEQDX_WARN_UNKNOWN_STATUS)
        self.assertEqual(buffer.value, b"Unknown status code 0x0000007B.")

    def test_failed_init_raises_with_the_sessionless_description(self):
        with self.assertRaises(veqdx.VeqdxError) as caught:
            veqdx.Session(SIMULATED["resource"], options="Simulate=maybe")
        error = caught.exception
        self.assertEqual(error.status, signed(0xBFFA004C))
        self.assertEqual(error.description,
                         "VelmoraQdx: The maybe value in the option string is unknown.\r\n")
        self.assertEqual(error.function, "veqdx_InitWithOptions")
        self.assertEqual(veqdx.get_error(), (error.status, error.description))

    def test_nul_in_a_string_is_refused(self):
        with self.assertRaises(ValueError):
            veqdx.Session("TCPIP::localhost::INSTR\0junk", options="Simulate=true")

    def test_warning_status_warns_and_does_not_raise(self):
        with self.assertWarns(veqdx.VeqdxWarning) as caught:
            self.assertEqual(veqdx.session.check(0, 0x3FFA0066, "f"), 0x3FFA0066)
        self.assertEqual(caught.warning.status, 0x3FFA0066)
        self.assertEqual(caught.warning.description, "Reset is not supported by this instrument.")


class SimulatedTest(unittest.TestCase):
    def setUp(self):
        self.session = veqdx.Session(**SIMULATED)
        self.addCleanup(self.session.close)

    def test_basics(self):
        s = self.session
        self.assertEqual(s.revision_query(), ("1.0.4.0", "Sim1.0.4.0"))
        self.assertEqual(s.output_names, ["Output0"])
        self.assertEqual(s.self_test()[0], 0)
        s.configure_voltage_level(12.345678901)  # a ViReal64 that a float would not keep
        self.assertEqual(s.get_attribute_real64(veqdx.VEQDX_ATTR_VOLTAGE_LEVEL), 12.345678901)
        s.set_attribute_int32(veqdx.VEQDX_ATTR_PON_STATE, veqdx.VEQDX_VAL_PON_STATE_FORCE)
        self.assertEqual(s.get_attribute_int32(veqdx.VEQDX_ATTR_PON_STATE, "Output0"), 2)
        s.set_attribute_boolean(veqdx.VEQDX_ATTR_BLEEDER_ENABLED, False)
        self.assertIs(s.get_attribute_boolean(veqdx.VEQDX_ATTR_BLEEDER_ENABLED), False)
        self.assertIs(s.get_attribute_boolean(veqdx.VEQDX_ATTR_SIMULATE), True)
        self.assertEqual(s.get_attribute_string(veqdx.VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX), "veqdx")
        self.assertEqual(s.get_attribute_string(veqdx.VEQDX_ATTR_LOGICAL_NAME), "")

    def test_typed_access_errors(self):
        with self.assertRaises(veqdx.VeqdxError) as caught:
            self.session.get_attribute_real64(veqdx.VEQDX_ATTR_PON_STATE)
        self.assertEqual(caught.exception.status, veqdx.VEQDX_ERROR_TYPES_DO_NOT_MATCH)
        with self.assertRaises(veqdx.VeqdxError) as caught:
            self.session.set_attribute_boolean(veqdx.VEQDX_ATTR_OVP_ENABLED, False)
        self.assertEqual(caught.exception.status, signed(0xBFFA0013))
        self.assertEqual(self.session.get_error()[0], signed(0xBFFA0013))

    def test_long_strings_are_not_truncated(self):
        resource = "TCPIP::" + "h" * 600 + "::INSTR"
        with veqdx.Session(resource, options="Simulate=true") as s:
            self.assertEqual(s.get_attribute_string(veqdx.VEQDX_ATTR_IO_RESOURCE_DESCRIPTOR),
                             resource)
            name = "Output" + "7" * 700
            with self.assertRaises(veqdx.VeqdxError) as caught:
                s.configure_voltage_level(1.0, output=name)
            self.assertEqual(caught.exception.description,
                             "VelmoraQdx: Unknown channel name.\r\n" + name)

    def test_closed_session(self):
        with veqdx.Session(**SIMULATED) as s:
            handle = s.vi
        self.assertEqual(ll.veqdx_ClearError(handle), veqdx.VEQDX_ERROR_INVALID_SESSION_HANDLE)
        s.close()  # a second close does nothing
        with self.assertRaises(veqdx.VeqdxError) as caught:
            s.reset()
        self.assertEqual(caught.exception.status, signed(0xBFFA1190))
        self.assertEqual(caught.exception.description, "The session handle is not valid.")

    def test_lock_holds_other_threads_off_until_released(self):
        s, finished = self.session, threading.Event()

        def other_thread():
            s.get_attribute_real64(veqdx.VEQDX_ATTR_VOLTAGE_LEVEL)
            finished.set()

        with s.lock():
            with s.lock():  # re-entrant
                worker = threading.Thread(target=other_thread, daemon=True)
                worker.start()
            self.assertFalse(finished.wait(0.3), "call got through a held lock")
        self.assertTrue(finished.wait(10), "lock not released")
        worker.join()
        with self.assertRaises(KeyError):
            with s.lock():
                raise KeyError("released on the way out")
        worker = threading.Thread(target=other_thread, daemon=True)
        finished.clear()
        worker.start()
        self.assertTrue(finished.wait(10), "lock not released after an exception")
        worker.join()


@unittest.skipUnless(os.environ.get("QDX_SIM"), "QDX_SIM names no qdx-sim program")
class EmulatorTest(unittest.TestCase):
    """Against a qdx-sim process with outputs 1 to 3 (QDX750ML: 80 V, 28 A each)."""

    @classmethod
    def setUpClass(cls):
        cls.workdir = tempfile.TemporaryDirectory()
        cls.transcript = Path(cls.workdir.name) / "transcript.log"
        cls.sim = subprocess.Popen(
            [os.environ["QDX_SIM"], "--listen", "127.0.0.1:0", "--channels", "1,2,3",
             "--transcript", str(cls.transcript)],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        port = cls.sim.stdout.readline().strip()
        cls.resource = f"TCPIP::127.0.0.1::{port}::SOCKET"

    @classmethod
    def tearDownClass(cls):
        cls.sim.terminate()
        cls.sim.wait(10)
        cls.sim.stdout.close()
        cls.workdir.cleanup()

    def setUp(self):
        self.session = veqdx.Session(self.resource, reset=True)
        self.addCleanup(self.session.close)

    def mark(self):
        return len(self.transcript.read_text().splitlines())

    def since(self, mark):
        """The messages received after mark, synchronised by a query of our own."""
        self.assertEqual(self.session.query("*OPC?"), "1")
        lines = self.transcript.read_text().splitlines()[mark:-1]
        return [line.split(" ", 2)[2] for line in lines]

    def sent(self, action, *args, **kwargs):
        mark = self.mark()
        action(*args, **kwargs)
        return self.since(mark)

    def test_wire_effect_of_calls(self):
        s = self.session
        self.assertEqual(self.sent(s.configure_voltage_level, 12.345678901, "Output1-Output3"),
                         [":INST:NSEL 1", ":VOLT 12.345678901", ":INST:NSEL 2",
                          ":VOLT 12.345678901", ":INST:NSEL 3", ":VOLT 12.345678901"])
        self.assertEqual(self.sent(s.configure_output_enabled, True, " Output2 "),
                         [":INST:NSEL 2", ":OUTP 1"])
        self.assertEqual(self.sent(s.configure_trigger_source, veqdx.VEQDX_VAL_TRIG_SW_TRIG_FUNC,
                                   output="Output2"), ["TRIG:TRAN:SOUR BUS"])
        self.assertEqual(self.sent(s.configure_ovp, True, 50.25, "Output2"), [":VOLT:PROT 50.25"])
        self.assertEqual(self.sent(s.initiate), [":INIT"])
        self.assertEqual(self.sent(s.send_software_trigger), ["*TRG"])
        self.assertEqual(s.measure(veqdx.VEQDX_VAL_MEASURE_VOLTAGE, "Output2"), 12.345678901)
        self.assertTrue(s.query_output_state(veqdx.VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE, "Output2"))
        register = s.get_status_register(veqdx.VEQDX_VAL_REGISTER_OPERATION,
                                         veqdx.VEQDX_VAL_SUB_REGISTER_CONDITION, "Output2")
        self.assertEqual(register & 0x100, 0x100)  # constant voltage
        self.assertEqual(s.query_max_voltage_level(1.0, "Output3"), 80.0)

    def assert_fails(self, status, description, call, *args):
        mark = self.mark()
        with self.assertRaises(veqdx.VeqdxError) as caught:
            call(*args)
        self.assertEqual(self.since(mark), [], "a failed call sent something")
        error = caught.exception
        self.assertEqual(error.status, status)
        self.assertEqual(error.description, description)
        self.assertEqual(error.function, "veqdx_ConfigureVoltageLevel")
        self.assertEqual(self.session.get_error(), (error.status, error.description))

    def test_errors_carry_status_and_description(self):
        s = self.session
        self.assert_fails(signed(0xBFFA0020), "VelmoraQdx: Unknown channel name.\r\nOutput4",
                          s.configure_voltage_level, 1.0, "Output4")
        self.assert_fails(signed(0xBFFA0066), "The repeated capability selector is badly-formed.",
                          s.configure_voltage_level, 1.0, "Output1-")
        self.assert_fails(signed(0xBFFA0044), "VelmoraQdx: A channel name is required.\r\n",
                          s.configure_voltage_level, 1.0)
        self.assert_fails(signed(0xBFFA0010),
                          "VelmoraQdx: Invalid value (85) for method put_VoltageLevel, "
                          "parameter val.\r\n", s.configure_voltage_level, 85.0, "Output1")

    def test_direct_io_of_a_long_response(self):
        s = self.session
        s.configure_voltage_level(12.345678901, "Output1")
        self.assertEqual(s.query(":VOLT?;" * 599 + ":VOLT?"), ";".join(["12.345678901"] * 600))
        s.system_write("*IDN?")
        self.assertEqual(s.system_read(), "Velmora,QDX750ML,SIM0001,1.00\n")


if __name__ == "__main__":
    unittest.main()
