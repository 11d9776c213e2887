# SPDX-License-Identifier: Apache-2.0
"""What the tests look for on the page."""
from webdriver import Browser, wait_for


def port(number: int) -> str:
    return f".input[data-port='{number}']"


def capture(name: str) -> str:
    """The button of a capture; the page's list has them all."""
    return f".capture[data-name='{name}']"


def wait_state(browser: Browser, number: int, state: str) -> None:
    script = "return document.querySelector(arguments[0])?.dataset.state"
    wait_for(lambda: browser.run(script, port(number)) == state, f"port {number} {state}")


def name_of(browser: Browser, number: int) -> str:
    return browser.text(f"{port(number)} .name")


def wait_plugged(browser: Browser, number: int, name: str) -> None:
    wait_state(browser, number, "detected")
    browser.wait_text(f"{port(number)} .name", name)
