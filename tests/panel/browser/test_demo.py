# SPDX-License-Identifier: Apache-2.0
"""The first look at the project."""
import os
import pathlib
import re
import signal
import subprocess

from conftest import open_panel
from pages import wait_state
from webdriver import DEADLINE_S

DEMO = pathlib.Path(__file__).parents[3] / "scripts" / "demo"


def test_the_demo_ends_with_the_address_of_a_panel_that_stays_until_it_is_interrupted(window):
    environment = {**os.environ, "SRCWATCH_DEMO_INSTALLED": "1"}  # the programs of this build
    with subprocess.Popen([DEMO, "--panel"], env=environment, stdout=subprocess.PIPE, text=True) as demo:
        assert demo.stdout is not None
        address = next(line for line in demo.stdout if re.match(r"http://127\.0\.0\.1:\d+/\?token=", line))
        open_panel(window, address.strip())
        for number in (0, 1, 2, 3, 99):
            wait_state(window, number, "detected")

        demo.send_signal(signal.SIGINT)

        assert demo.wait(DEADLINE_S) == 0
