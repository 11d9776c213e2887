# SPDX-License-Identifier: Apache-2.0
"""The real panel with a real bus, service and inputs, asked as a browser asks it."""
import io
import json
import os
import signal
import socket
import subprocess
import tarfile
import time

import pytest

from panel_tv import BUILD, DEADLINE, SOURCE, Stream, Tv, wait_until

HOSTILE = ["<b>&x</b>", "\"'`${a}", "</script>", "..%2f..", "&lt;img&gt;"]


@pytest.fixture(name="tv")
def fixture_tv():
    tv = Tv()
    tv.start_bus()
    tv.start_service()
    yield tv
    tv.close()


@pytest.fixture(name="panel")
def fixture_panel(tv):
    return tv.open_panel("--log", str(tv.home / "log"))


def open_stream(panel, last_id=None):
    stream = Stream(panel, last_id)
    stream.wait(lambda state: state["service"]["running"] and state["service"]["status"], "the service")
    return stream


# ----------------------------------------------------------------------------------------------------------------------
# Access

def test_the_token_becomes_a_cookie(panel):
    status, headers, _ = panel.request("GET", f"/?token={panel.token}", cookie=False)
    assert (status, headers["Location"]) == (303, "/")
    assert headers["Set-Cookie"] == f"srcwatch_panel={panel.token}; Path=/; HttpOnly; SameSite=Strict"


def test_nothing_is_answered_without_the_token(panel):
    assert panel.request("GET", "/?token=0123456789abcdef", cookie=False)[0] == 403
    for method, path in (("GET", "/"), ("GET", "/page/main.js"), ("GET", "/api/stream"), ("POST", "/api/plug")):
        assert panel.request(method, path, cookie=False)[0] == 403, path
        assert panel.request(method, path, headers={"Cookie": "srcwatch_panel=x"}, cookie=False)[0] == 403, path


def test_foreign_pages_are_refused(panel):
    for headers in ({"Host": f"evil.example:{panel.port}"}, {"Host": "127.0.0.1"}, {"Origin": "http://evil.example"},
                    {"Origin": "null"}, {"Origin": f"https://127.0.0.1:{panel.port}"}):
        assert panel.request("GET", "/", headers=headers)[0] == 403, headers
        assert panel.post("/api/plug", {}, headers)[0] == 403, headers
    for headers in ({"Host": f"localhost:{panel.port}"}, {"Origin": f"http://127.0.0.1:{panel.port}"}):
        assert panel.request("GET", "/", headers=headers)[0] == 200, headers


def test_pages_run_nothing_but_what_is_served(panel):
    for path in ("/", "/page/main.js", "/api/profiles", "/nothing"):
        _, headers, _ = panel.request("GET", path)
        assert "default-src 'none'; script-src 'self'" in headers["Content-Security-Policy"]
        assert "unsafe" not in headers["Content-Security-Policy"]
        assert headers["X-Content-Type-Options"] == "nosniff"
        assert headers["Referrer-Policy"] == "no-referrer"
        assert headers["Cache-Control"] == "no-store"


def test_the_page_is_in_the_program(panel):
    status, headers, page = panel.request("GET", "/")
    assert (status, headers["Content-Type"]) == (200, "text/html; charset=utf-8")
    assert page == (SOURCE / "panel/page/index.html").read_bytes()
    for path in ("/page/nothing.js", "/page/", "/page/../page.gresource.xml", "/page/%2e%2e/x.html", "/etc/passwd"):
        assert panel.request("GET", path)[0] == 404, path


def test_a_token_file_has_the_token(tv):
    (tv.home / "token").write_text("a-token-of-our-own\n")
    assert tv.open_panel("--token-file", str(tv.home / "token")).token == "a-token-of-our-own"


