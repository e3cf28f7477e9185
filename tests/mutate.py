#!/usr/bin/env python3
"""Breaks a rule of the library at random places, one at a time, and reports the breaks that no test sees.

    tests/mutate.py zirconlite/lighting zirconlite/geometry/vector.cpp --count 100 --seed 1

The source tree is never written to: a changed copy is compiled in a temporary folder and linked in place of
the object of the build. A break that does not compile, or gives the same machine code, is drawn again. Tests
of the folder's own name run first, then the references and the other unit tests, last the long tests of the folder
and the tests that start the library. A test that takes a large part of the whole time runs only for its own folder.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import re
import resource
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
MEMORY_LIMIT = 8 << 30  # bytes; a break may ask for any amount
CPU_LIMIT = 100  # seconds of processor time for one process; what loops is seen, on a busy machine, too
TIME_LIMIT = 900  # seconds for one run of tests; what waits for ever is seen
SLOW = 0.04  # part of the time of all tests; what takes more runs for its own folder alone
QUICK = 0.5  # seconds; tests that take longer run one by one, as most breaks are seen before


def constant(match):
    text = match[0]
    if text == "1":
        return "0"  # many are read as true, which 2 would be, too
    if re.fullmatch(r"\d+", text):
        return str(int(text) + 1)
    number, suffix = re.fullmatch(r"([\d.]+(?:e[-+]?\d+)?)(f?)", text).groups()
    return repr(float(number) * 1.1 or 1.0) + suffix


def edge(match):
    """Moves the edge of a comparison of whole numbers; turns one with a real number round, as its edge is nowhere."""
    turned = {"<=": ">", ">=": "<"} if re.fullmatch(r"-?\d+\.\d*f?", match[2]) else {"<=": "<", ">=": ">"}
    return (turned | {"==": "!=", "!=": "=="})[match[1]] + match[0][len(match[1]):]


def swapped(pairs):
    both = dict(pairs) | {b: a for a, b in pairs}
    return lambda match: both[match[0]]


# What is broken, where, and what replaces it.
RULES = [
    ("sign", r"(?<= )[-+](?= )|[-+](?==)", swapped([("+", "-")])),
    ("sign", r"(?<=[(,=:?*] )-(?=[\w(])|(?<=\()-(?=[\w(])|(?<=return )-(?=[\w(])", lambda m: ""),
    ("operation", r"(?<= )[*/](?= )|[*/](?==)", swapped([("*", "/")])),
    ("factor", r" \* [\w.]+(?:->\w+|\[\w+\]|\.\w+)*(?![\w(.<])", lambda m: ""),
    ("comparison", r"(?<= )(<=|>=|==|!=) ([-\w.]+)", edge),
    ("comparison", r"(?<= )[<>](?= )", swapped([("<", ">")])),
    ("logic", r"&&|\|\|", swapped([("&&", "||")])),
    ("condition", r"(?<=if \()!(?=[\w(])", lambda m: ""),
    ("early return", r"(?<=if \()(?=.*\) \{ (?:return|continue|break)\b)", lambda m: "false && "),
    ("clamp", r"\bf?min(?=\()|\bf?max(?=\()", swapped([("min", "max"), ("fmin", "fmax")])),
    ("circle", r"\bsin(?=\()|\bcos(?=\()", swapped([("sin", "cos")])),
    ("truth", r"\btrue\b|\bfalse\b", swapped([("true", "false")])),
    # A loop over a fixed array leaves its last element out; one more would be no rule but an overrun.
    ("bound", r"(?<= < )\d+(?=(?: && \w+)?; \+\+)", lambda m: str(int(m[0]) - 1)),
    ("constant", r"(?<![\w.\"'])\d+(?:\.\d+)?(?:e[-+]?\d+)?f?(?![\w.']|(?: && \w+)?; \+\+)", constant),
]


def blanked(source):
    """The source with spaces for what changes nothing when it is broken, so that places stay the same."""
    space = lambda m: re.sub(r"[^\n]", " ", m[0])
    source = re.sub(r'//[^\n]*|/\*.*?\*/|u?"(?:\\.|[^"\\\n])*"|u?\'(?:\\.|[^\'\\\n])+\'|^[ \t]*#[^\n]*',
                    space, source, flags=re.S | re.M)
    source = re.sub(r"\b(?:static_assert|assert|alignas)\([^;]*|\breserve\([^;]*", space, source)
    # Room in an array beyond what is used.
    return re.sub(r"^ *(?!return|else)(?:[\w:]+ )+\w+\[[^=;{]*", space, source, flags=re.M)


def places(file):
    source = file.read_text()
    code = blanked(source)
    for kind, pattern, replacement in RULES:
        for match in re.finditer(pattern, code):
            yield file, kind, match.start(), match.end(), replacement(match)


class Build:
    def __init__(self, folder):
        self.folder = folder
        if not (folder / "build.ninja").exists():
            options = ["ZIRCONLITE_TESTS=ON", "ZIRCONLITE_BENCH=OFF", "ZIRCONLITE_EXAMPLES=OFF",
                       "CMAKE_BUILD_TYPE=Release", "CMAKE_CXX_FLAGS_RELEASE=-O1"]
            self.run("cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", *("-D" + o for o in options))
        self.run("cmake", "--build", folder)
        self.compiles, self.sound = {}, {}
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            self.compiles.setdefault(entry["file"], entry)
        self.unit = folder / "tests/zirconlite_unit_tests"
        self.references = folder / "tests/zirconlite_host_tests"
        self.processes = sorted(p for p in (folder / "tests").glob("*_process") if os.access(p, os.X_OK))
        self.link_unit = self.last_command("tests/zirconlite_unit_tests")
        self.library = os.path.realpath(folder / "zirconlite/libzirconlite.so")
        self.link_library = self.last_command(os.path.relpath(self.library, folder))
        report = folder / "tests.json"
        self.run(self.unit, f"--gtest_output=json:{report}")
        self.tests = sorted((float(test["time"][:-1]), suite["name"] + "." + test["name"], test["file"])
                            for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"])

    @staticmethod
    def run(*command):
        done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode:
            sys.exit(done.stdout[-4000:] + f"\n{command[0]} failed; nothing was broken yet")

    def last_command(self, target):
        shown = subprocess.run(["ninja", "-C", self.folder, "-t", "commands", target], capture_output=True, text=True)
        line = shown.stdout.strip().split("\n")[-1]
        return next(part for part in line.split(" && ") if " -o " in part)

    def link(self, command, old, new, output):
        words = [new if word == old else word for word in shlex.split(command)]
        words[words.index("-o") + 1] = str(output)
        return subprocess.run(words, cwd=self.folder, capture_output=True).returncode == 0

    def fails(self, program, scratch, *filters):
        environment = os.environ | {"LD_LIBRARY_PATH": str(scratch), "GTEST_FAIL_FAST": "1", "TMPDIR": str(scratch)}

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
            resource.setrlimit(resource.RLIMIT_CPU, (CPU_LIMIT, CPU_LIMIT))

        try:
            return subprocess.run([program, *filters], cwd=scratch, env=environment, preexec_fn=limit,
                                  timeout=TIME_LIMIT, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL).returncode != 0
        except subprocess.TimeoutExpired:
            return True

    def is_sound(self, tests):
        """Whether tests pass by themselves on the code as it is."""
        if tests not in self.sound:
            with tempfile.TemporaryDirectory(prefix="mutate") as scratch:
                self.sound[tests] = not self.fails(self.unit, scratch, "--gtest_filter=" + tests)
        return self.sound[tests]

    def verdict(self, unit, scratch, tests):
        """What the failure of tests on broken code says; nothing where they pass."""
        if not tests or not self.fails(unit, scratch, "--gtest_filter=" + tests):
            return None
        return "killed" if self.is_sound(tests) else "tests fail without it"

    def outcome(self, place):
        file, kind, start, end, text = place
        source = file.read_text()
        with tempfile.TemporaryDirectory(prefix="mutate") as scratch:
            scratch = pathlib.Path(scratch)
            changed, compiled = scratch / file.name, scratch / "changed.o"
            changed.write_text(source[:start] + text + source[end:])
            entry = self.compiles[str(file)]
            words = shlex.split(entry["command"])
            words = words[1:] if words[0].endswith("ccache") else words
            old = words[words.index("-o") + 1]
            words = [str(changed) if w == str(file) else str(compiled) if w == old else w for w in words]
            if subprocess.run(words, cwd=entry["directory"], capture_output=True).returncode:
                return "does not compile"
            if compiled.read_bytes() == (self.folder / old).read_bytes():
                return "same code"
            unit = scratch / "unit_tests"
            if not self.link(self.link_unit, old, str(compiled), unit):
                return "does not link"
            near = [(seconds, name) for seconds, name, path in self.tests
                    if pathlib.Path(path).parent.name == file.parent.name]
            found = self.verdict(unit, scratch, ":".join(name for seconds, name in near if seconds < QUICK))
            if found:
                return found
            if not self.link(self.link_library, old, str(compiled), scratch / "libzirconlite.so.0"):
                return "does not link"
            if self.fails(self.references, scratch, "--gtest_filter=References.*"):
                return "killed"
            limit = SLOW * sum(seconds for seconds, _, _ in self.tests)
            own = {name for _, name in near}
            far = [name for seconds, name, _ in self.tests if name not in own and seconds < limit]
            for tests in [":".join(far), *(name for seconds, name in near if seconds >= QUICK)]:
                found = self.verdict(unit, scratch, tests)
                if found:
                    return found
            return "killed" if any(self.fails(p, scratch) for p in self.processes) else "survived"


def describe(place):
    file, kind, start, end, text = place
    source = file.read_text()
    first, last = source.rfind("\n", 0, start) + 1, source.find("\n", end)
    line = source[first:start] + "[" + source[start:end] + " -> " + text + "]" + source[end:last]
    return f"{file.relative_to(ROOT)}:{source.count(chr(10), 0, start) + 1}: {kind}: {line.strip()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("paths", nargs="+", type=pathlib.Path, help="folders or files of the library")
    parser.add_argument("--count", type=int, default=100, help="places to break")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/mutate")
    options = parser.parse_args()

    files = [f for p in options.paths for f in sorted(p.resolve().rglob("*.cpp") if p.is_dir() else [p.resolve()])]
    build = Build(options.build.resolve())
    drawn = [place for f in files if str(f) in build.compiles for place in places(f)]
    if not drawn:
        sys.exit("mutate.py: no place to break in " + " ".join(map(str, options.paths)))
    random.Random(options.seed).shuffle(drawn)

    tally = {"killed": 0, "survived": 0}
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        waiting, upcoming = {}, iter(drawn)
        while True:
            while len(waiting) + sum(tally.values()) < options.count and len(waiting) < options.jobs:
                place = next(upcoming, None)
                if place is None:
                    break
                waiting[pool.submit(build.outcome, place)] = place
            if not waiting:
                break
            for done in concurrent.futures.wait(waiting, return_when=concurrent.futures.FIRST_COMPLETED).done:
                place, outcome = waiting.pop(done), done.result()
                if outcome in tally:
                    tally[outcome] += 1
                    print(f"{sum(tally.values())} of {options.count}", end="\r", file=sys.stderr)
                if outcome == "survived":
                    print("survived", describe(place), flush=True)
    count = tally["killed"] + tally["survived"]
    print(f"{tally['killed']} of {count} killed ({100 * tally['killed'] / max(count, 1):.0f} %), seed {options.seed}")


if __name__ == "__main__":
    main()
