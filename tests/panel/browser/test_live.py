# SPDX-License-Identifier: Apache-2.0
"""The page keeps up: with what happens, with what goes away and comes back, and with a flood."""
import os
import signal
import statistics
import time

import pytest

from conftest import new_browser, open_panel
from house import House
from pages import port, wait_state
from webdriver import wait_for

FLOOD_S = float(os.environ.get("SRCWATCH_FLOOD_SECONDS", "4"))
LATENCY_MS = 50
PAGE_GROWTH_KIB = 1024
PANEL_KIB = 48 * 1024
GONE = "return document.getElementById('banner').hidden"


@pytest.fixture
def fragile(driver, tmp_path):
    """A TV whose bus can be broken, and a window on its panel."""
    house = House(tmp_path, own_bus=True)
    browser = new_browser(driver)
    yield house, open_panel(browser, house.address)
    browser.close()
    house.close()


def test_a_change_replaces_members_but_for_ports_events_and_log(page):
    after = page.run_async("""import("/page/state.js").then(({ afterChange }) => arguments[0](
        [{ ports: [{ port: 0 }, { port: 1, old: true }], log: Array(499).fill(1), scan: { old: true } },
         { ports: [{ port: 1 }], log: [2, 3], scan: { active: true } }].reduce(afterChange)))""")

    assert after["ports"] == [{"port": 0}, {"port": 1}]
    assert len(after["log"]) == 500 and after["log"][-3:] == [1, 2, 3]
    assert after["scan"] == {"active": True}


def test_the_service_is_killed_and_comes_back(page, house):
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")

    house.end("service")
    page.wait_text("#banner", "detection service is not running")
    house.start_service()

    wait_for(lambda: page.run(GONE), "no banner")
    house.plug("hdmi2", "quellon-bdq900")
    wait_state(page, 1, "detected")


def test_the_bus_breaks_and_comes_back(fragile):
    house, page = fragile
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")

    house.end("bus")
    page.wait_text("#banner", "bus is disconnected")
    (house.inputs.parent / "bus").unlink(missing_ok=True)
    house.start_bus()
    house.end("service")
    house.start_service()

    wait_for(lambda: page.run(GONE), "no banner")
    house.plug("hdmi2", "quellon-bdq900")
    wait_state(page, 1, "detected")


def test_the_panel_ends_and_a_new_one_takes_its_place(fragile):
    house, page = fragile
    token = house.inputs.parent / "token"
    token.write_text("a-token-for-two-panels\n", encoding="ascii")
    house.end("panel", signal.SIGTERM)
    page.wait_text("#banner", "connection to the panel is lost")
    address = house.start_panel("--token-file", str(token))
    open_panel(page, address)

    assert house.end("panel", signal.SIGTERM) == 0
    page.wait_text("#banner", "connection to the panel is lost")
    where = address.split("//")[1].split("/")[0]
    assert house.start_panel("--token-file", str(token), "--listen", where) == address

    wait_for(lambda: page.run(GONE), "no banner")
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")


def test_two_pages_show_the_same(driver, page, house):
    other = open_panel(new_browser(driver), house.address)
    try:
        page.drag(".capture[data-name='voltana-vx-home']", f"{port(0)} .face")
        for one in (page, other):
            wait_state(one, 0, "detected")
        other.click(f"{port(0)} .unplug")
        wait_state(page, 0, "empty")
        wait_for(lambda: page.text("#events ol") == other.text("#events ol"))
    finally:
        other.close()


def median_latency_ms(page, house) -> float:
    """From when the panel gets an event to when it has been painted."""
    page.run("performance.clearMeasures()")
    for _ in range(15):
        house.plug("hdmi1", "kestelle-k2")
        wait_state(page, 0, "detected")
        house.unplug_all()
        wait_state(page, 0, "empty")
    read = "return performance.getEntriesByName('event-to-pixels').map((entry) => entry.duration)"
    durations = wait_for(lambda: len(found := page.run(read)) >= 30 and found, "30 events")
    print(f"event to pixels: median {statistics.median(durations):.1f} ms, worst {max(durations):.1f} ms of {len(durations)}")
    return statistics.median(durations)


def test_an_event_is_seen_within_50_ms(page, house):
    """In the best of three rounds: in the others the machine may have been busy."""
    assert any(median_latency_ms(page, house) < LATENCY_MS for _ in range(3))


def heap_kib(page) -> int:
    page.run("gc()")
    return page.run("return performance.memory.usedJSHeapSize") // 1024


def flood(house, seconds: float) -> None:
    """100 changes a second: plugged and unplugged in turn on each input."""
    end = time.monotonic() + seconds
    count = 0
    while time.monotonic() < end:
        name = ("hdmi1", "hdmi2", "hdmi3", "hdmi4")[count % 4]
        link = house.inputs / name
        if link.is_symlink():
            link.unlink()
        else:
            house.plug(name, "kestelle-k2")
        count += 1
        time.sleep(max(0.0, end - seconds + count / 100 - time.monotonic()))


def test_a_flood_of_changes_leaves_page_and_panel_small(page, house):
    flood(house, FLOOD_S)  # to what is kept of the latest changes
    before = heap_kib(page), house.memory_kib("panel")
    flood(house, FLOOD_S)
    after = heap_kib(page), house.memory_kib("panel")
    house.unplug_all()
    wait_state(page, 0, "empty")

    print(f"in KiB, page and panel: {before} before, {after} after {FLOOD_S:.0f} s of 100 changes a second")
    assert after[0] < before[0] + PAGE_GROWTH_KIB
    assert after[1] < PANEL_KIB
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