@pytest.mark.parametrize("options, code, words", [
    (["--token-file", "/nonexistent"], 1, "has no token"),
    (["--listen", "nowhere"], 1, "not an address"),
    (["--listen", "0.0.0.0"], 1, "name one"),
    (["--listen", "127.0.0.1:99999"], 2, "not ADDRESS"),
    (["--listen", "192.0.2.1"], 1, "cannot listen"),
    (["--nothing"], 2, "--nothing"),
])
def test_wrong_usage_is_refused(tv, options, code, words):
    process = tv.start(BUILD / "panel/srcwatch-panel", *options, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    _, errors = process.communicate(timeout=DEADLINE)
    assert process.returncode == code
    assert words in errors


# ----------------------------------------------------------------------------------------------------------------------
# Requests that are refused

def test_bodies_are_small_objects_of_json(panel):
    json_type = {"Content-Type": "application/json"}
    for body in ("", "{", "[]", "1", "{} {}", "[" * 5000, "\xff", '{"port": 0, "port": 1}'):
        assert panel.request("POST", "/api/plug", body.encode("latin-1"), json_type)[0] == 400, body
    assert panel.request("POST", "/api/plug", b"{}", {"Content-Type": "text/plain"})[0] == 415
    assert panel.request("POST", "/api/plug", b"{}")[0] == 415
    assert panel.request("POST", "/api/plug", b"{" + b" " * 70000 + b"}", json_type)[0] == 413
    assert panel.request("POST", "/api/profiles/try", b'{"text": "' + b"x" * 200000 + b'"}', json_type)[0] == 200
    assert panel.request("POST", "/api/profiles/try", b'{"text": "' + b"x" * 300000 + b'"}', json_type)[0] == 413


def test_a_body_without_a_length_is_refused_when_it_is_too_large(panel):
    def chunks():
        for _ in range(4000):
            yield b"x" * 1000
    before = panel.memory()
    status, _, _ = panel.request("POST", "/api/plug", chunks(), {"Content-Type": "application/json"})
    assert status == 413
    assert panel.memory() < before + 2000


def test_unknown_paths_and_methods_are_refused(panel):
    assert panel.post("/api/nothing", {})[0] == 404
    assert panel.request("GET", "/api/nothing")[0] == 404
    for method in ("PUT", "DELETE", "OPTIONS", "HEAD", "PATCH", "BREW"):
        assert panel.request(method, "/api/plug")[0] == 405, method


def test_too_many_requests_are_refused(panel):
    statuses = [panel.post("/api/unplug", {"port": 3})[0] for _ in range(400)]
    assert 409 in statuses
    assert 429 in statuses
    wait_until(lambda: panel.post("/api/unplug", {"port": 3})[0] == 409, "a request that is answered again")


@pytest.mark.parametrize("path, body, status", [
    ("/api/plug", {}, 400), ("/api/plug", {"port": "0"}, 400), ("/api/plug", {"port": 9, "capture": "a"}, 400),
    ("/api/plug", {"port": 0}, 400), ("/api/plug", {"port": 0, "capture": "../captures/darvex-dvd"}, 404),
    ("/api/plug", {"port": 0, "capture": ".."}, 404), ("/api/plug", {"port": 0, "capture": "nothing"}, 404),
    ("/api/plug", {"port": 0, "device": {"vendor": "too long a vendor"}}, 400),
    ("/api/plug", {"port": 0, "device": {}}, 400), ("/api/unplug", {"port": 0}, 409),
    ("/api/unplug", {"port": -1}, 400), ("/api/move", {"from": 0}, 400), ("/api/move", {"from": 0, "to": 1}, 409),
    ("/api/classify", {"device": 1}, 400), ("/api/deny", {"port": 1e30}, 400), ("/api/scan", {"command": "go"}, 400),
    ("/api/scan", {}, 400), ("/api/optical", {"command": "resume"}, 400), ("/api/twc", {"port": 99, "command": "start"}, 400),
    ("/api/twc", {"port": 0, "command": "go"}, 400), ("/api/profiles/try", {"text": 1}, 400),
])
def test_commands_that_make_no_sense_are_refused(panel, path, body, status):
    reply = panel.post(path, body)
    assert reply[0] == status
    assert isinstance(reply[1]["error"], str)


def test_read_only_mode_changes_nothing(tv):
    panel = tv.open_panel("--read-only")
    for path in ("plug", "unplug", "move", "deny", "forget", "scan", "optical", "twc"):
        assert panel.post(f"/api/{path}", {"port": 0, "capture": "darvex-dvd"}) == (403, {"error": "read-only"}), path
    assert panel.post("/api/classify", {"device": {"vendor": "Acme"}})[0] == 200
    assert open_stream(panel).state["read_only"]
    assert not list(tv.inputs.iterdir())


# ----------------------------------------------------------------------------------------------------------------------
# What pages see and do

def test_a_device_is_plugged_moved_and_unplugged(panel):
    stream = open_stream(panel)
    assert [port["port"] for port in stream.state["ports"]] == [0, 1, 2, 3, 99]

    assert panel.post("/api/plug", {"port": 0, "capture": "voltana-vx-home"}) == (200, {})
    port = stream.wait_for_port(0, state="detected", capture="voltana-vx-home")
    assert port["device"]["name"] == "Voltana Television"
    assert port["record"]["BName"] == "Voltana"
    assert port["milliseconds"] > 0
    stream.wait(lambda state: any(event["name"] == "detected" and "set-top box" in event["text"]
                                  for event in state["events"]), "the event")
    assert stream.wait(lambda state: state["statistics"]["total"] == 1, "the statistics")
    assert stream.wait_for_port(0)["history"][0]["type"] == 1

    assert panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})[0] == 409
    assert panel.post("/api/move", {"from": 0, "to": 2}) == (200, {})
    stream.wait_for_port(0, state="empty", capture=None, device=None)
    stream.wait_for_port(2, state="detected", capture="voltana-vx-home")

    assert panel.post("/api/unplug", {"port": 2}) == (200, {})
    stream.wait_for_port(2, state="empty", capture=None, device=None)


