# SPDX-License-Identifier: Apache-2.0
"""A panel on a wall: it shows everything and changes nothing."""
import pytest

from conftest import new_browser, open_panel
from house import House
from pages import port, wait_state


@pytest.fixture(scope="module")
def wall(driver, tmp_path_factory):
    house = House(tmp_path_factory.mktemp("wall"), "--read-only", own_bus=True)
    browser = new_browser(driver)
    yield house, open_panel(browser, house.address)
    browser.close()
    house.close()


def test_it_shows_what_is_plugged(wall):
    house, page = wall
    house.plug("hdmi1", "voltana-vx-home")

    wait_state(page, 0, "detected")
    assert "Read-only" in page.text("#health")


def test_it_has_no_button_that_changes_something(wall):
    _, page = wall
    visible = page.run("""return [...document.querySelectorAll("button:enabled")]
        .filter((button) => button.checkVisibility()).map((button) => button.dataset.command)""")

    assert set(visible) <= {"choose", "load", "timeline"}


def test_nothing_is_dragged(wall):
    house, page = wall
    page.drag(".capture[data-name='tivaro-one']", f"{port(1)} .face")
    page.drag(f"{port(0)} .face", f"{port(1)} .face")

    assert {link.name for link in house.inputs.iterdir()} == {"hdmi1"}
    wait_state(page, 0, "detected")


def test_a_command_is_refused_by_the_server(wall):
    _, page = wall
    status = page.run_async("""fetch("/api/unplug", { method: "POST", headers: { "Content-Type": "application/json" },
        body: '{"port": 0}' }).then((answer) => arguments[0](answer.status))""")

    assert status == 403
    wait_state(page, 0, "detected")


def test_profiles_can_still_be_tried(wall):
    _, page = wall
    page.clear("#profiles textarea")
    page.type("#profiles textarea", '{"profiles": []}')

    page.wait_text(".differences", "voltana-vx-home")
