"""Statements, results, batches, server-side cursors, procedures, transactions, failures."""

import contextlib
import socket
import struct
import unittest
from concurrent.futures import ThreadPoolExecutor
from datetime import date, datetime, timedelta, timezone
from decimal import Decimal
from unittest import mock

import tarnsql
from support import Server, ServerCase
from tarnsql import CURSOR, InOut, Out

NUMBERS = "with recursive n(i) as (select 1 union all select i + 1 from n where i < ?) select i, 'row ' || i as t from n"
INSERT = "insert into t(a, b) values (?, ?)"
# Fails on the way: no date can be made of the 400th value.
BAD_ROW = "select i, d from bad order by i"


class Statements(ServerCase):
    def setUp(self):
        super().setUp()
        self.cursor.execute("drop table if exists t")
        self.cursor.execute("create table t(a INTEGER PRIMARY KEY, b VARCHAR(20) NOT NULL, c DOUBLE)")
        self.connection.commit()

    def server_side(self, fetch_size, *statement):
        return self.connection.cursor(server_side=True, fetch_size=fetch_size).execute(*statement)

    def test_results_follow_the_statements(self):
        cursor = self.cursor
        cursor.execute(
            "insert into t values (7, 'x', 0); update t set c = 1; select a, b from t; delete from t"
        )
        self.assertEqual((cursor.lastrowid, cursor.description), (7, None))
        told = []
        while cursor.nextset():
            told.append((cursor.rowcount, cursor.fetchall() if cursor.description else None))
        self.assertEqual(told, [(1, None), (1, [(7, "x")]), (1, None)])
        self.assertRaises(tarnsql.ProgrammingError, cursor.fetchone)
        cursor.execute(NUMBERS, [3])
        self.assertEqual((next(cursor), cursor.rownumber), ((1, "row 1"), 1))
        self.assertEqual(self.connection.cursor().execute(NUMBERS, [1]).fetchall(), [(1, "row 1")])
        self.assertEqual([i for i, _ in cursor], [2, 3], "beside the other one")

    def test_batches_insert_the_same_as_single_statements(self):
        columns = {"BOOLEAN": True, "BIGINT": -5, "DOUBLE": 2.5, "VARCHAR(9)": "Grüße", "BLOB": b"\0\1\2\3\4"}
        columns.update(
            {"NUMERIC(5,2)": Decimal("1.25"), "DATE": date(2024, 2, 29), "DATETIME": datetime(1, 1, 1)}
        )
        names = [f"c{i}" for i in range(len(columns))]
        self.cursor.execute(f"create table w({', '.join(f'{n} {d}' for n, d in zip(names, columns))})")
        full, empty = tuple(columns.values()), (None,) * len(columns)
        rows = [empty, full, full, empty, full]
        mixed = [(1, *full[1:]), full]  # a number where the other rows have a truth value
        named = f"insert into w values ({', '.join(':' + n for n in names)})"
        places = f"insert into w values ({', '.join('?' * len(names))})"
        no_bytes = [tuple(None if isinstance(value, bytes) else value for value in row) for row in rows]
        any_order = [dict(list(zip(names, row))[:: (-1) ** i]) for i, row in enumerate(no_bytes)]
        for case, sql, sent, expected in [
            ("from an iterator", places, iter(rows), rows),
            ("none", places, [], []),
            ("one by one", places, rows + mixed, rows + mixed),
            ("named, one by one", named, (dict(zip(names, row)) for row in rows), rows),
            ("named, in any order", named, any_order, no_bytes),
        ]:
            with self.subTest(case):
                self.cursor.executemany(sql, sent)
                self.assertEqual(self.cursor.execute("select * from w order by rowid").fetchall(), expected)
                self.cursor.execute("delete from w")
        for sql, sent in [(places, [full, full[1:]]), (named, [{"a": 1}, {"b": 1}])]:
            self.assertRaises(tarnsql.ProgrammingError, self.cursor.executemany, sql, sent)

    def test_columns_of_mixed_types_travel_as_batches_where_a_type_is_common(self):
        exact = 2**53 + 1  # no float
        moment = datetime(2024, 2, 29, 1, 2, 3, 500000)
        for kind, values, requests, read in [
            ("DOUBLE", [1, None, 2.5, -3], 1, [1.0, None, 2.5, -3.0]),
            ("DOUBLE", [2.5, 1], 1, [2.5, 1.0]),
            ("NUMERIC(20,2)", [1, Decimal("2.50"), -3, 0.25], 1, [1, Decimal("2.50"), -3, Decimal("0.25")]),
            ("NUMERIC(30,2)", [exact, 0.5], 2, [exact, Decimal("0.50")]),
            ("VARCHAR(40)", [5, "text", None], 1, ["5", "text", None]),
            ("DATETIME", [moment, date(2024, 3, 1)], 1, [moment, datetime(2024, 3, 1)]),
            ("INTEGER", [True, 2, 3, False], 3, [1, 2, 3, 0]),
        ]:
            with self.subTest(kind, values=values):
                self.cursor.execute(f"create table m(a {kind})")
                with mock.patch.object(
                    tarnsql._calls, "execute_batch", wraps=tarnsql._calls.execute_batch
                ) as sent:
                    self.cursor.executemany("insert into m values (?)", [(value,) for value in values])
                self.assertEqual((sent.call_count, self.cursor.rowcount), (requests, len(values)))
                rows = self.cursor.execute("select a from m order by rowid").fetchall()
                self.assertEqual([value for value, in rows], read)
                self.cursor.execute("drop table m")

    def test_rowcount_is_told_where_it_is_known(self):
        for sql, parameters, rowcount in [
            ("insert into t values (1, 'a(', 0)", (), 1),
            ("INSERT INTO t(a, b) VALUES (abs(?), upper('x)')) ;", [2], 1),
            ("insert into t values (3, 'c', 0), (4, 'd', 0)", (), -1),
            ("insert into t select a + 10, b, c from t", (), -1),
            ("update t set c = 5", (), 8),
            ("delete from t where a > ?", [10], 4),
            ("select * from t", (), 4),
        ]:
            with self.subTest(sql):
                self.assertEqual(self.cursor.execute(sql, parameters).rowcount, rowcount)
        self.assertEqual(self.cursor.executemany(INSERT, [(n, "x") for n in range(20, 25)]).rowcount, 5)
        self.assertEqual(self.cursor.executemany("update t set c = ?", [(1,), (2,)]).rowcount, -1)

    def test_batches_of_more_rows_than_a_request_takes(self):
        self.cursor.executemany(INSERT, self.server_side(2000, NUMBERS, [70000]))
        self.assertEqual(self.cursor.lastrowid, 70000)
        self.assertEqual(self.cursor.execute("select count(*), sum(a) from t").fetchone(), (70000, 2450035000))
        self.connection.rollback()
        self.assertRaises(tarnsql.IntegrityError, self.cursor.executemany, INSERT, [(1, "a"), (1, "b")])
        self.assertEqual(self.one("select count(*) from t"), 0, "all or nothing")

    def test_server_side_cursors_give_all_rows_block_by_block(self):
        cursor = self.server_side(20000, NUMBERS, [50000])
        self.assertEqual([column[:2] for column in cursor.description], [("i", 6), ("t", 2)])
        self.assertEqual(cursor.fetchone(), (1, "row 1"))
        self.assertEqual(self.one("select 5"), 5, "in between")
        self.assertEqual(cursor.fetchmany(20001)[-1], (20002, "row 20002"), "over the end of a block")
        self.assertEqual((len(cursor.fetchall()), cursor.rownumber, cursor.rowcount), (29998, 50000, -1))
        self.assertEqual((cursor.fetchall(), cursor.fetchone()), ([], None))
        for rows in (0, 1, 20000, 20001):
            self.assertEqual(len(cursor.execute(f"{NUMBERS} limit {rows}", [30000]).fetchall()), rows)
        for _ in range(300):  # more than a session may have open: the ones before are closed
            left = self.server_side(1, NUMBERS, [3])
        self.assertEqual(len(left.fetchall()), 3)
        self.assertRaises(tarnsql.ProgrammingError, cursor.execute, "select nothing from nowhere")
        cursor.execute(NUMBERS, [10000])
        self.connection.reconnect()
        self.assertRaisesRegex(tarnsql.InterfaceError, "logged in again", cursor.fetchall)

    def test_rows_in_front_of_a_failure_can_be_fetched(self):
        self.cursor.execute("create table bad(i INTEGER, d DATE)")
        rows = [(i, "2024-02-30" if i == 400 else "2024-02-29") for i in range(1, 500)]
        self.cursor.executemany("insert into bad values (?, ?)", rows)
        self.assertRaisesRegex(tarnsql.DataError, "2024-02-30", self.cursor.execute, BAD_ROW)
        self.assertEqual(len(self.cursor.fetchall()), 399)
        cursor = self.server_side(150, BAD_ROW)
        self.assertEqual(len(cursor.fetchmany(1000)), 399)
        self.assertRaisesRegex(tarnsql.DataError, "2024-02-30", cursor.fetchmany, 1000)
        self.assertEqual((cursor.fetchmany(1000), cursor.fetchone()), ([], None))
        self.assertRaises(tarnsql.DataError, cursor.execute(BAD_ROW).fetchall)

    def test_failures_raise_the_exception_of_their_kind(self):
        self.cursor.execute("insert into t values (1, 'x', 0)")
        for sql, error in [
            ("selec 1", tarnsql.ProgrammingError),
            ("create table t(a)", tarnsql.ProgrammingError),
            ("insert into t values (1, 'x', 0)", tarnsql.IntegrityError),
            ("insert into t values (2, null, 0)", tarnsql.IntegrityError),
            ("EXEC fail('the row is locked')", tarnsql.OperationalError),
            ("EXEC fail('something else')", tarnsql.DatabaseError),
            ("select 1\0", tarnsql.InterfaceError),
            ("select 1; select * from nowhere", tarnsql.ProgrammingError),
        ]:
            with self.subTest(sql=sql):
                with self.assertRaises(error) as caught:
                    self.cursor.execute(sql)
                self.assertIs(type(caught.exception), error)
        self.assertEqual(self.cursor.fetchall(), [(1,)], "what came before the failure")
        self.assertEqual((caught.exception.status, str(caught.exception)), (-1, "no such table: nowhere"))
        self.assertEqual(repr(self.cursor.messages), repr([(tarnsql.ProgrammingError, caught.exception)]))
        self.cursor.close()
        self.assertRaises(tarnsql.InterfaceError, self.cursor.execute, "select 1")

    def test_procedures_give_outputs_rows_and_cursors(self):
        moment = datetime(2024, 2, 29, 12, 34, 56, 789000)
        zoned = moment.replace(microsecond=0, tzinfo=timezone(timedelta(hours=2)))
        every_type = [True, -7, -1234, 123456789, -1234567890123456789, Decimal("-1234.50"), 1.5, 0.1]
        every_type += [moment.date(), moment.time(), zoned.timetz(), moment, zoned, "a text", b"\0\xff\x80"]
        for name, arguments, given in [
            ("ADD", [2, 3, Out(int)], [2, 3, 5]),
            ("divide", (InOut(43), 5, Out(int)), [8, 5, 3]),
            ("greet", [InOut("Ada")], ["Hello, Ada"]),
            ("nothing", [Out(int)], [None]),
            ("every_type", [Out(type(value)) for value in every_type], every_type),
            ("numbers", [3, None], [3, None]),
        ]:
            with self.subTest(name):  # the representation tells types and zones too
                self.assertEqual(repr(self.cursor.callproc(name, arguments)), repr(given))
        self.assertEqual(self.cursor.fetchall(), [(1, "number 1"), (2, "number 2"), (3, "number 3")])
        count, cursor = self.cursor.callproc("open_numbers", [4500, Out(CURSOR)])
        self.assertEqual((count, len(cursor.fetchall())), (4500, 4500))
        day = moment.date()
        for name, sent, value in [("DATE", "2024-02-29", day), ("BOOLEAN", "T", True), ("NUMERIC", "42", 42)]:
            self.assertEqual(self.cursor.callfunc("typed", type(value), [name, sent]), value)
        for wanted in (date, int):
            self.assertRaises(tarnsql.DataError, self.cursor.callfunc, "typed", wanted, ["DOUBLE", "1.5"])
        self.assertIsNone(self.cursor.callfunc("warn", str, ["mind the gap"]))
        told = [(kind, str(text)) for kind, text in self.cursor.messages]
        self.assertEqual(told, [(tarnsql.Warning, "mind the gap")])
        self.assertRaises(tarnsql.DataError, self.cursor.callproc, "greet", [InOut("Ada", size=5)])
        self.assertRaises(tarnsql.ProgrammingError, self.cursor.callproc, "add(1); drop table t --", [])

    def test_transactions_begin_by_themselves_and_end_as_told(self):
        other = self.connect(autocommit=True).cursor()
        insert = "insert into t(b) values ('x')"

        def check(rows):
            self.assertEqual(other.execute("select count(*) from t").fetchone(), (rows,))

        self.cursor.execute(insert)
        self.connection.rollback()
        with self.connection:
            self.cursor.execute(insert)
        check(1)
        with self.assertRaises(ZeroDivisionError), self.connection:
            self.cursor.execute(insert)
            1 / 0
        check(1)
        self.cursor.execute(insert)
        self.connection.autocommit = True  # commits
        self.cursor.execute(insert)
        self.connection.rollback()
        check(3)
        self.connection.autocommit = False
        self.cursor.execute(insert)
        self.connection.reconnect()
        check(3)
        self.assertFalse(self.connection.autocommit)
        with self.connection.cursor() as cursor:
            cursor.execute(insert)
        self.connection.close()
        check(3)
        self.assertTrue(cursor.closed)

    def test_a_lost_link_is_an_operational_error_until_the_next_login(self):
        server = Server()
        self.addCleanup(server.stop)
        connection = self.connect(port=server.port)
        cursor = connection.cursor().execute("select 1")
        server.stop()
        for use in (lambda: cursor.execute("select 1"), connection.commit, connection.reconnect):
            self.assertRaises(tarnsql.OperationalError, use)