def test_a_device_that_takes_the_place_of_another_has_a_time(panel):
    stream = open_stream(panel)
    for name in ["darvex-dvd", "voltana-vx-home"] * 5:
        assert panel.post("/api/plug", {"port": 0, "capture": name}) == (200, {})
        port = stream.wait_for_port(0, state="detected", capture=name)
        assert port["milliseconds"] is not None
        assert panel.post("/api/unplug", {"port": 0}) == (200, {})


def test_a_composed_device_is_what_it_was_classified_as(tv, panel):
    stream = open_stream(panel)
    device = {"vendor": "Acme", "product": "Cinema", "source_information": 3, "osd": "Cinema", "device_type": 4}

    status, verdict = panel.post("/api/classify", {"device": device})
    assert (status, verdict["method_name"], verdict["brand"], verdict["profile"]) == (200, "SPD InfoFrame", "Acme", None)
    assert panel.post("/api/plug", {"port": 1, "device": device}) == (200, {})

    assert stream.wait_for_port(1, state="detected")["device"]["type"] == verdict["type"]
    assert panel.post("/api/move", {"from": 1, "to": 3}) == (200, {})
    stream.wait_for_port(3, state="detected")
    assert panel.post("/api/unplug", {"port": 3}) == (200, {})
    stream.wait_for_port(3, state="empty")
    assert not list((tv.inputs / ".panel").iterdir())


def wait_for_profiles(panel):
    """Waits until the profiles are those of the service."""
    wait_until(lambda: panel.get("/api/profiles")[1]["text"], "the service's profiles")


def test_a_profile_decides_and_says_so(panel):
    wait_for_profiles(panel)
    status, verdict = panel.post("/api/classify", {"device": {"vendor": "VOLTANA", "product": "VX 1"}})
    assert (status, verdict["method_name"]) == (200, "profile")
    assert verdict["profile"]["file"].endswith("profiles.json")


