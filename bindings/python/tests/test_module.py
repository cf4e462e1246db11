"""The module itself: the library that it looks for, connection strings, threads, lifetimes, the examples of the README."""

import contextlib
import datetime
import gc
import os
import pathlib
import re
import subprocess
import sys
import unittest
from concurrent.futures import ThreadPoolExecutor
from decimal import Decimal
from unittest import mock

import tarnsql
from support import Server, ServerCase


class Finding(unittest.TestCase):
    def test_a_library_that_is_not_there_or_another_is_told(self):
        # The names it is looked for are replaced: the machine may have a library of these names.
        code = (
            "import tarnsql, tarnsql._library as library\nlibrary._candidates = lambda: ['libnowhere.so.1']\n"
        )
        code += "try: tarnsql.connect(server='127.0.0.1')\nexcept tarnsql.InterfaceError as error: print(error)"
        system = "libm.so.6" if sys.platform == "linux" else "kernel32.dll"
        for path, said in [
            ("/nowhere/libtarnsql.so", "TARNSQL_LIBRARY names cannot be loaded (/nowhere/libtarnsql.so: "),
            ("", "libnowhere.so.1"),
            ("", "set TARNSQL_LIBRARY to the path of"),
            (system, f"{system} is not a tarnsql library: it has no TRNX_OpenConn"),
        ]:
            environment = {**os.environ, "TARNSQL_LIBRARY": path}
            told = subprocess.run([sys.executable, "-c", code], env=environment, capture_output=True, text=True)
            self.assertIn(said, told.stdout, told.stderr)

    def test_the_implementation_is_the_one_asked_for(self):
        asked = os.environ.get("TARNSQL_PYTHON")
        self.assertIn(tarnsql.implementation, (asked,) if asked else ("core", "pure"))
        environment = {**os.environ, "TARNSQL_PYTHON": "other"}
        told = subprocess.run(
            [sys.executable, "-c", "import tarnsql"], env=environment, capture_output=True, text=True
        )
        self.assertIn("TARNSQL_PYTHON must be 'core' or 'pure', not 'other'", told.stderr)


# Quotes would end their clause of the login; a time-out is above 0.
REFUSED = [
    {"user": "a'b"},
    {"password": "' or '"},
    {"connection_string": "servr=1;db=x"},
    {"timeout": 0},
    {"port": 70000},
]


class Connecting(ServerCase):
    def test_strings_and_keywords_say_the_same(self):
        port = self.server.port
        address = f"server=127.0.0.1;port={port};db=d;user=u;pwd=p"
        ips = {"ips": ["127.0.0.1", "localhost"], "port": port, "user": "u", "char_set": "utf8"}
        for given, keywords, autocommit, enciphered in [
            (address.replace(";", ","), {}, False, False),
            (address + ";auto_commit=on;use_ssl=on", {}, True, True),
            (address.replace("pwd=p", "pwd=auto_commit"), {}, False, False),
            (address + ";auto_commit=on", {"autocommit": False, "enciphered": True}, False, True),
            (address.replace("server=127.0.0.1", "IP = localhost "), {}, False, False),
            ("server=no such host;port=1", {"server": "localhost", "port": port}, False, False),
            ("", ips, False, False),
        ]:
            with self.subTest(given, **keywords), tarnsql.connect(given, **keywords) as connection:
                self.addCleanup(connection.close)
                self.assertEqual((connection.autocommit, connection.enciphered), (autocommit, enciphered))
                self.assertRegex(connection.server_version, "^tarnlite ")

    def test_what_a_string_cannot_carry_and_what_servers_refuse(self):
        refusing = Server("--fault", "refuse-login")
        self.addCleanup(refusing.stop)
        for keywords in (
            {"password": "a;b"},
            {"password": "x" * 64},
            {"user": "ips=1"},
            {"user": "\ud800"},
            *REFUSED,
        ):
            with self.subTest(**keywords), self.assertRaises(tarnsql.InterfaceError):
                self.connect(**keywords)
        for keywords, code in [
            ({"server": "no such host"}, None),
            ({"server": None, "connection_string": "server=a..b;"}, None),
            ({"port": refusing.port}, "EX003"),
        ]:
            with self.subTest(**keywords), self.assertRaises(tarnsql.OperationalError) as caught:
                self.connect(**keywords)
            self.assertEqual(caught.exception.code, code)


