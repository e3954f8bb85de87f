"""The Pythonic layer: Session, VeqdxError and VeqdxWarning."""
import contextlib
import warnings
from ctypes import byref, create_string_buffer

from . import lowlevel as ll

_ENCODING = "utf-8"
_ERRORS = "surrogateescape"  # any byte from the instrument survives a round trip
# A positive status is a warning from here on (0x3FFA0000 IVI, 0x3FFF0000 VISA); below it,
# a string function's positive return is the buffer size it needs.
_WARNING_BASE = 0x3FFA0000


def _encode(text):
    if text is None:
        return None
    data = text.encode(_ENCODING, _ERRORS) if isinstance(text, str) else bytes(text)
    if b"\0" in data:
        raise ValueError("strings passed to the driver cannot contain NUL characters")
    return data


def _decode(buffer):
    return buffer.value.decode(_ENCODING, _ERRORS)


class _StatusReport:
    """What a failed or warning call reports: .status (signed ViStatus), .description and
    .function."""

    def __init__(self, status, description, function):
        super().__init__(f"{function}: 0x{status & 0xFFFFFFFF:08X}: {description}")
        self.status = status
        self.description = description
        self.function = function


class VeqdxError(_StatusReport, Exception):
    """A failed call: .status (signed ViStatus), .description and .function."""


class VeqdxWarning(_StatusReport, UserWarning):
    """A call that did its work but returned a warning status (positive, non-zero)."""


def error_message(status, vi=ll.VI_NULL):
    """The fixed text of a status code (veqdx_error_message)."""
    buffer = create_string_buffer(ll.FIXED_STRING_SIZE)
    ll.veqdx_error_message(vi, status, buffer)
    return _decode(buffer)


def get_error(vi=ll.VI_NULL):
    """(status, description) recorded on a session, or for this thread with VI_NULL."""
    needed = ll.veqdx_GetError(vi, None, 0, None)
    if needed < 0:
        raise VeqdxError(needed, error_message(needed), "veqdx_GetError")
    code, buffer = ll.ViStatus(0), create_string_buffer(needed)
    status = ll.veqdx_GetError(vi, byref(code), needed, buffer)
    if status < 0:
        raise VeqdxError(status, error_message(status), "veqdx_GetError")
    return code.value, _decode(buffer)


def _description(vi, status):
    # The record is per session: if another thread recorded since, fall back to the message.
    if status == ll.VEQDX_ERROR_INVALID_SESSION_HANDLE:
        vi = ll.VI_NULL  # recorded for the calling thread, not on the (unknown) handle
    try:
        code, text = get_error(vi)
    except VeqdxError:
        code = None
    return text if code == status else error_message(status)


def check(vi, status, function, stacklevel=4):
    """Raise VeqdxError for a negative status, warn for a positive one; return the status."""
    if status < 0:
        raise VeqdxError(status, _description(vi, status), function)
    if status > 0:
        warnings.warn(VeqdxWarning(status, error_message(status), function),
                      stacklevel=stacklevel)
    return status