def test_names_of_devices_are_texts(panel):
    stream = open_stream(panel)
    for name in HOSTILE:
        assert panel.post("/api/plug", {"port": 0, "device": {"osd": name, "product": name}}) == (200, {})
        # For a moment the device before it is shown, which is the last that was known there.
        stream.wait(lambda state, name=name: state["ports"][0]["state"] == "detected" and
                    state["ports"][0]["record"]["CECName"] == name, f"a device with the name {name!r}")
        assert panel.post("/api/unplug", {"port": 0}) == (200, {})
        stream.wait_for_port(0, state="empty")


def test_texts_of_the_store_are_utf8(tv, panel):
    stream = open_stream(panel)
    record = {"activity": [{"DevType": 7, "DevName": "\ufffd\u202e<b>\x01\n", "BName": "x" * 5000, "PRName": "ä" * 60}]}
    subprocess.run([BUILD / "tools/srcwatchctl", "settings", "set", "db/srcwatch-service/source-activity",
                    json.dumps(record), "--text"], env=tv.environment, check=True, stdout=subprocess.DEVNULL)
    port = stream.wait_for_port(0, state="detected")
    assert port["record"]["DevName"] == "\ufffd\u202e<b>\x01\n"
    assert len(port["record"]["BName"]) == 5000


def test_the_service_is_asked(panel):
    stream = open_stream(panel)
    assert panel.post("/api/plug", {"port": 0, "capture": "voltana-vx-home"}) == (200, {})
    stream.wait_for_port(0, state="detected")

    status, reply = panel.post("/api/deny", {"port": 0})
    assert (status, reply["record"]["DenyCount"]) == (200, 1)
    stream.wait(lambda state: state["ports"][0]["record"]["DenyCount"] == 1, "the deny count")
    assert panel.post("/api/forget", {"port": 0})[0] == 200
    stream.wait_for_port(0, device=None)


def test_a_scan_is_followed(panel):
    stream = open_stream(panel)
    assert (stream.state["scan"]["stage"], stream.state["scan"]["active"]) == ("idle", False)
    panel.post("/api/plug", {"port": 1, "capture": "darvex-dvd"})
    stream.wait_for_port(1, state="detected")
    assert panel.post("/api/scan", {"command": "start"}) == (200, {})
    stream.wait(lambda state: state["scan"]["active"], "the scan")
    assert panel.post("/api/scan", {"command": "stop"}) == (200, {})
    stream.wait(lambda state: not state["scan"]["active"] and state["scan"]["stage"] == "stopped", "its stop")
    assert panel.post("/api/scan", {"command": "resume"}) == (200, {})
    stream.wait(lambda state: state["scan"]["active"], "the scan again")
    stream.wait(lambda state: not state["scan"]["active"] and state["scan"]["found"] == 1, "its end")
    assert stream.state["scan"]["stage"] == "finished"


def test_the_optical_scan_and_the_check_are_followed(panel):
    stream = open_stream(panel)
    assert panel.post("/api/optical", {"command": "start"}) == (200, {})
    stream.wait(lambda state: state["optical"]["active"], "the scan")
    stream.wait(lambda state: not state["optical"]["active"], "its end")
    assert panel.post("/api/twc", {"port": 1, "command": "start"}) == (200, {})
    stream.wait(lambda state: state["twc"] == {"status": 0, "text": "no set-top box", "port": 1}, "the check")
    assert panel.post("/api/twc", {"port": 1, "command": "end"}) == (200, {})
    stream.wait(lambda state: state["twc"]["status"] == -1, "its end")


def test_a_verdict_is_explained(tv, panel):
    stream = open_stream(panel)
    panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    stream.wait_for_port(0, state="detected")

    status, document = panel.get("/api/explain?port=0")

    printed = subprocess.run([BUILD / "tools/srcwatchctl", "explain", "0", "-o", "json"], env=tv.environment, check=True,
                             stdout=subprocess.PIPE)
    expected = json.loads(printed.stdout)
    assert status == 200
    assert document["answers"] == expected["answers"]
    assert document["record"] == expected["record"]
    for member in ("items", "rules", "profiles", "profile", "type", "method", "behind"):
        assert document["evidence"][member] == expected["evidence"][member], member
    assert panel.get("/api/explain?port=1")[1]["evidence"] is None
    assert panel.get("/api/explain?port=7")[0] == 400
    assert panel.get("/api/explain")[0] == 400


