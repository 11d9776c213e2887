# SPDX-License-Identifier: Apache-2.0
"""The template of python-dbusmock, on a bus where nothing else is."""
import asyncio
import subprocess
from collections.abc import Iterator

import dbusmock
import pytest
import srcwatch
from srcwatch import dbusmock_template


@pytest.fixture(scope="module")
def bus() -> Iterator[None]:
    dbusmock.DBusTestCase.start_system_bus()
    yield
    dbusmock.DBusTestCase.tearDownClass()


@pytest.fixture
def mock(bus: None) -> Iterator[dbusmock.DBusTestCase]:
    process, proxy = dbusmock.DBusTestCase.spawn_server_template(
        dbusmock_template.__file__, {"replies": {"8193": "{}"}}, subprocess.DEVNULL)
    yield proxy
    process.terminate()
    process.wait()


def ask(request: int) -> str:
    result = subprocess.run(["srcwatchctl", "call", str(request)], capture_output=True, text=True, check=False,
                            timeout=120)
    return result.stdout.strip() or result.stderr.strip()


def test_requests_are_answered(mock: dbusmock.DBusTestCase) -> None:
    assert ask(0x2001) == "{}"
    assert "unknown request" in ask(0x2002)

    mock.SetReply(0x2002, '{"port": 1}')

    assert ask(0x2002) == '{"port": 1}'


def test_events_reach_an_application(mock: dbusmock.DBusTestCase) -> None:
    async def first() -> srcwatch.Event:
        with srcwatch.events() as events:
            mock.SendEvent(0x1001, [1, 3, 1], ["BDQ 900", "Quellon"])
            return await anext(events)

    event = asyncio.run(asyncio.wait_for(first(), 120))

    assert event == srcwatch.Detected(1, srcwatch.DeviceType.DISC_PLAYER, True, "BDQ 900", "Quellon", "")


def test_more_than_an_event_holds_is_refused(mock: dbusmock.DBusTestCase) -> None:
    with pytest.raises(Exception, match="at most ten numbers and three texts"):
        mock.SendEvent(10, list(range(11)), [""])
