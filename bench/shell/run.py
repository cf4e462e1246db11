#!/usr/bin/env python3
"""tarnsh against psql: CSV in, CSV out and a table to a file, with the CPU time of the client alone.

Starts a server of each of its own, in a directory that goes afterwards, on ports that the system gives. Each command runs with both
clients, one right behind the other and in turns who comes first, so that whatever else the machine does meets both alike; what counts
is the ratio of such a pair. As root, PostgreSQL runs as the user postgres. Needs the Debian packages postgresql
and time.
"""
import argparse
import json
import os
import pathlib
import pwd
import random
import resource
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile

COLUMNS = "id INTEGER, big BIGINT, ratio DOUBLE PRECISION, name VARCHAR(40), at TIMESTAMP, price NUMERIC(12,2)"


def write_rows(path, rows):
    """Six columns of six kinds, about 64 bytes per row."""
    chance = random.Random(7)
    with open(path, "w", encoding="utf-8") as file:
        file.write("id,big,ratio,name,at,price\n")
        for n in range(rows):
            name = f"name {n}" if n % 10 else f'"said ""{n}"""'
            file.write(f"{n},{chance.randrange(10**9)},{chance.random():.6f},{name},"
                       f"20{n % 25:02}-{n % 12 + 1:02}-{n % 28 + 1:02} {n % 24:02}:{n % 60:02}:{n % 59:02},"
                       f"{n % 100000}.{n % 100:02}\n")


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Postgres:
    def __init__(self, folder):
        self.folder = folder / "postgres"
        self.folder.mkdir()
        self.programs = sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin"))[-1]
        self.user = pwd.getpwnam("postgres" if os.getuid() == 0 else pwd.getpwuid(os.getuid()).pw_name)
        shutil.chown(self.folder, self.user.pw_uid)
        self.port = free_port()
        self.run("initdb", "-D", self.folder / "data", "-A", "trust", "-E", "UTF8", "--no-locale")
        self.run("pg_ctl", "-D", self.folder / "data", "-w", "-l", self.folder / "log", "-o",
                 f"-p {self.port} -c listen_addresses=127.0.0.1 -c unix_socket_directories= -c fsync=off", "start")

    def run(self, program, *arguments):
        subprocess.run([self.programs / program, *arguments], check=True, stdout=subprocess.DEVNULL,
                       user=self.user.pw_uid, group=self.user.pw_gid, cwd="/")

    def stop(self):
        self.run("pg_ctl", "-D", self.folder / "data", "-m", "immediate", "stop")

    def client(self, command):
        # Not the psql of the path: that is a Perl program here, which takes 30 ms to find this one.
        return [self.programs / "psql", "-X", "-q", "-h", "127.0.0.1", "-p", str(self.port), "-U", self.user.pw_name, "-d", "postgres",
                "-v", "ON_ERROR_STOP=1", "-c", command]

    def copy(self, what):
        return self.client(f"\\copy {what} WITH (FORMAT csv, HEADER)")


class Tarnlite:
    def __init__(self, tools):
        self.shell = tools / "tarnsh" / "tarnsh"
        self.server = subprocess.Popen([tools / "tarnlite" / "tarnlite", "--port", "0"], stdout=subprocess.PIPE, text=True)
        self.port = int(self.server.stdout.readline().rsplit(":", 1)[1])

    def stop(self):
        self.server.terminate()
        self.server.wait()

    def client(self, command):
        return [self.shell, "--server", "127.0.0.1", "--port", str(self.port), "--user", "me", "-q", "-c", command]

    def copy(self, what):
        return self.client("\\copy " + what)


def measure(command, output=subprocess.DEVNULL):
    """CPU seconds of the client, and its peak memory in MB."""
    env = {**os.environ, "TARNSH_PASSWORD": "me", "PAGER": "cat"}
    # Under time(1): a process starts with the memory of its parent, and Python's is not small.
    with tempfile.NamedTemporaryFile("r") as told:
        client = subprocess.Popen(["time", "-q", "-f", "%M", "-o", told.name, *command], stdin=subprocess.DEVNULL,
                                  stdout=output, env=env)
        _, status, used = os.wait4(client.pid, 0)
        client.returncode = os.waitstatus_to_exitcode(status)
        if client.returncode != 0:
            sys.exit(f"{command}: status {client.returncode}")
        return used.ru_utime + used.ru_stime, int(told.read()) / 1000


def read_all(path):
    """Warms the page cache, so that the first reader does not pay for the disk."""
    with open(path, "rb") as file:
        while file.read(1 << 20):
            pass


def measure_pair(what, servers, results, run):
    for server in servers:
        results.setdefault(f"{what} {type(server).__name__.lower()}", []).append(run(server))


def measure_round(servers, rows_file, folder, results):
    def import_rows(server):
        read_all(rows_file)
        return measure(server.copy(f"rows FROM {rows_file}"))

    def out_of(server):
        return folder / f"{type(server).__name__.lower()}.out"

    def print_table(server):
        with open(out_of(server), "wb") as file:
            return measure(server.client("SELECT * FROM rows"), file)

    for server in servers:
        measure(server.client("DROP TABLE IF EXISTS rows"))
        measure(server.client(f"CREATE TABLE rows ({COLUMNS})"))
    measure_pair("import", servers, results, import_rows)
    measure_pair("export", servers, results, lambda server: measure(server.copy(f"rows TO {out_of(server)}")))
    measure_pair("table", servers, results, print_table)


def measure_formats(server, formats):
    """The peak memory for all rows in each format."""
    for name in formats:
        command = server.client("SELECT * FROM rows")
        seconds, peak = measure([*command[:-2], "--format", name, *command[-2:]])
        print(f"{name:>10}: {seconds:.2f} s, {peak:.1f} MB")


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--tools", type=pathlib.Path, required=True, help="directory of the built tools")
    arguments.add_argument("--rows", type=int, default=1_000_000)
    arguments.add_argument("--rounds", type=int, default=7)
    arguments.add_argument("--formats", nargs="*", default=[], help="formats whose memory is told")
    arguments.add_argument("--json", type=pathlib.Path, help="file to write")
    given = arguments.parse_args()
    results = {}
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        rows_file = folder / "rows.csv"
        write_rows(rows_file, given.rows)
        print(f"{given.rows:,} rows, {rows_file.stat().st_size / 1e6:.1f} MB")
        servers = [Tarnlite(given.tools.resolve()), Postgres(folder)]
        try:
            for n in range(given.rounds):
                measure_round(servers[::-1] if n % 2 else servers, rows_file, folder, results)
            measure_formats(servers[0], given.formats)
        finally:
            for server in servers:
                server.stop()
    medians = {name: statistics.median(seconds for seconds, _ in runs) for name, runs in results.items()}
    for what in ("import", "export", "table"):
        ours, theirs = results[f"{what} tarnlite"], results[f"{what} postgres"]
        ratios = [mine / other for (mine, _), (other, _) in zip(ours, theirs)]
        medians[f"{what} ratio"] = statistics.median(ratios)
        print(f"{what:>7}: tarnsh {medians[f'{what} tarnlite']:.3f} s ({max(peak for _, peak in ours):.1f} MB), "
              f"psql {medians[f'{what} postgres']:.3f} s, {statistics.median(ratios):.2f} x "
              f"({min(ratios):.2f} to {max(ratios):.2f})")
    if given.json:
        given.json.write_text(json.dumps(medians, indent=2) + "\n")


if __name__ == "__main__":
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    main()