def test_a_capture_is_downloaded(panel):
    assert panel.get("/api/capture?port=0")[0] == 404
    panel.post("/api/plug", {"port": 0, "capture": "voltana-vx-home"})

    status, headers, archive = panel.request("GET", "/api/capture?port=0")

    assert (status, headers["Content-Disposition"]) == (200, 'attachment; filename="hdmi1.tar"')
    with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
        for name in ("spd.bin", "cec.log", "aksv.bin"):
            assert tar.extractfile(name).read() == (SOURCE / "captures/voltana-vx-home" / name).read_bytes()


def test_other_profiles_are_tried(panel):
    wait_for_profiles(panel)
    status, document = panel.get("/api/profiles")
    assert (status, document["text"]) == (200, (SOURCE / "service/profiles.json").read_text())

    unchanged = panel.post("/api/profiles/try", {"text": document["text"]})[1]
    changed = panel.post("/api/profiles/try", {"text": '{"profiles": []}'})[1]

    assert unchanged["errors"] == []
    assert not any(capture["changed"] for capture in unchanged["captures"])
    assert "voltana-vx-home" in [capture["name"] for capture in changed["captures"] if capture["changed"]]
    assert panel.post("/api/profiles/try", {"text": "{"})[1]["errors"]


def test_the_log_is_followed(tv, panel):
    stream = open_stream(panel)
    stream.wait(lambda state: state["log"], "lines")
    with open(tv.home / "log", "ab") as log:
        log.write(b"2026-01-31T12:00:00.000Z E test 1 \xff<b>\n")
    stream.wait(lambda state: {"text": "2026-01-31T12:00:00.000Z E test 1 \ufffd<b>", "priority": "E"} in state["log"],
                "the new line")


# ----------------------------------------------------------------------------------------------------------------------
# Streams

def test_two_pages_see_the_same(panel):
    first, second = open_stream(panel), open_stream(panel)
    panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    for stream in (first, second):
        stream.wait_for_port(0, state="detected")
    wait_until(lambda: first.take() or second.take() or first.last_id == second.last_id, "the same id")
    assert first.state == second.state


def test_a_page_that_comes_back_gets_what_it_missed(panel):
    page = open_stream(panel)
    last_id, state = page.last_id, page.state
    page.close()
    watcher = open_stream(panel)
    panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    watcher.wait_for_port(0, state="detected")

    again = Stream(panel, last_id)
    again.state = state
    again.wait_for_port(0, state="detected")

    assert "snapshot" not in again.events
    stranger = Stream(panel, "0123-4")
    stranger.wait(lambda _: True, "a snapshot")
    assert stranger.events[0] == "snapshot"


def test_streams_are_limited_in_number(panel):
    streams = [open_stream(panel) for _ in range(16)]
    assert panel.request("GET", "/api/stream")[0] == 503
    streams.pop().close()
    wait_until(lambda: try_stream(panel), "a stream that is free")


def try_stream(panel):
    connection = panel.connect()
    connection.request("GET", "/api/stream", headers={"Cookie": f"srcwatch_panel={panel.token}"})
    is_open = connection.getresponse().status == 200
    connection.close()
    return is_open


def open_without_reading(panel):
    """Opens a stream whose bytes stay where they are."""
    page = socket.socket()
    page.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    page.settimeout(DEADLINE)
    page.connect(("127.0.0.1", panel.port))
    page.sendall(f"GET /api/stream HTTP/1.1\r\nHost: 127.0.0.1:{panel.port}\r\n"
                 f"Cookie: srcwatch_panel={panel.token}\r\n\r\n".encode())
    assert page.recv(100).startswith(b"HTTP/1.1 200")
    return page


def read_to_end(page):
    """Returns the number of bytes before the connection ends, which must not take for ever."""
    size = 0
    try:
        while got := page.recv(65536):
            size += len(got)
    except ConnectionError:
        pass
    return size


