"""Seeds the faults of the lists beside this file one after another into a copy of the sources, and tells which of them the test
suites notice. Usage: mutate.py SOURCE_DIRECTORY WORK_DIRECTORY [--trusting] [ROOM | ROOM/NAME]...

Without --trusting it first sees that all tests pass without a fault, and how long they take.

A list is a file ROOM.txt of records like this one; lines that begin with "#" are comments:

    [name]
    sees: what a user would see
    file: src/wire/send.cpp
    - the line, or lines behind each other, that the file has exactly once; blanks around them do not count
    + what stands there instead; no such line leaves the lines out
    first: asan session            a preset and the tests of it that judge first; may be given again

Every fault is judged by what "first" names, by the tests nearest to its room, and by the whole suite of the release preset but
for the documentation's tests, until one of them kills it: a test fails, or does not end in time. A fault whose lines are not there
exactly once is stale, and one that does not build is broken: both fail the run, as do more than 5 % of survivors. Results go to
WORK_DIRECTORY/results.
"""
import collections
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

Fault = collections.namedtuple("Fault", "room name sees file old new first")

# The tests that look at a room first, by their names for ctest.
NEAREST = {
    "base": r"^unit_test$|^session\.plain\.",
    "platform": r"system_calls|^session\.plain",
    "crypto": r"^unit_test$|^crypto_bignum|^session\.encrypted\.",
    "tarnlite": r"^tarnlite|^live",
}
DEFAULT_NEAREST = r"^unit_test$|^session\."
# What most faults fall to, run as one program.
QUICK = "session"
QUICK_PROGRAM = "tests/session/session_test"
# The programs to build for tests whose names hold such a word.
PROGRAMS = {
    "session": ["session_test", "inner_session_test", "transfer_test", "buffer_ends_test"],
    "buffer_ends": ["buffer_ends_test"],
    "unit": ["unit_test"],
    "bignum": ["crypto_bignum_test"],
    "secrets": ["secrets_test"],
    "system_calls": ["system_calls_test"],
    "allocation": ["allocation_test"],
    "live": ["live_test", "tarnlite"],
    "tarnlite": ["tarnlite_test", "tarnlite"],
}
SLOWER_THAN_USUAL = 3
PATIENCE = 20  # seconds more
LONGEST = {QUICK: 150, "": 900}  # where it is not known how long tests take
LEAST_KILLED = 0.95


def read_list(path):
    faults, record = [], None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith("["):
            record = {"old": [], "new": [], "first": [], "sees": "", "file": ""}
            faults.append((line.strip("[] "), record))
        elif line[0] in "-+":
            record["old" if line[0] == "-" else "new"].append(line[1:].strip())
        else:
            key, _, value = line.partition(":")
            if key not in ("sees", "file", "first") or not value:
                sys.exit(f"{path}:{number}: not understood")
            if key == "first":
                preset, _, tests = value.strip().partition(" ")
                record["first"].append((preset, tests.strip()))
            else:
                record[key] = value.strip()
    for name, fields in faults:
        if not (fields["sees"] and fields["file"] and fields["old"]):
            sys.exit(f"{path}: {name} is not complete")
    return [Fault(path.stem, name, **fields) for name, fields in faults]


def changed(text, fault):
    """The text with the fault in it; None when its lines are not there exactly once."""
    lines = text.split("\n")
    bare = [line.strip() for line in lines]
    count = len(fault.old)
    places = [i for i in range(len(lines)) if bare[i:i + count] == fault.old]
    if len(places) != 1:
        return None
    place = places[0]
    indent = lines[place][:len(lines[place]) - len(lines[place].lstrip())]
    lines[place:place + count] = [indent + line for line in fault.new]
    return "\n".join(lines)


