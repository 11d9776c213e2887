# SPDX-License-Identifier: Apache-2.0
"""A GLib main context of this package's own, and how an event loop of asyncio runs it without a thread.

Between two rounds the context belongs to no thread, and asyncio polls its descriptors. A context that polls so is woken
by whatever other thread attaches a source to it, as GLib's own thread does for each message from the bus.
"""
import asyncio
from typing import Optional

from ._srcwatch import ffi, lib

# One for all: the process's shared connection to the bus stays with the context in which it was made.
_context = lib.g_main_context_new_with_flags(lib.G_MAIN_CONTEXT_FLAGS_OWNERLESS_POLLING)


class Entered:
    """Makes the context the thread's default, in which what is registered is called back."""

    def __enter__(self) -> None:
        lib.g_main_context_push_thread_default(_context)

    def __exit__(self, *_: object) -> None:
        lib.g_main_context_pop_thread_default(_context)


def run_round() -> bool:
    """Calls back what is due, at one priority. False if nothing is."""
    return bool(lib.g_main_context_iteration(_context, False))


def _next_poll() -> tuple[dict[int, int], int]:
    """The descriptors to wait for, with their conditions, and for how many milliseconds: -1 for ever."""
    priority = ffi.new("int*")
    timeout = ffi.new("int*")
    size = 8
    lib.g_main_context_acquire(_context)
    try:
        lib.g_main_context_prepare(_context, priority)
        while True:
            polled = ffi.new("GPollFD[]", size)
            count = lib.g_main_context_query(_context, priority[0], timeout, polled, size)
            if count <= size:
                break
            size = count
    finally:
        lib.g_main_context_release(_context)
    conditions: dict[int, int] = {}
    for entry in polled[0:count]:
        conditions[entry.fd] = conditions.get(entry.fd, 0) | entry.events
    return conditions, timeout[0]


class Runner:
    """Runs the context by an event loop, from start() to stop()."""

    def __init__(self, loop: asyncio.AbstractEventLoop) -> None:
        self._loop = loop
        self._readable: set[int] = set()
        self._writable: set[int] = set()
        self._timer: Optional[asyncio.Handle] = None

    def start(self) -> None:
        """Has the next round run when it is due."""
        conditions, timeout = _next_poll()
        self._watch({fd for fd, condition in conditions.items() if condition & lib.G_IO_IN},
                    {fd for fd, condition in conditions.items() if condition & lib.G_IO_OUT})
        if self._timer is not None:
            self._timer.cancel()
        self._timer = self._loop.call_later(timeout / 1000, self._run) if timeout >= 0 else None

    def stop(self) -> None:
        """Runs no further round."""
        self._watch(set(), set())
        if self._timer is not None:
            self._timer.cancel()
        self._timer = None

    def _run(self) -> None:
        run_round()
        self.start()

    def _watch(self, readable: set[int], writable: set[int]) -> None:
        for fd in self._readable - readable:
            self._loop.remove_reader(fd)
        for fd in readable - self._readable:
            self._loop.add_reader(fd, self._run)
        for fd in self._writable - writable:
            self._loop.remove_writer(fd)
        for fd in writable - self._writable:
            self._loop.add_writer(fd, self._run)
        self._readable, self._writable = readable, writable
