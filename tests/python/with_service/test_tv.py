# SPDX-License-Identifier: Apache-2.0
import asyncio
import os
import shutil
import subprocess
from pathlib import Path

import pytest
import srcwatch
from srcwatch._wire import CHANNEL, PATH, fields_of
from srcwatch.testing import Tv, TvError


def test_a_plugged_device_is_announced_and_known(tv: Tv) -> None:
    tv.plug(1, "quellon-bdq900")

    detected = tv.expect_event(srcwatch.Detected, port=1)

    assert (detected.type, detected.brand) == (srcwatch.DeviceType.DISC_PLAYER, "Quellon")
    assert srcwatch.device(1).name == detected.name
    assert [device.port for device in srcwatch.devices()] == [1]
    assert srcwatch.detection_method(1) == srcwatch.DetectionMethod.PROFILE


@pytest.mark.parametrize("time", ["first", "second"])
def test_every_test_finds_an_empty_tv(tv: Tv, time: str) -> None:
    assert srcwatch.devices() == []
    tv.plug(0, "voltana-vx-home")
    tv.plug(99, "solhane-arena")
    tv.expect_event(srcwatch.Detected, port=99)


def test_a_device_that_is_unplugged_before_it_is_detected_leaves_nothing(tv: Tv) -> None:
    tv.plug(0, "voltana-vx-home")


def test_an_unplugged_device_is_announced_and_gone(tv: Tv) -> None:
    tv.plug(1, "quellon-bdq900")
    tv.expect_event(srcwatch.Detected, port=1)

    tv.unplug(1)

    tv.expect_event(srcwatch.ConnectionChanged, port=1, plugged=False)
    assert srcwatch.devices() == []


def test_an_event_that_does_not_come_is_reported_with_those_that_came(tv: Tv) -> None:
    tv.send_event(srcwatch.ScanProgressed(10, 0))

    with pytest.raises(AssertionError, match=r"no ScanProgressed\(percent=20\) within 0.5 s, but "
                                             r"\[ScanProgressed\(percent=10, port=0\)\]"):
        tv.expect_event(srcwatch.ScanProgressed, timeout=0.5, percent=20)
    with pytest.raises(AssertionError, match="no event at all"):
        tv.expect_event(srcwatch.ScanFinished, timeout=0)


def test_a_field_that_the_event_does_not_have_is_refused(tv: Tv) -> None:
    with pytest.raises(TypeError, match="Detected has no field percent"):
        tv.expect_event(srcwatch.Detected, percent=20)


def test_what_does_not_travel_is_refused(tv: Tv) -> None:
    with pytest.raises(ValueError, match="a tab or newline"):
        tv.send_event(srcwatch.Detected(0, srcwatch.DeviceType.PC, False, "a\tb", "", ""))


@pytest.mark.parametrize("body", [["only a text"], ["10", "'more'", "'texts'"], []])
def test_a_signal_of_another_form_is_passed_over(tv: Tv, body: list[str]) -> None:
    subprocess.run(["gdbus", "emit", "--address", os.environ["DBUS_SYSTEM_BUS_ADDRESS"], "--object-path", PATH,
                    "--signal", CHANNEL + ".qdinfo", *body], check=True)
    tv.send_event(srcwatch.ConnectionChanged(3, False))

    assert tv.expect_event(srcwatch.ConnectionChanged) == srcwatch.ConnectionChanged(3, False)


def test_a_message_is_read_as_the_library_reads_it() -> None:
    assert fields_of("1\t2\tthree\t4\t") == ([1, 2] + [0] * 8, [""] * 3)
    assert fields_of("\t".join("0123456789") + "\tA#b\tUNKNOWN\tc\tmore\t") == (list(range(10)), ["A b", "", "c"])


def test_a_capture_may_be_a_directory(tv: Tv, tmp_path: Path) -> None:
    shutil.copytree(Path(os.environ["SRCWATCH_CAPTURES"]) / "kestelle-k2", tmp_path / "own")

    tv.plug(2, tmp_path / "own")

    assert tv.expect_event(srcwatch.Detected).brand == "Kestelle"


def test_what_the_tool_refuses_is_an_error_with_its_reason(tv: Tv) -> None:
    with pytest.raises(TvError, match="no-such-capture"):
        tv.plug(0, "no-such-capture")
    with pytest.raises(TvError):
        tv.plug(6, "kestelle-k2")
    with pytest.raises(TypeError, match="not a member of a record: Brand='Quellon'"):
        tv.store_record(0, Brand="Quellon")
    with pytest.raises(TypeError, match="not a member of a record: DevType='3'"):
        tv.store_record(0, DevType="3")


def test_settings_are_afterwards_as_before() -> None:
    with Tv() as tv:
        tv.store_setting("memory/srcwatch-tests/number", 1)
        with Tv() as inner:
            inner.store_setting("memory/srcwatch-tests/number", 2)
            inner.store_setting("memory/srcwatch-tests/number", 3)
            inner.store_setting("db/srcwatch-tests/text", "7")
        assert tv.setting("memory/srcwatch-tests/number") == 1
        assert tv.setting("db/srcwatch-tests/text") is None

    with Tv() as tv:
        assert tv.setting("memory/srcwatch-tests/number") is None


def test_a_tv_outside_of_a_sandbox_is_refused(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.delenv("SRCWATCH_INPUTS")

    with pytest.raises(TvError, match="not within srcwatch-sandbox: SRCWATCH_INPUTS not set"):
        Tv()


def test_a_scan_ends_with_its_event(tv: Tv) -> None:
    tv.plug(3, "quellon-bdq900")
    tv.expect_event(srcwatch.Detected, port=3)

    srcwatch.scan()

    assert tv.expect_event(srcwatch.ScanFinished) == srcwatch.ScanFinished(srcwatch.ScanResult.DONE, 1)
    assert srcwatch.Scan().progress() == srcwatch.ScanProgress(srcwatch.ScanStage.RUNNING, 0)  # no longer known
    assert srcwatch.scan_state(3) == srcwatch.ScanState.FOUND


def test_an_application_of_asyncio_sees_what_is_plugged(tv: Tv) -> None:
    async def application() -> str:
        with srcwatch.events() as events:
            tv.plug(1, "quellon-bdq900")
            announced = await asyncio.to_thread(lambda: tv.expect_event(srcwatch.Detected, port=1))
            async for event in events:
                if isinstance(event, srcwatch.Detected):
                    assert event == announced
                    return srcwatch.device(event.port).name
        return ""

    assert asyncio.run(asyncio.wait_for(application(), 120)) == "BDQ-900 Disc Player"
