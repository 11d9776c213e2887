# SPDX-License-Identifier: Apache-2.0
"""The browser, and in it the panel of a TV whose inputs are empty when a test begins."""
import pytest

from house import House
from webdriver import Browser, Driver, wait_for

WIDTH, HEIGHT = 1440, 1200

# What the page must not do, noted from its first moment on.
WATCH = """
window.violations = [];
document.addEventListener("securitypolicyviolation", (event) => window.violations.push(event.violatedDirective));
window.addEventListener("error", (event) => window.violations.push(event.message));
window.addEventListener("unhandledrejection", (event) => window.violations.push(String(event.reason)));
"""


@pytest.fixture(scope="session")
def driver():
    driver = Driver()
    yield driver
    driver.close()


@pytest.fixture(scope="session")
def house(tmp_path_factory):
    house = House(tmp_path_factory.mktemp("house"))
    yield house
    house.close()


def open_panel(browser: Browser, address: str, ports: int = 5) -> Browser:
    browser.open(address)
    wait_for(lambda: browser.run("return document.querySelectorAll('.input').length") == ports, "the inputs")
    return browser


def new_browser(driver: Driver, *arguments: str) -> Browser:
    browser = Browser(driver, *arguments)
    browser.devtools("Page.addScriptToEvaluateOnNewDocument", source=WATCH)
    browser.resize(WIDTH, HEIGHT)
    return browser


@pytest.fixture(scope="session")
def window(driver):
    browser = new_browser(driver)
    yield browser
    browser.close()


@pytest.fixture
def page(window, house):
    """The panel in the browser, without a device; nothing may have gone wrong in it when the test ends."""
    house.unplug_all()
    if not house.runs("service"):
        house.start_service()
    window.resize(WIDTH, HEIGHT)
    window.prefer(prefers_color_scheme="light", prefers_reduced_motion="no-preference")
    open_panel(window, house.address)
    empty = "return [...document.querySelectorAll('.input')].every((input) => input.dataset.state === 'empty')"
    wait_for(lambda: window.run(empty), "empty inputs")
    window.messages()
    yield window
    assert window.run("return window.violations") == []
    house.unplug_all()
