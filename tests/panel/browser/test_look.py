# SPDX-License-Identifier: Apache-2.0
"""What the page looks like and says, to whoever looks and however: sizes, colours, motion, screen readers."""
import os
import pathlib
import struct

import pytest

from house import HOSTILE_NAME
from pages import name_of, port, wait_plugged, wait_state
from webdriver import wait_for

AXE = pathlib.Path(os.environ["SRCWATCH_NODE_MODULES"]) / "axe-core" / "axe.min.js"
DOCS = pathlib.Path(__file__).parents[3] / "docs"
DEVICES = {"hdmi1": "voltana-vx-home", "hdmi2": "quellon-bdq900", "hdmi3": "malformed", "optical": "ambrelle-soundbar"}

AUDIT = """
const done = arguments[0];
// A contrast that cannot be computed counts as well, but not that of what is scrolled away.
const undecided = ({ any }) => any[0].data?.messageKey !== "elmPartiallyObscured";
axe.run(document).then(({ violations, incomplete }) => done(
    [...violations, ...incomplete.map((rule) => ({ ...rule, nodes: rule.nodes.filter(undecided) }))]
        .filter(({ nodes }) => nodes.length > 0)
        .map(({ id, nodes }) => [id, ...nodes.map((node) => node.html)].join("\\n"))));
"""


@pytest.fixture
def furnished(page, house):
    """The page with a device of most kinds."""
    for name, device in DEVICES.items():
        house.plug(name, device)
    for number in (0, 1, 2, 99):
        wait_state(page, number, "detected")
    page.wait_text(".verdict", "srcwatch_get_device_info")
    return page


def violations(page) -> list[str]:
    page.run(AXE.read_text(encoding="utf-8"))
    return page.run_async(AUDIT)


def test_nothing_hinders_access(furnished):
    for scheme in ("light", "dark"):
        furnished.prefer(prefers_color_scheme=scheme, prefers_reduced_motion="reduce")

        assert violations(furnished) == []


def test_nothing_hinders_access_on_a_phone_with_a_device_in_the_hand(furnished):
    furnished.resize(380, 800)
    furnished.prefer(prefers_reduced_motion="reduce")
    furnished.focus(f"{port(0)} .move")
    furnished.press("enter")

    assert violations(furnished) == []
    furnished.press("escape")


def test_no_window_is_too_narrow(furnished):
    for width in (320, 380, 719, 720, 900, 1199, 1200, 1440, 2560):
        furnished.resize(width, 800)

        assert furnished.run("return document.documentElement.scrollWidth - window.innerWidth") <= 0, width
        assert furnished.run("""return [...document.querySelectorAll("main > section, .side > section, .face, .box")]
            .filter((node) => node.getBoundingClientRect().right > innerWidth).length""") == 0, width


def test_nothing_moves_for_who_wants_no_motion(page, house):
    moving = """document.querySelector(arguments[0]).dataset.state = "reading";
        return getComputedStyle(document.querySelector(`${arguments[0]} .cable`)).animationName"""
    page.prefer(prefers_reduced_motion="no-preference")
    assert page.run(moving, port(0)) == "flow"

    page.prefer(prefers_reduced_motion="reduce")
    assert page.run(moving, port(0)) == "none"


def test_the_focus_goes_through_the_page_in_order_and_is_seen(furnished):
    furnished.run("document.activeElement.blur()")
    seen = []
    for _ in range(45):
        furnished.press("tab")
        seen.append(furnished.run("""const node = document.activeElement;
            return [getComputedStyle(node).outlineStyle, node.closest("section, header, body").id,
                node.getBoundingClientRect().top]"""))

    assert all(style == "solid" for style, *_ in seen)
    sections = [section for _, section, _ in seen]
    assert [*dict.fromkeys(sections)][:5] == ["", "tv", "captures", "port", "events"]


HOSTILE = {
    "markup": b'<img src=x onerror="parent.hacked=1">',
    "script": b"</span><script>hacked=1</script>",
    "quotes": b"\"'`${hacked=1}`'\"",
}


def make_capture(directory: pathlib.Path, osd: bytes) -> pathlib.Path:
    """A capture of a player at 1.0.0.0 with this OSD name; 14 bytes are the most that HDMI-CEC has."""
    directory.mkdir()
    name = ":".join(f"{byte:02x}" for byte in b"\x40\x47" + osd[:14])
    (directory / "cec.log").write_text(f"4f:84:10:00:04\n{name}\n", encoding="ascii")
    return directory


