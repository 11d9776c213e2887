# SPDX-License-Identifier: Apache-2.0
"""What is known about the device on a port."""
from collections.abc import Callable
from typing import Any

from ._errors import UnknownInputsError, error_of
from ._srcwatch import ffi, lib
from ._values import OPTICAL_PORT, Change, DetectionMethod, Device, DeviceType, ScanState

# The library asks for nothing of a port beyond these.
_PORTS_OF_TV = 8
_TEXT_SIZE = lib.SRCWATCH_TEXT_SIZE
_TEXT = f"char[{_TEXT_SIZE}]"


def decode(buffer: Any, size: int = _TEXT_SIZE) -> str:
    """The text in a buffer, which it may fill to the last byte, and which may be cut inside a character."""
    return ffi.string(buffer, size).decode(errors="replace")


def _text(query: Callable[[Any, int], int], port: int) -> str:
    buffer = ffi.new(_TEXT)
    result = query(buffer, port)
    if result:
        raise error_of(result, port)
    return decode(buffer)


def _number(query: Callable[[int, Any], int], port: int) -> int:
    value = ffi.new("int*")
    result = query(port, value)
    if result:
        raise error_of(result, port)
    return int(value[0])


def cec_name(port: int) -> str:
    """The name that the device reports over HDMI-CEC."""
    return _text(lib.srcwatch_get_cec_name, port)


def model_name(port: int) -> str:
    """The product description of the SPD InfoFrame."""
    return _text(lib.srcwatch_get_model_name, port)


def manufacturer_name(port: int) -> str:
    """The vendor name of the SPD InfoFrame."""
    return _text(lib.srcwatch_get_manufacturer_name, port)


def codeset_name(port: int) -> str:
    """The full name of the remote-control codeset."""
    return _text(lib.srcwatch_get_codeset_name, port)


def provider_name(port: int) -> str:
    """The provider of a set-top box."""
    return _text(lib.srcwatch_get_logo_mso_name, port)


def cec_device_name(port: int) -> str:
    """The device name that was derived from HDMI-CEC."""
    return _text(lib.srcwatch_get_cec_device_name, port)


def aksv(port: int) -> str:
    """The HDCP key selection vector: ten hexadecimal digits."""
    return _text(lib.srcwatch_get_aksv_info, port)


def result_text_1(port: int) -> str:
    """The first text of the detection result; empty for the types that have none."""
    return _text(lib.srcwatch_get_result_str1_name, port)


def result_text_2(port: int) -> str:
    """The second text of the detection result; empty for the types that have none."""
    return _text(lib.srcwatch_get_result_str2_name, port)


def codeset(port: int) -> str:
    """The short name of the remote-control codeset, of at most 10 bytes, or NoCodesetError. Reads twice."""
    buffer = ffi.new("char[]", lib.SRCWATCH_CODESET_TEXT_SIZE)
    result = lib.srcwatch_get_codeset_info(port, ffi.NULL, buffer)
    if result:
        raise error_of(result, port)
    return decode(buffer, lib.SRCWATCH_CODESET_TEXT_SIZE)


def device_type(port: int) -> DeviceType:
    """What kind of device it is."""
    return DeviceType(_number(lib.srcwatch_get_product_type_name, port))


def deny_count(port: int) -> int:
    """How often the user denied the detection result."""
    return _number(lambda port, count: lib.srcwatch_get_denycount(count, port), port)


def detection_method(port: int) -> DetectionMethod:
    """How the device was detected."""
    return DetectionMethod(_number(lib.srcwatch_get_detection_moethod, port))  # sic


def scan_state(port: int) -> ScanState:
    """What the first-setup scan found."""
    return ScanState(_number(lib.srcwatch_get_oobe_scan_state, port))


def change(port: int) -> Change:
    """Whether the device is another one than before, and where it was seen last."""
    previous_port = ffi.new("int*")
    changed = ffi.new("bool*")
    result = lib.srcwatch_get_changed_device_info(port, previous_port, changed)
    if result:
        raise error_of(result, port)
    return Change(changed[0], previous_port[0])


def device(port: int) -> Device:
    """The device on a port, as it is to be shown, of one read; one of the type NONE where there is none."""
    device_type = ffi.new("int*")
    name = ffi.new(_TEXT)
    detail = ffi.new(_TEXT)
    result = lib.srcwatch_get_device_info(port, device_type, name, detail)
    if result:
        raise error_of(result, port)
    if device_type[0] == DeviceType.NONE:
        return Device(port, DeviceType.NONE, "", "")
    return Device(port, DeviceType(device_type[0]), decode(name), decode(detail))


def hdmi_count() -> int:
    """The number of HDMI inputs, or UnknownInputsError. Asks the platform."""
    count = lib.get_hdmi_count()
    if count < 0:
        raise UnknownInputsError("the number of HDMI inputs is not known")
    return count


def devices() -> list[Device]:
    """The devices that are there, in the order of their ports, the optical one last. One read for each input."""
    inputs = min(lib.get_hdmi_count(), _PORTS_OF_TV)
    return [found for found in map(device, (*range(inputs), OPTICAL_PORT)) if found.is_present]
