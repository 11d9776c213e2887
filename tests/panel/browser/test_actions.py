# SPDX-License-Identifier: Apache-2.0
"""What a user does on the page, done as a user does it: with the mouse and with the keyboard."""
import io
import json
import tarfile
import time

from pages import capture, name_of, port, wait_plugged, wait_state
from webdriver import wait_for


def test_a_capture_is_dragged_to_an_input(page):
    page.drag(capture("voltana-vx-home"), f"{port(1)} .face")

    wait_plugged(page, 1, "Voltana Television")
    assert "set-top box" in page.text(f"{port(1)} .detail")
    page.wait_text(f"{port(1)} .time", "detected in ")


def test_a_device_is_dragged_to_another_input(page, house):
    house.plug("hdmi1", "kestelle-k2")
    wait_state(page, 0, "detected")

    page.drag(f"{port(0)} .move", f"{port(2)} .face")

    wait_state(page, 2, "detected")
    wait_state(page, 0, "empty")
    assert (house.inputs / "hdmi3").is_symlink()


def test_a_device_makes_way_for_what_is_dropped_on_it(page, house):
    house.plug("hdmi1", "kestelle-k2")
    wait_state(page, 0, "detected")

    page.drag(capture("quellon-bdq900"), f"{port(0)} .face")

    wait_plugged(page, 0, "BDQ-900")


def test_a_drag_to_nowhere_changes_nothing(page, house):
    page.drag(capture("quellon-bdq900"), "h1")

    page.wait_text("#announcer", "quellon-bdq900 put back")
    assert list(house.inputs.iterdir()) == []


def test_the_keyboard_moves_a_capture(page):
    page.focus(capture("tivaro-one"))
    page.press("enter")
    page.wait_text("#announcer", "tivaro-one picked up")
    page.press("right", "right", "left")
    page.wait_text("#announcer", "HDMI 2")
    page.press("enter")

    wait_state(page, 1, "detected")
    assert page.run("return document.activeElement.dataset.name") == "tivaro-one"


def test_the_keyboard_moves_a_device_and_puts_it_back(page, house):
    house.plug("hdmi1", "kestelle-k2")
    wait_state(page, 0, "detected")

    page.focus(f"{port(0)} .move")
    page.press("space", "right", "escape")
    page.wait_text("#announcer", "put back")
    assert (house.inputs / "hdmi1").is_symlink()
    page.press("space", "right", "space")

    wait_state(page, 1, "detected")


def test_a_touch_picks_up_and_a_touch_plugs_in(page):
    page.tap(capture("tivaro-one"))
    page.wait_text("#announcer", "tivaro-one picked up")
    page.tap(f"{port(3)} .face")

    wait_state(page, 3, "detected")


def test_a_detection_is_announced(page, house):
    house.plug("hdmi2", "voltana-vx-home")

    page.wait_text("#announcer", "HDMI 2: set-top box")


def test_a_device_is_unplugged(page, house):
    house.plug("hdmi1", "kestelle-k2")
    wait_state(page, 0, "detected")

    page.click(f"{port(0)} .unplug")

    wait_state(page, 0, "empty")
    assert page.run("return document.activeElement.matches(arguments[0])", f"{port(0)} .face")


def test_the_chosen_input_shows_record_and_verdict(page, house):
    house.plug("hdmi3", "voltana-vx-home")
    wait_state(page, 2, "detected")

    page.click(f"{port(2)} .face")

    page.wait_text("#port-title", "HDMI 3")
    page.wait_text("#port .facts", "ModelNameVX Home 4K")
    for text in ("spd.bin", "Profile 0", "set-top box", "by profile", "srcwatch_get_device_info"):
        page.wait_text(".verdict", text)
    assert page.run("return document.querySelectorAll('.threads path').length") >= 5
    page.wait_text("#port tbody", "set-top box")


def test_deny_and_forget(page, house):
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
    page.click(f"{port(0)} .face")

    page.click("#port [data-command='deny']")
    page.wait_text("#port .facts", "DenyCount1")

    page.click("#port [data-command='forget']")
    page.wait_text("#port .facts", "DevType0")


def test_the_scan_starts_stops_and_resumes(page, house):
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
    scan = "#controls .control:nth-of-type(1)"
    page.click(f"{scan} [data-command='start']")
    wait_for(lambda: page.text(f"{scan} .hint").startswith("running · "))
    page.click(f"{scan} [data-command='stop']")
    wait_for(lambda: "stopped" in page.text(f"{scan} .hint"))
    page.click(f"{scan} [data-command='resume']")

    wait_for(lambda: page.text(f"{scan} .hint") == "finished · 1 found")


def test_the_optical_scan_starts_and_stops(page, house):
    optical = "#controls .control:nth-of-type(2)"
    page.click(f"{optical} [data-command='start']")
    wait_for(lambda: "running" in page.text(f"{optical} .hint"))

    page.click(f"{optical} [data-command='stop']")
    wait_for(lambda: "idle" in page.text(f"{optical} .hint"))


def test_the_twc_check_starts_and_ends(page, house):
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
    page.click(f"{port(0)} .face")
    status = "#controls .control:nth-of-type(3) .hint"
    before = page.text(status)

    page.click("#port [data-command='twc-start']")
    wait_for(lambda: "HDMI 1" in page.text(status))
    page.click("#port [data-command='twc-end']")

    wait_for(lambda: page.text(status) == before)


def test_a_refusal_is_shown(page, house):
    house.end("service")
    page.wait_text("#banner", "detection service is not running")

    page.click("#controls [data-command='start']")

    page.wait_text("#trouble", "service")