def test_a_page_that_does_not_read_is_dropped(tv, panel):
    reader = open_stream(panel)
    slow = open_without_reading(panel)
    lines = 0
    with open(tv.home / "log", "ab") as log:
        while lines < 8000:
            for _ in range(100):
                lines += 1
                log.write(b"2026-01-31T12:00:00.000Z I test 1 %d %s\n" % (lines, b"x" * 1500))
            log.flush()
            reader.wait(lambda state: state["log"] and f" 1 {lines} " in state["log"][-1]["text"], "the lines")

    assert read_to_end(slow) < 8000 * 1500
    assert panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"}) == (200, {})
    reader.wait_for_port(0, state="detected")
    assert not reader.is_over


def test_many_changes_leave_it_as_large_as_it_was(tv, panel):
    seconds = float(os.environ.get("SRCWATCH_PANEL_SECONDS", "6"))
    stream = open_stream(panel)
    number, middle, end = 0, None, time.monotonic() + seconds
    with open(tv.home / "log", "ab") as log:
        while time.monotonic() < end:
            number += 1
            command = {"port": 0, "capture": "darvex-dvd"}
            if number % 25 == 0:
                panel.post("/api/unplug" if number % 50 == 0 else "/api/plug", command)
            log.write(b"2026-01-31T12:00:00.000Z I test 1 %d\n" % number)
            log.flush()
            stream.take()
            if middle is None and time.monotonic() > end - seconds / 2:
                middle = panel.memory()
            time.sleep(0.01)
    stream.wait(lambda state: any(line["text"].endswith(f" 1 {number}") for line in state["log"]), "the last change")
    print(f"{number} changes, {len(stream.events)} sent, {middle} KiB after half of {seconds:g} s, {panel.memory()} KiB")
    assert panel.memory() < middle + 3000


# ----------------------------------------------------------------------------------------------------------------------
# What goes away and comes back

def test_the_service_goes_and_comes_back(tv, panel):
    stream = open_stream(panel)
    panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    stream.wait_for_port(0, state="detected")

    tv.end(tv.service)
    stream.wait(lambda state: not state["service"]["running"] and state["service"]["status"] is None, "its end")
    assert stream.state["service"]["bus"]
    assert panel.post("/api/scan", {"command": "start"})[0] == 503
    assert panel.post("/api/deny", {"port": 0})[0] == 502
    tv.start_service()

    stream.wait(lambda state: state["service"]["running"] and state["service"]["status"], "its return")
    panel.post("/api/plug", {"port": 1, "capture": "voltana-vx-home"})
    stream.wait_for_port(1, state="detected")


def test_the_bus_goes_and_comes_back(tv, panel):
    stream = open_stream(panel)
    tv.end(tv.bus, signal.SIGKILL)
    tv.service.wait(DEADLINE)
    stream.wait(lambda state: not state["service"]["bus"] and not state["service"]["running"], "its end")

    tv.start_bus()
    tv.start_service()

    stream.wait(lambda state: state["service"]["bus"] and state["service"]["running"], "its return")
    events = len(stream.state["events"])
    panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    stream.wait_for_port(0, state="detected")
    stream.wait(lambda state: len(state["events"]) >= events + 2, "events of the new bus")


def test_it_starts_without_a_bus_and_without_a_service():
    tv = Tv()
    try:
        panel = tv.open_panel()
        stream = Stream(panel)
        stream.wait(lambda state: not state["service"]["bus"], "a state")
        assert panel.post("/api/plug", {"port": 0, "capture": "darvex-dvd"}) == (200, {})
        stream.wait_for_port(0, state="plugged")
        tv.start_bus()
        tv.start_service()
        stream.wait_for_port(0, state="detected")
    finally:
        tv.close()


