"""Calls that wait: cancelled, timed out, interrupted by Ctrl-C; the lines of the library; cursors in the wrong hands."""

import contextlib
import os
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

import tarnsql
from support import ServerCase

WAITING = """
import signal, sys, tarnsql
signal.signal(signal.SIGINT, signal.default_int_handler)  # which a shell's background jobs ignore
connection = tarnsql.connect(server="127.0.0.1", port=int(sys.argv[1]), user="u")
try:
    connection.cursor().execute("select 1")
except KeyboardInterrupt:
    print("interrupted")
"""


class SilentServer(unittest.TestCase):
    """A server that takes the login and then answers nothing."""

    def setUp(self):
        self.listener = self.enter(socket.create_server(("127.0.0.1", 0)))
        self.listener.settimeout(30)
        self.port = self.listener.getsockname()[1]

    def enter(self, resource):
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        return stack.enter_context(resource)

    def take_login(self):
        link = self.enter(self.listener.accept()[0])
        link.recv(65536)
        link.sendall(b"K")
        return link

    def test_a_call_that_waits_is_cancelled_or_timed_out(self):
        with ThreadPoolExecutor(1) as pool:
            for timeout, code in [(None, "EX001"), (0.1, None)]:
                login = pool.submit(self.take_login)
                connection = tarnsql.connect(server="127.0.0.1", port=self.port, user="u", timeout=timeout)
                self.addCleanup(connection.close)
                link = login.result(30)
                self.assertFalse(connection.cancel(), "nothing runs yet")
                running = pool.submit(connection.cursor().execute, "select 1")
                link.recv(65536)  # the statement
                if timeout is None:
                    self.assertTrue(connection.cancel())
                with self.assertRaises(tarnsql.OperationalError) as caught:
                    running.result(30)
                self.assertEqual(caught.exception.code, code)
                self.assertFalse(connection.closed)

    def test_connecting_ends_with_its_time_out(self):
        with self.assertRaisesRegex(tarnsql.OperationalError, "EX00"):  # nobody answers the login
            tarnsql.connect(server="127.0.0.1", port=self.port, user="u", connect_timeout=0.1)

    @unittest.skipIf(sys.platform == "win32", "signals are sent otherwise there")
    def test_control_c_ends_a_call(self):
        command = [sys.executable, "-c", WAITING, str(self.port)]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as client:
            self.take_login().recv(65536)
            os.kill(client.pid, signal.SIGINT)
            begun = time.monotonic()
            self.assertEqual(client.stdout.readline(), "interrupted\n")
            self.assertLess(time.monotonic() - begun, 10)  # at once; the library itself would wait half an hour


class WrongHands(ServerCase):
    def test_lines_of_the_library_are_logged(self):
        with self.assertLogs("tarnsql", "INFO") as logged, contextlib.suppress(tarnsql.Error):
            self.cursor.execute("select * from nowhere")
        self.assertEqual(logged.output, ["INFO:tarnsql:[EC031]Error in recv result :no such table: nowhere"])

    def test_a_cursor_that_others_use_meanwhile_raises(self):
        numbers = (
            "with recursive n(i) as (select 1 union all select i + 1 from n where i < 20000) select i from n"
        )
        for server_side in (False, True):
            cursor = self.connection.cursor(
                server_side=server_side, **({"fetch_size": 50} if server_side else {})
            )
            stop = threading.Event()

            def read():
                while not stop.is_set():
                    with contextlib.suppress(tarnsql.Error):
                        cursor.fetchmany(100)
                        list(zip(cursor, range(50)))

            with ThreadPoolExecutor(3) as pool:
                readers = [pool.submit(read) for _ in range(3)]
                for _ in range(30):
                    with contextlib.suppress(tarnsql.Error):
                        cursor.execute(numbers)
                        cursor.fetchmany(500)
                cursor.close()
                stop.set()
                for reader in readers:
                    reader.result(60)
            self.assertRaises(tarnsql.InterfaceError, cursor.fetchone)
            self.assertEqual(self.one("select 5"), 5)

    def test_garbage_raises(self):
        cursor = self.cursor.execute("select 1")
        fetching, rows = cursor._reader, iter(cursor)
        cursor.close()
        self.assertIsNone(fetching.next())
        self.assertRaises(tarnsql.InterfaceError, next, rows)
        cursor = self.connection.cursor()
        for sql, parameters in [(None, ()), (b"select 1", ()), (1, ()), ("select ?", 5), ("select ?", {1: 2})]:
            with self.subTest(sql=sql), self.assertRaises(tarnsql.Error):
                cursor.execute(sql, parameters)
        for rows in ([5], [None], [(1,), None], [(1,), (1, 2)], [{"a": 1}, (1,)], 5):
            with self.subTest(rows=rows), self.assertRaises((tarnsql.ProgrammingError, TypeError)):
                cursor.executemany("select ?", rows)
        self.connection.close()
        for use in (
            cursor.fetchall,
            lambda: next(iter(cursor)),
            lambda: cursor.execute("select 1"),
            self.connection.cancel,
        ):
            self.assertRaises(tarnsql.InterfaceError, use)
