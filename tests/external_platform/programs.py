#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Uses srcwatchctl and srcwatch-service on the example platform, on a bus of their own:

    dbus-run-session -- tests/external_platform/programs.py PREFIX PLAIN WATCHED

PREFIX is where the programs are installed. PLAIN and WATCHED are directories with the platform's library: with the four
interfaces alone, and with the watch and the list of settings. The programs are the same for both.
"""
import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
CAPTURES = ROOT / "captures"
LIMIT = 120  # seconds, on a machine that others load
COMMAND_KEY = "memory/srcwatch-service/scan_progress"
NO_WATCH = "this platform does not report writes of settings; 'srcwatchctl monitor' shows events instead"
UNHEARD = "the detection service cannot receive commands, as this platform does not report writes of settings"
# Commands that need more than the four interfaces, and what they say without.
MISSING = {
    "settings list": "this platform has no list of its settings; 'srcwatchctl settings get KEY' reads one of them",
    "settings watch": NO_WATCH,
    "watch list": NO_WATCH,
    "wait 0": NO_WATCH,
    "record recording.jsonl": NO_WATCH,
    "settings unset memory/example": "this platform cannot remove settings; "
                                     "'srcwatchctl settings set KEY VALUE' writes another value",
    "settings check": "this platform cannot check its settings; use what its settings store has for that",
    "settings repair": "this platform cannot check its settings; use what its settings store has for that",
    "settings backup copy": "this platform cannot copy its settings; use what its settings store has for that",
    "settings restore copy": "this platform cannot restore its settings; use what its settings store has for that",
    "replay recording.jsonl": "this platform has no list of its settings; "
                              "'srcwatchctl settings get KEY' reads one of them",
}
LEFT_MISSING_BY_WATCH = {
    "settings unset memory/example", "settings check", "settings repair", "settings backup copy",
    "settings restore copy"}


def require(condition, *what):
    if not condition:
        sys.exit("not so: " + " ".join(map(str, what)))


class Tv:
    """A television with a platform: its settings, its inputs, and what runs on it."""

    def __init__(self, prefix, platform, work):
        self.bin = prefix / "bin"
        self.work = work
        self.inputs = work / "inputs"
        self.log = work / "log"
        for directory in (self.inputs, work / "settings"):
            directory.mkdir()
        self.environment = {
            "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": str(work), "EXAMPLE_SETTINGS": str(work / "settings"),
            "LD_LIBRARY_PATH": f"{platform}:{prefix / 'lib'}", "SRCWATCH_INPUTS": str(self.inputs),
            "DBUS_SYSTEM_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"],
            **{name: value for name, value in os.environ.items() if name.startswith("QEMU_")}}

    def start(self, command):
        return subprocess.Popen([self.bin / "srcwatchctl", *command.split()], env=self.environment, cwd=self.work,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def end(self, process, status=0):
        """What a command printed, and its own lines on standard error, among which are those of the platform's log."""
        output, errors = process.communicate(timeout=LIMIT)
        own = [line.removeprefix("srcwatchctl: ") for line in errors.splitlines() if line.startswith("srcwatchctl: ")]
        require(process.returncode == status, process.args, "ended with", process.returncode, output, own)
        return output, own

    def control(self, command, status=0):
        return self.end(self.start(command), status)

    def json(self, command):
        return json.loads(self.control(command + " -o json")[0])

    def refuses(self, command, message):
        output, own = self.control(command, status=1)
        require((output, own) == ("", [message]), command, "says", output, own)

    @contextlib.contextmanager
    def service(self):
        with open(self.log, "w", encoding="utf-8") as log:
            process = subprocess.Popen(
                [self.bin / "srcwatch-service", "--inputs", self.inputs, "--scan-step-ms", "20",
                 "--profiles", ROOT / "service/profiles.json"], env=self.environment, stderr=log)
        try:
            self.control(f"wait --service --timeout {LIMIT}")
            self.wait(lambda: "serving 2 HDMI input(s)" in self.log.read_text(errors="replace"))
            yield
            process.terminate()
            require(process.wait(timeout=LIMIT) == 0, "the service ended with", process.returncode, self.log.read_text())
        finally:
            process.kill()
            process.wait()

    def wait(self, condition):
        deadline = time.monotonic() + LIMIT
        while not condition():
            require(time.monotonic() < deadline, "it did not happen in time:", self.log.read_text(errors="replace"))
            time.sleep(0.05)


