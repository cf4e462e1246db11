#!/usr/bin/env python3
"""Runs a query end to end through every form of client and writes the medians as JSON.

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

FORMS = ["tarnsql", "tarnsql-encrypted", "libpq-text", "libpq-binary", "mariadb-text", "mariadb-prepared"]
# A letter a column; bench/values.h knows their kinds.
SIX_COLUMNS = "ibrtdn"
TWO_COLUMNS = "is"
RUN_SECONDS = 900


def run_client(build, form, rows, columns=SIX_COLUMNS, under=()):
    """One run, the client under a tool when there is one; returns what the client tells."""
    programs = build / "bench" / "end_to_end"
    processors = sorted(os.sched_getaffinity(0))
    command = ["taskset", "-c", str(processors[-1]), programs / "end_to_end_peer", form, str(rows), columns,
               "taskset", "-c", str(processors[0]), *under, programs / "end_to_end_client"]
    done = subprocess.run(command, capture_output=True, text=True, timeout=RUN_SECONDS)
    if done.returncode != 0:
        sys.exit(f"{form}, {rows} rows, {columns} columns: status {done.returncode}\n{done.stderr}")
    return json.loads(done.stdout)


def medians(runs, units, unit):
    """Of several runs with the same result, divided by its rows or values."""
    keys = ("cpu_ns", "receive_ns", "read_ns", "free_ns", "heap_bytes", "resident_bytes", "wire_bytes")
    return {f"{key}_per_{unit}": round(statistics.median(run[key] for run in runs) / units, 3) for key in keys}


def measure_forms(build, rows, rounds):
    """Every form with the six columns; and tarnsql, plain and encrypted, with rows of two."""
    tables = {"six_columns": (SIX_COLUMNS, FORMS), "two_columns": (TWO_COLUMNS, FORMS[:2])}
    runs = {table: {form: [] for form in forms} for table, (_, forms) in tables.items()}
    for _ in range(rounds):
        for table, (columns, forms) in tables.items():
            for form in forms:
                runs[table][form].append(run_client(build, form, rows, columns))
    return {table: {form: medians(of_form, rows, "row") for form, of_form in of_table.items()}
            for table, of_table in runs.items()}


def need(tool):
    if not shutil.which(tool):
        sys.exit(f"{tool} is not installed")


def count_instructions(build, form, rows):
    """Of receiving, reading and freeing: the profiler begins a new file at every boundary between them."""
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        run_client(build, form, rows,
                   under=["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}",
                          "--dump-before=bench::part_boundary*"])
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
        run_client(build, "tarnsql", rows,
                   under=["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", "--toggle-collect=TRN_*"])
        return int(re.search(r"^(?:totals|summary): (\d+)$", out.read_text(), re.MULTILINE)[1])


def measure_in_library(build):
    need("valgrind")
    few, many = 20_000, 60_000
    return round((count_in_library(build, many) - count_in_library(build, few)) / (many - few), 2)


def measure_growth(build, rounds):
    """tarnsql alone: more rows, and more columns with the same number of values."""
    def repeat(rows, columns):
        return [run_client(build, "tarnsql", rows, columns) for _ in range(rounds)]

    values = 2_000_000
    by_rows = [{"rows": rows, **medians(repeat(rows, SIX_COLUMNS), rows, "row")}
               for rows in (1_000, 10_000, 100_000, 1_000_000, 10_000_000)]
    by_columns = [{"columns": columns, **medians(repeat(values // columns, (SIX_COLUMNS * columns)[:columns]), values, "value")}
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
    arguments.add_argument("--growth", action="store_true", help="tarnsql with more rows and more columns")
    arguments.add_argument("--growth-runs", type=int, default=5)
    given = arguments.parse_args()
    build = given.build.resolve()

    results = {"rows": given.rows, "runs": given.runs}
    if given.runs:
        results.update(measure_forms(build, given.rows, given.runs))
        for table in ("six_columns", "two_columns"):
            show(f"End to end, {table.replace('_', ' ')}, medians:",
                 [{"form": form, **line} for form, line in results[table].items()])
    if given.instructions:
        results["instructions"] = measure_instructions(build)
        show("Instructions per row:", [{"form": form, **line} for form, line in results["instructions"].items()])
    if given.in_library:
        results["instructions_in_library"] = measure_in_library(build)
        print("Instructions per row inside tarnsql:", results["instructions_in_library"])
    if given.growth:
        results["growth"] = measure_growth(build, given.growth_runs)
        show("Growth, tarnsql, by rows:", results["growth"]["rows"])
        show("Growth, tarnsql, by columns:", results["growth"]["columns"])
    if given.json:
        given.json.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()