def test_a_service_that_hangs_holds_nothing_up(tv, panel):
    stream = open_stream(panel)
    tv.service.send_signal(signal.SIGSTOP)
    panel.request("POST", "/api/plug", json.dumps({"port": 0, "capture": "darvex-dvd"}),
                  {"Content-Type": "application/json"})
    start = time.monotonic()
    stream.wait_for_port(0, state="plugged")
    assert panel.get("/api/profiles")[0] == 200
    assert time.monotonic() - start < 5
    tv.service.send_signal(signal.SIGCONT)
    stream.wait_for_port(0, state="detected")


def test_it_ends_when_it_is_told(tv):
    for number in (signal.SIGTERM, signal.SIGINT):
        panel = tv.open_panel()
        stream = open_stream(panel)
        assert Tv.end(panel.process, number) == 0
        wait_until(lambda: stream.take() or stream.is_over, "the end of the stream")


def test_it_ends_while_the_service_hangs(tv):
    panel = tv.open_panel()
    open_stream(panel)
    tv.service.send_signal(signal.SIGSTOP)
    connection = panel.connect()
    connection.request("POST", "/api/deny", '{"port": 0}', {"Cookie": f"srcwatch_panel={panel.token}",
                                                            "Content-Type": "application/json"})
    time.sleep(0.2)
    assert Tv.end(panel.process) == 0


# ----------------------------------------------------------------------------------------------------------------------
# Recordings and reports

@pytest.fixture(name="recorder")
def fixture_recorder(tv):
    (tv.home / "recordings").mkdir()
    return tv.open_panel("--recordings", str(tv.home / "recordings"))


def make_recording(tv, stream, recorder):
    """Records a device that is plugged in and unplugged, and returns the name of the recording."""
    assert recorder.post("/api/record", {"command": "start"}) == (200, {})
    stream.wait(lambda state: state["recorder"]["active"], "the recorder")
    path = tv.home / "recordings" / stream.state["recorder"]["name"]
    wait_until(lambda: path.exists() and path.stat().st_size, "the recording")
    assert recorder.post("/api/record", {"command": "start"})[0] == 409
    recorder.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    stream.wait_for_port(0, state="detected")
    time.sleep(0.3)
    recorder.post("/api/unplug", {"port": 0})
    stream.wait_for_port(0, state="empty")
    assert recorder.post("/api/record", {"command": "stop"}) == (200, {})
    stream.wait(lambda state: not state["recorder"]["active"], "its end")
    assert recorder.post("/api/record", {"command": "stop"})[0] == 409
    stream.wait(lambda state: state["recordings"] == [{"name": path.name, "bytes": path.stat().st_size}], "the list")
    return path.name


def test_what_happens_is_recorded_and_played(tv, recorder):
    stream = open_stream(recorder)
    assert stream.state["tools"]
    name = make_recording(tv, stream, recorder)

    status, timeline = recorder.get(f"/api/recordings/{name}/timeline")
    assert status == 200
    inputs = [entry for entry in timeline["entries"] if entry["kind"] == "input"]
    assert [(entry["port"], entry["text"]) for entry in inputs] == [(0, "hdmi1: a device"), (0, "hdmi1: no device")]
    assert 0 < inputs[0]["at"] < inputs[1]["at"] <= timeline["length"]
    assert recorder.request("GET", f"/api/recordings/{name}")[2] == (tv.home / "recordings" / name).read_bytes()

    assert recorder.post("/api/play", {"name": name, "command": "play", "speed": 0.5}) == (200, {})
    stream.wait_for_port(0, state="detected")
    assert recorder.post("/api/play", {"name": name, "command": "pause"}) == (200, {})
    stream.wait(lambda state: state["player"]["state"] == "paused" and state["player"]["name"] == name, "the pause")
    middle = (inputs[0]["at"] + inputs[1]["at"]) / 2
    assert recorder.post("/api/play", {"name": name, "command": "seek", "at": 0}) == (200, {})
    stream.wait_for_port(0, state="empty")
    assert recorder.post("/api/play", {"name": name, "command": "seek", "at": middle}) == (200, {})
    stream.wait_for_port(0, state="detected")
    assert recorder.post("/api/play", {"name": name, "command": "play", "speed": 10}) == (200, {})
    stream.wait_for_port(0, state="empty")
    stream.wait(lambda state: state["player"]["state"] == "paused", "the end")
    assert recorder.post("/api/play", {"command": "stop"}) == (200, {})
    stream.wait(lambda state: state["player"] == {"name": None, "state": "stopped", "at": 0, "length": 0}, "the stop")