def check_stored(tv):
    """What needs library and platform alone."""
    output, own = tv.control("list")
    require("HDMI 2" in output and "optical" in output and "no detection service is running" in own[0], output, own)
    require(len(tv.json("show 0")["answers"]) > 5, "show has the library's answers")
    require(tv.json("features")["hdmi_count"] == 2, "features has what the platform says")
    tv.refuses("settings get memory/example", "no such setting: memory/example")
    tv.control("settings set memory/example 7")
    require(tv.control("settings get memory/example")[0] == "7\n", "a setting that was set is read")
    require(tv.json("scan status")["state"] == "unknown", "no scan has written its progress")
    checks = {check["check"]: check for check in json.loads(tv.control("doctor -o json", status=1)[0])}
    require("a store of its own" in checks["settings"]["detail"] and "sqlite" not in checks, checks)
    require(checks["activity-document"]["ok"] and checks["events"]["ok"], checks)


def check_detection(tv):
    """A device from the directory to the record and the event, until the monitor listens, and back."""
    monitor = tv.start(f"monitor --type detected --count 1 --timeout {LIMIT} -o jsonl")
    while monitor.poll() is None:
        tv.control(f"plug 0 kestelle-k2 --captures {CAPTURES}")
        tv.wait(lambda: tv.json("list")[0]["record"]["DevType"] != 0)
        tv.control("unplug 0")
        tv.wait(lambda: tv.json("list")[0]["record"]["DevType"] == 0)
    require(json.loads(tv.end(monitor)[0])["port"] == 0, "the event has the port")
    tv.control(f"plug 0 kestelle-k2 --captures {CAPTURES}")
    tv.wait(lambda: tv.json("list")[0]["state"] == "detected")
    require(tv.json("call record 0")["reply"]["plugged"], "the service answers")
    tv.control("forget 0")
    require(tv.json("list")[0]["record"]["DevType"] == 0, "the record is cleared")
    tv.control("unplug 0")


def check_plain(tv):
    for command, message in MISSING.items():
        tv.refuses(command, message)
    require(not (tv.work / "recording.jsonl").exists(), "a recording that is refused leaves no file")
    check_stored(tv)
    with tv.service():
        require("cannot receive commands of applications" in tv.log.read_text(errors="replace"), tv.log.read_text())
        require(tv.json("call status")["reply"]["hears_commands"] is False, "the status says that it cannot receive commands")
        for command in ("scan start", "scan run", "optical start", "twc start 0", "twc tuned 1 1"):
            tv.refuses(command, UNHEARD)
        tv.refuses(f"settings get {COMMAND_KEY}", f"no such setting: {COMMAND_KEY}")
        check_detection(tv)


def check_watched(tv):
    for command in sorted(LEFT_MISSING_BY_WATCH):
        tv.refuses(command, MISSING[command])
    check_stored(tv)
    require({"key": "memory/example", "type": "int", "value": 7} in tv.json("settings list"), "settings are listed")
    with tv.service():
        require("cannot receive commands" not in tv.log.read_text(errors="replace"), tv.log.read_text())
        require("hears_commands" not in tv.json("call status")["reply"], "the status has nothing to say about commands")
        waiting = tv.start(f"wait 0 --timeout {LIMIT}")
        check_detection(tv)
        tv.end(waiting)
        tv.control(f"plug 1 kestelle-k2 --captures {CAPTURES}")
        require("1 device(s) found" in tv.control(f"scan run --timeout {LIMIT}")[0], "the scan finishes")
        require(tv.control(f"settings get {COMMAND_KEY}")[0] == "2001\n", "the library wrote the command")
        tv.control("record recording.jsonl --seconds 0.1")


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    prefix, *platforms = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    for platform, check in zip(platforms, (check_plain, check_watched)):
        with tempfile.TemporaryDirectory() as directory:
            check(Tv(prefix, platform, pathlib.Path(directory)))


main()
