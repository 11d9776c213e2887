# SPDX-License-Identifier: Apache-2.0
"""A template of python-dbusmock: the detection service as it shows on the bus, for tests that need nothing else of it.

    process, mock = cls.spawn_server_template(srcwatch.dbusmock_template.__file__)
    mock.SendEvent(10, [1, 1], [""])                       # a device was plugged into HDMI 2
    mock.SetReply(0x2001, '{"inputs": 4, "plugged": [1]}')  # what a request of this type is answered
"""
from typing import Any

import dbus
import dbus.service
from dbusmock import MOCK_IFACE

BUS_NAME = "org.nalto.tv.qdinfo"
MAIN_IFACE = BUS_NAME
MAIN_OBJ = "/org/nalto/tv/qdinfo"
SYSTEM_BUS = True


def load(mock: Any, parameters: dict[str, Any]) -> None:
    """Called by dbusmock; the parameter "replies" has what SetReply sets, from the beginning."""
    mock.replies = {int(request): str(reply) for request, reply in parameters.get("replies", {}).items()}
    mock.AddMethod(MAIN_IFACE, "qdinfo", "is", "s",
                   "ret = self.replies.get(args[0], '{\"error\": \"unknown request\"}')")


@dbus.service.method(MOCK_IFACE, in_signature="iaias", out_signature="")  # type: ignore[misc]
def SendEvent(self: Any, kind: int, numbers: list[int], texts: list[str]) -> None:
    """Announces an event of a type, with at most ten numbers and three texts."""
    if len(numbers) > 10 or len(texts) > 3:
        raise dbus.exceptions.DBusException("at most ten numbers and three texts", name=MAIN_IFACE + ".Error")
    items = [*map(str, map(int, numbers)), *["0"] * (10 - len(numbers)),
             *(text.replace(" ", "#") or "UNKNOWN" for text in texts), *["UNKNOWN"] * (3 - len(texts))]
    self.EmitSignal(MAIN_IFACE, "qdinfo", "is", [kind, "".join(item + "\t" for item in items)])


@dbus.service.method(MOCK_IFACE, in_signature="is", out_signature="")  # type: ignore[misc]
def SetReply(self: Any, request: int, reply: str) -> None:
    """Answers requests of a type with a text from now on."""
    self.replies[int(request)] = str(reply)