def test_a_player_that_stops_unplugs_its_devices(tv, recorder):
    stream = open_stream(recorder)
    capture = {"spd": "", "cec": "40:47:42:6f:78\n", "aksv": ""}
    entries = [{"at": 5, "time": "", "kind": "snapshot", "version": 1, "settings": {},
                "inputs": [{"port": 1, "capture": capture}, {"port": 6, "capture": capture}]},
               {"at": 100, "time": "", "kind": "input", "port": 2, "capture": capture}]
    (tv.home / "recordings/a.jsonl").write_text("".join(json.dumps(entry) + "\n" for entry in entries))
    recorder.post("/api/plug", {"port": 0, "capture": "darvex-dvd"})
    stream.wait_for_port(0, state="detected")

    assert recorder.post("/api/play", {"name": "a.jsonl", "command": "play"}) == (200, {})
    assert stream.wait_for_port(1, state="detected")["record"]["CECName"] == "Box"
    assert recorder.post("/api/play", {"name": "a.jsonl", "command": "seek", "at": 95}) == (200, {})
    stream.wait_for_port(2, state="detected")
    assert recorder.post("/api/play", {"name": "a.jsonl", "command": "stop"}) == (200, {})

    stream.wait_for_port(1, state="empty")
    stream.wait_for_port(2, state="empty")
    assert stream.wait_for_port(0, state="detected")["capture"] == "darvex-dvd"


@pytest.mark.parametrize("text", ["", "x", "{}", '{"kind": "event"}', '{"at": 0, "kind": "snapshot"}', "[" * 9999,
                                  '{"at":0,"time":"","kind":"snapshot","version":1,"inputs":[{"port":42,"capture":null}]}'])
def test_what_is_no_recording_is_refused(tv, recorder, text):
    (tv.home / "recordings/a.jsonl").write_text(text)
    assert recorder.get("/api/recordings/a.jsonl/timeline")[0] == 404
    assert recorder.post("/api/play", {"name": "a.jsonl", "command": "play"})[0] == 404


def test_names_of_recordings_are_plain(tv, recorder):
    (tv.home / "secret.jsonl").write_text("{}")
    for name in ("nothing.jsonl", "../secret.jsonl", "%2e%2e/secret.jsonl", "..%2fsecret.jsonl", ".jsonl", "", "a",
                 "/etc/passwd", "a.jsonl/../../secret.jsonl", "a%00.jsonl"):
        assert recorder.request("GET", f"/api/recordings/{name}")[0] in (400, 404), name
        assert recorder.request("GET", f"/api/recordings/{name}/timeline")[0] in (400, 404), name
        assert recorder.post("/api/play", {"name": name, "command": "play"})[0] == 404, name
    for body in ({}, {"command": "go"}, {"command": "seek", "name": "a"}, {"command": "play", "speed": 0},
                 {"command": "play", "speed": 1e9}, {"command": "seek", "at": "1"}):
        assert recorder.post("/api/play", body)[0] == 400, body
    assert recorder.post("/api/record", {"command": "go"})[0] == 400


def test_without_recordings_there_are_none(panel):
    stream = open_stream(panel)
    assert not {"recordings", "recorder", "player"} & set(stream.state)
    assert panel.post("/api/record", {"command": "start"})[0] == 404


def test_a_report_is_made(tv, panel):
    status, headers, archive = panel.request("GET", "/api/report")
    assert (status, headers["Content-Type"]) == (200, "application/gzip")
    with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
        names = [name.rpartition("/")[2] for name in tar.getnames()]
    assert any("doctor" in name for name in names)
    assert "log.txt" in names
