# SPDX-License-Identifier: Apache-2.0
"""The plugin, in runs of pytest of their own."""
import os
import subprocess
import sys
from pathlib import Path

import pytest

LOOK = "import srcwatch\ndef test_it(tv):\n    assert srcwatch.hdmi_count() == 2\n"


def run_pytest(directory: Path, *arguments: str, **variables: str) -> "subprocess.CompletedProcess[str]":
    return subprocess.run([sys.executable, "-m", "pytest", "-p", "no:cacheprovider", *arguments], cwd=directory,
                          capture_output=True, text=True, timeout=240, check=False, env={**os.environ, **variables})


def test_options_of_the_sandbox_are_those_of_the_configuration(tmp_path: Path) -> None:
    (tmp_path / "pytest.ini").write_text("[pytest]\nsrcwatch_sandbox = --inputs 2 --no-service\n")
    (tmp_path / "conftest.py").write_text('pytest_plugins = ["pytest_srcwatch"]\n')
    (tmp_path / "test_it.py").write_text(LOOK)

    result = run_pytest(tmp_path)

    assert result.returncode == 0, result.stdout


def test_nothing_of_a_sandbox_is_left(tmp_path: Path) -> None:
    (tmp_path / "test_it.py").write_text("import os\ndef test_it(tv): print(os.environ['SRCWATCH_INPUTS']); assert 0\n")

    for arguments in (), ("-x",):
        result = run_pytest(tmp_path, "-p", "pytest_srcwatch", *arguments, TMPDIR=str(tmp_path))

        assert str(tmp_path / "srcwatch-sandbox-") in result.stdout
        assert not list(tmp_path.glob("srcwatch-sandbox-*"))


def test_the_library_must_not_be_there_before_the_sandbox(tmp_path: Path) -> None:
    (tmp_path / "conftest.py").write_text('import srcwatch\npytest_plugins = ["pytest_srcwatch"]\n')
    (tmp_path / "test_it.py").write_text(LOOK)

    result = run_pytest(tmp_path)

    assert result.returncode == pytest.ExitCode.USAGE_ERROR
    assert "srcwatch is imported already" in result.stderr


def test_a_sandbox_that_cannot_start_is_reported(tmp_path: Path) -> None:
    options = ("-p", "pytest_srcwatch", "-o", "srcwatch_sandbox=--inputs 9")

    refused = run_pytest(tmp_path, *options)
    missing = run_pytest(tmp_path, *options, PATH=str(tmp_path))

    assert refused.returncode == missing.returncode == pytest.ExitCode.USAGE_ERROR
    assert "9" in refused.stderr
    assert "srcwatch-sandbox, of the package srcwatch-tools: No such file" in missing.stderr
