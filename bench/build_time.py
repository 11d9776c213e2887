# SPDX-License-Identifier: Apache-2.0
"""What building and testing the project costs, in a clean clone and without ccache. Times mean something on an otherwise
idle machine only; processor seconds are compared with those of a reference unit, so that they also do on another one."""
import contextlib
import functools
import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
REFERENCE_UNIT = ROOT / "bench" / "reference_unit.cpp"
RELEASE_IN_REFERENCE_UNITS = 141  # the figure, which a guard holds
PROGRAMS = ["-DBUILD_TESTING=OFF"]


def measured(command, directory):
    """Runs a command without output, and returns its seconds and processor seconds, those of its children included."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("CMAKE_")}
    before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    finished = subprocess.run(command, cwd=directory, check=False, env=dict(environment, CCACHE_DISABLE="1"),
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
    after, seconds = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic() - start
    if finished.returncode != 0:
        sys.exit(f"{finished.stdout[-5000:]}\nscripts/bench: {' '.join(command)} failed with {finished.returncode}")
    return seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


@contextlib.contextmanager
def clone():
    """A clean clone of what is committed."""
    with tempfile.TemporaryDirectory(prefix="srcwatch-bench-", dir=ROOT.parent) as directory:
        os.chmod(directory, 0o755)  # tests run programs of it as other users
        measured(["git", "-c", "safe.directory=*", "clone", "--quiet", "--no-hardlinks", str(ROOT), directory], ROOT)
        yield pathlib.Path(directory)


def processor_seconds(tree, preset, *options):
    measured(["cmake", "--preset", preset, *options], tree)
    return measured(["cmake", "--build", "--preset", preset], tree)[1]


def edit_seconds(tree, edited, *tests):
    """Time from an edit of a file until the tests that it concerns have passed."""
    with open(tree / edited, "a", encoding="utf-8") as file:
        file.write("// An edit.\n")
    return measured(["scripts/test", *tests], tree)[0]


def seconds_row(row, what, ours, limit, unit="s"):
    return row("build", what, f"{ours:.0f} {unit}", "", f"{ours:.0f} {unit}", f"<= {limit} {unit}", ours <= limit)


def build_rows(row):
    """What a person waits for; row is that of scripts/bench."""
    seconds = functools.partial(seconds_row, row)
    with clone() as tree:
        yield seconds("scripts/demo", measured(["scripts/demo"], tree)[0], 100)
    with clone() as tree:
        yield seconds("release tree", processor_seconds(tree, "release", *PROGRAMS), 270, "processor s")
    with clone() as tree:
        yield seconds("tree of scripts/test", processor_seconds(tree, "dev"), 900, "processor s")
    with clone() as tree:
        yield seconds("scripts/test", measured(["scripts/test"], tree)[0], 480)
        for edited, limit, *tests in (("service/Detector.cpp", 15, "service_rooms_test"),
                                      ("tools/ScanCommands.cpp", 10, "srcwatchctl_unit_test"),
                                      ("include/srcwatch-api.h", 240)):
            yield seconds(f"an edit of {edited} and its tests", edit_seconds(tree, edited, *tests), limit)


def ci_rows(row):
    """What a change has to pass."""
    with clone() as tree:
        yield seconds_row(row, ".ci/run", measured([".ci/run"], tree)[0], 35 * 60)


def guard(margin):
    """True if the release tree compiles at about the cost of its figure."""
    compiler = os.environ.get("CXX", "c++")
    unit = min(measured([compiler, "-std=c++17", "-O2", "-c", "-o", os.devnull, str(REFERENCE_UNIT)], ROOT)[1] for _ in range(3))
    with clone() as tree:
        ours = processor_seconds(tree, "release", *PROGRAMS) / unit
    good = ours <= margin * RELEASE_IN_REFERENCE_UNITS
    print(f"release tree: {ours:.0f} times a reference unit of {unit:.2f} processor s, figure "
          f"{RELEASE_IN_REFERENCE_UNITS}: {'within' if good else 'MORE THAN'} {margin} times the figure")
    return good
