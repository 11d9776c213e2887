#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compare the stored documents that a guide or a manual page shows with what the detection service stores.

It reads tables, which it knows by their titles, and JSON blocks:

    input, capture          the inputs of a television, and the captures that are plugged into them, one after the other
    member, kind, meaning   the members of a record or a statistics entry. A meaning that ends in "(varies)" marks a
                            member whose value differs from run to run: only its kind is compared.
    JSON                    what the service stores then

A table of members and a JSON block belong to the setting that the text before them names last. The optical record has
the same members as the others. The service is on the message bus of dbus-run-session.
"""
import argparse
import contextlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEADLINE = 60  # seconds
NOTHING = "nothing"
VARIES = "(varies)"
ACTIVITY = "db/srcwatch-service/source-activity"
OPTICAL = "db/srcwatch-service/optical-source-activity"
STATISTICS = "db/srcwatch-service/spd_aksv_1"
ENTRIES = {
    ACTIVITY: lambda document: document["activity"],
    OPTICAL: lambda document: [document["activity"]],
    STATISTICS: lambda document: document["Auto"],
}


class Difference(Exception):
    pass


def lines_of_guide(text):
    """The parts of a Markdown text: ("text", line), ("row", cells) and ("json", text)."""
    for block in re.split(r"^(```[a-z]*\n.*?^```)$", text, flags=re.M | re.S):
        if block.startswith("```"):
            if block.startswith("```json\n"):
                yield "json", block.removeprefix("```json\n").removesuffix("```")
            continue
        for line in block.splitlines():
            if line.startswith("|"):
                yield "row", [cell.strip(" `") for cell in line.strip("|").split("|")]
            else:
                yield "text", line


def lines_of_manual_page(text):
    """The same for the source of a manual page."""
    text = re.sub(r"\\f[A-Z]", "", text).replace(r"\-", "-").replace(r"\e", "\\")
    for block in re.split(r"^(\.TS\n.*?^\.TE|\.nf\n.*?^\.fi)$", text, flags=re.M | re.S):
        if block.startswith(".nf\n"):
            yield "json", block.removeprefix(".nf\n").removesuffix(".fi")
        elif block.startswith(".TS\n"):
            rows = block.split(".\n", 1)[1].removesuffix("\n.TE")
            yield from (("row", row.split("\t")) for row in rows.splitlines())
        else:
            yield from (("text", line) for line in block.splitlines())


class Shown:
    """What a document shows: captures by input; and by setting, kinds by member, varying members, and the example."""

    def __init__(self, path):
        self.inputs = {}
        self.members = {}
        self.varying = {}
        self.examples = {}
        self._setting = self._titles = None
        lines = lines_of_guide if path.suffix == ".md" else lines_of_manual_page
        for kind, content in lines(path.read_text()):
            getattr(self, f"_take_{kind}")(content)

    def _take_text(self, line):
        self._titles = None
        for name in re.findall(r"\bdb/srcwatch-service/[\w-]+", line):
            self._setting = name

    def _take_row(self, cells):
        if self._titles is None:
            self._titles = cells
        elif self._titles == ["input", "capture"] and not cells[0].startswith("-"):
            self.inputs[cells[0]] = cells[1]
        elif self._titles == ["member", "kind", "meaning"] and not cells[0].startswith("-"):
            for member in re.split(r"\W+", cells[0]):
                self.members.setdefault(self._setting, {})[member] = cells[1]
                if cells[2].endswith(VARIES):
                    self.varying.setdefault(self._setting, set()).add(member)

    def _take_json(self, text):
        if self._setting in self.examples:
            raise Difference(f"{self._setting}: shown twice")
        self.examples[self._setting] = json.loads(text, object_pairs_hook=object_of_pairs)


def object_of_pairs(pairs):
    names = [name for name, _ in pairs]
    for name in names:
        if names.count(name) > 1:
            raise Difference(f"an object has two members {name}")
    return dict(pairs)


def kind_of(value):
    if isinstance(value, list):
        return f"{len(value)} texts" if all(isinstance(item, str) for item in value) else "list"
    return {str: "text", int: "number"}.get(type(value), type(value).__name__)


def compare(shown, stored, varying, place):
    """Yields how two JSON values differ. True and 1.0 are not 1."""
    if type(shown) is not type(stored):
        yield f"{place}: shown as {json.dumps(shown)}, stored as {json.dumps(stored)}"
    elif isinstance(shown, dict):
        for name in sorted(shown.keys() ^ stored.keys()):
            yield f"{place}: {name} is only {'shown' if name in shown else 'stored'}"
        for name in sorted(shown.keys() & stored.keys()):
            if name in varying:
                if kind_of(shown[name]) != kind_of(stored[name]):
                    yield f"{place}.{name}: shown as {kind_of(shown[name])}, stored as {kind_of(stored[name])}"
            else:
                yield from compare(shown[name], stored[name], varying, f"{place}.{name}")
    elif isinstance(shown, list):
        if len(shown) != len(stored):
            yield f"{place}: {len(shown)} elements are shown, {len(stored)} stored"
        for index, (one, other) in enumerate(zip(shown, stored)):
            yield from compare(one, other, varying, f"{place}[{index}]")
    elif shown != stored:
        yield f"{place}: shown as {json.dumps(shown)}, stored as {json.dumps(stored)}"


def compare_members(members, stored, place):
    """Yields how the members of the stored entries differ from the table of members."""
    for index, entry in enumerate(ENTRIES[place](stored)):
        kinds = {name: kind_of(value) for name, value in entry.items()}
        for name in sorted(kinds.keys() | members.keys()):
            if kinds.get(name) != members.get(name):
                yield (f"{place}: entry {index}: {name} is {members.get(name, 'missing')} in the table of members, "
                       f"{kinds.get(name, 'missing')} in the store")


def eventually(what, condition):
    end = time.monotonic() + DEADLINE
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise Difference(f"{what}: not within {DEADLINE} seconds")


class Television:
    """The service with settings of its own."""

    def __init__(self, work, build, hdmi_inputs):
        self.inputs = work / "inputs"
        self.inputs.mkdir()
        (work / "platform.conf").write_text(f"[hdmi]\ninputs={hdmi_inputs}\n")
        self.tool = build / "tools/srcwatchctl"
        self.environment = {
            **os.environ, "DBUS_SYSTEM_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"],
            "LC_ALL": "C.UTF-8", "SRCWATCH_LOG": "none",
            "SRCWATCH_STATE_DIR": f"{work}/state", "SRCWATCH_RUN_DIR": f"{work}/run",
            "SRCWATCH_PLATFORM_CONF": f"{work}/platform.conf",
        }
        self.service = subprocess.Popen([build / "service/srcwatch-service", "--inputs", self.inputs,
                                         "--profiles", ROOT / "service/profiles.json"], env=self.environment)

    def await_service(self):
        eventually("the service answers", lambda: self.run("call", "status") is not None)

    def run(self, *arguments):
        result = subprocess.run([self.tool, *arguments], env=self.environment, capture_output=True, text=True,
                                timeout=DEADLINE, check=False)
        return None if result.returncode else result.stdout

    def stored(self, key):
        return json.loads(self.run("settings", "get", key) or "null")

    def plug(self, name, capture):
        """Returns when the statistics have the detection."""
        before = len((self.stored(STATISTICS) or {"Auto": []})["Auto"])
        (self.inputs / name).symlink_to(ROOT / "captures" / capture)
        eventually(f"{capture} in {name} is detected",
                   lambda: len((self.stored(STATISTICS) or {"Auto": []})["Auto"]) > before)

    def end(self):
        self.service.terminate()
        self.service.wait()


def stored_with(inputs, build):
    """What the service has stored, by setting, when the captures have been plugged."""
    with contextlib.ExitStack() as stack:
        work = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        television = Television(work, build, sum(name.startswith("hdmi") for name in inputs))
        stack.callback(television.end)
        television.await_service()
        for name, capture in inputs.items():
            if capture != NOTHING:
                television.plug(name, capture)
        television.end()  # it ends between two detections, so the last one is stored as a whole
        return {key: television.stored(key) for key in ENTRIES}


def differences(path, build):
    shown = Shown(path)
    if not shown.inputs:
        raise Difference("no table of inputs and captures")
    stored = stored_with(shown.inputs, build)
    for key in ENTRIES:
        if key not in shown.examples or stored[key] is None:
            yield f"{key}: not {'stored' if key in shown.examples else 'shown'}"
            continue
        table = ACTIVITY if key == OPTICAL else key
        yield from compare(shown.examples[key], stored[key], shown.varying.get(table, ()), key)
        yield from compare_members(shown.members.get(table, {}), stored[key], key)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("document", type=pathlib.Path, help="a guide, or the source of a manual page")
    parser.add_argument("--build", type=pathlib.Path, required=True, help="build directory")
    arguments = parser.parse_args()
    path = arguments.document.resolve()
    try:
        found = list(differences(path, arguments.build.resolve()))
    except (Difference, ValueError) as error:
        found = [str(error)]
    for line in found:
        print(f"{path.relative_to(ROOT)}: {line}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
