# SPDX-License-Identifier: Apache-2.0
import asyncio
import gc
import subprocess
import sys
import threading
from collections.abc import Coroutine
from typing import Any, TypeVar

import pytest
import srcwatch
from srcwatch.testing import Tv

Value = TypeVar("Value")
ALL_EVENTS: list[srcwatch.Event] = [
    srcwatch.ConnectionChanged(1, True), srcwatch.ConnectionChanged(1, False),
    srcwatch.Detected(7, srcwatch.DeviceType.GAME_CONSOLE, True, "Funbox für Zoë", "Korvane", ""),
    srcwatch.ScanProgressed(45, 2), srcwatch.ScanFinished(srcwatch.ScanResult.NOTHING_FOUND, 0)]


def run(coroutine: Coroutine[Any, Any, Value]) -> Value:
    return asyncio.run(asyncio.wait_for(coroutine, 120))


@pytest.mark.parametrize("event", ALL_EVENTS)
def test_each_event_arrives_as_it_was_sent(tv: Tv, event: srcwatch.Event) -> None:
    async def first() -> srcwatch.Event:
        with srcwatch.events() as events:
            tv.send_event(event)
            return await anext(events)

    assert run(first()) == event


def test_events_arrive_in_order_and_none_is_lost(tv: Tv) -> None:
    count = 1000

    async def percentages() -> list[int]:
        with srcwatch.events() as events:
            for number in range(count):
                tv.send_event(srcwatch.ScanProgressed(number, 0))
            return [event.percent async for event in take(events, count) if isinstance(event, srcwatch.ScanProgressed)]

    assert run(percentages()) == list(range(count))


async def take(events: srcwatch.Events, count: int) -> Any:
    for _ in range(count):
        yield await anext(events)


def test_other_tasks_run_while_one_waits_for_an_event(tv: Tv) -> None:
    async def ticks_before_event() -> int:
        with srcwatch.events() as events:
            waiting = asyncio.create_task(anext(events))
            ticks = 0
            while not waiting.done():
                await asyncio.sleep(0.001)
                ticks += 1
                if ticks == 20:
                    tv.send_event(ALL_EVENTS[0])
            return ticks

    assert run(ticks_before_event()) >= 20


def test_no_thread_is_started_by_asking_for_events(tv: Tv) -> None:
    async def threads() -> int:
        with srcwatch.events() as events:
            tv.send_event(ALL_EVENTS[0])
            await anext(events)
            return threading.active_count()

    assert run(threads()) == 1


def test_a_loop_that_is_left_ends_the_subscription(tv: Tv) -> None:
    async def leave() -> None:
        async def send() -> None:
            tv.send_event(ALL_EVENTS[0])

        sending = asyncio.create_task(send())
        async for _ in srcwatch.events():
            break
        await sending
        srcwatch.events().close()

    for _ in range(3):
        run(leave())


def test_close_ends_the_loop_of_a_task_that_waits() -> None:
    async def count() -> int:
        events = srcwatch.events()

        async def loop() -> int:
            return len([event async for event in events])

        task = asyncio.create_task(loop())
        await asyncio.sleep(0)
        events.close()
        events.close()
        return await task + await loop()

    assert run(count()) == 0


def test_a_process_has_one_subscription() -> None:
    async def second() -> None:
        with srcwatch.events():
            with pytest.raises(srcwatch.AlreadySubscribedError):
                srcwatch.events()
            with pytest.raises(srcwatch.AlreadySubscribedError):
                srcwatch.subscribe(print)

    run(second())
    srcwatch.subscribe(print).close()


def test_events_need_an_event_loop_that_runs() -> None:
    with pytest.raises(RuntimeError, match="no running event loop"):
        srcwatch.events()
    srcwatch.subscribe(print).close()


def test_a_cancelled_task_leaves_no_subscription() -> None:
    async def cancel() -> None:
        async def wait_for_ever() -> None:
            async for _ in srcwatch.events():
                pass

        task = asyncio.create_task(wait_for_ever())
        await asyncio.sleep(0.01)
        task.cancel()
        with pytest.raises(asyncio.CancelledError):
            await task

    run(cancel())
    gc.collect()
    srcwatch.subscribe(print).close()


def test_events_arrive_in_a_loop_of_another_thread(tv: Tv) -> None:
    arrived: list[srcwatch.Event] = []

    async def first() -> None:
        with srcwatch.events() as events:
            tv.send_event(ALL_EVENTS[3])
            arrived.append(await anext(events))

    thread = threading.Thread(target=lambda: run(first()))
    thread.start()
    thread.join()

    assert arrived == [ALL_EVENTS[3]]


GLIB_PROGRAM = """
import sys
import srcwatch
from srcwatch.testing import Tv

arrived = []

def on_event(event):
    arrived.append(event)
    if len(arrived) == 1:
        raise ValueError("planted")
    subscription.close()

with Tv() as tv, srcwatch.subscribe(on_event) as subscription:
    for number in range(3):
        tv.send_event(srcwatch.ScanProgressed(number, 0))
    import gi.repository.GLib as GLib
    end = GLib.MainLoop()
    GLib.timeout_add(10, lambda: len(arrived) < 2 or end.quit())
    end.run()
print(arrived)
"""


def test_subscription_serves_the_main_loop_of_glib() -> None:
    result = subprocess.run([sys.executable, "-c", GLIB_PROGRAM], capture_output=True, text=True, timeout=120,
                            check=True)

    assert result.stdout == "[ScanProgressed(percent=0, port=0), ScanProgressed(percent=1, port=0)]\n"
    assert result.stderr.strip().endswith("ValueError: planted")


BUS_LOSS_PROGRAM = """
import asyncio, os, subprocess, sys
import srcwatch
from srcwatch.testing import Tv

def start_bus():
    bus = subprocess.Popen(["dbus-daemon", "--config-file", sys.argv[1], "--nofork", "--print-address"],
                           stdout=subprocess.PIPE)
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = bus.stdout.readline().decode().strip()
    return bus

async def first():
    with srcwatch.events() as events, Tv() as tv:
        tv.send_event(srcwatch.ScanProgressed(7, 0))
        print(await anext(events))

for _ in range(2):
    bus = start_bus()
    asyncio.run(asyncio.wait_for(first(), 120))
    bus.kill()
    bus.wait()
"""


def test_after_a_lost_bus_new_events_come_from_the_next(tmp_path: Any) -> None:
    config = tmp_path / "bus.conf"
    config.write_text(f"""<busconfig><listen>unix:path={tmp_path}/bus</listen><auth>EXTERNAL</auth>
        <policy context="default"><allow own="*"/><allow send_destination="*"/><allow send_type="signal"/>
        <allow receive_sender="*"/></policy></busconfig>""")

    result = subprocess.run([sys.executable, "-c", BUS_LOSS_PROGRAM, config], capture_output=True, text=True,
                            timeout=240, check=True)

    assert result.stdout == "ScanProgressed(percent=7, port=0)\n" * 2
