#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Drives console_probe.exe in a Wine console: a terminal of tmux, which types and renders.

    console_under_wine.py <console_probe.exe> <folder of locales> <emulator>...

Each case starts the probe in a terminal of its own, types, and compares the probe's report, the screen and the exit
status. A Russian locale gives a Russian Windows: console page 866, argument page 1251. Ctrl+C as a key code is not
among the cases, since Wine always makes an event of it.
"""

import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import termios
import time
from dataclasses import dataclass, field

PATIENCE = 60  # seconds, far beyond what any of it takes
LOOK = 2  # seconds, for a key that shows nothing
ENDED = "ended with"
RUSSIAN = "ru_RU.UTF-8"
ENGLISH = "C.UTF-8"
MODE = "503"  # how a Wine console starts: processed, line and echo input among others
SIGINT = "2"


@dataclass
class Case:
    name: str
    verb: list
    report: list
    keys: list = field(default_factory=list)  # texts, or names that tmux knows
    screen: list = field(default_factory=list)
    locale: str = RUSSIAN
    redirection: str = ""
    report_before_keys: int = 1  # lines of the report after which typing begins


CASES = [
    Case("a secret", ["passgets", "16"], [MODE, "'61 63 '", MODE],
         keys=["BSpace", "a", "b", "BSpace", "c", "Enter"], screen=["**"]),
    Case("a Russian secret", ["passgets", "16"], [MODE, "'8f a8 aa '", MODE],
         keys=["Пин", "BSpace", "к", "Enter"], screen=["***"]),
    Case("a full buffer", ["passgets", "4"], [MODE, "null", MODE], keys=["abc"], screen=["***"]),
    Case("no room", ["passgets", "1"], [MODE, "null", MODE]),
    Case("Ctrl+C", ["passgets", "16"], [MODE], keys=["a", "C-c"], screen=["*"]),
    Case("Ctrl+C with a handler", ["passgets", "16", SIGINT],
         [MODE, "null", MODE, "handled 1", "handler in place"], keys=["C-c", "Enter"]),
    Case("a secret from a file", ["passgets", "16"], ["no console", "null", "no console"], redirection="</dev/null"),
    Case("stars into a file", ["passgets", "16"], [MODE, "'61 62 '", MODE], keys=["ab", "Enter"],
         redirection=">{folder}/output"),
    Case("keys", ["keys", "6"], ["13", "8", "143", "26", "224", "72"], keys=["Enter", "BSpace", "П", "C-z", "Up"],
         report_before_keys=0),
    Case("a key", ["key"], ["97"], keys=["a"], report_before_keys=0),
    Case("the echo", ["echo"], ["499", MODE]),
    Case("text in 866", ["print", "d0 9a d0 bb d1 8e d1 87 e2 98 83"], ["6", "5", "8a ab ee e7 3f"],
         screen=["Ключ?"]),
    Case("text in 437", ["print", "d0 9a c3 a9"], ["3", "2", "3f 82"], screen=["?é"], locale=ENGLISH),
    Case("text without a console", ["print", "d0 9a"], ["3", "0", "75 6e 74 6f 75 63 68 65 64"],
         redirection="</dev/null >{folder}/output 2>&1"),
    Case("an argument", ["argument", "Ключ"], ["d0 9a d0 bb d1 8e d1 87"]),
    Case("a Russian console", ["console"], ["rus", "866"]),
    Case("an English console", ["console"], ["eng", "437"], locale=ENGLISH),
]


class Driver:
    def __init__(self, probe, locales, emulator, folder):
        self.probe = probe
        self.locales = locales
        self.emulator = emulator
        self.folder = folder
        self.report_file = folder / "report"
        # tmux ends with its last session, and would be on its way out when the next case begins.
        self.tmux("new-session", "-d", "-s", "keeper", "exec sleep 3600")

    def tmux(self, *arguments):
        command = ["tmux", "-u", "-S", str(self.folder / "tmux"), "-f", "/dev/null", *arguments]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    def report(self):
        if not self.report_file.exists():
            return []
        return [line.strip() for line in self.report_file.read_text(encoding="ascii").splitlines()]

    def screen(self):
        return [line.rstrip() for line in self.tmux("capture-pane", "-p", "-t", "case").splitlines() if line.strip()]

    def wait(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                raise TimeoutError(f"report {self.report()}, screen {self.screen()}")
            time.sleep(0.02)

    def run(self, case):
        self.report_file.unlink(missing_ok=True)
        command = shlex.join(["env", f"LOCPATH={self.locales}", f"LC_ALL={case.locale}", *self.emulator, self.probe,
                              str(self.report_file), *case.verb])
        redirection = case.redirection.format(folder=shlex.quote(str(self.folder)))
        # Ctrl+Z is a key like others to a Windows program. The end is told behind the program's last line, so that a
        # line it leaves open is seen for itself.
        self.tmux("new-session", "-d", "-s", "case", "-x", "100", "-y", "24",
                  f"stty susp undef; {command} {redirection}; status=$?; echo; echo {ENDED} $status; exec sleep 600")
        try:
            self.wait(lambda: len(self.report()) > case.report_before_keys and self.wine_has_terminal() or self.ended())
            for keys in case.keys:
                self.type(keys)
            self.wait(self.ended)
            return self.differences(case)
        finally:
            self.tmux("kill-session", "-t", "case")

    def type(self, keys):
        """Types as a person does, who looks at what a key does before the next one."""
        before = self.report(), self.screen()
        self.tmux("send-keys", "-t", "case", keys)
        deadline = time.monotonic() + LOOK
        while (self.report(), self.screen()) == before and time.monotonic() < deadline:
            time.sleep(0.02)

    def wine_has_terminal(self):
        """Whether keys reach Wine's console: before, the terminal would echo them itself."""
        name = self.tmux("display-message", "-p", "-t", "case", "#{pane_tty}").strip()
        terminal = os.open(name, os.O_RDONLY | os.O_NOCTTY)
        try:
            return not termios.tcgetattr(terminal)[3] & termios.ECHO
        finally:
            os.close(terminal)

    def ended(self):
        return any(line.startswith(ENDED) for line in self.screen())

    def differences(self, case):
        expected = {"report": ["started", *case.report], "screen": [*case.screen, f"{ENDED} 0"]}
        found = {"report": self.report(), "screen": self.screen()}
        return [f"{what}: {found[what]} instead of {expected[what]}" for what in expected if found[what] != expected[what]]


def main():
    probe, locales, *emulator = sys.argv[1:]
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        driver = Driver(probe, locales, emulator, pathlib.Path(folder))
        for case in CASES:
            try:
                differences = driver.run(case)
            except (TimeoutError, subprocess.CalledProcessError) as error:
                differences = [str(error)]
            print("failed:" if differences else "passed:", case.name, *differences, sep="\n    " if differences else " ")
            failed += bool(differences)
        subprocess.run(["tmux", "-S", f"{folder}/tmux", "kill-server"], check=False, capture_output=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
