"""Values there and back: every type, parameters, large objects."""

import io
import uuid
import warnings
from datetime import date, datetime, time, timedelta, timezone
from decimal import Decimal

import tarnsql
from support import ServerCase
from tarnsql import BINARY, DATETIME, INTERVAL, LOB, NUMBER, STRING, Blob, Clob, YearToMonth

EAST = timezone(timedelta(hours=5, minutes=30))
WEST = timezone(timedelta(hours=-3, minutes=-30))
EVE, LAST = datetime(1969, 12, 31, 23, 59, 59, 1000), datetime(9999, 12, 31, 23, 59, 59, 999000)
LEAP = datetime(2024, 2, 29, 1, 2, 3, 999999)
MONTHS = [YearToMonth(-5), YearToMonth.of(2, 11), YearToMonth(-14)]
SPANS = [timedelta(2, 10800, 1), timedelta(microseconds=-1), -timedelta(40, 1)]
CLOBS = [(Clob("a text"), "a text"), (Clob(io.StringIO("äb")), "äb")]
BLOBS = [(Blob(b"xy"), b"xy"), (Blob(io.BytesIO(bytes(3 << 20))), bytes(3 << 20))]

# The declared type, its type object, and values that come back as they went; the last column is the rest: sent, received.
TYPES = [
    ("BOOLEAN", NUMBER, [True, False], []),
    ("TINYINT", NUMBER, [-128, 127], []),
    ("SMALLINT", NUMBER, [-32768, 258], []),
    ("INTEGER", NUMBER, [-(2**31), 0x01020304], []),
    ("BIGINT", NUMBER, [-(2**63), 2**63 - 1], []),
    ("NUMERIC(12,3)", NUMBER, [Decimal("-0.001"), Decimal("123456789.125")], [(7, Decimal("7.000"))]),
    ("NUMERIC", NUMBER, [Decimal("1E-61"), Decimal("1E-62"), Decimal("-1E-100"), Decimal("1E+200")], []),
    ("FLOAT", NUMBER, [-0.5, 2.0**-60], []),
    ("DOUBLE", NUMBER, [0.1, -1.7976931348623157e308], []),
    ("DATE", DATETIME, [date(1, 1, 1), date(9999, 12, 31), date(1969, 12, 31)], []),
    ("TIME", DATETIME, [time(0, 0), time(23, 59, 59, 999000)], []),
    ("TIME WITH TIME ZONE", DATETIME, [time(0, 30, 1, 5000, EAST), time(23, 0, tzinfo=WEST)], []),
    ("DATETIME", DATETIME, [datetime(1, 1, 1), LAST, EVE], []),
    ("DATETIME WITH TIME ZONE", DATETIME, [LEAP.replace(tzinfo=EAST), datetime(1, 1, 2, tzinfo=WEST)], []),
    ("INTERVAL YEAR TO MONTH", INTERVAL, MONTHS, []),
    ("INTERVAL DAY TO SECOND", INTERVAL, SPANS, []),
    ("INTERVAL DAY TO HOUR", INTERVAL, ["2 03"], []),
    ("VARCHAR(20)", STRING, ["Grüße", "a" * 1023, "b" * 1024, "ü" * 600, "c" * 5000], [("", None)]),
    ("CLOB", STRING, ["it's", "ü" * 70000], CLOBS),
    ("VARBINARY(4)", BINARY, [b"\0\xff\0", bytes(1024), b"x" * 1025], [(bytearray(b"ab"), b"ab"), (b"", None)]),
    ("BLOB", BINARY, [b"\xff", bytes(70000)], BLOBS),
    ("OPAQUE", BINARY, [b"\0", b"AB\0", b"o" * 63, b"o" * 64, b"o" * 65, bytes(3000)], []),
]


