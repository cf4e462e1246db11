#!/usr/bin/env python3
"""Writes the page of measured speed: tables and charts from the files that road/run.py and run_parts.py leave.

    bench/report.py --road FILE --parts FILE --page docs/performance.md

The charts go into a folder beside the page that has its name. Nothing is typed in: what was not measured is not shown.
"""
import argparse
import json
import os
import pathlib
import platform

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

NAMES = {"tarnsql": "tarnsql", "libpq-text": "libpq, text", "libpq-binary": "libpq, binary",
         "mariadb-text": "MariaDB, text", "mariadb-prepared": "MariaDB, prepared"}
PARTS = {"receive": "#31688e", "read": "#35b779", "free": "#e4c441"}


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def verdict(value, limit, aim, at_least=False):
    """How a figure stands to its limit, which it has to keep, and to the aim beyond it."""
    def keeps(bound):
        return value >= bound if at_least else value <= bound
    if aim is not None and keeps(aim):
        return "aim reached"
    return "kept" if keeps(limit) else "**not kept**"


def targets(road, parts):
    whole = road["whole"]
    own = whole["tarnsql"]

    def against(form):
        return own["cpu_ns_per_row"] / whole[form]["cpu_ns_per_row"]

    def part(name):
        return parts[name]["value"]

    keystream = part("keystream/apply_keystream/8192/ratio")  # the size of a full buffer
    channel = max(part(name) for name in parts if name.startswith("channel/") and name.endswith("ratio"))
    lines = [  # figure, measured, unit, limit, aim, whether more is better
        ("whole road against libpq, binary", against("libpq-binary"), "x", 0.60, 0.35, False),
        ("whole road against libpq, text", against("libpq-text"), "x", 0.30, 0.15, False),
        ("whole road against MariaDB, prepared", against("mariadb-prepared"), "x", 1.00, 0.70, False),
        ("instructions a row inside the library, receive and read", road["instructions_in_library"], "", 700, 400,
         False),
        ("heap bytes / wire bytes", own["heap_bytes_per_row"] / own["wire_bytes_per_row"], "", 1.6, 1.5, False),
        ("free, ns a row", own["free_ns_per_row"], "", 10, 5, False),
        ("recv calls / (bytes / 8192)", road["recv_calls"]["calls_per_8192_bytes"], "", 1.05, None, False),
        ("enciphered against plain, large values", channel, "x", 1.10, 1.05, False),
        ("keystream against a byte loop, 8 KiB", keystream, "x", 10, 20, True),
        ("values as text against snprintf", part("text/one_of_each/ratio"), "x", 0.5, 0.25, False),
        ("batch against loopback", part("batch/execute/ratio"), "x", 0.25, 0.5, True),
        ("large object, sent, against loopback", part("lob/send/ratio"), "x", 0.6, 0.85, True),
        ("large object, received, against loopback", part("lob/fetch/ratio"), "x", 0.6, 0.85, True),
    ]
    return table(["figure", "measured", "limit", "aim", ""],
                 [(name, f"{value:.4g}{unit and ' ' + unit}", ("≥ " if more else "≤ ") + f"{limit:g}",
                   "" if aim is None else f"{aim:g}", verdict(value, limit, aim, more))
                  for name, value, unit, limit, aim, more in lines])


def whole_road(road):
    def cells(form, line):
        counts = road["instructions"][form]
        return [NAMES[form], *(f"{line[key + '_ns_per_row']:.1f}" for key in ("cpu", *PARTS)),
                f"{line['heap_bytes_per_row']:.1f}", f"{line['wire_bytes_per_row']:.1f}",
                f"{counts['instructions_per_row']:.0f}"]
    return table(["client", "CPU ns/row", "receive", "read", "free", "heap bytes/row", "wire bytes/row",
                  "instructions/row"], [cells(form, line) for form, line in road["whole"].items()])


def all_parts(parts):
    return table(["figure", "value", "unit"], [(name, f"{entry['value']:.4g}", entry["unit"])
                                                for name, entry in parts.items() if not name.startswith("machine/")])


def chart(path, draw, size=(7.2, 3.4)):
    figure, axes = plt.subplots(figsize=size)
    draw(axes)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def draw_whole(road):
    def draw(axes):
        forms = list(road["whole"])[::-1]
        left = [0.0] * len(forms)
        for part, colour in PARTS.items():
            widths = [road["whole"][form][part + "_ns_per_row"] for form in forms]
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


PAGE = """# How fast it is

Written by `scripts/bench.sh` from what it measured; every figure here can be measured again with that command. Measured on
{processor}, {processors} processors, Linux {kernel}, load {load:.1f} before and {load_after:.1f} after.

## Limits and aims

{targets}
## The whole road

A peer replays one prebuilt reply: a login, then {rows:,} rows of a 32-bit integer, a 64-bit integer, a double, a text of 20
characters, a date and a nullable text of up to 40. The client receives everything, reads every value through the public
interface of its library and releases the result. Every client gets the same rows in its own protocol and must reproduce the
same checksum. CPU time of the client's process, in the program and in the system; pinned; {runs} interleaved rounds, medians.

![CPU time a row, by client]({folder}/whole_road.svg)

{whole_road}
Instructions are counted by callgrind and do not depend on the machine's load; they include the reader's own work: its loop, the
conversion of texts and dates where a library leaves that to it, and the checksum. Inside the calls of tarnsql it is
{in_library:.0f} of them.

## How cost grows

![Cost of a row, by rows]({folder}/rows.svg)

![Cost of a value, by columns]({folder}/columns.svg)

{growth_rows}
{growth_columns}
## Parts

Ratios named "of ..." compare with the rival measured in the same run; `bench/` tells of each what exactly is measured. A large
object that is received stays in memory, and the first touch of that memory takes most of the time: beside the bare stream into a
small buffer stands the bare stream into memory that is kept (`lob/loopback_receive_and_keep`).

{parts}"""


def growth(lines, key, unit):
    return table([key, f"CPU ns/{unit}", f"heap bytes/{unit}"],
                 [(f"{line[key]:,}", f"{line[f'cpu_ns_per_{unit}']:.1f}", f"{line[f'heap_bytes_per_{unit}']:.1f}")
                  for line in lines])


def main():
    arguments = argparse.ArgumentParser(description="Writes the page of measured speed.")
    for name in ("road", "parts", "page"):
        arguments.add_argument("--" + name, type=pathlib.Path, required=True)
    given = arguments.parse_args()
    road, parts = json.loads(given.road.read_text()), json.loads(given.parts.read_text())
    charts = given.page.with_suffix("")
    charts.mkdir(exist_ok=True)
    plt.rcParams["svg.hashsalt"] = "tarnsql"
    by_rows, by_columns = road["growth"]["rows"], road["growth"]["columns"]
    chart(charts / "whole_road.svg", draw_whole(road))
    chart(charts / "rows.svg", draw_growth(by_rows, "rows", "row"))
    chart(charts / "columns.svg", draw_growth(by_columns, "columns", "value"))
    given.page.write_text(PAGE.format(
        processor=processor(), processors=len(os.sched_getaffinity(0)), kernel=platform.release(),
        load=parts["machine/load_before"]["value"], load_after=parts["machine/load_after"]["value"],
        targets=targets(road, parts), rows=road["rows"], runs=road["runs"], folder=charts.name,
        whole_road=whole_road(road), in_library=road["instructions_in_library"],
        growth_rows=growth(by_rows, "rows", "row"), growth_columns=growth(by_columns, "columns", "value"),
        parts=all_parts(parts)))


if __name__ == "__main__":
    main()
