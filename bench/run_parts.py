#!/usr/bin/env python3
"""Runs the benchmarks of the driver's parts and collects their figures in one JSON file.

    bench/run_parts.py --build DIR [--json FILE] [--quick] [--only NAME,NAME]

DIR is a build made with -DTARNSQL_BUILD_BENCHMARKS=ON and optimisation. The file maps the name of each figure to
its value and unit. The status is 1 when a benchmark fails; the figures of the others are written all the same.
"""
import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile

PROGRAMS = ["keystream", "channel", "text", "batch", "lob", "result", "free", "connections", "threads", "cpp"]


LONGEST = 900  # seconds; a benchmark that takes longer hangs


def run(command, output):
    print("==", pathlib.Path(command[0]).name, flush=True)
    try:
        status = subprocess.run(command, timeout=LONGEST).returncode
    except subprocess.TimeoutExpired:
        return None
    return json.loads(output.read_text()) if status == 0 else None


def figures_of(program, build, quick, directory):
    output = pathlib.Path(directory) / f"{program}.json"
    command = [str(build / "bench" / f"{program}_bench")]
    if program == "keystream":
        command += [f"--benchmark_out={output}", "--benchmark_out_format=json"]
        command += ["--benchmark_min_time=0.01"] if quick else []
        report = run(command, output)
        return report and keystream_figures(report["benchmarks"])
    command += ["--json", str(output)] + (["--quick"] if quick else [])
    report = run(command, output)
    return report and {b["name"]: {"value": b["figure"], "unit": b["unit"]} for b in report["benchmarks"]}


def keystream_figures(benchmarks):
    """Bytes a second where bytes are counted, else the time; and the keystream against the byte loop."""
    figures, rates = {}, {}
    for b in benchmarks:
        name = "keystream/" + b["name"]
        rates[b["name"]] = rate = b.get("bytes_per_second")
        if rate:
            figures[name] = {"value": rate / 1e6, "unit": "MB/s"}
        else:
            figures[name] = {"value": b["cpu_time"], "unit": b["time_unit"]}
    for name, rate in rates.items():
        rival = rates.get(name.replace("apply_keystream", "byte_loop"))
        if name.startswith("apply_keystream") and rival:
            figures[f"keystream/{name}/ratio"] = {"value": rate / rival, "unit": "of the byte loop"}
    return figures


def main():
    parser = argparse.ArgumentParser(description="Runs the benchmarks of the driver's parts.")
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--json", type=pathlib.Path, help="where to write the figures")
    parser.add_argument("--quick", action="store_true", help="small amounts, to see that everything works")
    parser.add_argument("--only", default=",".join(PROGRAMS), help="some of " + ",".join(PROGRAMS))
    options = parser.parse_args()
    chosen = options.only.split(",")
    if unknown := set(chosen) - set(PROGRAMS):
        parser.error("no such benchmark: " + ", ".join(sorted(unknown)))

    figures, failed = {}, []
    load_before = os.getloadavg()[0]
    with tempfile.TemporaryDirectory() as directory:
        for program in chosen:
            measured = figures_of(program, options.build, options.quick, directory)
            if measured is None:
                failed.append(program)
            figures.update(measured or {})
    # The load of the machine shows how far the figures can be trusted.
    figures["machine/load_before"] = {"value": load_before, "unit": "processes"}
    figures["machine/load_after"] = {"value": os.getloadavg()[0], "unit": "processes"}
    if options.json:
        options.json.write_text(json.dumps(figures, indent=2) + "\n")
    if failed:
        sys.exit("failed: " + ", ".join(failed))


if __name__ == "__main__":
    main()
