"""Which cases of the service's tests run which lines, so that a change is tried only with the cases that can notice it.

The service's sources are built with clang's counters of coverage in a second copy of the tree. Each case then runs alone,
and the counters of all processes that it started are read. A process that is killed is counted too, since the counters
are a mapped file.
"""
import hashlib
import json
import os
import re
import shutil
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

INSTRUMENTED = "panelkitd_parts"
FOLDER = "service/"
# clang 14 crashes when it compiles these with counters; for them all dependent tests are run.
UNCOUNTED = ("service/engine/filter_rules.cpp", "service/engine/filter_expressions.cpp")

SETTINGS = """
cmake_language(DEFER DIRECTORY ${{CMAKE_SOURCE_DIR}} CALL target_compile_options {target} PRIVATE
    -fprofile-instr-generate={raw}/%c%p.profraw -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
cmake_language(DEFER DIRECTORY ${{CMAKE_SOURCE_DIR}} CALL target_link_options {target} INTERFACE -fprofile-instr-generate)
cmake_language(DEFER DIRECTORY ${{CMAKE_SOURCE_DIR}} CALL set_source_files_properties {uncounted}
    TARGET_DIRECTORY {target} PROPERTIES COMPILE_OPTIONS "-fno-profile-instr-generate;-fno-coverage-mapping")
"""


def sum_of(text):
    return hashlib.sha1(text.encode()).hexdigest()


def cases_of(program):
    """The names of a program's cases; none if it is not made with GoogleTest."""
    try:
        shown = subprocess.run([program, "--gtest_list_tests"], capture_output=True, text=True, timeout=20, check=False)
    except (OSError, subprocess.TimeoutExpired):
        return
    if "gtest" not in Path(program).name and not re.search(r"^\S+\.$|^\S+\.\s+#", shown.stdout, re.M):
        return
    suite = ""
    for line in shown.stdout.splitlines():
        name = line.split("#")[0].rstrip()
        if line.startswith("  ") and suite:
            if "DISABLED_" not in name:
                yield suite + name.strip()
        elif re.fullmatch(r"[\w/]+\.", name):
            suite = name


class Reach:
    """The lines that each case runs, kept in a file beside the copy."""

    def __init__(self, place):
        self.copy, self.raw, self.kept = place / "reach", place / "raw", place / "reach.json"
        self.known = json.loads(self.kept.read_text()) if self.kept.exists() else {"cases": {}, "counted": {}, "sums": {}}

    def measure(self, configure, make, programs):
        """Builds the copy and runs the cases that are not known yet. PROGRAMS: the tests' programs by name."""
        self.raw.mkdir(parents=True, exist_ok=True)
        self.raw.chmod(0o1777)
        settings = self.copy / "build" / "reach.cmake"
        settings.parent.mkdir(parents=True, exist_ok=True)
        settings.write_text(SETTINGS.format(target=INSTRUMENTED, raw=self.raw,
                                           uncounted=" ".join(str(self.copy / name) for name in UNCOUNTED)))
        configure(f"-DCMAKE_PROJECT_INCLUDE={settings}")
        make(sorted(programs.values()))
        sums = {str(path.relative_to(self.copy)): sum_of(path.read_text(encoding="utf-8"))
                for path in (self.copy / FOLDER).rglob("*.*")}
        if self.known["sums"] != sums:
            self.known = {"cases": {}, "counted": {}, "sums": sums}
        with ThreadPoolExecutor(2) as readers:
            for test, program in programs.items():
                for case in cases_of(self.copy / "build/dev" / program):
                    if f"{test} {case}" not in self.known["cases"]:
                        self.run_case(test, program, case, readers)
        self.save()

    def save(self):
        self.kept.write_text(json.dumps(self.known), encoding="utf-8")

    def run_case(self, test, program, case, readers):
        shutil.rmtree(self.raw, ignore_errors=True)
        self.raw.mkdir()
        self.raw.chmod(0o1777)
        build, started = self.copy / "build/dev", time.monotonic()
        try:
            done = subprocess.run([build / program, f"--gtest_filter={case}"], cwd=build / "tests", check=False, timeout=120,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        except subprocess.TimeoutExpired:
            return
        spent = time.monotonic() - started
        here = self.raw.with_name(f"raw-{abs(hash((test, case)))}")
        shutil.copytree(self.raw, here)
        readers.submit(self.read_counters, test, program, case, here, spent, done.returncode)

    def read_counters(self, test, program, case, raw, spent, code):
        try:
            build, merged = self.copy / "build/dev", raw / "all.profdata"
            files = [str(path) for path in raw.glob("*.profraw") if path.stat().st_size]
            lines = {}
            if files:
                subprocess.run(["llvm-profdata", "merge", "-sparse", "-failure-mode=all", *files, "-o", merged], check=True,
                               capture_output=True)
                shown = subprocess.run(["llvm-cov", "export", "--format=lcov", f"-instr-profile={merged}", build / "bin/panelkitd",
                                        "-object", build / program], check=True, capture_output=True, text=True).stdout
                lines = self.lines_in(shown)
            self.known["cases"][f"{test} {case}"] = {"seconds": round(spent, 2), "passed": code == 0, "lines": lines}
            print(f"reach: {test} {case} {spent:.1f} s, {len(files)} processes, {sum(map(len, lines.values()))} lines"
                  + ("" if code == 0 else " FAILED"), flush=True)
        except (subprocess.CalledProcessError, OSError) as error:
            print(f"reach: {test} {case}: {error} {getattr(error, 'stderr', '')}", flush=True)
        finally:
            shutil.rmtree(raw, ignore_errors=True)

    def lines_in(self, shown):
        lines, file, counted, reached = {}, None, [], []
        for line in shown.splitlines():
            if line.startswith("SF:"):
                file, counted, reached = os.path.relpath(line[3:], self.copy), [], []
            elif line.startswith("DA:"):
                number, count = map(int, line[3:].split(",")[:2])
                counted.append(number)
                if count:
                    reached.append(number)
            elif line == "end_of_record" and file.startswith(FOLDER):
                if file not in self.known["counted"]:
                    self.known["counted"][file] = counted
                if reached:
                    lines[file] = reached
        return lines

    def cases_for(self, file, text, first, last):
        """{case: seconds} of those that run one of the lines; None if the file was not measured with this text."""
        if file not in self.known["counted"] or self.known["sums"].get(file) != sum_of(text):
            return None
        wanted = set(range(first, last + 1))
        if not wanted & set(self.known["counted"][file]):  # a table, say: whatever runs some of the file
            wanted = set(self.known["counted"][file])
        return {case: known["seconds"] for case, known in self.known["cases"].items()
                if known["passed"] and wanted & set(known["lines"].get(file, ()))}
