#!/usr/bin/env python3
"""Writes a report of measured speed: tables and charts from the files that end_to_end/run.py and run_parts.py leave.

    bench/report.py --end-to-end FILE --parts FILE --limits docs/performance.md --report build/bench/report.md

Each figure is held against its line in the first table of the page of limits. The charts go into a folder beside the report that
has its name. Nothing is typed in: what was not measured is not shown.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

NAMES = {"tarnsql": "tarnsql", "tarnsql-encrypted": "tarnsql, encrypted", "libpq-text": "libpq, text",
         "libpq-binary": "libpq, binary", "mariadb-text": "MariaDB, text", "mariadb-prepared": "MariaDB, prepared"}
PARTS = {"receive": "#31688e", "read": "#35b779", "free": "#e4c441"}


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def limits(page):
    """Figure -> its sign, limit and aim."""
    lines = re.findall(r"^\| (.+?) \| ([≤≥]) ([\d.]+).*? \| ([\d.]+).*? \|$", page, re.M)
    return {figure: (sign, float(limit), float(aim)) for figure, sign, limit, aim in lines}


def verdict(value, sign, limit, aim):
    def keeps(bound):
        return value <= bound if sign == "≤" else value >= bound
    if keeps(aim):
        return "aim reached"
    return "kept" if keeps(limit) else "**not kept**"


def figures(end_to_end, parts):
    """Figure -> value and unit, for every row of the table of limits."""
    forms = end_to_end["six_columns"]
    own = forms["tarnsql"]

    def against(form, of=own, among=forms):
        return of["cpu_ns_per_row"] / among[form]["cpu_ns_per_row"], ""

    def encrypted(columns):
        measured = end_to_end[columns]
        return against("tarnsql", measured["tarnsql-encrypted"], measured)

    def part(name, unit=""):
        return parts[name]["value"], unit

    held = max(own["heap_bytes_per_row"], own["resident_bytes_per_row"])
    channel = max(parts[name]["value"] for name in parts if name.startswith("channel/") and name.endswith("ratio"))
    return {
        "end to end / libpq, binary": against("libpq-binary"),
        "end to end / libpq, text": against("libpq-text"),
        "end to end / MariaDB, prepared": against("mariadb-prepared"),
        "instructions a row inside the library, receive and read": (end_to_end["instructions_in_library"], ""),
        "rows of 6 columns, encrypted / plain": encrypted("six_columns"),
        "rows of 2 columns, encrypted / plain": encrypted("two_columns"),
        "values of 100 kB and 1 MB, encrypted / plain": (channel, ""),
        "memory of a result / wire bytes": (held / own["wire_bytes_per_row"], ""),
        "memory of a result of one row": part("result/one_row_of_6_columns", " bytes"),
        "free a result, a row": (own["free_ns_per_row"], " ns"),
        "read 2 of 100 columns / read all": part("result/read_1_and_3_of_100/ratio"),
        "values as text / snprintf": part("text/one_of_each/ratio"),
        "keystream / byte loop, 8 KiB": part("keystream/apply_keystream/8192/ratio"),
        "batch / bare send": part("batch/execute/ratio"),
        "large object sent / bare send": part("lob/send/ratio"),
        "large object fetched / bare receive into kept memory": part("lob/fetch/kept_ratio"),
        "value of 256 MiB in a row / bare receive into kept memory": part("lob/receive_value/kept_ratio"),
        "rows through tarnsql.hpp / through the C calls": part("cpp/rows_as_tuples/ratio"),
        "rows through tarnsql.hpp / through the C calls, instructions": part("cpp/rows_as_tuples/instructions_ratio"),
    }


def targets(end_to_end, parts, held_to):
    measured = figures(end_to_end, parts)
    if measured.keys() != held_to.keys():
        sys.exit(f"figures and limits differ: {sorted(measured.keys() ^ held_to.keys())}")
    return table(["figure", "measured", "limit", "aim", ""],
                 [(name, f"{value:.4g}{unit}", f"{sign} {limit:g}", f"{aim:g}", verdict(value, sign, limit, aim))
                  for name, (value, unit), (sign, limit, aim) in
                  ((name, measured[name], held_to[name]) for name in held_to)])


def clients(end_to_end):
    def cells(form, line):
        counts = end_to_end["instructions"][form]
        return [NAMES[form], *(f"{line[key + '_ns_per_row']:.1f}" for key in ("cpu", *PARTS)),
                *(f"{line[key + '_bytes_per_row']:.1f}" for key in ("heap", "resident", "wire")),
                f"{counts['instructions_per_row']:.0f}"]
    return table(["client", "CPU ns/row", "receive", "read", "free", "heap bytes/row", "resident bytes/row",
                  "wire bytes/row", "instructions/row"],
                 [cells(form, line) for form, line in end_to_end["six_columns"].items()])


def two_columns(end_to_end):
    def cells(form, line):
        return [NAMES[form], *(f"{line[key + '_ns_per_row']:.1f}" for key in ("cpu", *PARTS)),
                *(f"{line[key + '_bytes_per_row']:.1f}" for key in ("heap", "resident", "wire"))]
    return table(["client", "CPU ns/row", "receive", "read", "free", "heap bytes/row", "resident bytes/row",
                  "wire bytes/row"],
                 [cells(form, line) for form, line in end_to_end["two_columns"].items()])


def all_parts(parts):
    return table(["figure", "value", "unit"],
                 [(name, f"{entry['value']:.4g}", entry["unit"])
                  for name, entry in parts.items() if not name.startswith("machine/")])


def chart(path, draw, size=(7.2, 3.4)):
    figure, axes = plt.subplots(figsize=size)
    draw(axes)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def draw_clients(end_to_end):
    def draw(axes):
        forms = list(end_to_end["six_columns"])[::-1]
        left = [0.0] * len(forms)
        for part, colour in PARTS.items():
            widths = [end_to_end["six_columns"][form][part + "_ns_per_row"] for form in forms]
            axes.barh([NAMES[form] for form in forms], widths, left=left, color=colour, label=part)
            left = [a + b for a, b in zip(left, widths)]
        axes.set_xlabel("CPU time of the client, ns a row")
        axes.legend(frameon=False)
    return draw


def draw_growth(lines, key, unit):
    def draw(axes):
        sizes = [line[key] for line in lines]
        for part in ("receive", "read", "free"):
            axes.plot(sizes, [line[f"{part}_ns_per_{unit}"] for line in lines], marker="o", color=PARTS[part],
                      label=part)
        axes.set_xscale("log")
        axes.set_ylim(bottom=0)
        axes.set_xlabel(key)
        axes.set_ylabel(f"CPU time, ns a {unit}")
        axes.legend(frameon=False)
    return draw


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


REPORT = """# Measured speed

