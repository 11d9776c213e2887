# SPDX-License-Identifier: Apache-2.0
"""A TV for tests, within srcwatch-sandbox: devices, stored records, events.

The pytest plugin pytest_srcwatch starts the sandbox and has this as the fixture tv; other tests are run in one as a
whole: srcwatch-sandbox -- python3 -m unittest. Needs python3-jeepney and srcwatch-tools.
"""
import collections
import contextlib
import dataclasses
import json
import os
import subprocess
import time
from typing import Any, Optional, TypeVar, Union

import jeepney
from jeepney.io.blocking import Proxy, open_dbus_connection

from ._events import event_of
from ._values import OPTICAL_PORT, Event
from ._wire import CHANNEL, PATH, fields_of, message_of

ACTIVITY_KEY = "db/srcwatch-service/source-activity"
OPTICAL_ACTIVITY_KEY = "db/srcwatch-service/optical-source-activity"
_TEXTS = ("AKSV", "BName", "CDevName", "CECName", "CName", "DevName", "MFName", "ModelName", "PRName", "UnknownType",
          "sDevType")
_NUMBERS = ("Changed", "DMethod", "DenyCount", "DevType", "PortNum", "PrevPort", "ScanState")
_PATIENCE = 60.0  # seconds that a busy machine may take
_EventType = TypeVar("_EventType", bound=Event)


class TvError(Exception):
    """The TV of the sandbox did not do what a test asked of it; the message has the reason."""


def _run(*arguments: str) -> str:
    result = subprocess.run(["srcwatchctl", *arguments], check=False, capture_output=True, text=True, timeout=_PATIENCE)
    if result.returncode:
        raise TvError(result.stderr.strip())
    return result.stdout


class Tv:
    """The TV of the sandbox that the process runs in, as a context manager: afterwards it is as before."""

    def __init__(self) -> None:
        missing = {"DBUS_SYSTEM_BUS_ADDRESS", "SRCWATCH_INPUTS", "SRCWATCH_STATE_DIR"} - os.environ.keys()
        if missing:
            raise TvError("not within srcwatch-sandbox: " + ", ".join(sorted(missing)) + " not set")
        self._plugged: set[int] = set()
        self._settings_before: dict[str, Union[str, int, None]] = {}
        self._messages: collections.deque[Any] = collections.deque()
        self._bus = open_dbus_connection("SYSTEM", auth_timeout=_PATIENCE)
        rule = jeepney.MatchRule(type="signal", interface=CHANNEL, path=PATH)
        self._bus.filter(rule, queue=self._messages)
        Proxy(jeepney.message_bus, self._bus, timeout=_PATIENCE).AddMatch(rule)

    def __enter__(self) -> "Tv":
        return self

    def __exit__(self, *_: object) -> None:
        for port in sorted(self._plugged):
            self.unplug(port)
            self._await_unplugged(port)
        for key, value in self._settings_before.items():
            if value is None:
                _run("settings", "unset", key)
            else:
                self._write_setting(key, value)
        self._bus.close()

    def plug(self, port: int, capture: Union[str, os.PathLike[str]]) -> None:
        """Plugs a device in: the name of one among the captures, or a directory. It is detected some time after."""
        _run("plug", str(port), os.fspath(capture))
        self._plugged.add(port)

    def unplug(self, port: int) -> None:
        """Unplugs what plug() plugged in."""
        _run("unplug", str(port))
        self._plugged.discard(port)

    def store_setting(self, key: str, value: Union[str, int]) -> None:
        """Stores a setting. A service that runs replaces some of its own."""
        if key not in self._settings_before:
            self._settings_before[key] = self.setting(key)
        self._write_setting(key, value)

    def store_record(self, port: int, **members: Union[str, int]) -> None:
        """Stores a port's record, with these members of it, as a service would: DevType=3, DevName="BDQ-900".

        A service that runs does not know of it, and overwrites it when it saves records.
        """
        for name, value in members.items():
            if name not in (_TEXTS if isinstance(value, str) else _NUMBERS):
                raise TypeError(f"not a member of a record: {name}={value!r}")
        record: dict[str, Union[str, int]] = {"PortNum": port, **members}
        if port == OPTICAL_PORT:
            self.store_setting(OPTICAL_ACTIVITY_KEY, json.dumps({"activity": record}))
            return
        stored = self.setting(ACTIVITY_KEY)
        records = json.loads(stored)["activity"] if isinstance(stored, str) else []
        records += [{} for _ in range(port + 1 - len(records))]
        records[port] = record
        self.store_setting(ACTIVITY_KEY, json.dumps({"activity": records}))

    def send_event(self, event: Event) -> None:
        """Announces an event on the bus, as a service would."""
        emitter = jeepney.DBusAddress(PATH, interface=CHANNEL)
        self._bus.send(jeepney.new_signal(emitter, "qdinfo", "is", message_of(event)))

    def expect_event(self, kind: type[_EventType], timeout: float = _PATIENCE, **fields: object) -> _EventType:
        """Waits for an event with these fields and returns it. Those before it are passed over for good.

        Blocks: in a coroutine, await asyncio.to_thread(lambda: tv.expect_event(srcwatch.Detected, port=1)).
        """
        unknown = fields.keys() - {field.name for field in dataclasses.fields(kind)}
        if unknown:
            raise TypeError(f"{kind.__name__} has no field {', '.join(sorted(unknown))}")
        others = []
        deadline = time.monotonic() + timeout
        while (event := self._next_event(deadline)) is not None:
            if isinstance(event, kind) and all(getattr(event, name) == value for name, value in fields.items()):
                return event
            others.append(event)
        wanted = ", ".join(f"{name}={value!r}" for name, value in fields.items())
        raise AssertionError(f"no {kind.__name__}({wanted}) within {timeout:g} s, but {others or 'no event at all'}")

    def _next_event(self, deadline: float) -> Optional[Event]:
        event = None
        with contextlib.suppress(TimeoutError):
            while event is None:
                message = self._bus.recv_until_filtered(self._messages, timeout=max(0.0, deadline - time.monotonic()))
                if message.header.fields.get(jeepney.HeaderFields.signature) != "is":
                    continue
                kind, text = message.body
                numbers, texts = fields_of(text)
                event = event_of(kind, numbers, texts.__getitem__)
        return event

    def _await_unplugged(self, port: int) -> None:
        deadline = time.monotonic() + _PATIENCE
        while time.monotonic() < deadline:
            try:
                status = json.loads(_run("call", "status"))
            except TvError:
                return  # no service runs
            if port not in status["plugged"]:
                return
            time.sleep(0.01)
        raise TvError(f"the service has not noticed that port {port} was unplugged")

    @staticmethod
    def setting(key: str) -> Union[str, int, None]:
        """Reads a setting; None if it is not set."""
        settings = json.loads(_run("settings", "list", key, "-o", "json"))
        return next((setting["value"] for setting in settings if setting["key"] == key), None)

    @staticmethod
    def _write_setting(key: str, value: Union[str, int]) -> None:
        _run("settings", "set", "--text" if isinstance(value, str) else "--int", key, str(value))