def result(code, *items):
    """What a server sends for a column's values (R) and failures (E)."""
    sent = b"".join(kind + struct.pack(">i", len(content)) + content for kind, content in items)
    return struct.pack(">cii1si8x", b"A", 1, 1, b"a", code) + sent + b"K"


class OddServers(unittest.TestCase):
    def test_odd_values_and_failures_between_rows_are_raised_once_and_rows_behind_them_come(self):
        lengths = result(12, *((b"R", bytes(size)) for size in (5, 7, 40000, 6)))  # 6 is right
        between = result(5, (b"R", bytes([0, 0, 0, 7])), (b"E", b"out of range"), (b"R", bytes([0, 0, 0, 8])))

        def serve():
            with listener.accept()[0] as link:
                for reply in (b"K", lengths, between, between):
                    link.recv(65536)
                    link.sendall(reply)

        with socket.create_server(("127.0.0.1", 0)) as listener, ThreadPoolExecutor(1) as pool:
            listener.settimeout(30)
            served = pool.submit(serve)
            port = listener.getsockname()[1]
            with contextlib.closing(tarnsql.connect(server="127.0.0.1", port=port, user="u")) as connection:
                cursor = connection.cursor().execute("select")
                for _ in range(3):
                    self.assertRaises(tarnsql.DataError, cursor.fetchone)
                self.assertEqual(cursor.fetchone()[0].isoformat(), "00:00:00+00:00")
                self.assertEqual(cursor.execute("select").fetchmany(5), [(7,), (8,)])
                self.assertRaises(tarnsql.DataError, cursor.fetchone)
                self.assertIsNone(cursor.fetchone())
                self.assertRaises(tarnsql.DataError, cursor.execute("select").fetchall)
            served.result()