Measured by `scripts/bench.sh` on {processor}, {processors} processors, Linux {kernel}, load {load:.1f} before and
{load_after:.1f} after; `docs/performance.md` tells what is measured and how.

## Limits and aims

{targets}
## End to end

{rows:,} rows, {runs} interleaved rounds, medians.

![CPU time a row, by client]({folder}/end_to_end.svg)

{clients}
Inside the calls of tarnsql it is {in_library:.0f} instructions a row.

Short rows:

{two_columns}
## How cost grows

![Cost of a row, by rows]({folder}/rows.svg)

![Cost of a value, by columns]({folder}/columns.svg)

{growth_rows}
{growth_columns}
## Parts

{parts}"""


def growth(lines, key, unit):
    return table([key, f"CPU ns/{unit}", f"heap bytes/{unit}", f"resident bytes/{unit}"],
                 [(f"{line[key]:,}", *(f"{line[f'{what}_per_{unit}']:.1f}"
                                       for what in ("cpu_ns", "heap_bytes", "resident_bytes"))) for line in lines])


def main():
    arguments = argparse.ArgumentParser(description="Writes a report of measured speed.")
    for name in ("end-to-end", "parts", "limits", "report"):
        arguments.add_argument("--" + name, type=pathlib.Path, required=True)
    given = arguments.parse_args()
    end_to_end, parts = json.loads(given.end_to_end.read_text()), json.loads(given.parts.read_text())
    charts = given.report.with_suffix("")
    charts.mkdir(exist_ok=True)
    plt.rcParams["svg.hashsalt"] = "tarnsql"
    by_rows, by_columns = end_to_end["growth"]["rows"], end_to_end["growth"]["columns"]
    chart(charts / "end_to_end.svg", draw_clients(end_to_end))
    chart(charts / "rows.svg", draw_growth(by_rows, "rows", "row"))
    chart(charts / "columns.svg", draw_growth(by_columns, "columns", "value"))
    given.report.write_text(REPORT.format(
        processor=processor(), processors=len(os.sched_getaffinity(0)), kernel=platform.release(),
        load=parts["machine/load_before"]["value"], load_after=parts["machine/load_after"]["value"],
        targets=targets(end_to_end, parts, limits(given.limits.read_text())),
        rows=end_to_end["rows"], runs=end_to_end["runs"], folder=charts.name,
        clients=clients(end_to_end), two_columns=two_columns(end_to_end),
        in_library=end_to_end["instructions_in_library"],
        growth_rows=growth(by_rows, "rows", "row"), growth_columns=growth(by_columns, "columns", "value"),
        parts=all_parts(parts)))


if __name__ == "__main__":
    main()
