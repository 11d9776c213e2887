# SPDX-License-Identifier: Apache-2.0
"""A plugin of pytest: the tests run on a TV of their own, and the fixture tv plugs devices into it.

In the conftest.py at the root of the tests, or as pytest -p pytest_srcwatch:

    pytest_plugins = ["pytest_srcwatch"]

The setting srcwatch_sandbox of pytest.ini has options of srcwatch-sandbox, as in "srcwatch_sandbox = --inputs 2". What
the environment says of the TV counts from when the library is loaded, so the plugin must be there before srcwatch.
"""
import json
import os
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from typing import TYPE_CHECKING, Optional

import pytest

if TYPE_CHECKING:
    from srcwatch.testing import Tv

# What the sandbox runs: it says what its environment is, and ends with the process that reads this.
_KEEPER = "import json, os, sys; print(json.dumps(dict(os.environ)), flush=True); sys.stdin.read()"


class _Sandbox:
    def __init__(self, options: list[str]) -> None:
        command = ["srcwatch-sandbox", *options, "--", sys.executable, "-c", _KEEPER]
        self._errors = tempfile.TemporaryFile()
        try:  # in a session of its own, so that an interrupt of the tests is not its end
            self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                             stderr=self._errors, start_new_session=True)
        except OSError as error:
            raise pytest.UsageError(f"srcwatch-sandbox, of the package srcwatch-tools: {error.strerror}") from error
        assert self._process.stdout is not None
        answer = self._process.stdout.readline()
        if not answer:
            self.close()
            self._errors.seek(0)
            raise pytest.UsageError(self._errors.read().decode(errors="replace").strip())
        self._environment_before = dict(os.environ)
        os.environ.update(json.loads(answer))

    def restore_environment(self) -> None:
        os.environ.clear()
        os.environ.update(self._environment_before)

    def close(self) -> None:
        self._process.communicate()  # closes its standard input


_sandbox: Optional[_Sandbox] = None


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addini("srcwatch_sandbox", "options of srcwatch-sandbox", type="args", default=[])


def pytest_configure(config: pytest.Config) -> None:
    global _sandbox
    if "srcwatch" in sys.modules:
        raise pytest.UsageError("pytest_srcwatch: srcwatch is imported already; name the plugin in the conftest.py at "
                                "the root of the tests, or with -p, and import srcwatch only after it")
    _sandbox = _Sandbox(config.getini("srcwatch_sandbox"))


def pytest_unconfigure() -> None:
    global _sandbox
    if _sandbox is not None:
        _sandbox.restore_environment()
        _sandbox.close()
        _sandbox = None


@pytest.fixture
def tv() -> "Iterator[Tv]":
    """The TV: plug(), unplug(), store_record(), send_event(), expect_event(). After the test it is as before."""
    from srcwatch.testing import Tv  # not before the sandbox
    with Tv() as television:
        yield television
