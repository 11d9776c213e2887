# SPDX-License-Identifier: Apache-2.0
"""Types, states, devices and events."""
import dataclasses
import enum
from typing import Union

from ._srcwatch import lib

OPTICAL_PORT = lib.SRCWATCH_PORT_OPTICAL


class _Number(enum.IntEnum):
    """An enumeration that is shown in words and keeps a value that only a later service knows."""

    @classmethod
    def _missing_(cls, value: object) -> "_Number":
        if not isinstance(value, int):
            raise ValueError(f"{value!r} is not a valid {cls.__name__}")
        unknown = int.__new__(cls, value)
        unknown._name_ = f"UNKNOWN_{value}"
        unknown._value_ = value
        return unknown

    def __str__(self) -> str:
        return self.name.lower().replace("_", " ")

    def __format__(self, form: str) -> str:
        return format(str(self), form)


class DeviceType(_Number):
    """What kind of device it is; NONE also where it is not detected yet."""

    NONE = 0
    SET_TOP_BOX = lib.SRCWATCH_DEVICE_SET_TOP_BOX
    DISC_PLAYER = lib.SRCWATCH_DEVICE_DISC_PLAYER
    HOME_THEATRE = lib.SRCWATCH_DEVICE_HOME_THEATRE
    STREAMING_BOX = lib.SRCWATCH_DEVICE_STREAMING_BOX
    GAME_CONSOLE = lib.SRCWATCH_DEVICE_GAME_CONSOLE
    OTHER = lib.SRCWATCH_DEVICE_OTHER
    NOT_SUPPORTED = lib.SRCWATCH_DEVICE_NOT_SUPPORTED
    PC = lib.SRCWATCH_DEVICE_PC

    def __str__(self) -> str:
        return {DeviceType.SET_TOP_BOX: "set-top box", DeviceType.PC: "PC"}.get(self) or super().__str__()


class DetectionMethod(_Number):
    """How a device was detected."""

    NONE = lib.SRCWATCH_METHOD_NONE
    PROFILE = lib.SRCWATCH_METHOD_PROFILE
    SPD = lib.SRCWATCH_METHOD_SPD
    CEC = lib.SRCWATCH_METHOD_CEC
    AKSV = lib.SRCWATCH_METHOD_AKSV
    SILENT = lib.SRCWATCH_METHOD_SILENT
    FAULTY = lib.SRCWATCH_METHOD_FAULTY


class ScanState(_Number):
    """What the first-setup scan found on a port."""

    NOT_SCANNED = lib.SRCWATCH_SCAN_NOT_SCANNED
    FOUND = lib.SRCWATCH_SCAN_FOUND
    EMPTY = lib.SRCWATCH_SCAN_EMPTY


class ScanResult(_Number):
    """How a scan ended; one that was stopped can be resumed."""

    DONE = lib.SRCWATCH_SCAN_DONE
    STOPPED = lib.SRCWATCH_SCAN_STOPPED
    FAILED = lib.SRCWATCH_SCAN_FAILED
    NOTHING_FOUND = lib.SRCWATCH_SCAN_NOTHING_FOUND


class ScanStage(enum.Enum):
    """Where the first-setup scan is."""

    RUNNING = "running"  # or no scan was started yet
    FINAL_STAGE = "final stage"  # nearly or quite finished; the percentage stays at 90
    STOPPED = "stopped"  # can be resumed
    FAILED = "failed"  # the number of inputs is not known
    NOTHING_FOUND = "nothing found"  # finished without a device

    def __str__(self) -> str:
        return self.value


@dataclasses.dataclass(frozen=True)
class Device:
    """The device on a port, as it is to be shown."""

    port: int
    type: DeviceType
    name: str  # "Unknown" where the device has none to show; empty without a device
    detail: str  # the brand, or what is known of a device of an unknown kind

    @property
    def is_present(self) -> bool:
        """True if there is a device."""
        return self.type != DeviceType.NONE


@dataclasses.dataclass(frozen=True)
class Change:
    """Whether the device is another one than before, and where it was seen last: -1 without such a port."""

    changed: bool
    previous_port: int


@dataclasses.dataclass(frozen=True)
class ConnectionChanged:
    """A device was plugged in or out."""

    port: int
    plugged: bool


@dataclasses.dataclass(frozen=True)
class Detected:
    """A device was detected; changed says that it is another one than was seen last on this port."""

    port: int
    type: DeviceType
    changed: bool
    name: str
    brand: str
    provider: str


@dataclasses.dataclass(frozen=True)
class ScanProgressed:
    """A scan went on."""

    percent: int
    port: int


@dataclasses.dataclass(frozen=True)
class ScanFinished:
    """A scan ended."""

    result: ScanResult
    found: int  # number of devices


Event = Union[ConnectionChanged, Detected, ScanProgressed, ScanFinished]
