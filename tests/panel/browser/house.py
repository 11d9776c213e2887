# SPDX-License-Identifier: Apache-2.0
"""A TV with its bus, its detection service and its panel, of which each can be ended and started again."""
import contextlib
import os
import pathlib
import select
import shutil
import signal
import subprocess
import time
import urllib.request

from webdriver import DEADLINE_S, wait_for

CAPTURES = pathlib.Path(__file__).parents[3] / "captures"
HOSTILE_NAME = "zz<img src=x onerror=hacked=1>\u202e&amp;"  # last in the list

BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><auth>EXTERNAL</auth><listen>unix:path={path}</listen><policy context="default">
<allow own="*"/><allow send_destination="*"/><allow send_type="signal"/><allow receive_sender="*"/>
</policy></busconfig>
"""


class House:
    """Has the directories of the sandbox that it is in, or of its own, where the bus can be broken."""

    def __init__(self, home: pathlib.Path, *panel_options: str, own_bus: bool = False) -> None:
        self._home = home
        self._environment = dict(os.environ)
        self._options = panel_options
        self._processes: dict[str, subprocess.Popen] = {}
        self.log = home / "log"
        self.recordings = home / "recordings"
        self.recordings.mkdir()
        self.captures = home / "captures"
        self.captures.mkdir()
        for capture in CAPTURES.iterdir():
            (self.captures / capture.name).symlink_to(capture)
        (self.captures / HOSTILE_NAME).symlink_to(CAPTURES / "darvex-dvd")
        self.log.touch()
        self._environment["SRCWATCH_LOG"] = f"file:{self.log}"
        if own_bus:
            self._move_in()
        self.inputs = pathlib.Path(self._environment["SRCWATCH_INPUTS"])
        self.start_service()
        self.address = self.start_panel()

    def _move_in(self) -> None:
        for name, variable in (("state", "SRCWATCH_STATE_DIR"), ("run", "SRCWATCH_RUN_DIR"), ("inputs", "SRCWATCH_INPUTS")):
            (self._home / name).mkdir()
            self._environment[variable] = str(self._home / name)
        (self._home / "bus.conf").write_text(BUS.format(path=self._home / "bus"), encoding="utf-8")
        self._environment["DBUS_SYSTEM_BUS_ADDRESS"] = f"unix:path={self._home / 'bus'}"
        self.start_bus()

    def _start(self, name: str, *command: str) -> subprocess.Popen:
        with open(self.log, "ab") as log:
            self._processes[name] = subprocess.Popen(command, env=self._environment, stdout=subprocess.PIPE, stderr=log)
        return self._processes[name]

    def start_bus(self) -> None:
        self._start("bus", "dbus-daemon", f"--config-file={self._home / 'bus.conf'}", "--nofork")
        wait_for((self._home / "bus").exists)

    def start_service(self) -> None:
        self._start("service", "srcwatch-service", "--inputs", str(self.inputs), "--scan-step-ms", "300",
                    "--profiles", os.environ["SRCWATCH_PROFILES"])
        wait_for(lambda: self.ctl("call", "status").returncode == 0, "the service")

    def start_panel(self, *options: str) -> str:
        """Starts a panel and returns its address."""
        panel = self._start("panel", "srcwatch-panel", "--inputs", str(self.inputs), "--captures", str(self.captures),
                            "--log", str(self.log), "--recordings", str(self.recordings), *self._options, *options)
        assert panel.stdout is not None
        if not select.select([panel.stdout], [], [], DEADLINE_S)[0]:
            raise AssertionError("the panel prints no address")
        return panel.stdout.readline().decode().strip()

    def runs(self, name: str) -> bool:
        return name in self._processes and self._processes[name].poll() is None

    def end(self, name: str, how: int = signal.SIGKILL) -> int:
        process = self._processes.pop(name)
        process.send_signal(how)
        return process.wait(DEADLINE_S)

    def memory_kib(self, name: str) -> int:
        status = pathlib.Path(f"/proc/{self._processes[name].pid}/status").read_text(encoding="utf-8")
        return int(status.split("VmRSS:")[1].split()[0])

    def close(self) -> None:
        for name in list(self._processes)[::-1]:
            with contextlib.suppress(OSError):
                self.end(name)

    def ctl(self, *arguments: str) -> subprocess.CompletedProcess:
        return subprocess.run(["srcwatchctl", *arguments], env=self._environment, check=False, capture_output=True,
                              text=True, timeout=DEADLINE_S)

    def plug(self, name: str, capture: str | pathlib.Path) -> float:
        """Plugs a capture into the input of this name, and returns when."""
        moment = time.time()
        (self.inputs / name).symlink_to(self.captures / capture)
        return moment

    def unplug_all(self) -> None:
        for plugged in self.inputs.iterdir():
            if plugged.is_dir() and not plugged.is_symlink():
                shutil.rmtree(plugged)
            else:
                plugged.unlink()

    def get(self, path: str, cookie: str, **headers: str):
        base = self.address.split("/?")[0]
        request = urllib.request.Request(base + path, headers={"Cookie": cookie, **headers})
        return urllib.request.urlopen(request, timeout=DEADLINE_S)
