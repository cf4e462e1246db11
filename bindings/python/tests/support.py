"""A development server for the tests of a class, and what they share. TARNLITE names the server's program."""

import os
import subprocess
import unittest

import tarnsql


class Server:
    def __init__(self, *options):
        command = [os.environ["TARNLITE"], "--port", "0", *options]
        self._process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        line = self._process.stdout.readline()  # "tarnlite: listening on 127.0.0.1:40000"
        if "listening" not in line:
            raise RuntimeError(f"tarnlite did not start: {line}")
        self.port = int(line.rpartition(":")[2])
        self.settings = dict(server="127.0.0.1", port=self.port, database="d", user="u", password="p")

    def stop(self):
        self._process.terminate()
        self._process.wait()
        self._process.stdout.close()


class ServerCase(unittest.TestCase):
    """Each class has a server of its own, each test a connection and a cursor."""

    settings = {}

    @classmethod
    def setUpClass(cls):
        cls.server = Server()
        cls.addClassCleanup(cls.server.stop)

    def connect(self, **settings):
        connection = tarnsql.connect(**{**self.server.settings, **self.settings, **settings})
        self.addCleanup(connection.close)
        return connection

    def setUp(self):
        self.connection = self.connect()
        self.cursor = self.connection.cursor()

    def one(self, sql, parameters=()):
        return self.cursor.execute(sql, parameters).fetchone()[0]
