"""Cursors: statements, their parameters and their results.

A plain cursor receives a result whole and reads it from the library row by row; its results stay readable until the next
statement on the same cursor, whatever other cursors do.
"""

from __future__ import annotations

import ctypes
import functools
import re
import sys
from typing import Any, Iterable, Iterator, List, Optional, Sequence, Tuple, Type, cast

from . import _calls
from . import _library as codes
from ._binding import Names, Output, Parameters, requests, split
from ._errors import Error, InterfaceError, ProgrammingError, Warning, failure
from ._reading import Column
from ._rows import RowFactory, RowMaker
from ._session import Session
from ._types import CURSOR, Out

_PROCEDURE_NAME = re.compile(r'[\w$#."]+')
_ID_SIZE = 32

# An insert of one row of values; the second group is the text after VALUES.
_INSERT = re.compile(
    r"\s*INSERT\s+INTO\s+[^()';]+(\([^()';]*\))?\s*VALUES\s*(\(.*\))\s*;?\s*", re.IGNORECASE | re.DOTALL
)


@functools.lru_cache(maxsize=512)
def _inserts_one_row(sql: str) -> bool:
    """The server reports an insert, but not how many rows; here the statement tells."""
    insert = _INSERT.fullmatch(sql)
    values = re.sub(r"'[^']*'", "", insert.group(2)) if insert else ""
    depth = 0
    for position, letter in enumerate(values):
        depth += {"(": 1, ")": -1}.get(letter, 0)
        if not depth:
            return position == len(values) - 1
    return False