class Session:
    """A driver session. Outputs are chosen by a selector string; "" means the only output."""

    def __init__(self, resource, id_query=True, reset=False, options=""):
        self.vi = ll.VI_NULL
        vi = ll.ViSession(0)
        status = ll.veqdx_InitWithOptions(_encode(resource), bool(id_query), bool(reset),
                                          _encode(options), byref(vi))
        check(ll.VI_NULL, status, "veqdx_InitWithOptions", 3)  # failed: the thread's record
        self.vi = vi.value
        self.last_warning = status if status > 0 else None  # the latest warning status

    # ---- lifecycle -------------------------------------------------------------------------
    def close(self):
        if self.vi != ll.VI_NULL:
            vi, self.vi = self.vi, ll.VI_NULL
            check(vi, ll.veqdx_close(vi), "veqdx_close")

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def _check(self, status, name):
        if check(self.vi, status, name, 5) > 0:
            self.last_warning = status
        return status

    def _call(self, name, *args):
        return self._check(getattr(ll, name)(self.vi, *args), name)

    def _string(self, name, *args):
        """A variable-size string output: ask for the size, then allocate exactly."""
        function = getattr(ll, name)
        status = function(self.vi, *args, 0, None)  # the size needed, or an error
        for _ in range(3):  # the text may grow between two calls: then ask again
            if status < 0:
                self._check(status, name)  # raises
            size = status
            buffer = create_string_buffer(size)
            status = function(self.vi, *args, size, buffer)
            if not size < status < _WARNING_BASE:
                break
        self._check(status, name)
        return _decode(buffer)

    def _get(self, name, ctype, *args):
        value = ctype()
        self._call(name, *args, byref(value))
        return value.value

    # ---- errors and utility ----------------------------------------------------------------
    def get_error(self):
        return get_error(self.vi)

    def clear_error(self):
        self._call("veqdx_ClearError")

    def error_message(self, status):
        return error_message(status, self.vi)

    def error_query(self):
        """The instrument's next error as (code, message)."""
        code, buffer = ll.ViInt32(), create_string_buffer(ll.FIXED_STRING_SIZE)
        self._call("veqdx_error_query", byref(code), buffer)
        return code.value, _decode(buffer)

    def reset(self):
        self._call("veqdx_reset")

    def reset_with_defaults(self):
        self._call("veqdx_ResetWithDefaults")

    def disable(self):
        self._call("veqdx_Disable")

    def self_test(self):
        """(result, message); result 0 means passed."""
        result, buffer = ll.ViInt16(), create_string_buffer(ll.FIXED_STRING_SIZE)
        self._call("veqdx_self_test", byref(result), buffer)
        return result.value, _decode(buffer)

    def revision_query(self):
        """(driver revision, instrument firmware revision)."""
        driver = create_string_buffer(ll.FIXED_STRING_SIZE)
        instrument = create_string_buffer(ll.FIXED_STRING_SIZE)
        self._call("veqdx_revision_query", driver, instrument)
        return _decode(driver), _decode(instrument)

    def invalidate_all_attributes(self):
        self._call("veqdx_InvalidateAllAttributes")

    def next_coercion_record(self):
        return self._string("veqdx_GetNextCoercionRecord")

    def next_interchange_warning(self):
        return self._string("veqdx_GetNextInterchangeWarning")

    # ---- outputs ---------------------------------------------------------------------------
    @property
    def output_names(self):
        count = self.get_attribute_int32(ll.VEQDX_ATTR_OUTPUT_COUNT)
        return [self._string("veqdx_GetOutputName", i) for i in range(1, count + 1)]

    def configure_output_enabled(self, enabled, output=""):
        self._call("veqdx_ConfigureOutputEnabled", _encode(output), bool(enabled))

    def configure_voltage_level(self, level, output=""):
        self._call("veqdx_ConfigureVoltageLevel", _encode(output), level)

    def configure_current_limit(self, limit, behavior=ll.VEQDX_VAL_CURRENT_REGULATE, output=""):
        self._call("veqdx_ConfigureCurrentLimit", _encode(output), behavior, limit)

    def configure_ovp(self, enabled, limit, output=""):
        self._call("veqdx_ConfigureOVP", _encode(output), bool(enabled), limit)

    def configure_output_range(self, range_type, value, output=""):
        self._call("veqdx_ConfigureOutputRange", _encode(output), range_type, value)

    def query_max_current_limit(self, voltage_level, output=""):
        return self._get("veqdx_QueryMaxCurrentLimit", ll.ViReal64, _encode(output),
                         voltage_level)

    def query_max_voltage_level(self, current_limit, output=""):
        return self._get("veqdx_QueryMaxVoltageLevel", ll.ViReal64, _encode(output),
                         current_limit)

    def query_output_state(self, state, output=""):
        """True when the output is in `state` (VEQDX_VAL_OUTPUT_...)."""
        return bool(self._get("veqdx_QueryOutputState", ll.ViBoolean, _encode(output), state))

    def reset_output_protection(self, output=""):
        self._call("veqdx_ResetOutputProtection", _encode(output))

    def measure(self, measurement_type, output=""):
        """VEQDX_VAL_MEASURE_VOLTAGE or VEQDX_VAL_MEASURE_CURRENT."""
        return self._get("veqdx_Measure", ll.ViReal64, _encode(output), measurement_type)

    # ---- trigger ---------------------------------------------------------------------------
    def configure_trigger_source(self, source, output=""):
        self._call("veqdx_ConfigureTriggerSource", _encode(output), source)

    def configure_triggered_voltage_level(self, level, output=""):
        self._call("veqdx_ConfigureTriggeredVoltageLevel", _encode(output), level)

    def configure_triggered_current_limit(self, limit, output=""):
        self._call("veqdx_ConfigureTriggeredCurrentLimit", _encode(output), limit)

    def initiate(self):
        self._call("veqdx_Initiate")

    def abort(self):
        self._call("veqdx_Abort")

    def send_software_trigger(self):
        self._call("veqdx_SendSoftwareTrigger")

    # ---- system and status -----------------------------------------------------------------
    def system_write(self, command):
        self._call("veqdx_SystemWrite", _encode(command))

    def system_read(self, max_length=65536):
        """One response, cut at max_length characters (the C call cannot report its size)."""
        buffer, count = create_string_buffer(max_length + 1), ll.ViInt32()
        self._call("veqdx_SystemRead", max_length + 1, buffer, byref(count))
        return buffer.raw[:count.value].decode(_ENCODING, _ERRORS)

    def query(self, command, max_length=65536):
        """system_write then system_read, less the line end."""
        self.system_write(command)
        return self.system_read(max_length).rstrip("\r\n")

    def save_state(self, memory):
        self._call("veqdx_SaveState", memory)

    def recall_state(self, memory):
        self._call("veqdx_RecallState", memory)

    def clear_status(self):
        self._call("veqdx_Clear")

    def preset_status(self):
        self._call("veqdx_Preset")

    def get_status_register(self, register, sub_register, output=""):
        return self._get("veqdx_StatusGetRegister", ll.ViInt32, _encode(output), register,
                         sub_register)

    def set_status_register(self, register, sub_register, value, output=""):
        self._call("veqdx_StatusSetRegister", _encode(output), register, sub_register, value)

    # ---- typed attributes ------------------------------------------------------------------
    def get_attribute_int32(self, attribute, output=""):
        return self._get("veqdx_GetAttributeViInt32", ll.ViInt32, _encode(output), attribute)

    def get_attribute_real64(self, attribute, output=""):
        return self._get("veqdx_GetAttributeViReal64", ll.ViReal64, _encode(output), attribute)

    def get_attribute_boolean(self, attribute, output=""):
        return bool(self._get("veqdx_GetAttributeViBoolean", ll.ViBoolean, _encode(output),
                              attribute))

    def get_attribute_session(self, attribute, output=""):
        return self._get("veqdx_GetAttributeViSession", ll.ViSession, _encode(output),
                         attribute)

    def get_attribute_string(self, attribute, output=""):
        return self._string("veqdx_GetAttributeViString", _encode(output), attribute)

    def set_attribute_int32(self, attribute, value, output=""):
        self._call("veqdx_SetAttributeViInt32", _encode(output), attribute, value)

    def set_attribute_real64(self, attribute, value, output=""):
        self._call("veqdx_SetAttributeViReal64", _encode(output), attribute, value)

    def set_attribute_boolean(self, attribute, value, output=""):
        self._call("veqdx_SetAttributeViBoolean", _encode(output), attribute, bool(value))

    def set_attribute_session(self, attribute, value, output=""):
        self._call("veqdx_SetAttributeViSession", _encode(output), attribute, value)

    def set_attribute_string(self, attribute, value, output=""):
        self._call("veqdx_SetAttributeViString", _encode(output), attribute, _encode(value))

    # ---- locking ---------------------------------------------------------------------------
    @contextlib.contextmanager
    def lock(self):
        """Hold the session lock for the block (re-entrant within one thread)."""
        has_lock = ll.ViBoolean(ll.VI_FALSE)
        self._call("veqdx_LockSession", byref(has_lock))
        try:
            yield self
        finally:
            self._call("veqdx_UnlockSession", byref(has_lock))

