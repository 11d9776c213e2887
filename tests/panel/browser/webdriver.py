# SPDX-License-Identifier: Apache-2.0
"""As much of a WebDriver client as these tests need, over HTTP to chromedriver."""
import base64
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
DEADLINE_S = 60  # on a machine that others load

# As root there is no sandbox; nothing but the panel's own address can be resolved, let alone reached.
ARGUMENTS = ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--hide-scrollbars",
             "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--js-flags=--expose-gc", "--enable-precise-memory-info", "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"]

KEYS = {"enter": "\ue007", "escape": "\ue00c", "left": "\ue012", "right": "\ue014", "tab": "\ue004", "space": " "}


class Refused(Exception):
    """What the browser answered instead."""


class Driver:
    """chromedriver, which starts browsers."""

    def __init__(self) -> None:
        self._home = tempfile.TemporaryDirectory(prefix="srcwatch-browser-")
        self._log = open(os.path.join(self._home.name, "log"), "w+", encoding="utf-8")
        self._process = subprocess.Popen(["chromedriver", "--port=0"], stdout=self._log, stderr=subprocess.STDOUT,
                                         env={**os.environ, "HOME": self._home.name, "TMPDIR": self._home.name},
                                         start_new_session=True)
        self.address = f"http://127.0.0.1:{wait_for(self._port)}"

    def _port(self) -> int | None:
        text = pathlib.Path(self._log.name).read_text(encoding="utf-8")
        started = "started successfully on port "
        return int(text.split(started)[1].split(".")[0]) if started in text and "." in text.split(started)[1] else None

    def close(self) -> None:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()
        self._log.close()
        shutil.rmtree(self._home.name, ignore_errors=True)


def wait_for(condition, what="", seconds=DEADLINE_S):
    """What condition() returns, once that is true."""
    end = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} seconds: {what or condition}")
        time.sleep(0.02)
    return result


class Browser:
    """A window with one page."""

    def __init__(self, driver: Driver, *arguments: str) -> None:
        options = {"args": [*ARGUMENTS, *arguments]}
        capabilities = {"browserName": "chrome", "goog:chromeOptions": options,
                        "goog:loggingPrefs": {"browser": "ALL"}}
        self._base = f"{driver.address}/session"
        self._base += "/" + self._send("", {"capabilities": {"alwaysMatch": capabilities}})["sessionId"]

    def _send(self, path: str, body=None, method=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self._base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise Refused(json.load(error)["value"]["message"]) from None

    def close(self) -> None:
        self._send("", method="DELETE")

    def open(self, address: str) -> None:
        self._send("/url", {"url": address})

    def resize(self, width: int, height: int) -> None:
        """Gives the page this size, as a window cannot be narrower than some width."""
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def devtools(self, command: str, **parameters):
        return self._send("/goog/cdp/execute", {"cmd": command, "params": parameters})

    def prefer(self, **media: str) -> None:
        """Sets what the user prefers: prefer(prefers_color_scheme="dark")."""
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": name.replace("_", "-"), "value": value} for name, value in media.items()])

    def run(self, script: str, *arguments):
        return self._send("/execute/sync", {"script": script, "args": list(arguments)})

    def run_async(self, script: str, *arguments):
        return self._send("/execute/async", {"script": script, "args": list(arguments)})

    def find(self, selector: str) -> str:
        """The first element that can be seen, once it is there."""
        script = "return [...document.querySelectorAll(arguments[0])].find((e) => e.checkVisibility())"
        return wait_for(lambda: self.run(script, selector), selector)[ELEMENT]

    def click(self, selector: str) -> None:
        self._send(f"/element/{self.find(selector)}/click", {})

    def type(self, selector: str, text: str) -> None:
        self._send(f"/element/{self.find(selector)}/value", {"text": text})

    def clear(self, selector: str) -> None:
        self._send(f"/element/{self.find(selector)}/clear", {})

    def focus(self, selector: str) -> None:
        self.run("arguments[0].focus()", {ELEMENT: self.find(selector)})

    def press(self, *names: str) -> None:
        for name in names:
            key = KEYS.get(name, name)
            self._actions({"type": "key", "id": "keyboard", "actions": [{"type": "keyDown", "value": key},
                                                                        {"type": "keyUp", "value": key}]})

    def drag(self, source: str, target: str) -> None:
        def at(selector):
            return {"type": "pointerMove", "duration": 60, "origin": {ELEMENT: self.find(selector)}, "x": 0, "y": 0}

        steps = [at(source), {"type": "pointerDown", "button": 0}, at(target), {"type": "pointerUp", "button": 0}]
        self._actions({"type": "pointer", "id": "mouse", "actions": steps})

    def tap(self, selector: str) -> None:
        """Touches an element with a finger."""
        place = {"type": "pointerMove", "duration": 0, "origin": {ELEMENT: self.find(selector)}, "x": 0, "y": 0}
        steps = [place, {"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0}]
        self._actions({"type": "pointer", "id": "finger", "parameters": {"pointerType": "touch"}, "actions": steps})

    def _actions(self, source) -> None:
        self._send("/actions", {"actions": [source]})

    def text(self, selector: str) -> str:
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def wait_text(self, selector: str, wanted: str) -> None:
        wait_for(lambda: wanted in self.text(selector), f"{wanted!r} in {selector}")

    def messages(self) -> list[str]:
        """What the browser complained of since the last call."""
        return [entry["message"] for entry in self._send("/se/log", {"type": "browser"})]

    def screenshot(self, whole: bool = False) -> bytes:
        return base64.b64decode(self.devtools("Page.captureScreenshot", captureBeyondViewport=whole)["data"])
