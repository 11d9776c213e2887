# SPDX-License-Identifier: Apache-2.0
"""Events as they travel on the bus: the type, and ten numbers and three texts with a tab after each."""
import itertools
import re

from ._srcwatch import lib
from ._values import ConnectionChanged, Detected, Event, ScanFinished, ScanProgressed

CHANNEL = "org.nalto.tv.qdinfo"
PATH = "/org/nalto/tv/qdinfo"
_NUMBERS = 10
_TEXTS = 3


def fields_of(message: str) -> tuple[list[int], list[str]]:
    """The numbers and the texts of a message; what is missing or malformed reads as 0, with all numbers after it."""
    items = message.split("\t")
    numbers = [int(item) for item in itertools.takewhile(re.compile(r"[+-]?[0-9]+").fullmatch, items[:_NUMBERS])]
    texts = ["" if item == "UNKNOWN" else item.replace("#", " ") for item in items[_NUMBERS:_NUMBERS + _TEXTS]]
    return numbers + [0] * (_NUMBERS - len(numbers)), texts + [""] * (_TEXTS - len(texts))


def _content(event: Event) -> tuple[int, tuple[int, ...], tuple[str, ...]]:
    if isinstance(event, ConnectionChanged):
        return lib.SRCWATCH_EVENT_CONNECTION, (event.port, event.plugged), ()
    if isinstance(event, Detected):
        numbers = (event.port, event.type, event.changed)
        return lib.SRCWATCH_EVENT_DETECTED, numbers, (event.name, event.brand, event.provider)
    if isinstance(event, ScanProgressed):
        return lib.SRCWATCH_EVENT_SCAN_PROGRESS, (event.percent, event.port), ()
    if isinstance(event, ScanFinished):
        return lib.SRCWATCH_EVENT_SCAN_FINISHED, (event.result, event.found), ()
    raise TypeError(f"not an event: {event!r}")


def message_of(event: Event) -> tuple[int, str]:
    """The type and the message of an event. A text must have neither tabs nor newlines, which end it."""
    kind, numbers, texts = _content(event)
    for text in texts:
        if re.search(r"[\t\n]", text):
            raise ValueError(f"a tab or newline in {text!r}")
    items = [*(str(int(number)) for number in numbers), *("0" for _ in range(_NUMBERS - len(numbers))),
             *(text.replace(" ", "#") or "UNKNOWN" for text in texts), *("UNKNOWN" for _ in range(_TEXTS - len(texts)))]
    return kind, "".join(item + "\t" for item in items)