class Cursor:
    """A cursor of PEP 249. One thread at a time may use it."""

    def __init__(self, connection: Session) -> None:
        self.connection = connection
        self.arraysize = 1
        self.row_factory: Optional[RowFactory] = connection.row_factory  # used from the next result on
        self._make_row: Optional[RowMaker] = None
        self.messages: List[Tuple[Type[Exception], Exception]] = []
        self.closed = False
        self._lib = codes.library()
        self._result = ctypes.c_void_p()
        self._result_ref = ctypes.byref(self._result)
        self._address = ctypes.addressof(self._result)
        # At most one in each: a raised failure must not stay in a variable of a frame that it passes, or it would keep the cursor
        # and the connection from going out of use.
        self._behind: List[Error] = []  # to be raised after the rows
        self._postponed: List[Error] = []  # to be raised by the next fetch
        self._reader: Any = None
        self._columns: Optional[List[Column]] = None
        self._text_told = False  # the server text in the result has been raised
        self._forget()

    # ------------------------------------------------------------------------------- statements

    def execute(self, operation: str, parameters: Optional[Parameters] = None) -> Cursor:
        """Runs a statement, or several separated by ";": a sequence fills "?", a mapping ":name"."""
        names: Names = None
        if parameters is not None and type(parameters) not in (tuple, list):
            names, parameters = split(parameters)
        with self.connection.lock:
            self._begin()
            self._run(operation, names, cast(Optional[Sequence[Any]], parameters))
        return self

    def executemany(self, operation: str, seq_of_parameters: Iterable[Parameters]) -> Cursor:
        """Runs a statement once for each set of parameters, without results.

        Up to 65,535 sets travel in one request, which is all or nothing. A request ends before a set whose types do not go
        together with those before it; sets with large objects, and with bytes bound by name, travel one by one. rowcount is
        the number of rows inserted one by one by VALUES; of other statements batches do not tell it.
        """
        sql = codes.c_text(operation)
        with self.connection.lock:
            self._begin()
        rows = 0
        # Not under the lock: the sets may be produced by a thread that needs the connection.
        for names, batch, values in requests(seq_of_parameters, _calls.Batch):
            with self.connection.lock:
                self.connection.begin_call()
                if batch:
                    self._run_batch(sql, names, batch)
                    rows += batch.rows
                else:
                    self._run_for_effect(operation, names, values)
                    rows += 1
        self.rowcount = rows if _inserts_one_row(operation) else -1
        return self

    def callproc(self, procname: str, parameters: Sequence[Any] = ()) -> List[Any]:
        """Calls a procedure; returns its arguments, with Out and InOut replaced by their values.

        Without outputs among the arguments, rows that the procedure returns can be fetched. With outputs the rows are
        dropped, and a result of more than 400 rows keeps the outputs behind it from arriving.
        """
        if any(isinstance(argument, Out) for argument in parameters):
            return self._call(procname, parameters, None)[:-1]
        self.execute(_call_text(procname, parameters), parameters)
        return list(parameters)

    def callfunc(self, name: str, return_type: Any = str, parameters: Sequence[Any] = ()) -> Any:
        """Calls a function and returns its value as return_type, which is a type that Out accepts, or an Out."""
        returns = return_type if isinstance(return_type, Out) else Out(return_type)
        return self._call(name, parameters, returns)[-1]

    def nextset(self) -> Optional[bool]:
        """Moves to the next result of the statements; None when there is none."""
        self._require_open()
        self._leave_item()
        if not self._result or self._lib.TRN_NextResult(self._result_ref) == codes.END:
            return None
        self._take_item(_calls.item(self._address))
        return True

    def setinputsizes(self, sizes: Sequence[Any]) -> None:
        """Without effect: types and sizes follow from the values."""

    def setoutputsize(self, size: int, column: Optional[int] = None) -> None:
        """Without effect: values of any size are fetched whole."""

    def close(self) -> None:
        """Releases the result; the cursor can no longer be used."""
        self._forget()
        self.closed = True

    # ------------------------------------------------------------------------------- rows

    def fetchone(self) -> Any:
        """The next row, a tuple or what the row factory makes; None when there is none."""
        reader = self._require_rows()
        while (row := reader.next()) is None:
            if not self._refill(reader):
                return None
        return self._make_row(row) if self._make_row else row

    def fetchmany(self, size: Optional[int] = None) -> List[Any]:
        """The next rows, arraysize of them when size is not given; an empty list when there are none."""
        return self._fetch_rows(self.arraysize if size is None else size)

    def fetchall(self) -> List[Any]:
        """All rows that are left."""
        rows = self._fetch_rows(sys.maxsize)
        if self._postponed:
            raise self._postponed.pop()
        return rows

    @property
    def description(self) -> Optional[List[Column]]:
        """For each column of the result its name, type code, None, size, precision, scale, and whether nulls are allowed."""
        if self._columns is None and self._reader:
            self._columns = _calls.describe(self._address)
        return self._columns

    @property
    def rownumber(self) -> Optional[int]:
        """How many rows have been fetched; None without a result."""
        return self._reader.rows_read if self._reader else None

    def __iter__(self) -> Iterator[Any]:
        reader = self._require_rows()
        while True:
            rows: Iterator[Any] = iter(reader.next, None)
            yield from map(self._make_row, rows) if self._make_row else rows
            if not self._refill(reader):
                return

    def __next__(self) -> Any:
        row = self.fetchone()
        if row is None:
            raise StopIteration
        return row

    def __enter__(self) -> Cursor:
        self._require_open()
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_result", None):
            _calls.release(self._address)

    # ------------------------------------------------------------------------------- inside

    def _require_open(self) -> None:
        if self.closed:
            raise InterfaceError("the cursor is closed")
        self.connection.require_open()

    def _require_rows(self) -> Any:
        self._require_open()
        if self._reader is None:
            raise ProgrammingError("there is no result to fetch from")
        if self._postponed:
            raise self._postponed.pop()
        return self._reader

    def _fetch_rows(self, limit: int) -> List[Any]:
        """A failure after rows is postponed to the next fetch: these rows are valid."""
        reader = self._require_rows()
        rows: List[Any] = []
        try:
            while not reader.fill(rows, limit - len(rows)) and self._refill(reader):
                pass
        except Error as error:
            if not rows:
                raise
            self._postponed.append(error.with_traceback(None))
        return [self._make_row(row) for row in rows] if self._make_row else rows

    def _refill(self, reader: Any) -> bool:
        """Called when the rows of a reader end: returns whether there are more after all.

        A server that fails while it sends rows leaves its text with the result, behind the rows that it sent. It is
        raised there, once.
        """
        if reader is not self._reader:
            raise InterfaceError("the cursor has been closed or used by another thread meanwhile")
        if not self._behind and not self._text_told:
            text = codes.error_text(self._lib, self._result)
            if text:
                self._behind.append(failure(codes.ERR_SERVER, text))
        self._text_told = True
        if self._behind:
            raise self._told(self._behind.pop())
        return False

    def _release(self) -> None:
        self._close_reader()
        _calls.release(self._address)

    def _forget(self) -> None:
        if self._result:
            self._release()
        self.lastrowid: Any = None
        self._leave_item()

    def _leave_item(self) -> None:
        self._columns = None
        self.rowcount = -1
        self._close_reader()
        self._make_row = None
        if self._behind or self._postponed:
            del self._behind[:], self._postponed[:]
        self._text_told = False

    def _close_reader(self) -> None:
        if self._reader:  # another thread may still use it
            self._reader.close()
            self._reader = None

    def _begin(self) -> None:
        """To be called before a statement; the caller holds the connection's lock."""
        self._require_open()
        self._forget()
        if self.messages:
            del self.messages[:]
        self.connection.begin_call()

    def _told(self, error: Error) -> Error:
        """The failure, of which the messages get a copy: a raised one references frames, which reference this cursor."""
        self.messages.append((type(error), type(error)(str(error), error.status)))
        return error

    def _check(self, status: int) -> None:
        if status < 0:
            raise self._told(self.connection.failure(status))

    def _run(self, operation: str, names: Names, values: Optional[Sequence[Any]]) -> None:
        connection = self.connection
        held: List[Any] = []
        with connection.interruptible:
            outcome = _calls.run(connection.address, operation, self._address, names, values, held)
        if self._result:
            self._take_item(outcome)  # even with an error: the results before it stay readable
            if outcome[1] == codes.ITEM_INSERT and _inserts_one_row(operation):
                self.rowcount = 1
        self._check(outcome[0])

    def _run_batch(self, sql: bytes, names: Names, batch: Any) -> None:
        connection = self.connection
        try:
            connection.binder.bind_batch(names, batch)
            with connection.interruptible:
                status = _calls.execute_batch(connection.address, sql, batch.rows)
            self._check(status)
        finally:
            connection.binder.forget()
        if self._lib.fun_sql_type(sql) == codes.SQL_INSERT:
            identifier = ctypes.create_string_buffer(_ID_SIZE)
            connection.call("TRN_GetLastInsertId", identifier)
            self.lastrowid = _row_id(identifier.value)

    def _run_for_effect(self, operation: str, names: Names, values: Sequence[Any]) -> None:
        self._run(operation, names, values)
        last = self.lastrowid
        self._forget()
        self.lastrowid = last

    def _call(self, name: str, arguments: Sequence[Any], returns: Optional[Out]) -> List[Any]:
        """The arguments after the call, and then the return value."""
        connection = self.connection
        sql = codes.c_text(_call_text(name, arguments))
        with connection.lock:
            self._begin()
            try:
                outputs = connection.binder.bind_call(arguments, returns)
                text_before = codes.error_text(self._lib, connection.handle)
                with connection.interruptible:
                    status = self._lib.TRN_Execute_procesure(connection.ref, sql, None)
                if status != codes.TRUNCATED:  # the value itself reports that
                    self._check(status)
                text = codes.error_text(self._lib, connection.handle)
                if status == codes.WARNED and text != text_before:
                    self.messages.append((Warning, Warning(text)))
            finally:
                connection.binder.forget()
        values = [
            self._value_of(output) if output else argument for output, argument in zip(outputs, arguments)
        ]
        return [*values, self._value_of(outputs[-1]) if returns and outputs[-1] else None]

    def _value_of(self, output: Output) -> Any:
        value = output.value()
        if output.type is not CURSOR or value is None:
            return value
        return self.connection.opened_cursor(value)

    def _take_item(self, outcome: _calls.Outcome) -> None:
        """Makes the result item in the handle the cursor's current one."""
        _, kind, affected, identifier, rows = outcome
        if kind == codes.ITEM_QUERY:
            self._take_rows()
            self.rowcount = rows
        elif kind == codes.ITEM_INSERT:
            self.lastrowid = _row_id(identifier)
        else:
            self.rowcount = affected

    def _take_rows(self) -> None:
        connection = self.connection
        self._reader = _calls.RowReader(self._address, connection.descriptors, connection.held)
        if self.row_factory:
            self._make_row = self.row_factory(self)

    def _row_count(self) -> int:
        """The number of rows of the result in the library."""
        rows = ctypes.c_int64()
        self._lib.TRN_GetAttr(self._result_ref, codes.ROWS, ctypes.byref(rows), 8, None, None)
        return rows.value


def _row_id(text: bytes) -> Any:
    if not text:
        return None
    return int(text) if text.isdigit() else text.decode("utf-8", "replace")


def _call_text(name: str, arguments: Sequence[Any]) -> str:
    if not _PROCEDURE_NAME.fullmatch(name):
        raise ProgrammingError(f"{name!r} is not a procedure's name")
    return f"EXEC {name}({', '.join('?' * len(arguments))})"
