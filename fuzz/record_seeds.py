#!/usr/bin/env python3
"""Records the answers of a running tarnlite, as the first inputs of the fuzz targets.

Usage: record_seeds.py PORT CORPUS-FOLDER

An input begins with the bytes by which its target chooses (see the target's source), then come the server's bytes.
"""

import pathlib
import socket
import struct
import sys

port, corpus = int(sys.argv[1]), pathlib.Path(sys.argv[2])


class Client:
    def __init__(self, clauses=""):
        self.socket = socket.create_connection(("127.0.0.1", port))
        login = f"login database = d user='u' password='p'{clauses} version = '301'"
        self.socket.sendall(login.encode())
        self.greeting = self.receive()

    def receive(self):
        """Everything received until the server falls silent."""
        received = b""
        self.socket.settimeout(2)
        while True:
            try:
                piece = self.socket.recv(65536)
            except TimeoutError:
                return received
            if not piece:
                return received
            received += piece
            self.socket.settimeout(0.1)

    def ask(self, text, entries=b"", count=0):
        sql = text.encode()
        self.socket.sendall(b"?" + struct.pack(">I", len(sql)) + sql + b"\0" + struct.pack(">I", count) + entries)
        return self.receive()


def output_entries(types):
    return b"".join(struct.pack(">HHHI", 0, 2, wire_type, 0) for wire_type in types)


def store(target, name, choice, received):
    folder = corpus / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(bytes(choice) + received[:4000])


client = Client()
for name, sql in {
    "create": "create table t(a integer primary key, b varchar(20), c double, d date, e time, f datetime, g numeric(8,2))",
    "insert": "insert into t values(1, 'one', 1.5, '2024-02-29', '12:34:56.789', '2024-02-29 12:34:56', '1.25')",
    "more": "insert into t(a) values(2); insert into t(a, b) values(3, 'three')",
    "update": "update t set b = 'x'",
    "rows": "select * from t",
    "chain": "select 1 as a; update t set c = 2; delete from t where a = 3; select b, 'text' as e from t",
    "hundreds": "with recursive n(i) as (select 1 union all select i + 1 from n where i < 250) select i from n",
    "error": "no such statement",
    "version": "show version",
}.items():
    received = client.ask(sql)
    for choice in range(7):
        store("statements", f"{name}-{choice}", [choice, 3], received + received)
    for choice in range(4):
        store("results", f"{name}-{choice}", [choice, 3], received)
store("statements", "prepare", [4, 3], b"".join(client.ask(text) for text in (
    "PREPARE s AS select * from t where a = ?", "? s", "DEALLOCATE s ")))
store("results", "cursor", [2, 3], b"".join(client.ask(text) for text in (
    "DECLARE c CURSOR FOR select a, b from t ", "OPEN c ;", "FETCH  20000  FROM  c ", "CLOSE c ")))
store("statements", "outputs", [2, 3], client.ask(
    "EXEC every_type(" + ", ".join("?" * 15) + ")", output_entries([30] * 15), 15))
store("statements", "function", [2, 3], client.ask("EXEC divide('7', '2', ?)", output_entries([30]), 1))
store("statements", "rows-and-output", [2, 3], client.ask("EXEC numbers(5, ?)", output_entries([30]), 1))
store("statements", "warning", [0, 3], client.ask("EXEC warn('w')"))
store("login", "accepted", [0, 0], client.greeting)
store("login", "refused", [0, 0], b"E\0\0\0\x02no")
store("encrypted_login", "number", [0, 0], bytes(range(1, 65)) + b"K")

client = Client(" lob_ret  =descriptor")
client.ask("create table l(a clob); insert into l values('" + "long " * 20000 + "')")
row = client.ask("select a from l")
descriptor = row[row.rindex(b"C"):-1]
store("lobs", "fetch", [len(descriptor), 3], descriptor + client.ask(
    "get lob '" + descriptor[:13].decode() + "' offset 0 limit 2000 "))

for name, text in {
    "plain": "server=127.0.0.1;port=5139;db=d;user=u;pwd=p",
    "all": "ip=127.0.0.1;port=1;uid=u;password=p;char_set=utf8;iso_level=x;lock_timeout=5;lob_ret=1;use_ssl=off;"
           "auto_commit=off;return_rowid=on;return_cursor_id=off;current_schema=s;keyword_filter=k;use_srvcursor=off",
    "list": "IPS=127.0.0.1,127.0.0.2,127.0.0.3;port=1;db=d;user=u",
    "commas": "server=127.0.0.1,port=1,db=d",
}.items():
    store("conn_string", name, [5], text.encode())
for name, calls in {
    "single": bytes([0, 6, 7, 3, 6]) + b"abcd" + bytes([1, 1, 1, 3, 7, 0]),
    "array": bytes([3, 6, 7, 4, 4]) + b"0123456789abcdef" + bytes([1, 3, 7, 1, 6]),
}.items():
    store("binds", name, [], calls)
