"""Connections.

The library runs the calls on one connection one after another, but binding, executing and reading the error text are
several calls. They belong together here under a lock of the connection's own, so that threads may share a connection.
"""

from __future__ import annotations

import ctypes
import re
import socket
import threading
from typing import Any, Dict, List, Mapping, Optional, Sequence, Tuple, Type

from . import _errors
from . import _library as codes
from ._binding import Binder
from ._errors import InterfaceError, OperationalError, failure
from .cursor import Cursor
from .server_cursor import ServerCursor

_FETCH_SIZE = 2000
_LONGEST_SEGMENT = 127
_OTHER_KEYS = ("char_set", "iso_level", "current_schema", "keyword_filter", "lock_timeout", "return_rowid")
_AUTO_COMMIT = re.compile(r"(^|[;,]) *auto[_ ]?commit *=", re.IGNORECASE)
_LONGEST = {"server": 31, "database": 127}
_LONGEST_OTHER = 63


def connect(
    connection_string: str = "",
    *,
    server: Optional[str] = None,
    port: Optional[int] = None,
    database: Optional[str] = None,
    user: Optional[str] = None,
    password: Optional[str] = None,
    ips: Optional[Sequence[str]] = None,
    enciphered: Optional[bool] = None,
    autocommit: Optional[bool] = None,
    lobs: bool = False,
    **options: Any,
) -> Connection:
    """Opens a connection.

    connection_string  "key=value" segments separated by ";"; keywords are added to it and count more
    server             address or host name
    ips                addresses to try by chance until one takes the connection, in place of server
    enciphered         ask for an enciphered channel
    autocommit         every statement commits by itself; otherwise transactions begin by themselves
    lobs               CLOB and BLOB columns come as Clob and Blob objects, not as str and bytes
    options            char_set, iso_level, current_schema, keyword_filter, lock_timeout (seconds), return_rowid
    """
    settings: Dict[str, Any] = {
        "server": _address(server) if server else None,
        "port": port,
        "database": database,
        "user": user,
        "password": password,
    }
    for key, value in options.items():
        if key not in _OTHER_KEYS:
            raise InterfaceError(f"connect() knows no keyword {key!r}")
        settings[key] = value
    if enciphered is not None:
        settings["use_ssl"] = bool(enciphered)
    if autocommit is not None:
        settings["auto_commit"] = bool(autocommit)
    elif not _AUTO_COMMIT.search(connection_string):
        settings["auto_commit"] = False
    if lobs:
        settings["lob_ret"] = "descriptor"
    return Connection(_connection_string(connection_string, settings, ips))


def _address(server: str) -> str:
    """The library takes numeric addresses only."""
    try:
        return socket.gethostbyname(server)
    except OSError as error:
        raise OperationalError(f"the server {server!r} is not known: {error}") from error


def _connection_string(given: str, settings: Mapping[str, Any], ips: Optional[Sequence[str]]) -> str:
    if ";" not in given:
        given = given.replace(",", ";")  # the separator of a string without ";", which it has from now on
    segments = [segment for segment in given.split(";") if segment.strip()]
    segments += [_segment(key, value) for key, value in settings.items() if value is not None]
    if ips:
        segments.append("ips=" + ",".join(_address(address) for address in ips))
    return ";".join(segments) + ";"


def _segment(key: str, value: Any) -> str:
    text = {True: "on", False: "off"}[value] if isinstance(value, bool) else str(value)
    longest = _LONGEST.get(key, _LONGEST_OTHER)
    segment = f"{key}={text}"
    if len(text.encode("utf-8")) > longest or len(segment.encode("utf-8")) > _LONGEST_SEGMENT:
        raise InterfaceError(f"{key} is too long for the connection string")
    if ";" in text or "ips=" in segment or "IPS=" in segment or text != text.strip(" "):
        raise InterfaceError(f"{key} cannot stand in a connection string: ';', 'ips=' or blanks around it")
    return segment


