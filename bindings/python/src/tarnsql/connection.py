"""Connections: the connection string made from keywords, and the public part of a session."""

from __future__ import annotations

import contextlib
import re
import socket
from typing import Any, List, Mapping, Optional, Sequence, Type

from . import _library as codes
from ._errors import Error, InterfaceError, OperationalError
from ._session import Session
from .cursor import Cursor
from .server_cursor import FETCH_SIZE, ServerCursor

_AUTO_COMMIT = re.compile(r"(^|[;,]) *auto[_ ]?commit *=", re.IGNORECASE)
_LONGEST_SEGMENT = 127
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
    char_set: Optional[str] = None,
    iso_level: Optional[str] = None,
    current_schema: Optional[str] = None,
    keyword_filter: Optional[str] = None,
    lock_timeout: Optional[int] = None,
    connect_timeout: Optional[float] = None,
    timeout: Optional[float] = None,
) -> Connection:
    """Opens a connection.

    connection_string  "key=value" segments separated by ";"; keywords are added to it and count more
    server             address or host name
    ips                addresses to try by chance until one takes the connection, in place of server
    enciphered         ask for an encrypted channel
    autocommit         every statement commits by itself; otherwise transactions begin by themselves
    lobs               CLOB and BLOB columns come as Clob and Blob objects, not as str and bytes
    lock_timeout       seconds
    connect_timeout    seconds to wait for the connection, of a list of addresses for each, and for the answers to the login
    timeout            seconds to wait for the next bytes of a reply; a call that waits longer fails, and the link is gone

    The other keywords are those of the connection string.
    """
    if autocommit is None and not _AUTO_COMMIT.search(connection_string):
        autocommit = False
    segments = _segments(connection_string, with_server=not server)
    settings: Mapping[str, Any] = {
        "server": _address(server) if server else None,
        "port": port,
        "database": database,
        "user": user,
        "password": password,
        "use_ssl": enciphered,
        "auto_commit": autocommit,
        "lob_ret": "descriptor" if lobs else None,
        "char_set": char_set,
        "iso_level": iso_level,
        "current_schema": current_schema,
        "keyword_filter": keyword_filter,
        "lock_timeout": lock_timeout,
    }
    segments += [_segment(key, value) for key, value in settings.items() if value is not None]
    if ips:
        segments.append("ips=" + ",".join(map(_address, ips)))
    return Connection(";".join(segments) + ";", connect_timeout, timeout)


def _address(server: str) -> str:
    """Resolves a name: the library accepts only numeric addresses."""
    try:
        return socket.gethostbyname(server)
    except (OSError, ValueError) as error:  # ValueError for an impossible name
        raise OperationalError(f"the server {server!r} is not known: {error}") from error


def _segments(given: str, with_server: bool) -> List[str]:
    if ";" not in given:
        given = given.replace(",", ";")  # a string without ";" is separated by ",", but ";" will be added
    segments = []
    for segment in given.split(";"):
        key, _, value = segment.partition("=")
        if key.strip(" ").lower() not in ("server", "ip"):
            segments += [segment] if segment.strip() else []
        elif with_server:
            segments.append(f"server={_address(value.strip(' '))}")
    return segments


def _segment(key: str, value: Any) -> str:
    text = str(value)
    if isinstance(value, bool):
        text = "on" if value else "off"
    longest = _LONGEST.get(key, _LONGEST_OTHER)
    segment = f"{key}={text}"
    if len(codes.c_text(text, key)) > longest or len(segment.encode("utf-8")) > _LONGEST_SEGMENT:
        raise InterfaceError(f"{key} is too long for the connection string")
    if ";" in text or "ips=" in segment or "IPS=" in segment or text != text.strip(" "):
        raise InterfaceError(f"{key} cannot be put into a connection string: ';', 'ips=' or blanks around it")
    return segment


class Connection(Session):
    """A session with a server. Threads may share it; each uses its own cursors."""

    def cursor(self, server_side: bool = False, fetch_size: int = FETCH_SIZE) -> Cursor:
        """A new cursor. A server-side one keeps the rows on the server and fetches fetch_size at a time."""
        self.require_open()
        return ServerCursor(self, fetch_size) if server_side else Cursor(self)

    def opened_cursor(self, name: str) -> ServerCursor:
        cursor = ServerCursor(self)
        cursor.adopt(name)
        return cursor

    def __enter__(self) -> Connection:
        self.require_open()
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Any, trace: Any) -> None:
        """Commits, or rolls back after an exception. The connection stays open."""
        if kind is None:
            self.commit()
            return
        with contextlib.suppress(Error):  # do not hide the exception in flight
            self.rollback()
