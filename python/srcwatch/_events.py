# SPDX-License-Identifier: Apache-2.0
"""Events, for programs with a GLib main loop and for those of asyncio."""
import asyncio
import sys
import weakref
from collections.abc import Callable
from types import TracebackType
from typing import Any, Optional

from ._context import Entered, Runner, run_round
from ._errors import AlreadySubscribedError
from ._queries import decode
from ._srcwatch import ffi, lib
from ._values import ConnectionChanged, Detected, DeviceType, Event, ScanFinished, ScanProgressed, ScanResult

# That of the process's subscription. The library's own pointer stays null: an event of another thread may be on its way
# to a subscription that has just ended.
_callback: Optional[Callable[[Event], object]] = None


def event_of(kind: int, args: Any, text: Callable[[int], str]) -> Optional[Event]:
    """The event of a type of the library, with its numbers and a function for its texts; None of any other type."""
    if kind == lib.SRCWATCH_EVENT_CONNECTION:
        return ConnectionChanged(args[0], args[1] != 0)
    if kind == lib.SRCWATCH_EVENT_DETECTED:
        return Detected(args[0], DeviceType(args[1]), args[2] != 0, text(0), text(1), text(2))
    if kind == lib.SRCWATCH_EVENT_SCAN_PROGRESS:
        return ScanProgressed(args[0], args[1])
    if kind == lib.SRCWATCH_EVENT_SCAN_FINISHED:
        return ScanFinished(ScanResult(args[0]), args[1])
    return None


def _report(kind: type[BaseException], error: BaseException, trace: Optional[TracebackType]) -> None:
    sys.excepthook(kind, error, trace)


@ffi.def_extern(onerror=_report)
def deliver_event(_: Any, received: Any) -> None:
    """Called by the library for each event."""
    event = event_of(received.type, received.args, lambda index: decode(received.str_args[index]))
    if event is not None and _callback is not None:
        _callback(event)


def _end_subscription() -> None:
    global _callback
    lib.srcwatch_unregister_event_callback(lib.deliver_event)
    _callback = None


class Subscription:
    """Events are delivered until it is closed: by close(), as a context manager, or when it is gone."""

    def __init__(self, callback: Callable[[Event], object]) -> None:
        global _callback
        if not lib.srcwatch_register_event_callback(lib.deliver_event, ffi.NULL):
            raise AlreadySubscribedError("the process has a subscription already")
        _callback = callback
        self._end = weakref.finalize(self, _end_subscription)
        lib.sync_with_bus()  # no event from here on is missed

    def close(self) -> None:
        """Ends it. May be called within its own callback, and again."""
        self._end()

    def __enter__(self) -> "Subscription":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


def subscribe(callback: Callable[[Event], object]) -> Subscription:
    """Has events delivered to a function, by the GLib main loop of the calling thread, such as that of PyGObject.

    A process has one subscription at a time: AlreadySubscribedError. Blocks until the bus has answered; without a bus
    there is a subscription and no event arrives. The callback may call every function of this package; an exception
    that it raises goes to sys.excepthook and no further.
    """
    return Subscription(callback)


def _end_events(runner: Runner, subscription: Subscription, queue: "asyncio.Queue[Optional[Event]]") -> None:
    runner.stop()
    subscription.close()
    queue.put_nowait(None)


class Events:
    """Events as an asynchronous iterator, until it is closed: by close(), as a context manager, or when it is gone."""

    def __init__(self) -> None:
        self._queue: asyncio.Queue[Optional[Event]] = asyncio.Queue()
        runner = Runner(asyncio.get_running_loop())
        while run_round():
            pass  # what is left of an earlier time: a connection that was lost is let go of
        with Entered():
            subscription = Subscription(self._queue.put_nowait)
        runner.start()
        self._end = weakref.finalize(self, _end_events, runner, subscription, self._queue)

    def close(self) -> None:
        """Ends it, also for a task that waits for an event. Events that have arrived can still be read."""
        self._end()

    def __enter__(self) -> "Events":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __aiter__(self) -> "Events":
        return self

    async def __anext__(self) -> Event:
        event = await self._queue.get()
        if event is None:
            self._queue.put_nowait(None)  # for all who ask again
            raise StopAsyncIteration
        return event


def events() -> Events:
    """The events from now on, in a program of asyncio: async for event in srcwatch.events(). Needs no thread.

    A process has one subscription at a time: AlreadySubscribedError. Blocks until the bus has answered; without a bus
    no event arrives. Events that nobody has asked for yet are kept.
    """
    return Events()
