#!/usr/bin/env python3
"""Writes the page of measured speed: tables and charts from the files that end_to_end/run.py and run_parts.py leave.

    bench/report.py --end-to-end FILE --parts FILE --page docs/performance.md

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

NAMES = {"tarnsql": "tarnsql", "tarnsql-encrypted": "tarnsql, encrypted", "libpq-text": "libpq, text",
         "libpq-binary": "libpq, binary", "mariadb-text": "MariaDB, text", "mariadb-prepared": "MariaDB, prepared"}
PARTS = {"receive": "#31688e", "read": "#35b779", "free": "#e4c441"}


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def verdict(value, limit, aim, at_least=False):
    """How a figure stands to its limit, which it has to keep, and to the aim beyond it."""
    def keeps(bound):
        return value >= bound if at_least else value <= bound
    if keeps(aim):
        return "aim reached"
    return "kept" if keeps(limit) else "**not kept**"


def targets(end_to_end, parts):
    forms = end_to_end["six_columns"]
    own = forms["tarnsql"]

    def against(form, of=own, among=forms):
        return of["cpu_ns_per_row"] / among[form]["cpu_ns_per_row"]

    def encrypted(columns):
        measured = end_to_end[columns]
        return against("tarnsql", measured["tarnsql-encrypted"], measured)

    def part(name):
        return parts[name]["value"]

    held = max(own["heap_bytes_per_row"], own["resident_bytes_per_row"])
    keystream = part("keystream/apply_keystream/8192/ratio")
    channel = max(part(name) for name in parts if name.startswith("channel/") and name.endswith("ratio"))
    lines = [  # figure, measured, unit, limit, aim, whether more is better
        ("end to end / libpq, binary", against("libpq-binary"), "", 0.30, 0.25, False),
        ("end to end / libpq, text", against("libpq-text"), "", 0.25, 0.20, False),
        ("end to end / MariaDB, prepared", against("mariadb-prepared"), "", 0.62, 0.50, False),
        ("instructions a row inside the library, receive and read", end_to_end["instructions_in_library"], "", 450,
         400, False),
        ("rows of 6 columns, encrypted / plain", encrypted("six_columns"), "", 1.25, 1.15, False),
        ("rows of 2 columns, encrypted / plain", encrypted("two_columns"), "", 1.3, 1.2, False),
        ("values of 100 kB and 1 MB, encrypted / plain", channel, "", 1.10, 1.05, False),
        ("memory of a result / wire bytes", held / own["wire_bytes_per_row"], "", 1.05, 1.02, False),
        ("memory of a result of one row", part("result/one_row_of_6_columns"), "bytes", 2048, 1024, False),
        ("free a result, a row", own["free_ns_per_row"], "ns", 10, 5, False),
        ("read 2 of 100 columns / read all", part("result/read_1_and_3_of_100/ratio"), "", 0.1, 0.05, False),
        ("values as text / snprintf", part("text/one_of_each/ratio"), "", 0.5, 0.25, False),
        ("keystream / byte loop, 8 KiB", keystream, "", 10, 20, True),
        ("batch / bare send", part("batch/execute/ratio"), "", 0.4, 0.5, True),
        ("large object sent / bare send", part("lob/send/ratio"), "", 0.6, 0.85, True),
        ("large object fetched / bare receive into kept memory", part("lob/fetch/kept_ratio"), "", 0.85, 0.95,
         True),
        ("value of 256 MiB in a row / bare receive into kept memory", part("lob/receive_value/kept_ratio"), "", 0.7,
         0.9, True),
    ]
    return table(["figure", "measured", "limit", "aim", ""],
                 [(name, f"{value:.4g}{unit and ' ' + unit}", ("≥ " if more else "≤ ") + f"{limit:g}", f"{aim:g}",
                   verdict(value, limit, aim, more)) for name, value, unit, limit, aim, more in lines])


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


PAGE = """# How fast it is

Written by `scripts/bench.sh` from what it measured; every figure here can be measured again with that command. Measured on
{processor}, {processors} processors, Linux {kernel}, load {load:.1f} before and {load_after:.1f} after.

## Limits and aims

{targets}
## End to end

A peer answers a login and one query with a reply that it has made beforehand: {rows:,} rows of a 32-bit integer, a 64-bit
integer, a double, a text of 20 characters, a date and a nullable text of up to 40. The client receives everything, reads every
value through the public interface of its library and releases the result. Every client gets the same rows in its own protocol
and must come to the same checksum. CPU time of the client's process, in the program and in the system, login excluded; pinned;
{runs} interleaved rounds, medians. Memory is what the process holds more when all is received: heap as the allocator counts it,
which leaves out what a library takes from the system directly, and resident memory, which holds all that has been touched; of
the two the larger counts.

![CPU time a row, by client]({folder}/end_to_end.svg)

{clients}
Instructions are counted by callgrind and do not depend on the machine's load; they include the reader's own work: its loop, the
conversion of texts and dates where a library leaves that to it, and the checksum. Inside the calls of tarnsql it is
{in_library:.0f} of them.

Short rows, of a 32-bit integer and a text of 10 characters, in the same rounds:

{two_columns}
## How cost grows

![Cost of a row, by rows]({folder}/rows.svg)

![Cost of a value, by columns]({folder}/columns.svg)

{growth_rows}
{growth_columns}
## Parts

Ratios named "of ..." compare with the rival measured in the same run; `bench/` tells of each what exactly is measured. A large
object or value that is received stays in memory, and the first touch of that memory takes most of the time: it is held against
the bare stream into memory that is kept as well (`lob/loopback_receive_and_keep`), and beside that stands the bare stream into a
small buffer.

{parts}"""


def growth(lines, key, unit):
    return table([key, f"CPU ns/{unit}", f"heap bytes/{unit}", f"resident bytes/{unit}"],
                 [(f"{line[key]:,}", *(f"{line[f'{what}_per_{unit}']:.1f}"
                                       for what in ("cpu_ns", "heap_bytes", "resident_bytes"))) for line in lines])


def main():
    arguments = argparse.ArgumentParser(description="Writes the page of measured speed.")
    for name in ("end-to-end", "parts", "page"):
        arguments.add_argument("--" + name, type=pathlib.Path, required=True)
    given = arguments.parse_args()
    end_to_end, parts = json.loads(given.end_to_end.read_text()), json.loads(given.parts.read_text())
    charts = given.page.with_suffix("")
    charts.mkdir(exist_ok=True)
    plt.rcParams["svg.hashsalt"] = "tarnsql"
    by_rows, by_columns = end_to_end["growth"]["rows"], end_to_end["growth"]["columns"]
    chart(charts / "end_to_end.svg", draw_clients(end_to_end))
    chart(charts / "rows.svg", draw_growth(by_rows, "rows", "row"))
    chart(charts / "columns.svg", draw_growth(by_columns, "columns", "value"))
    given.page.write_text(PAGE.format(
        processor=processor(), processors=len(os.sched_getaffinity(0)), kernel=platform.release(),
        load=parts["machine/load_before"]["value"], load_after=parts["machine/load_after"]["value"],
        targets=targets(end_to_end, parts), rows=end_to_end["rows"], runs=end_to_end["runs"], folder=charts.name,
        clients=clients(end_to_end), two_columns=two_columns(end_to_end),
        in_library=end_to_end["instructions_in_library"],
        growth_rows=growth(by_rows, "rows", "row"), growth_columns=growth(by_columns, "columns", "value"),
        parts=all_parts(parts)))


if __name__ == "__main__":
    main()
