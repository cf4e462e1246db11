"""The session behind a connection: its handle, its lock, its login and its transactions.

The library runs the calls on one connection one after another, but binding, executing and reading the error text are
several calls. They belong together here under a lock of the session's own, so that threads may share a connection.
"""

from __future__ import annotations

import contextlib
import ctypes
import threading
from typing import Any, Iterator, List, Optional, Tuple

from . import _errors
from . import _library as codes
from ._binding import Binder
from ._errors import InterfaceError, failure
from ._interrupt import Interruptible
from ._rows import RowFactory

_LONGEST_TIMEOUT = 2_000_000


def _milliseconds(seconds: Optional[float]) -> int:
    """0 for None."""
    if seconds is None:
        return 0
    if not 0 < seconds <= _LONGEST_TIMEOUT:
        raise InterfaceError(f"a time-out is a number of seconds above 0, at most {_LONGEST_TIMEOUT}")
    return max(1, round(seconds * 1000))


class Session:
    """The part of a connection that cursors use."""

    # The exceptions, for programs that have a connection and not the module.
    Warning = _errors.Warning
    Error = _errors.Error
    InterfaceError = _errors.InterfaceError
    DatabaseError = _errors.DatabaseError
    DataError = _errors.DataError
    OperationalError = _errors.OperationalError
    IntegrityError = _errors.IntegrityError
    InternalError = _errors.InternalError
    ProgrammingError = _errors.ProgrammingError
    NotSupportedError = _errors.NotSupportedError

    def __init__(
        self, connection_string: str, connect_timeout: Optional[float] = None, timeout: Optional[float] = None
    ) -> None:
        self.handle = ctypes.c_void_p()
        self.ref = ctypes.byref(self.handle)
        self.address = ctypes.addressof(self.handle)
        self.lock = threading.RLock()
        self.row_factory: Optional[RowFactory] = None  # of new cursors
        self.generation = 0  # counts logins: each ends what lived on the server
        self._cursor_number = 0
        self._abandoned: List[Tuple[int, str]] = []  # server cursors that were not closed
        self._lib = codes.library()
        self.binder = Binder(self._lib, self.handle)
        self.interruptible = Interruptible(self.handle)
        self._cancelled = False
        options = codes.Options(ctypes.sizeof(codes.Options))
        options.connect_timeout_ms, options.receive_timeout_ms = _milliseconds(connect_timeout), _milliseconds(
            timeout
        )
        self._open(codes.c_text(connection_string, "the connection string"), options)
        self.descriptors = bool(self._number(codes.DESCRIPTORS))

    def _open(self, connection_string: bytes, options: codes.Options) -> None:
        with self.interruptible:
            status = self._lib.TRNX_OpenConn(connection_string, ctypes.byref(options), self.ref)
        if status:
            text = codes.error_text(self._lib, self.handle)
            self._lib.TRN_CloseConn(self.ref)
            raise InterfaceError(text, status) if status == codes.ERR_ARGUMENT and text else failure(
                status, text
            )

    # ------------------------------------------------------------------------------- for cursors

    def require_open(self) -> None:
        """Raises for a connection that has been closed."""
        if not self.handle:
            raise InterfaceError("the connection is closed")

    @contextlib.contextmanager
    def held(self) -> Iterator[None]:
        """Keeps other threads from using or closing the connection meanwhile."""
        with self.lock:
            self.require_open()
            yield

    def call(self, name: str, *arguments: Any) -> int:
        """One call on this connection's handle; the caller holds the lock. Raises for a failure."""
        with self.interruptible:
            status: int = getattr(self._lib, name)(self.ref, *arguments)
        if status < 0:
            raise self.failure(status)
        return status

    def failure(self, status: int) -> _errors.Error:
        """The exception for a status that a call on this connection returned."""
        text = codes.error_text(self._lib, self.handle)
        if status == codes.ERR_NETWORK and self._cancelled:
            return _errors.OperationalError(text, status)
        return failure(status, text)

    def begin_call(self) -> None:
        """To be called before a request; the caller holds the lock."""
        self.require_open()
        while self._abandoned:
            generation, name = self._abandoned.pop()
            if generation == self.generation:
                self._lib.TRN_CloseCursor(self.ref, name.encode("utf-8"))

    def new_cursor_name(self) -> str:
        """A new name for a server-side cursor, unique on this connection."""
        with self.lock:
            self._cursor_number += 1
            return f"PY_CURSOR_{self._cursor_number}"

    def opened_cursor(self, name: str) -> Any:
        """A cursor for one that a procedure has opened; made by the connection, which knows all cursor classes."""
        raise NotImplementedError

    def abandon(self, generation: int, name: str) -> None:
        """Queues a server cursor to be closed before the next request. Takes no lock: finalizers may run anywhere."""
        self._abandoned.append((generation, name))

    # ------------------------------------------------------------------------------- for programs

    def commit(self) -> None:
        """Commits what was done since the last commit. Does nothing with autocommit on."""
        self._end_transaction(b"COMMIT")

    def rollback(self) -> None:
        """Undoes what was done since the last commit. Does nothing with autocommit on."""
        self._end_transaction(b"ROLLBACK")

    def _end_transaction(self, statement: bytes) -> None:
        with self.lock:
            self.begin_call()
            if not self.autocommit:
                self.call("TRN_Execute_no_query", statement)

    @property
    def autocommit(self) -> bool:
        """Whether every statement commits by itself.

        Changing it commits and logs in again, because the server takes it from the login. That ends server-side cursors.
        """
        return not self._number(codes.AUTO_COMMIT_OFF)

    @autocommit.setter
    def autocommit(self, on: bool) -> None:
        with self.lock:
            if bool(on) == self.autocommit:
                return
            self.commit()
            # The attribute has the opposite sense.
            self.call("TRN_SetAttr", codes.AUTO_COMMIT_OFF, b"off" if on else b"on")
            self.reconnect()

    def reconnect(self) -> None:
        """Logs in again with the same settings, after a lost link or to start afresh; uncommitted work is lost."""
        with self.lock:
            self.require_open()
            self.generation += 1
            self._cancelled = False
            self.call("TRN_ReconnectConn")

    def cancel(self) -> bool:
        """Ends the running call of this connection, from any thread; returns whether there was one.

        The call raises OperationalError with the code "EX001". The link is gone, with what was not committed: reconnect() goes on.
        """
        self.require_open()
        self._cancelled = True  # before the call can end
        running = bool(self._lib.TRNX_Cancel(self.ref) == 1)
        self._cancelled = self._cancelled and running
        return running

    def set_timeout(self, seconds: Optional[float]) -> None:
        """Changes how long a call waits for the next bytes of a reply; None: the library's 30 minutes."""
        with self.lock:
            self.require_open()
            self.call("TRNX_SetReceiveTimeout", _milliseconds(seconds))

    @property
    def server_version(self) -> str:
        """The server's version; asks the server each time."""
        with self.lock:
            self.begin_call()
            text, length = ctypes.create_string_buffer(65), ctypes.c_int32()
            self.call("TRN_GetAttr", codes.SERVER_VERSION, text, 64, None, ctypes.byref(length))
            return text.raw[: length.value].decode("utf-8", "replace")

    @property
    def enciphered(self) -> bool:
        """Whether the channel is encrypted."""
        return bool(self._number(codes.ENCRYPTED))

    @property
    def closed(self) -> bool:
        """Whether the connection has been closed; a lost link does not close it."""
        return not self.handle

    def close(self) -> None:
        """Ends the session; uncommitted work is lost. Waits for a statement of another thread."""
        with self.lock:
            if self.handle:
                self._lib.TRN_CloseConn(self.ref)

    def _number(self, attribute: int) -> int:
        value = ctypes.c_int32()
        with self.held():
            self.call("TRN_GetAttr", attribute, ctypes.byref(value), 4, None, None)
        return value.value

    def __del__(self) -> None:
        if getattr(self, "handle", None):
            self._lib.TRN_CloseConn(self.ref)