def test_a_composed_device_is_classified_while_one_types_and_plugged(page):
    page.type("#compose [name='vendor']", "VOLTANA")
    page.type("#compose [name='product']", "VX Home 4K")
    page.wait_text(".would-be", "set-top box")
    page.type("#compose [name='osd']", "Box")
    page.type("#compose [name='device_type']", "3")
    page.clear("#compose [name='vendor']")
    page.type("#compose [name='source_information']", "8")
    page.wait_text(".would-be", "game console")
    page.type("#compose [name='aksv']", "zz")
    wait_for(lambda: page.run("return document.querySelector('#compose [name=aksv]').matches(':invalid')"))
    page.clear("#compose [name='aksv']")
    page.type("#compose select", "HDMI 4")
    page.click("#compose button")

    wait_state(page, 3, "detected")
    assert "game console" in page.text(f"{port(3)} .detail")


def test_an_edited_profile_shows_which_captures_change(page):
    wait_for(lambda: "VOLTANA" in page.run("return document.querySelector('#profiles textarea').value"))
    page.run("""const text = document.querySelector("#profiles textarea");
        text.value = text.value.replace('"VOLTANA"', '"VOLTAN?"').replace('"type": 1', '"type": 6');
        text.setSelectionRange(text.value.length, text.value.length)""")
    page.type("#profiles textarea", " ")

    page.wait_text(".differences", "voltana-vx-home")
    assert "game console" in page.text(".differences .to")
    page.type("#profiles textarea", "}")
    wait_for(lambda: page.text("#profiles .remarks") != "")
    page.click("#profiles button")
    wait_for(lambda: page.text("#profiles .remarks") == "" and page.text(".differences") == "")


def test_captures_and_log_are_filtered(page, house):
    page.type("#captures input", "voltana")
    wait_for(lambda: page.run("return document.querySelectorAll('.capture').length") == 1)
    page.clear("#captures input")

    with house.log.open("a", encoding="utf-8") as log:
        log.write("E/SRCWATCH(1): a needle in the log\n")
    page.wait_text(".log", "a needle")
    page.type("#log input", "needle")
    wait_for(lambda: page.run("return document.querySelectorAll('.log li').length") == 1)
    page.clear("#log input")
    page.type("#log input", "n")


def test_statistics_are_drawn(page, house):
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")

    page.wait_text("#statistics", "set-top box")
    page.wait_text("#statistics", "profile")
    wait_for(lambda: page.run("return document.querySelectorAll('#statistics .bar').length") >= 3)


def test_downloads_arrive(page, house, tmp_path):
    page.devtools("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(tmp_path))
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
    page.click(f"{port(0)} .face")

    page.click("#port a[download]")
    archive = wait_for(lambda: next(tmp_path.glob("*.tar"), None), "the capture")
    with tarfile.open(fileobj=io.BytesIO(archive.read_bytes())) as tar:
        assert {"spd.bin", "cec.log", "aksv.bin"} <= set(tar.getnames())
    page.click("#report")
    wait_for(lambda: next(tmp_path.glob("*.tar.gz"), None), "the report")


def record(page, house) -> None:
    """Takes a recording in which a device is plugged in, after about two seconds."""
    page.click("#recordings [data-command='record']")
    page.wait_text("#recordings [role='status']", "Recording ")
    wait_for(lambda: any(file.stat().st_size for file in house.recordings.iterdir()), "the recording")
    time.sleep(2)
    house.plug("hdmi1", "voltana-vx-home")
    wait_state(page, 0, "detected")
    page.click("#recordings [data-command='stop-record']")
    page.find("#recordings [data-command='record']")
    house.unplug_all()
    wait_state(page, 0, "empty")


def test_a_recording_is_taken_downloaded_and_played(page, house, tmp_path):
    page.devtools("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(tmp_path))
    record(page, house)
    page.click(".recording a")
    lines = wait_for(lambda: next(tmp_path.glob("*.jsonl"), None), "the download").read_text(encoding="utf-8")
    assert "snapshot" in {json.loads(line)["kind"] for line in lines.splitlines()}

    page.click("[data-command='timeline']")
    wait_for(lambda: page.run("return document.querySelectorAll('.timeline .bar').length") > 1)
    player = "#recordings > div:last-child"
    page.type(f"{player} select", "0.5")
    page.click(f"{player} [data-command='play']")
    page.wait_text(player, "playing")
    page.click(f"{player} [data-command='pause']")
    page.wait_text(player, "paused")
    wait_state(page, 0, "empty")

    page.run("""const slider = document.querySelector("input[type='range']");
        slider.value = 0.1;
        slider.dispatchEvent(new Event("input"));
        slider.dispatchEvent(new Event("change"));""")
    page.wait_text(player, "0.1 s of ")
    page.type(f"{player} select", "10")
    page.click(f"{player} [data-command='play']")
    wait_state(page, 0, "detected")
    page.click(f"{player} [data-command='stop']")
    page.wait_text(player, "stopped")


def test_all_buttons_were_pressed(page):
    """A button that is new needs a test: this is the list of those that the tests above press."""
    tested = {"deny", "forget", "twc-start", "twc-end", "start", "stop", "resume", "play", "pause", "move", "unplug",
              "choose", "carry", "plug", "load", "record", "stop-record", "timeline"}
    names = page.run("return [...document.querySelectorAll('button')].map((button) => button.dataset.command)")
    assert set(names) - tested == set()
    assert name_of(page, 0) == "Empty"
