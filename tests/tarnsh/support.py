"""What the suites of the shell stand on: a development server of each test's own, and the shell run against it.

Every suite is called as: FILE TARNSH TARNLITE SUITE
"""
import contextlib
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

try:
    import pexpect  # noqa: F401, for the suites
except ImportError:
    print("skipped: python3-pexpect is not installed")
    sys.exit(77)

TARNSH, TARNLITE = sys.argv[1:3]
ENDLESS = "WITH RECURSIVE s(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM s) SELECT n FROM s"


class Server:
    """A tarnlite; started again it listens on the same port."""

    def __init__(self, *options):
        self.options = options
        self.port = 0
        self.start()

    def start(self):
        command = [TARNLITE, "--port", str(self.port), *self.options]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline().rsplit(":", 1)[1])

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    @property
    def connection(self):
        return connection_to(self.port)


class Proxy:
    """Stands before a server and can hold back what it answers."""

    def __init__(self, port):
        self.server = ("127.0.0.1", port)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.text = b""
        self.holds, self.passes = threading.Event(), threading.Event()
        self.passes.set()
        threading.Thread(target=self.accept, daemon=True).start()

    @property
    def connection(self):
        return connection_to(self.port)

    def hold(self, text):
        """From the next request that holds this text, until the release or until the client leaves."""
        self.holds.clear()
        self.text = text

    def wait(self):
        assert self.holds.wait(30), "the request did not come"

    def release(self):
        self.passes.set()

    def accept(self):
        while True:
            client = self.listener.accept()[0]
            server = socket.create_connection(self.server)
            threading.Thread(target=self.pass_requests, args=(client, server), daemon=True).start()
            threading.Thread(target=self.pass_answers, args=(server, client), daemon=True).start()

    def pass_requests(self, client, server):
        with contextlib.suppress(OSError):
            while data := client.recv(1 << 16):
                if self.text and self.text in data:
                    self.text = b""
                    self.passes.clear()
                    self.holds.set()
                server.sendall(data)
        self.release()
        with contextlib.suppress(OSError):
            server.shutdown(socket.SHUT_RDWR)

    def pass_answers(self, server, client):
        with contextlib.suppress(OSError):
            while data := server.recv(1 << 16):
                self.passes.wait()
                client.sendall(data)
            client.shutdown(socket.SHUT_RDWR)


def connection_to(port):
    return f"server=127.0.0.1;port={port};user=demo;password=demo"


class ShellTest(unittest.TestCase):
    server_options = ()

    def setUp(self):
        self.server = Server(*self.server_options)
        self.addCleanup(lambda: self.server.stop())
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_shell(self, *arguments, connection=None, text="", env=None):
        if connection is None:
            connection = [self.server.connection]
        return subprocess.run([TARNSH, *connection, *arguments], input=text, capture_output=True, text=True, timeout=60,
                              env={**os.environ, "HOME": str(self.folder), **(env or {})}, start_new_session=True)

    def expect(self, arguments, rows, code=0, says="", **more):
        """Runs the shell: what comes out on standard output, the exit code, a part of standard error."""
        done = self.run_shell(*arguments, **more)
        self.assertEqual((done.stdout, done.returncode), (rows, code), done.stderr)
        self.assertIn(says, done.stderr)
        return done

    def rows_of(self, sql):
        done = self.run_shell("-q", "--format", "csv", "--no-header", "-c", sql)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout


def run_suite(suites):
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(suites[sys.argv[3]])
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    sys.exit(0 if result.wasSuccessful() and result.testsRun else 1)
