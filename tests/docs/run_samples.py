#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compile and run every code sample of a guide, in the order in which a reader meets them.

A fenced block is a sample by its language; a comment in the line above has what the tests need to know:

    c, cpp   a program: compiled with the project's warnings, and run; must end with 0
             <!-- saved as FILE -->        it becomes a file for the scripts after it; so does any block of python or ini
    pycon    what was typed, compared by doctest
             <!-- typed in a sandbox with PORT=CAPTURE... -->
    sh       a script: run, in an empty directory, with the build's programs in the path
    json     must be JSON;  <!-- stored as KEY -->  it becomes the text of that setting for the samples after it
    ini      <!-- platform.conf -->                 it becomes the platform's configuration for the samples after it
    text     <!-- prints -->                        what the program or script before it printed, to the letter

Blocks without a language, and text without a comment, are not samples. Any other language is an error, so that no sample
is left out unseen. Everything runs in a private place: own settings, and the message bus of dbus-run-session.
"""
import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
TIMEOUT = 800
STORE_PROGRAM = """
#include <vconf.h>
int main(int argc, char** argv) { return argc == 3 ? vconf_set_str(argv[1], argv[2]) : 1; }
"""
BLOCK = re.compile(r"(?:^<!-- (?P<note>[^\n]*?) -->\n)?^```(?P<language>[a-z]*)\n(?P<text>.*?)^```$", re.M | re.S)


class SampleError(Exception):
    pass


class Guide:
    def __init__(self, build, work, environment, compilers):
        self.build = build
        self.work = work
        self.environment = environment
        self.compilers = compilers
        self.count = 0
        self.output = None
        modules = subprocess.run(["pkg-config", "--cflags", "--libs", "jsoncpp", "gio-2.0", "gio-unix-2.0"],
                                 check=True, capture_output=True, text=True).stdout.split()
        includes = [f"-I{ROOT / directory}" for directory in ("include", "platform/include", "platform/host", "testkit/include")]
        libraries = [flag for directory in ("src", "platform/host")
                     for flag in (f"-L{build / directory}", f"-Wl,-rpath,{build / directory}")]
        self.flags = ["-Wall", "-Wextra", "-Werror", *includes, *libraries]
        self.libraries = [f"-L{build / 'testkit'}", "-lsrcwatch-testkit", "-lsrcwatch-api", "-lsrcwatch-host-platform", *modules]
        self.store = self.compile("c", STORE_PROGRAM)
        (work / "srcwatch-api.pc").write_text(  # as that of an installed library
            "Name: srcwatch-api\nDescription: in the build tree\nVersion: 0\nRequires: jsoncpp gio-2.0\n"
            f"Cflags: {' '.join(includes)}\n"
            f"Libs: {' '.join(libraries)} -lsrcwatch-api -lsrcwatch-host-platform\n")

    def compile(self, language, text):
        source = self.work / f"sample-{self.count}.{language}"
        source.write_text(text)
        program = source.with_suffix("")
        standard = {"c": "-std=c11", "cpp": "-std=c++17"}[language]
        self.run([self.compilers[language], standard, *self.flags, source, "-o", program, *self.libraries])
        return program

    def run(self, command):
        result = subprocess.run(command, env=self.environment, cwd=self.work, capture_output=True, text=True,
                                timeout=TIMEOUT, check=False)
        if result.returncode:
            raise SampleError(f"ended with {result.returncode}\n{result.stdout}{result.stderr}")
        return result.stdout

    def run_typed(self, plugs, text):
        file = self.work / f"typed-{self.count}"
        file.write_text(text)
        options = [option for plug in plugs for option in ("--plug", plug)]
        self.run(["srcwatch-sandbox", *options, "--", "python3", "-m", "doctest", file])

    def take(self, language, note, text):
        self.count += 1
        if language in ("c", "cpp", "python", "ini") and note and note.startswith("saved as "):
            file = self.work / note.removeprefix("saved as ")
            file.parent.mkdir(exist_ok=True)
            file.write_text(text)
        elif language == "pycon" and note and note.startswith("typed in a sandbox with "):
            self.run_typed(note.removeprefix("typed in a sandbox with ").split(), text)
        elif language in ("c", "cpp"):
            self.output = self.run([self.compile(language, text)])
        elif language == "sh":
            self.output = self.run(["bash", "-euo", "pipefail", "-c", text])
        elif language == "json":
            json.loads(text)
            if note and note.startswith("stored as "):
                self.run([self.store, note.removeprefix("stored as "), text])
        elif language == "ini" and note == "platform.conf":
            pathlib.Path(self.environment["SRCWATCH_PLATFORM_CONF"]).write_text(text)
        elif language == "text" and note == "prints":
            if self.output != text:
                raise SampleError(f"what is printed is\n{self.output}and not\n{text}")
        else:
            raise SampleError(f"no sample of this language is known here: '{language}' ({note})")


def link_python(directory, program):
    """A directory for the search path, in which python3 is this program; none if there is none."""
    if program is None:
        return []
    directory.mkdir()
    (directory / "python3").symlink_to(program)
    return [str(directory)]


def run_guide(path, languages, build, compilers, python):
    text = path.read_text()
    with tempfile.TemporaryDirectory() as name:
        work = pathlib.Path(name)
        programs = [*link_python(work / "python", python), str(build / "service"), str(build / "tools")]
        programs += [str(ROOT / "build/programs/usr" / directory) for directory in ("bin", "sbin")]
        launcher = os.environ.get("LAUNCHER", "")
        environment = {
            "CMAKE_C_COMPILER_LAUNCHER": launcher, "CMAKE_CXX_COMPILER_LAUNCHER": launcher,
            "HOME": name, "LC_ALL": "C.UTF-8", "PATH": ":".join([*programs, os.environ["PATH"]]),
            "DBUS_SYSTEM_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"], "SRCWATCH_LOG": "none",
            "SRCWATCH_STATE_DIR": f"{name}/state", "SRCWATCH_RUN_DIR": f"{name}/run",
            "SRCWATCH_PLATFORM_CONF": f"{name}/platform.conf",
            "SRCWATCH_SOURCE": str(ROOT), "SRCWATCH_CAPTURES": str(ROOT / "captures"), "PKG_CONFIG_PATH": name,
            "PYTHONPATH": str(build / "python"), "PYTHONDONTWRITEBYTECODE": "1",
        }
        (work / "platform.conf").write_text("[hdmi]\ninputs=4\n")
        guide = Guide(build, work, environment, compilers)
        for block in BLOCK.finditer(text):
            language, note = block["language"], block["note"]
            if not language or (language == "text" and not note) or (languages and language not in languages):
                continue
            try:
                guide.take(language, note, block["text"])
            except (SampleError, ValueError, subprocess.TimeoutExpired) as error:
                line = text.count("\n", 0, block.start()) + 1
                print(f"{path.relative_to(ROOT)}:{line}: {error}", file=sys.stderr)
                return 1
    print(f"{path.relative_to(ROOT)}: {guide.count} samples")
    return 0 if guide.count else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("guide", type=pathlib.Path)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="build directory")
    parser.add_argument("--only", action="append", help="leave out samples of other languages")
    parser.add_argument("--python", type=pathlib.Path, help="program to run samples of Python with")
    arguments = parser.parse_args()
    compilers = {"c": os.environ.get("CC", "cc"), "cpp": os.environ.get("CXX", "c++")}
    return run_guide(arguments.guide.resolve(), arguments.only, arguments.build.resolve(), compilers, arguments.python)


if __name__ == "__main__":
    sys.exit(main())
