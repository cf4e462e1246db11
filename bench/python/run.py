#!/usr/bin/env python3
"""The Python module beside psycopg2 and sqlite3: CPU time and memory of the client, medians of one run.

tarnsql talks to tarnlite, psycopg2 to a PostgreSQL server of Debian's that is made for the run, sqlite3 reads a file. Every
measurement has a process of its own; the forms run in turn, round after round.
"""
import argparse
import contextlib
import json
import os
import pathlib
import pwd
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
FORMS = ["tarnsql", "tarnsql-pure", "psycopg2", "sqlite3"]
TASKS = ["fetchall", "executemany", "point"]
PYTHON = "/usr/bin/python3"  # which has Debian's psycopg2
# What is measured, what it is divided by, and the ratio that is not to be passed.
MUSTS = [
    ("fetchall", "cpu_us", "psycopg2", 0.9),
    ("fetchall", "cpu_us", "sqlite3", 0.9),
    ("executemany", "cpu_us", "psycopg2", 0.5),
    ("executemany", "cpu_us", "sqlite3", 1.5),
    ("point", "cpu_us", "psycopg2", 1.0),
    ("fetchall", "peak_mib", "sqlite3", 1.1),
]


@contextlib.contextmanager
def tarnlite(program):
    with subprocess.Popen([program, "--port", "0"], stdout=subprocess.PIPE, text=True) as server:
        try:
            yield server.stdout.readline().rpartition(":")[2].strip()
        finally:
            server.terminate()


@contextlib.contextmanager
def postgresql(directory):
    """A server in a new directory, over TCP as tarnlite is; it does not run as root."""
    programs = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin"))
    if not programs:
        sys.exit("PostgreSQL's server is not installed")
    home = pathlib.Path(directory) / "postgresql"
    home.mkdir()
    as_owner = []
    if os.getuid() == 0:
        os.chmod(directory, 0o755)
        shutil.chown(home, pwd.getpwnam("postgres").pw_uid)
        as_owner = ["runuser", "-u", "postgres", "--"]

    def run(program, *arguments):
        subprocess.run(
            [*as_owner, programs[-1] / program, *arguments], check=True, stdout=subprocess.DEVNULL, cwd=home
        )

    run("initdb", "-D", home / "data", "-U", "postgres", "--auth=trust", "--encoding=UTF8", "--locale=C.UTF-8")
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = str(free.getsockname()[1])
    options = f"-c listen_addresses=127.0.0.1 -c port={port} -c unix_socket_directories={home} -c fsync=off"
    run("pg_ctl", "-D", home / "data", "-w", "-l", home / "log", "-o", options, "start")
    try:
        yield port
    finally:
        run("pg_ctl", "-D", home / "data", "-m", "immediate", "stop")


def client(build, form, task, rows, address, under=()):
    environment = {
        **os.environ,
        "PYTHONPATH": str(build / "bindings/python/module"),
        "PYTHONDONTWRITEBYTECODE": "1",
        "TARNSQL_LIBRARY": str(build / "src/libtarnsql.so"),
        "TARNSQL_PYTHON": "pure" if form == "tarnsql-pure" else "core",
    }
    processor = str(min(os.sched_getaffinity(0)))
    command = ["taskset", "-c", processor, *under, PYTHON, HERE / "client.py", form, task, str(rows), address]
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    if done.returncode:
        sys.exit(f"{form} {task}: status {done.returncode}\n{done.stderr}")
    return json.loads(done.stdout) if task != "make" else None


def measure(build, addresses, tasks, rows, rounds):
    runs = {task: {form: [] for form in addresses} for task in tasks}
    for form, address in addresses.items():
        if form != "tarnsql-pure":  # which shares the server
            client(build, form, "make", rows, address)
    for _ in range(rounds):
        for task in tasks:
            for form, address in addresses.items():
                runs[task][form].append(client(build, form, task, rows, address))
    return {
        task: {
            form: {key: round(statistics.median(run[key] for run in of_form), 3) for key in of_form[0]}
            for form, of_form in of_task.items()
        }
        for task, of_task in runs.items()
    }


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--build", type=pathlib.Path, required=True, help="directory of the build")
    arguments.add_argument("--json", type=pathlib.Path, help="file to write")
    arguments.add_argument("--rows", type=int, default=1_000_000)
    arguments.add_argument("--runs", type=int, default=7, help="rounds")
    arguments.add_argument("--tasks", nargs="+", default=TASKS, choices=TASKS)
    given = arguments.parse_args()
    build = given.build.resolve()
    with tempfile.TemporaryDirectory() as directory, contextlib.ExitStack() as servers:
        port = servers.enter_context(tarnlite(build / "tools/tarnlite/tarnlite"))
        postgres = servers.enter_context(postgresql(directory))
        addresses = dict(zip(FORMS, (port, port, postgres, os.path.join(directory, "bench.sqlite"))))
        results = measure(build, addresses, given.tasks, given.rows, given.runs)
    ratios = []
    for task in given.tasks:
        for form, line in results[task].items():
            print(f"{task:12} {form:14} {line['cpu_us']:9.3f} us   {line['peak_mib']:8.1f} MiB")
    for task, key, form, most in [must for must in MUSTS if must[0] in given.tasks]:
        ratio = round(results[task]["tarnsql"][key] / results[task][form][key], 3)
        ratios.append({"task": task, "figure": key, "beside": form, "ratio": ratio, "most": most})
        print(
            f"{task:12} {key:8} / {form:9} {ratio:6.2f}   at most {most}{'' if ratio <= most else '   MISSED'}"
        )
    if given.json:
        results = {"rows": given.rows, "runs": given.runs, "medians": results, "ratios": ratios}
        given.json.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()
