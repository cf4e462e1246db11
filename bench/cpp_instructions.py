#!/usr/bin/env python3
"""Counts the instructions of every case of cpp_bench through the C calls and through the header, under callgrind.

    bench/cpp_instructions.py --build DIR [--json FILE]
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys
import tempfile

CASES = ["rows_as_tuples", "rows_by_field", "texts_kept", "query_of_one_row", "execute_with_4_parameters", "batch_of_rows"]


def count(program, case, side, directory):
    out = pathlib.Path(directory) / f"{case}.{side}"
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", "--toggle-collect=*measured*", program,
               "count", case, side]
    done = subprocess.run(command, capture_output=True, text=True, timeout=900)
    if done.returncode != 0:
        sys.exit(f"{case} {side}: status {done.returncode}\n{done.stderr}")
    return int(re.search(r"^(?:totals|summary): (\d+)$", out.read_text(), re.MULTILINE)[1])


def figures(build):
    """Keyed by the names that cpp_bench gives its times."""
    table = {}
    with tempfile.TemporaryDirectory() as directory:
        for case in CASES:
            c, header = (count(build / "bench/cpp_bench", case, side, directory) for side in ("c", "header"))
            table[f"cpp/{case}/instructions_ratio"] = {"value": header / c, "unit": "of the C calls"}
            print(f"{'cpp/' + case + '/instructions':<44} {c:>12} {header:>12} {header / c:>8.3f}", flush=True)
    return table


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    arguments.add_argument("--json", type=pathlib.Path, help="a file of figures to add them to")
    given = arguments.parse_args()
    counted = figures(given.build.resolve())
    if given.json:
        known = json.loads(given.json.read_text()) if given.json.exists() else {}
        given.json.write_text(json.dumps({**known, **counted}, indent=2) + "\n")


if __name__ == "__main__":
    main()
