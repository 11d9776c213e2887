# SPDX-License-Identifier: Apache-2.0
"""A TV of a test's own with the panel on it: message bus, platform, detection service, and the program as a browser
meets it."""
import http.client
import json
import os
import pathlib
import queue
import re
import signal
import socket
import subprocess
import tempfile
import threading
import time

BUILD = pathlib.Path(os.environ["SRCWATCH_BUILD"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]
DEADLINE = 30  # seconds; only failing tests wait that long
FEATURE = "com.korvane/featureconf/bt_profile_bt_calvix"


def wait_until(condition, what):
    end = time.monotonic() + DEADLINE
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.01)
    raise AssertionError(f"not in time: {what}")


class Tv:
    """Starts nothing by itself. Everything that was started ends with it."""

    def __init__(self):
        self._directory = tempfile.TemporaryDirectory(prefix="srcwatch-panel-test-")
        self.home = pathlib.Path(self._directory.name)
        self.inputs = self.home / "inputs"
        self.inputs.mkdir()
        (self.home / "platform.conf").write_text(f"[hdmi]\ninputs=4\n[features]\n{FEATURE}=true\n")
        self.environment = os.environ | {
            "SRCWATCH_STATE_DIR": str(self.home / "state"), "SRCWATCH_RUN_DIR": str(self.home / "run"),
            "SRCWATCH_PLATFORM_CONF": str(self.home / "platform.conf"), "SRCWATCH_INPUTS": str(self.inputs),
            "SRCWATCH_CAPTURES": str(SOURCE / "captures"), "SRCWATCH_LOG": f"file:{self.home / 'log'}",
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.home / 'bus'}"}
        self._processes = []
        self.bus = self.service = None

    def start(self, *command, **options):
        process = subprocess.Popen([str(word) for word in command], env=self.environment, **options)
        self._processes.append(process)
        return process

    def start_bus(self):
        (self.home / "bus").unlink(missing_ok=True)
        self.bus = self.start("dbus-daemon", "--session", "--nofork", "--nopidfile",
                              f"--address=unix:path={self.home / 'bus'}")
        wait_until((self.home / "bus").exists, "the bus")

    def start_service(self):
        self.service = self.start(BUILD / "service/srcwatch-service", "--inputs", self.inputs,
                                  "--profiles", SOURCE / "service/profiles.json")

    @staticmethod
    def end(process, number=signal.SIGTERM):
        process.send_signal(number)
        return process.wait(DEADLINE)

    def open_panel(self, *options):
        return Panel(self, options)

    def close(self):
        for process in reversed(self._processes):
            if process.poll() is None:
                process.kill()
            process.wait()
        self._directory.cleanup()


class Panel:
    def __init__(self, tv, options):
        self.process = tv.start(BUILD / "panel/srcwatch-panel", *options, stdout=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip()
        match = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/\?token=([\w-]+)", self.address)
        assert match, self.address
        self.port, self.token = int(match[1]), match[2]

    def connect(self):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=DEADLINE)

    def request(self, method, path, body=None, headers=None, cookie=True):
        """Returns status, headers and body of the reply."""
        sent = {"Cookie": f"srcwatch_panel={self.token}"} if cookie else {}
        connection = self.connect()
        connection.request(method, path, body, sent | (headers or {}))
        reply = connection.getresponse()
        content = reply.read()
        connection.close()
        return reply.status, dict(reply.getheaders()), content

    def get(self, path):
        status, _, content = self.request("GET", path)
        return status, json.loads(content)

    def post(self, path, body, headers=None):
        sent = {"Content-Type": "application/json"} | (headers or {})
        status, _, content = self.request("POST", path, json.dumps(body), sent)
        return status, json.loads(content)

    def memory(self):
        """Returns the memory of the program's own, in KiB."""
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"RssAnon:\s+(\d+)", text)[1])


class Stream:
    """A page: follows the stream, and applies each change as it is stated."""

    def __init__(self, panel, last_id=None):
        self.state, self.events, self.last_id, self.comments, self.is_over = None, [], None, 0, False
        self._connection = panel.connect()
        headers = {"Cookie": f"srcwatch_panel={panel.token}"} | ({"Last-Event-ID": last_id} if last_id else {})
        self._connection.request("GET", "/api/stream", headers=headers)
        self._socket = self._connection.sock
        self.reply = self._connection.getresponse()
        assert self.reply.status == 200, self.reply.read()
        self._queue = queue.SimpleQueue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        try:
            fields = {}
            while line := self.reply.readline():
                name, _, value = line.decode("utf-8").rstrip("\n").partition(": ")
                if name:
                    fields[name] = value
                elif fields:
                    self._queue.put(fields)
                    fields = {}
                elif value:
                    self._queue.put({})
        except (OSError, http.client.HTTPException, ValueError, AttributeError):
            pass
        self._queue.put(None)

    def _apply(self, change):
        for name, value in change.items():
            if name in ("events", "log"):
                self.state[name] = (self.state.get(name, []) + value)[-500:]
            elif name == "ports":
                ports = {port["port"]: port for port in self.state["ports"] + value}
                self.state["ports"] = [ports[number] for number in sorted(ports)]
            else:
                self.state[name] = value

    def take(self):
        """Applies what has arrived."""
        while not self._queue.empty():
            fields = self._queue.get()
            if fields is None:
                self.is_over = True
            elif "data" in fields:
                self.events.append(fields["event"])
                self.last_id = fields["id"]
                data = json.loads(fields["data"])
                if fields["event"] == "snapshot":
                    self.state = data
                elif self.state is not None:
                    self._apply(data)

    def wait(self, condition, what):
        def holds():
            self.take()
            return self.state is not None and condition(self.state)
        wait_until(holds, what)
        return self.state

    def wait_for_port(self, port, **members):
        def holds(state):
            known = next(each for each in state["ports"] if each["port"] == port)
            return all(known[name] == value for name, value in members.items()) and known
        self.wait(holds, f"port {port}: {members}")
        return holds(self.state)

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
