#!/usr/bin/env python3
"""Runs the whole road through every form of client and writes the medians as JSON.

The forms run in turn, round after round, so that whatever else the machine does meets them alike. The client has
the first processor that this script may use, the peer the last.
"""
import argparse
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

FORMS = ["tarnsql", "libpq-text", "libpq-binary", "mariadb-text", "mariadb-prepared"]
KINDS = 6  # the columns of the table, repeated when there are more
RECEIVE_BYTES = 8192
RUN_SECONDS = 900


def run_road(build, form, rows, columns=KINDS, under=()):
    """One run, the client under a tool when there is one; returns what the client tells."""
    programs = build / "bench" / "road"
    processors = sorted(os.sched_getaffinity(0))
    command = ["taskset", "-c", str(processors[-1]), programs / "road_peer", form, str(rows), str(columns),
               "taskset", "-c", str(processors[0]), *under, programs / "road_client"]
    done = subprocess.run(command, capture_output=True, text=True, timeout=RUN_SECONDS)
    if done.returncode != 0:
        sys.exit(f"{form}, {rows} rows, {columns} columns: status {done.returncode}\n{done.stderr}")
    return json.loads(done.stdout)


def medians(runs, units, unit):
    """Of several runs with the same result, divided by its rows or values."""
    keys = ("cpu_ns", "receive_ns", "read_ns", "free_ns", "heap_bytes", "wire_bytes")
    return {f"{key}_per_{unit}": round(statistics.median(run[key] for run in runs) / units, 3) for key in keys}


def measure_whole(build, rows, rounds):
    runs = {form: [] for form in FORMS}
    for _ in range(rounds):
        for form in FORMS:
            runs[form].append(run_road(build, form, rows))
    return {form: medians(runs[form], rows, "row") for form in FORMS}


def need(tool):
    if not shutil.which(tool):
        sys.exit(f"{tool} is not installed")


def count_instructions(build, form, rows):
    """Of receiving, reading and freeing: the profiler begins a new file at every boundary between them."""
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        run_road(build, form, rows,
                 under=["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}",
                        "--dump-before=road::part_boundary*"])
        total = re.compile(r"^totals: (\d+)$", re.MULTILINE)
        # The first file holds the start, the third the count of the heap.
        return [int(total.search(out.with_suffix(f".{part}").read_text())[1]) for part in (2, 4, 5)]


def measure_instructions(build):
    """From two lengths of the result, so that what does not depend on it cancels."""
    need("valgrind")
    few, many = 20_000, 60_000
    table = {}
    for form in FORMS:
        pairs = zip(count_instructions(build, form, few), count_instructions(build, form, many))
        receive, read, free = (round((after - before) / (many - few), 2) for before, after in pairs)
        table[form] = {"instructions_per_row": round(receive + read + free, 2), "receive": receive, "read": read,
                       "free": free}
    return table


def count_in_library(build, rows):
    """Inside the calls of tarnsql alone, the reader's own work left out."""
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        run_road(build, "tarnsql", rows,
                 under=["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", "--toggle-collect=TRN_*"])
        return int(re.search(r"^(?:totals|summary): (\d+)$", out.read_text(), re.MULTILINE)[1])


def measure_in_library(build):
    need("valgrind")
    few, many = 20_000, 60_000
    return round((count_in_library(build, many) - count_in_library(build, few)) / (many - few), 2)


def count_receive_calls(build, rows):
    """The recv calls of the tarnsql client, and the bytes of the reply."""
    with tempfile.NamedTemporaryFile("r") as trace:
        run = run_road(build, "tarnsql", rows,
                       under=["strace", "-f", "-e", "trace=recvfrom", "-o", trace.name])
        return sum("recvfrom(" in line for line in trace), run["wire_bytes"]


def measure_receive_calls(build):
    need("strace")
    (few_calls, few_bytes), (many_calls, many_bytes) = (count_receive_calls(build, n) for n in (50_000, 250_000))
    calls, received = many_calls - few_calls, many_bytes - few_bytes
    return {"calls": calls, "wire_bytes": received,
            f"calls_per_{RECEIVE_BYTES}_bytes": round(calls * RECEIVE_BYTES / received, 3)}


def measure_growth(build, rounds):
    """tarnsql alone: more rows, and more columns with the same number of values."""
    def repeat(rows, columns):
        return [run_road(build, "tarnsql", rows, columns) for _ in range(rounds)]

    values = 2_000_000
    by_rows = [{"rows": rows, **medians(repeat(rows, KINDS), rows, "row")}
               for rows in (1_000, 10_000, 100_000, 1_000_000, 10_000_000)]
    by_columns = [{"columns": columns, **medians(repeat(values // columns, columns), values, "value")}
                  for columns in (1, 10, 100, 1_000)]
    return {"rows": by_rows, "columns": by_columns}


def show(title, lines):
    """Lines of the same keys as a table."""
    print(title)
    widths = {key: max(len(key), 16) + 2 for key in lines[0]}
    print("".join(f"{key:>{width}}" for key, width in widths.items()))
    for line in lines:
        print("".join(f"{line[key]:>{width}}" for key, width in widths.items()))
    print()


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--build", type=pathlib.Path, required=True, help="directory of the build")
    arguments.add_argument("--json", type=pathlib.Path, help="file to write")
    arguments.add_argument("--rows", type=int, default=1_000_000)
    arguments.add_argument("--runs", type=int, default=9, help="rounds; 0 leaves the comparison out")
    arguments.add_argument("--instructions", action="store_true", help="count them under callgrind")
    arguments.add_argument("--in-library", action="store_true", help="count those inside tarnsql")
    arguments.add_argument("--recv-calls", action="store_true", help="count them under strace")
    arguments.add_argument("--growth", action="store_true", help="tarnsql with more rows and more columns")
    arguments.add_argument("--growth-runs", type=int, default=5)
    given = arguments.parse_args()
    build = given.build.resolve()

    results = {"rows": given.rows, "runs": given.runs}
    if given.runs:
        results["whole"] = measure_whole(build, given.rows, given.runs)
        show("The whole road, medians:", [{"form": form, **line} for form, line in results["whole"].items()])
    if given.instructions:
        results["instructions"] = measure_instructions(build)
        show("Instructions per row:", [{"form": form, **line} for form, line in results["instructions"].items()])
    if given.in_library:
        results["instructions_in_library"] = measure_in_library(build)
        print("Instructions per row inside tarnsql:", results["instructions_in_library"])
    if given.recv_calls:
        results["recv_calls"] = measure_receive_calls(build)
        show("Receiving, tarnsql:", [results["recv_calls"]])
    if given.growth:
        results["growth"] = measure_growth(build, given.growth_runs)
        show("Growth, tarnsql, by rows:", results["growth"]["rows"])
        show("Growth, tarnsql, by columns:", results["growth"]["columns"])
    if given.json:
        given.json.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()