class Copy:
    """A copy of the sources with its builds."""

    def __init__(self, source, work, trusting):
        self.source, self.tree, self.log, self.trusting = source, work / "tree", work / "log", trusting
        self.usual = {}  # seconds that tests take without a fault
        names = subprocess.run(["git", "-C", source, "ls-files", "-co", "--exclude-standard"], check=True, text=True,
                               stdout=subprocess.PIPE).stdout.splitlines()
        kept = set(names)
        for name in names:  # what is as it was keeps its time, so that builds go on from where they were
            self.restore(name)
        for path in self.tree.rglob("*"):
            name = path.relative_to(self.tree)
            if path.is_file() and name.parts[0] != "build" and str(name) not in kept:
                path.unlink()

    def restore(self, name):
        source, target = self.source / name, self.tree / name
        if not source.is_file() or (target.is_file() and target.read_bytes() == source.read_bytes()):
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)  # with the present time

    def run(self, command, limit=None):
        """True when the command succeeds; False when it fails; None when it does not end in time."""
        with open(self.log, "w") as log:
            process = subprocess.Popen(command, cwd=self.tree, stdout=log, stderr=subprocess.STDOUT, process_group=0)
            try:
                return process.wait(limit) == 0
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
                return None

    def configure(self, preset):
        return self.run(["cmake", "--preset", preset, "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DTARNSQL_WERROR=OFF"])

    def build(self, preset, tests):
        targets = [program for word, programs in PROGRAMS.items() if word in tests for program in programs]
        if tests == QUICK:
            targets = [pathlib.Path(QUICK_PROGRAM).name]
        command = ["cmake", "--build", "--preset", preset, "-j2"]
        return self.run(command + (["--target", *targets] if targets else []))

    def test(self, preset, tests):
        """What killed it: a test, or the time; None when all tests pass."""
        key = (preset, tests)
        limit = self.usual[key] * SLOWER_THAN_USUAL + PATIENCE if key in self.usual else LONGEST.get(tests, 300) if self.trusting else None
        start = time.monotonic()
        if tests == QUICK:
            command = [f"build/{preset}/{QUICK_PROGRAM}", "--gtest_brief=1", "--gtest_fail_fast"]
        else:
            command = ["ctest", "--preset", preset, "--stop-on-failure", "--no-tests=error", "-E", "^docs"]
            command += ["-R", tests] if tests else []
            if preset == "release":
                command += ["--repeat", "until-pass:2"]
        outcome = self.run(command, limit)
        if outcome is False and tests == QUICK:  # what fails once only, on a busy machine, is no proof
            outcome = self.run(command, limit)
        if not self.trusting:
            self.usual.setdefault(key, time.monotonic() - start)
        if outcome:
            return None
        if outcome is None:
            return "a test that does not end"
        log = self.log.read_text(errors="replace")
        failed = re.search(r"Test +#\d+: (\S+) \.*[\w ]*\*\*\*(?!Skipped|Not Run)", log) or re.search(r"\[  FAILED  \] ([^ (,]+)", log)
        return failed.group(1) if failed else "a crash or report" if tests == QUICK else "a test"


def stages(fault):
    """Presets and tests, one after another; no name means all tests."""
    yield from fault.first
    if fault.file.startswith("src/"):
        yield "release", QUICK
    yield "release", NEAREST.get(fault.room, DEFAULT_NEAREST)
    yield "release", ""


def judge(copy, fault):
    for preset, tests in stages(fault):
        if not copy.build(preset, tests):
            return "broken", "does not build"
        if killer := copy.test(preset, tests):
            return "killed", f"{preset}: {killer}" if preset != "release" else killer
    return "SURVIVED", fault.sees


def seed_and_judge(copy, fault):
    path = copy.tree / fault.file
    text = changed(path.read_text(), fault) if path.is_file() else None
    if text is None:
        return "stale", "its lines are not there exactly once"
    path.write_text(text)
    try:
        return judge(copy, fault)
    finally:
        copy.restore(fault.file)


def prepare(copy, faults):
    """Builds without a fault, and sees that all tests pass and how long they take."""
    for preset in sorted({preset for fault in faults for preset, _ in stages(fault)}):
        if not copy.configure(preset):
            sys.exit(f"{preset} cannot be configured, see {copy.log}")
    if copy.trusting:
        return
    for preset, tests in dict.fromkeys(stage for fault in faults for stage in stages(fault)):
        if not copy.build(preset, tests):
            sys.exit(f"{preset} does not build, see {copy.log}")
        if killer := copy.test(preset, tests):
            sys.exit(f"without any fault {killer} fails, see {copy.log}")


def main():
    source, work = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    trusting = "--trusting" in sys.argv
    wanted = [argument for argument in sys.argv[3:] if argument != "--trusting"]
    lists = sorted(pathlib.Path(__file__).parent.glob("*.txt"))
    faults = [fault for path in lists for fault in read_list(path)
              if not wanted or fault.room in wanted or f"{fault.room}/{fault.name}" in wanted]
    if not faults:
        sys.exit("no such fault")
    work.mkdir(parents=True, exist_ok=True)
    copy = Copy(source, work, trusting)
    stale = [fault for fault in faults if changed((source / fault.file).read_text(), fault) is None]
    for fault in stale:
        print(f"stale    {fault.room}/{fault.name}", flush=True)
    prepare(copy, faults)
    counts = collections.Counter()
    with open(work / "results", "w") as results:
        for fault in faults:
            start = time.monotonic()
            outcome, why = seed_and_judge(copy, fault)
            counts[outcome] += 1
            line = f"{outcome:8} {fault.room}/{fault.name} ({time.monotonic() - start:.0f} s): {why}"
            print(line, flush=True)
            print(line, file=results, flush=True)
    judged = counts["killed"] + counts["SURVIVED"]
    print(f"{judged} judged, {counts['killed']} killed ({100 * counts['killed'] / max(judged, 1):.1f} %), "
          f"{counts['SURVIVED']} survived, {counts['stale']} stale, {counts['broken']} broken")
    good = counts["killed"] >= LEAST_KILLED * judged and not counts["stale"] and not counts["broken"]
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