class Connection:
    """A session with a server. Threads may share it; each uses cursors of its own."""

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

    def __init__(self, connection_string: str) -> None:
        self.handle = ctypes.c_void_p()
        self.ref = ctypes.byref(self.handle)
        self.lock = threading.RLock()
        self.messages: List[Tuple[Type[Exception], Exception]] = []
        self.generation = 0  # counts logins: what lived on the server ends with each
        self._cursor_number = 0
        self._abandoned: List[Tuple[int, str]] = []  # server cursors that went out of use unclosed
        self._lib = codes.library()
        self.binder = Binder(self._lib, self.handle)
        self._open(codes.c_text(connection_string, "the connection string"))
        self.descriptors = bool(self._number(codes.DESCRIPTORS))

    def _open(self, connection_string: bytes) -> None:
        if b"ips=" in connection_string or b"IPS=" in connection_string:
            addresses = ctypes.c_void_p()
            status = self._lib.TRN_OpenConn_Ips(connection_string, 0, ctypes.byref(addresses), self.ref)
            self._lib.Release_IpsAttrs(ctypes.byref(addresses))
            opened = status == codes.OPENED_FROM_LIST
        else:
            status = self._lib.TRN_OpenConn(connection_string, self.ref)
            opened = status == codes.OPENED
        if not opened:
            text = codes.error_text(self._lib, self.handle)
            self._lib.TRN_CloseConn(self.ref)
            raise failure(status, text)

    # ------------------------------------------------------------------------------- for cursors

    def require_open(self) -> None:
        if not self.handle:
            raise InterfaceError("the connection is closed")

    def call(self, name: str, *arguments: Any) -> int:
        """One call on this connection's handle; the caller holds the lock. Raises for a failure."""
        status: int = getattr(self._lib, name)(self.ref, *arguments)
        if status < 0:
            raise self.failure(status)
        return status

    def failure(self, status: int) -> _errors.Error:
        return failure(status, codes.error_text(self._lib, self.handle))

    def begin_call(self) -> None:
        """What comes before a request; the caller holds the lock."""
        self.require_open()
        while self._abandoned:
            generation, name = self._abandoned.pop()
            if generation == self.generation:
                self._lib.TRN_CloseCursor(self.ref, name.encode("utf-8"))

    def new_cursor_name(self) -> str:
        with self.lock:
            self._cursor_number += 1
            return f"PY_CURSOR_{self._cursor_number}"

    def opened_cursor(self, name: str) -> ServerCursor:
        """A cursor over one that a procedure has opened."""
        cursor = ServerCursor(self, _FETCH_SIZE)
        cursor.adopt(name)
        return cursor

    def abandon(self, generation: int, name: str) -> None:
        """Has a server cursor closed before the next request. Takes no lock: finalizers may run anywhere."""
        self._abandoned.append((generation, name))

    # ------------------------------------------------------------------------------- for programs

    def cursor(self, server_side: bool = False, fetch_size: int = _FETCH_SIZE) -> Cursor:
        """A new cursor. A server-side one leaves the rows on the server and fetches fetch_size at a time."""
        self.require_open()
        return ServerCursor(self, fetch_size) if server_side else Cursor(self)

    def commit(self) -> None:
        """Commits what was done since the last commit. Does nothing with autocommit on."""
        self._end_transaction(b"COMMIT")

    def rollback(self) -> None:
        """Undoes what was done since the last commit. Does nothing with autocommit on."""
        self._end_transaction(b"ROLLBACK")

    def _end_transaction(self, statement: bytes) -> None:
        with self.lock:
            self.begin_call()
            del self.messages[:]
            if not self.autocommit:
                self.call("TRN_Execute_no_query", statement)

    @property
    def autocommit(self) -> bool:
        """Whether every statement commits by itself.

        Changing it commits and logs in anew: the server takes it from the login. Server-side cursors end with that.
        """
        return not self._number(codes.AUTO_COMMIT_OFF)

    @autocommit.setter
    def autocommit(self, on: bool) -> None:
        with self.lock:
            if bool(on) == self.autocommit:
                return
            self.commit()
            # The attribute is written in the opposite sense.
            self.call("TRN_SetAttr", codes.AUTO_COMMIT_OFF, b"off" if on else b"on")
            self.reconnect()

    def reconnect(self) -> None:
        """Logs in again with the same settings, after a lost link or to begin anew: what was not committed is lost."""
        with self.lock:
            self.require_open()
            self.generation += 1
            self.call("TRN_ReconnectConn")

    @property
    def server_version(self) -> str:
        with self.lock:
            self.begin_call()
            text, length = ctypes.create_string_buffer(65), ctypes.c_int32()
            self.call("TRN_GetAttr", codes.SERVER_VERSION, text, 64, None, ctypes.byref(length))
            return text.raw[: length.value].decode("utf-8", "replace")

    @property
    def enciphered(self) -> bool:
        """Whether the channel is enciphered."""
        return bool(self._number(codes.ENCIPHERED))

    @property
    def closed(self) -> bool:
        return not self.handle

    def close(self) -> None:
        """Ends the session; what was not committed is lost. Waits for a statement of another thread."""
        with self.lock:
            if self.handle:
                self._lib.TRN_CloseConn(self.ref)

    def _number(self, attribute: int) -> int:
        value = ctypes.c_int32()
        with self.lock:
            self.require_open()
            self.call("TRN_GetAttr", attribute, ctypes.byref(value), 4, None, None)
        return value.value

    def __enter__(self) -> Connection:
        self.require_open()
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Any, trace: Any) -> None:
        """Commits, or rolls back after an exception. The connection stays open."""
        if kind is None:
            self.commit()
            return
        try:
            self.rollback()
        except _errors.Error:
            pass  # the exception that is on its way tells more

    def __del__(self) -> None:
        if getattr(self, "handle", None):
            self._lib.TRN_CloseConn(self.ref)