@pytest.mark.parametrize("osd", [b"<b>bold</b>", b"<script>x", b"<img src=/x>", b"\"'>&amp;<p>", "\u202eabc".encode(),
                                 b"a\x01\x1b[31mb\x7f", b"\xff\xfe\xc3("])
def test_names_of_devices_are_text(page, house, tmp_path, osd):
    house.plug("hdmi1", make_capture(tmp_path / "device", osd))
    wait_state(page, 0, "detected")
    page.click(f"{port(0)} .face")
    page.wait_text(".verdict", "srcwatch_get_cec_name")

    assert page.run("return document.querySelectorAll('main :is(b, script, p img, dd img, img, iframe)').length") == 0
    stored = house.ctl("get", "0", "CECName").stdout.rstrip("\n")
    if osd.isascii() and osd.decode().isprintable():
        page.wait_text("#port .facts", f"CECName{osd[:14].decode()}")
        assert stored == osd[:14].decode()
    assert page.run("return window.violations") == []
    assert [message for message in page.messages() if "Content Security Policy" in message] == []


def test_hostile_names_of_all_places_are_text(page, house):
    """What other programs may leave: a name of a capture's directory, a record, a line of the log."""
    markup = HOSTILE["markup"].decode()
    record = '{"activity": [{"PortNum": 0, "DevType": 3, "DevName": %s, "BName": %s}]}' % (
        '"' + markup.replace('"', '\\"') + '"', '"<script>hacked=1</script>"')
    house.plug("hdmi1", "quellon-bdq900")
    wait_state(page, 0, "detected")
    assert house.ctl("settings", "set", "db/srcwatch-service/source-activity", record).returncode == 0
    with house.log.open("a", encoding="utf-8") as log:
        log.write(f"E/SRCWATCH(1): {markup}\n")
    page.wait_text(".log", markup)
    page.wait_text(f"{port(0)} .name", markup)
    page.wait_text(".captures", HOSTILE_NAME)
    page.focus(".captures li:last-child button")
    page.press("enter", "right", "enter")
    wait_state(page, 2, "detected")

    assert page.run("return window.hacked ?? document.querySelectorAll('main :is(img, script)').length") == 0
    assert page.run("return window.violations") == []


def test_the_policy_stops_what_is_inline(page):
    """The other tests would not notice a policy that is not there."""
    page.run("document.body.insertAdjacentHTML('beforeend', '<p onclick=\"window.hacked=1\">x</p>');"
             "document.body.lastElementChild.click(); document.body.lastElementChild.remove()")

    wait_for(lambda: page.run("return window.violations.length") > 0)
    assert page.run("return window.hacked ?? null") is None
    page.run("window.violations = []")


def size_of(picture: bytes) -> tuple[int, int]:
    assert picture.startswith(b"\x89PNG")
    return struct.unpack(">II", picture[16:24])


SCREENSHOTS = {"panel-light": (1440, 1320, "light"), "panel-dark": (1440, 1320, "dark"), "panel-phone": (390, 844, "light")}


def test_the_screenshots_of_the_documents_have_the_size_of_the_page(furnished):
    for name, (width, height, scheme) in SCREENSHOTS.items():
        furnished.resize(width, height)
        furnished.prefer(prefers_color_scheme=scheme, prefers_reduced_motion="reduce")
        furnished.run("window.scrollTo(0, 0)")
        picture = furnished.screenshot()
        if "SRCWATCH_SCREENSHOTS" in os.environ:
            (pathlib.Path(os.environ["SRCWATCH_SCREENSHOTS"]) / f"{name}.png").write_bytes(picture)

        assert size_of(picture) == (width, height)
        assert size_of((DOCS / f"{name}.png").read_bytes()) == (width, height)


def test_the_page_shows_each_device(furnished):
    assert [name_of(furnished, number) for number in (0, 1)] == ["Voltana Television", "BDQ-900 Disc Player"]
    wait_plugged(furnished, 99, "")
    assert "not supported" in furnished.text(f"{port(2)} .detail")
    icons = "return [...document.querySelectorAll('.face .glyph')].map((glyph) => glyph.style.maskImage)"
    wait_for(lambda: "set-top-box.svg" in furnished.run(icons)[0] and "not-supported.svg" in furnished.run(icons)[2])
