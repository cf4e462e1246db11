#!/usr/bin/env python3
"""One measurement of one form of client, in a process of its own; prints what it took as JSON.

Usage: client.py FORM TASK ROWS ADDRESS    the address is a port (tarnsql, psycopg2) or a file (sqlite3)
"""
import json
import resource
import sys
import time

COLUMNS = "i INTEGER, b BIGINT, r DOUBLE PRECISION, t VARCHAR(40), d DATE, n VARCHAR(60)"
COLUMN_COUNT = 6
POINTS = 20_000


def value_rows(count):
    """Numbers, a text of 20 characters, a date, and a text of up to 40 that is null in every fourth row."""
    import datetime

    first = datetime.date(1980, 1, 1)
    days = [first + datetime.timedelta(day) for day in range(20_000)]
    filler = "text that is null now and then, of any length"
    return [
        (
            i,
            i * 7919123456,
            i * 0.37,
            f"text of row {i:08}",
            days[i % 20_000],
            filler[: 1 + i % 40] if i % 4 else None,
        )
        for i in range(count)
    ]


def connect(form, address):
    """The connection, and the mark of a parameter."""
    if form in ("tarnsql", "tarnsql-pure"):
        import tarnsql

        assert tarnsql.implementation == ("pure" if form == "tarnsql-pure" else "core")
        return tarnsql.connect(server="127.0.0.1", port=int(address), database="d", user="u", password="p"), "?"
    if form == "psycopg2":
        import psycopg2

        return psycopg2.connect(host="127.0.0.1", port=address, user="postgres", dbname="postgres"), "%s"
    import sqlite3

    return sqlite3.connect(address), "?"  # dates are texts: the fastest it has


def make_table(connection, form, cursor, rows):
    cursor.execute(f"CREATE TABLE bench({COLUMNS})")
    insert_many(form, cursor, "bench", value_rows(rows))
    cursor.execute("CREATE INDEX bench_i ON bench(i)")
    connection.commit()


def insert_many(form, cursor, table, rows):
    if form == "psycopg2":
        from psycopg2.extras import execute_values

        execute_values(cursor, f"INSERT INTO {table} VALUES %s", rows, page_size=1000)
    else:
        cursor.executemany(f"INSERT INTO {table} VALUES ({', '.join('?' * COLUMN_COUNT)})", rows)


def peak_kib():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


def main():
    form, task, rows, address = sys.argv[1:]
    rows = int(rows)
    connection, mark = connect(form, address)
    cursor = connection.cursor()
    if task == "make":
        make_table(connection, form, cursor, rows)
        return
    sent = value_rows(rows) if task == "executemany" else []
    if task == "executemany":
        cursor.execute(f"CREATE TABLE sink({COLUMNS})")
        connection.commit()
    before = peak_kib()
    begun = time.process_time()
    if task == "fetchall":
        cursor.execute("SELECT i, b, r, t, d, n FROM bench")
        received = cursor.fetchall()
    elif task == "executemany":
        insert_many(form, cursor, "sink", sent)
    else:
        rows = POINTS
        for i in range(POINTS):
            cursor.execute(f"SELECT i, b, r, t, d, n FROM bench WHERE i = {mark}", (i,))
            cursor.fetchone()
    used = time.process_time() - begun
    peak = (peak_kib() - before) / 1024
    if task == "fetchall":
        last = [
            str(value) if form == "sqlite3" and i == 4 else value
            for i, value in enumerate(value_rows(rows)[-1])
        ]
        assert len(received) == rows and list(received[-1]) == last
    print(json.dumps({"cpu_us": used * 1e6 / rows, "peak_mib": peak}))
    connection.rollback()
    if task == "executemany":
        cursor.execute("DROP TABLE sink")
        connection.commit()


if __name__ == "__main__":
    main()
