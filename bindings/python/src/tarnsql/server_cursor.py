"""Server-side cursors: the rows stay on the server and are fetched in blocks."""

from __future__ import annotations

import ctypes
from typing import Any, Iterable, NoReturn, Optional

from . import _library as codes
from ._binding import Parameters
from ._errors import Error, InterfaceError, NotSupportedError
from ._session import Session
from .cursor import Cursor

FETCH_SIZE = 2000
_LARGEST_FETCH = 20000  # of the library


class ServerCursor(Cursor):
    """A cursor over one query, fetch_size rows at a time; rowcount is -1. It ends with its last row."""

    def __init__(self, connection: Session, fetch_size: int = FETCH_SIZE) -> None:
        self._name = ""  # of the open cursor
        self._generation = 0
        if not 1 <= fetch_size <= _LARGEST_FETCH:
            raise InterfaceError(f"fetch_size is a number from 1 to {_LARGEST_FETCH}")
        self.fetch_size = fetch_size
        super().__init__(connection)

    def execute(self, operation: str, parameters: Optional[Parameters] = None) -> ServerCursor:
        """Opens the cursor over a query and fetches its first rows."""
        connection = self.connection
        with connection.lock:
            name = connection.new_cursor_name()
            # In two statements: the library's call for both reports a refused query only as a missing cursor.
            query = operation.rstrip("; \t\r\n")
            super().execute(f"DECLARE {name} CURSOR FOR {query} ", parameters)
            self._name, self._generation = name, connection.generation
            with connection.interruptible:
                status = self._lib.TRN_Execute_no_query(connection.ref, f"OPEN {name} ;".encode())
            self._check(status)
            self.adopt(name)
        return self

    def adopt(self, name: str) -> None:
        """Takes over an open cursor, and fetches its first rows, which have the types of all columns."""
        self._name, self._generation = name, self.connection.generation
        with self.connection.lock:
            if self._result:
                self._fetch()
            else:
                self._fetch_first()
            self._take_rows()
            self.rowcount = -1

    def executemany(self, operation: str, seq_of_parameters: Iterable[Parameters]) -> NoReturn:
        raise NotSupportedError("a server-side cursor runs one query")

    def callproc(self, procname: str, parameters: Any = ()) -> NoReturn:
        raise NotSupportedError("a server-side cursor runs one query")

    def callfunc(self, name: str, return_type: Any = str, parameters: Any = ()) -> NoReturn:
        raise NotSupportedError("a server-side cursor runs one query")

    def nextset(self) -> None:
        """There is only one result."""
        self._require_open()

    def close(self) -> None:
        with self.connection.lock:
            super().close()

    def __del__(self) -> None:
        if getattr(self, "_name", ""):
            self.connection.abandon(self._generation, self._name)
        super().__del__()

    # ------------------------------------------------------------------------------- inside

    def _fetch_first(self) -> None:
        """For a cursor whose columns are not known yet."""
        count = ctypes.byref(ctypes.c_int32(self.fetch_size))
        self.connection.call("TRN_FetchRefCursorHead", self._name.encode(), self._result_ref, None, None, count)
        if not self._result:  # the call does not report failures
            self._behind.append(self.connection.failure(codes.ERR_SERVER))
            self._close_on_server()
            raise self._told(self._behind.pop())

    def _fetch(self) -> int:
        """Fetches the next rows, replacing the last ones; returns their number."""
        text = f"FETCH {self.fetch_size} FROM {self._name}".encode()
        if self._reader:  # it must not be used while its rows are replaced
            self._reader.close()
        with self.connection.interruptible:
            status: int = self._lib.TRN_FetchServerCursorRowset_V2(self.connection.ref, text, self._result_ref)
        self._text_told = False
        if self._reader:
            self._reader.open()
        if status < 0:
            self._behind.append(self.connection.failure(status))
            status = self._row_count()
            if not status:
                self._close_on_server()
                raise self._told(self._behind.pop())
        return status

    def _refill(self, reader: Any) -> bool:
        with self.connection.lock:
            try:
                super()._refill(reader)
            except Error:
                self._close_on_server()
                raise
            if not self._name:
                return False
            self.connection.begin_call()
            if self._generation != self.connection.generation:
                self._name = ""
                raise InterfaceError("the cursor ended when the connection logged in again")
            if self._fetch():
                return True
            self._close_on_server()
            return False

    def _close_on_server(self) -> None:
        """Closes the cursor, which may already have ended by a failure of the server."""
        name, self._name = self._name, ""
        if name and self._generation == self.connection.generation and not self.connection.closed:
            self._lib.TRN_CloseCursor(self.connection.ref, name.encode())

    def _forget(self) -> None:
        if self._name:
            with self.connection.lock:
                self._close_on_server()
        super()._forget()