class Threads(ServerCase):
    def test_threads_share_one_connection_beside_their_own(self):
        def work(number):  # parameters, results and failures of this thread, each of which must stay its own
            own = self.connect(database=str(number)).cursor()
            server_side = self.connection.cursor(server_side=True, fetch_size=7)
            for turn in range(150):
                cursor = self.connection.cursor()
                mine = f"{number}-{turn}"
                for each in (cursor, own):
                    self.assertEqual(each.execute("select ?, ?", (mine, turn)).fetchall(), [(mine, turn)])
                with self.assertRaisesRegex(tarnsql.ProgrammingError, f"no such table: t{number}_{turn}$"):
                    cursor.execute(f"select * from t{number}_{turn} where a = ?", [mine])
                cursor.executemany("insert into shared values (?, ?)", [(number, turn), (number, turn)])
                if turn % 25 == 0:
                    rows = server_side.execute("select a from shared where a = ?", [number]).fetchall()
                    self.assertEqual(rows, [(number,)] * 2 * (turn + 1))

        self.cursor.execute("create table shared(a INTEGER, b INTEGER)")
        with ThreadPoolExecutor(8) as pool:
            list(pool.map(work, range(8)))  # raises what they raise
        self.assertEqual(self.one("select count(*) from shared"), 8 * 150 * 2)


class Lifetimes(ServerCase):
    def test_what_goes_out_of_use_is_released_without_the_garbage_collector(self):
        self.cursor.execute("create table t(a DATE)")
        self.cursor.execute("insert into t values ('1999-01-01'), ('0000-05-05')")
        self.connection.commit()
        library = tarnsql._library.library()
        self.addCleanup(gc.enable)
        gc.disable()
        for sql in ("select 1", "select 1; select * from nowhere", "select a from t"):
            with contextlib.ExitStack() as patches, self.subTest(sql):
                free, close = tarnsql._calls.release, library.TRN_CloseConn
                freed = patches.enter_context(mock.patch.object(tarnsql._calls, "release", wraps=free))
                closed = patches.enter_context(mock.patch.object(library, "TRN_CloseConn", wraps=close))
                cursor = tarnsql.connect(**self.server.settings).cursor()
                with contextlib.suppress(tarnsql.Error):
                    cursor.execute(sql).fetchmany(5)
                freed.reset_mock()
                cursor = None
                self.assertEqual((freed.call_count, closed.call_count), (1, 1))

    def test_rounds_of_everything_leave_nothing_behind(self):
        rounds = int(os.environ.get("TARNSQL_LEAK_ROUNDS", "500"))
        self.cursor.execute(
            "create table many(i INTEGER, r DOUBLE, t VARCHAR(20), d DATE, n NUMERIC, z TIME WITH TIME ZONE, b BLOB)"
        )
        self.cursor.execute("create table bad(d DATE)")
        self.cursor.execute("insert into bad values ('1999-01-01'), ('0000-05-05')")
        day, clock = datetime.date(2024, 2, 29), datetime.time(1, 2, tzinfo=datetime.timezone.utc)
        rows = [(i, i / 2, f"text {i}", day, Decimal(i), clock, b"bytes") for i in range(5)]
        mixed = [(1,), (2.5,), (None,), ("text",), (b"bytes",), (tarnsql.Blob(b"x"),)]

        def one_round():
            cursor = self.connection.cursor()
            cursor.executemany("insert into many values (?, ?, ?, ?, ?, ?, ?)", rows)
            cursor.executemany("insert into many(t) values (?)", mixed)
            for read in (cursor.fetchall, cursor.fetchone, lambda: next(iter(cursor))):
                read_from = cursor.execute("select * from many where i < :most", {"most": 4})
                read(), read_from.description
            cursor.row_factory = tarnsql.namedtuple_row
            cursor.execute("select i, t from many").fetchmany(2)
            list(self.connection.cursor(server_side=True, fetch_size=3).execute("select * from many"))
            for sql, parameters in [
                ("select d from bad", ()),
                ("select * from nowhere", ()),
                ("select ?", [object()]),
                (None, ()),
            ]:
                with contextlib.suppress(tarnsql.Error):
                    cursor.execute(sql, parameters).fetchall()
                    cursor.fetchall()
            self.connection.rollback()

        self.connection.commit()
        for _ in range(50):
            one_round()
        gc.collect()
        # The interpreter's and the allocator's own caches grow now and then; what every round leaves grows in each of the three.
        objects, memory = [], []
        for _ in range(3):
            blocks, peak = sys.getallocatedblocks(), peak_kib()
            for _ in range(rounds // 3):
                one_round()
            gc.collect()
            objects.append(sys.getallocatedblocks() - blocks)
            memory.append(peak_kib() - peak)
        self.assertLess(min(objects), rounds / 4, f"objects of Python, {objects}")
        self.assertLess(min(memory), 2048, f"KiB of the process, {memory}")


def peak_kib():
    """Of this process; 0 where it cannot be told."""
    try:
        import resource
    except ImportError:
        return 0
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


class Readme(ServerCase):
    def test_the_examples_run(self):
        text = (pathlib.Path(__file__).parent.parent / "README.md").read_text("utf-8")
        examples = re.findall(r"```python\n(.*?)```", text, re.DOTALL)
        self.assertGreater(len(examples), 3)
        names = {}
        for example in examples:
            exec(example.replace("port=5139", f"port={self.server.port}"), names)
        names["connection"].close()