class Values(ServerCase):
    def test_every_type_goes_there_and_comes_back(self):
        for declaration, group, same, other in TYPES:
            self.cursor.execute(f"create table t(a {declaration})")
            for sent, received in [*((value, value) for value in same), *other, (None, None)]:
                with self.subTest(type=declaration, value=repr(sent)[:40]):
                    self.cursor.execute("insert into t values (?)", [sent])
                    value = self.one("select a from t")
                    self.assertEqual(value, received)
                    self.assertIs(type(value), type(received))
                    self.assertEqual(getattr(value, "tzinfo", None), getattr(received, "tzinfo", None))
                    self.assertEqual(self.cursor.description[0][1], group)
                self.cursor.execute("delete from t")
            self.cursor.execute("drop table t")

    def test_columns_are_described(self):
        self.cursor.execute("create table t(a NUMERIC(10,2) not null, b VARCHAR(20), c BLOB)")
        a, label, c = self.cursor.execute("select a, b as label, c from t").description
        self.assertEqual(a, ("a", NUMBER, None, None, 10, 2, False))
        self.assertEqual(label, ("label", STRING, None, 20, None, None, True))
        self.assertEqual(c, ("c", LOB, None, None, None, None, True))

    def test_parameters_fill_places_or_are_refused(self):
        for sql, parameters, row in [
            ("select :b, :a, :b", {"a": 1, "b": 2.5}, (2.5, 1, 2.5)),
            ("select ?, ?", [uuid.UUID(int=5), 2**70], (str(uuid.UUID(int=5)), str(2**70))),
        ]:
            self.assertEqual(self.cursor.execute(sql, parameters).fetchone(), row)
        for error, sets in [
            (tarnsql.ProgrammingError, ("a", 5, [1, object()], [1, 2])),
            (tarnsql.DataError, ([Decimal("NaN")], ["\ud800"])),
            (tarnsql.InterfaceError, ({1: 1}, {"a\0": 1})),
        ]:
            for parameters in sets:
                with self.subTest(parameters=repr(parameters)), self.assertRaises(error):
                    self.cursor.execute("select ?", parameters)
                self.assertEqual(self.one("select ?", ["left nothing bound"]), "left nothing bound")

    def test_values_without_a_python_form_are_raised_where_they_stand(self):
        self.cursor.execute("create table t(a DATE)")
        self.cursor.execute("insert into t values ('1999-01-01'), ('0000-05-05'), ('1999-01-01')")
        self.cursor.execute("select a from t")
        row = (date(1999, 1, 1),)
        self.assertEqual(self.cursor.fetchmany(5), [row])
        self.assertRaises(tarnsql.DataError, self.cursor.fetchmany, 5)
        self.assertEqual(self.cursor.fetchmany(5), [row], "the rows behind it")

    def test_scalars_of_other_packages_are_parameters(self):
        try:
            import numpy
        except ImportError:
            self.skipTest("numpy is not installed")
        moment = numpy.datetime64("2024-02-29T12:00:00.5", "ns")
        for sent, received in [
            (numpy.int8(-5), -5),
            (numpy.uint64(2**63), str(2**63)),
            (numpy.float32(0.5), 0.5),
            (numpy.float64(0.1), 0.1),
            (numpy.bool_(True), 1),
            (numpy.str_("text"), "text"),
            (moment, datetime(2024, 2, 29, 12, 0, 0, 500000)),
            (numpy.datetime64("NaT"), None),
        ]:
            with self.subTest(repr(sent)):
                kind = (
                    "DATETIME"
                    if isinstance(sent, numpy.datetime64)
                    else "VARCHAR(30)"
                    if isinstance(received, str)
                    else "DOUBLE"
                )
                self.cursor.execute(f"create table n(a {kind})")
                self.cursor.executemany("insert into n values (?)", [(sent,)])
                self.cursor.execute("insert into n values (?)", [sent])
                self.assertEqual(self.cursor.execute("select a from n").fetchall(), [(received,)] * 2)
                self.cursor.execute("drop table n")
        self.assertRaises(tarnsql.ProgrammingError, self.cursor.execute, "select ?", [numpy.array([1, 2])])

    def test_microseconds_that_are_cut_are_told(self):
        with self.assertWarnsRegex(tarnsql.Warning, "keeps milliseconds"):
            self.cursor.execute("select ?", [datetime(2024, 2, 29, 1, 2, 3, 4)])
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            self.cursor.execute(
                "select ?, ?", [datetime(2024, 2, 29, 1, 2, 3, 4000), LEAP.replace(tzinfo=EAST)]
            )

    def test_rows_take_the_form_of_their_factory(self):
        sql = "select 1 as a, 'x' as \"two words\", 3 as a"
        for factory, row in [
            (None, (1, "x", 3)),
            (tarnsql.dict_row, {"a": 3, "two words": "x"}),
            (tarnsql.namedtuple_row, (1, "x", 3)),
            (lambda cursor: lambda row: len(row) + len(cursor.description), 6),
        ]:
            self.connection.row_factory = factory
            cursor = self.connection.cursor()
            for fetch in (
                cursor.fetchone,
                lambda: cursor.fetchmany(1)[0],
                lambda: cursor.fetchall()[0],
                lambda: next(iter(cursor)),
            ):
                cursor.execute(sql)
                self.assertEqual(fetch(), row)
        self.connection.row_factory = None
        cursor.row_factory = tarnsql.namedtuple_row
        self.assertEqual(cursor.execute(sql).fetchone()._fields, ("a", "_1", "_2"))


class LargeObjects(ServerCase):
    settings = {"lobs": True}

    def test_columns_come_as_files(self):
        content = bytes(range(256)) * 8192  # 2 MiB
        execute = self.cursor.execute
        execute("create table t(a BLOB, b CLOB, c VARCHAR(9))")
        execute("insert into t values (?, ?, 'c'), (?, 'text', null)", [content, Clob("ü" * 50000), b"small"])
        execute("insert into t values (null, null, null)")
        (blob, clob, text), small, null = execute("select a, b, c from t").fetchall()
        self.assertEqual((type(blob), type(clob), text, null), (Blob, Clob, "c", (None,) * 3))
        self.assertEqual((len(blob), blob.read(4), blob.tell()), (len(content), content[:4], 4))
        self.assertEqual((blob.seek(-2, io.SEEK_END), blob.read()), (len(content) - 2, b"\xfe\xff"))
        self.assertEqual((blob.seek(1 << 30), blob.read(5)), (1 << 30, b""))
        self.assertRaises(ValueError, blob.seek, -1)
        self.assertEqual(list(Clob("one\ntwo\n" + "x" * 9999)), [b"one\n", b"two\n", b"x" * 9999])
        self.assertEqual((blob.seek(0), blob.read()), (0, content))
        self.assertEqual((clob.text(), clob.seek(0)), ("ü" * 50000, 0))
        self.assertEqual(io.TextIOWrapper(io.BufferedReader(clob), "utf-8").read(3), "üüü")
        self.assertEqual((small[0].read(), small[1].text(), small[2]), (b"small", "text", None))
        execute("update t set a = ? where c = 'c'", [small[0]])
        self.assertEqual(self.one("select a from t where c = 'c'").read(), b"small", "fetched, then sent")
        cursor = self.connection.cursor(server_side=True, fetch_size=1).execute("select b from t;")
        self.assertEqual([len(value) if value else None for value, in cursor], [100000, 4, None])
        blob.close()
        self.assertRaises(ValueError, blob.read, 1)
        self.assertRaises(tarnsql.DataError, execute, "select ?", [blob])
        # In the middle of a thread's fetching another one closes the connection.
        fetching = execute("select a from t")._reader
        self.connection.close()
        self.assertRaises(tarnsql.InterfaceError, fetching.next)
