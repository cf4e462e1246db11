"""The driver library: finding it, its calls and its constants.

Nothing is loaded before the first connection. Every pointer is declared as a plain address, which takes
ctypes.byref(...), ctypes buffers, bytes (for what the library only reads) and None. Handle variables are ctypes.c_void_p
objects and travel as their address.
"""

from __future__ import annotations

import atexit
import ctypes
import ctypes.util
import functools
import logging
import os
import sys
from typing import Any, Callable, Iterator, Tuple

from ._errors import InterfaceError
from ._implementation import core

# Statuses.
WARNED = 1
END = 100
ERR_SERVER = -1
ERR_ARGUMENT = -3
ERR_NETWORK = -4
NULL_VALUE = -11
TRUNCATED = -12
ERR_CONVERSION = -13
ERR_OFFSET = -18

# Types, of columns and of values read and bound.
NO_TYPE = 0
BOOLEAN = 1
TEXT = 2
TINYINT = 3
SMALLINT = 4
INTEGER = 5
BIGINT = 6
FLOAT = 7
DOUBLE = 8
NUMERIC = 9
AS_STORED = 9  # as a target: the stored bytes of any value, whatever the buffer size
DATE = 10
TIME = 11
TIME_TZ = 12
DATETIME = 13
DATETIME_TZ = 14
BYTES = 15
PIECE = 18
INTERVAL = 21
MILLISECONDS = 23
YEAR_TO_MONTH = 28
DAY_TO_SECOND = 31
CLOB = 41
BLOB = 42
OPAQUE = 69

# Directions of a parameter.
IN, OUT, IN_OUT, RETURN = 1, 2, 3, 6

# Kinds of a result item, and the class of statements that insert.
ITEM_INSERT, ITEM_UPDATE, ITEM_DELETE, ITEM_QUERY = 1, 2, 3, 4
SQL_INSERT = 1

# Attributes.
SERVER_VERSION, DATABASE, ENCRYPTED, DESCRIPTORS, AUTO_COMMIT_OFF = 1, 2, 6, 9, 11
ROWS = 62

LOB_COMPLETE = -1

_address, _text, _int = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32


class Options(ctypes.Structure):
    """The options of an open besides the string; zeros mean the library's defaults."""

    _fields_ = [
        ("size", ctypes.c_uint32),
        ("flags", ctypes.c_uint32),
        ("connect_timeout_ms", _int),
        ("receive_timeout_ms", _int),
        ("keepalive_idle_s", _int),
        ("keepalive_interval_s", _int),
        ("keepalive_count", _int),
    ]


_CALLS = {
    "TRNX_OpenConn": (_text, _address, _address),
    "TRNX_SetReceiveTimeout": (_address, _int),
    "TRNX_Cancel": (_address,),
    "TRNX_SetTrace": (_address, _address),
    "TRN_ReconnectConn": (_address,),
    "TRN_CloseConn": (_address,),
    "TRN_GetLastInsertId": (_address, _address),
    "TRN_GetError": (_address, _address, _address),
    "TRN_GetErrorLen": (_address,),
    "TRN_GetAttr": (_address, _int, _address, _int, _address, _address),
    "TRN_SetAttr": (_address, _int, _address),
    "TRN_Execute_no_query": (_address, _text),
    "TRN_ExecwithDataReader": (_address, _text, _address, _address, _address, _address),
    "TRN_BindParamByName": (_address, _text, _int, _int, _address, _int, _address, _address),
    "TRN_BindParamByPos": (_address, _int, _int, _int, _address, _int, _address),
    "TRN_BindParamArrayByName": (_address, _text, _int, _int, _int, _int, _address, _int, _address),
    "TRN_BindParamArrayByPos": (_address, _int, _int, _int, _int, _int, _address, _int, _address),
    "TRN_ResetParams": (_address,),
    "TRN_ExecBatch": (_address, _text, _int),
    "TRN_Execute_procesure": (_address, _text, _address),
    "TRN_FetchServerCursorRowset_V2": (_address, _text, _address),
    "TRN_FetchRefCursorHead": (_address, _text, _address, _address, _address, _address),
    "TRN_CloseCursor": (_address, _text),
    "TRN_Create_Lob": (_address,),
    "TRN_Put_Lob_data": (_address, _address, _int),
    "TRN_Get_Lob_data": (_address, _address, _int),
    "TRN_LobRead_SetPos": (_address, _int),
    "TRN_Distroy_Lob": (_address,),
    "TRN_NextResult": (_address,),
    "TRN_FreeRowset": (_address,),
    "TRN_getResultRet": (_address, _address, _address, _address, _address, _address),
    "TRN_getResultColInfo": (_address, _int, _address, _address, _address, _address, _address, _address),
    "TRN_GetData": (_address, _int, _int, _address, _int, _address),
    "fun_sql_type": (_text,),
}


def _candidates() -> Iterator[str]:
    carried = os.path.join(
        os.path.dirname(__file__), "tarnsql.dll" if sys.platform == "win32" else "libtarnsql.so.1"
    )
    if os.path.exists(carried):
        yield carried
    if sys.platform != "win32":
        yield "libtarnsql.so.1"
        yield "libtarnsql.so"
        return
    yield "tarnsql.dll"
    found = ctypes.util.find_library("tarnsql")  # along PATH, where the loader does not look for a bare name
    if found:
        yield found


def _open() -> ctypes.CDLL:
    path = os.environ.get("TARNSQL_LIBRARY")
    tried = []
    for name in [path] if path else _candidates():
        try:
            return ctypes.CDLL(name)
        except OSError as error:
            tried.append(f"{name}: {error}")
    source = "that TARNSQL_LIBRARY names " if path else ""
    advice = "" if path else "; set TARNSQL_LIBRARY to the path of libtarnsql.so or tarnsql.dll"
    raise InterfaceError(f"the tarnsql library {source}cannot be loaded ({'; '.join(tried)}){advice}")


_log = logging.getLogger("tarnsql")
_LEVELS = {1: logging.INFO, 2: logging.DEBUG}  # what is printed otherwise; the protocol trace


def _tell(user: Any, kind: int, line: bytes) -> None:
    """Logs a line that the library would print, on the thread that runs its call."""
    _log.log(_LEVELS.get(kind, logging.INFO), "%s", line.decode("utf-8", "replace").rstrip())


_log_line = ctypes.CFUNCTYPE(None, ctypes.c_void_p, _int, _text)(_tell)


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The library with its calls declared; found once and kept."""
    loaded = _open()
    for name, arguments in _CALLS.items():
        try:
            call = getattr(loaded, name)
        except AttributeError:
            raise InterfaceError(f"{loaded._name} is not a tarnsql library: it has no {name}") from None
        call.argtypes = arguments
        call.restype = _int
    if core:
        called = [*_CALLS, "TRN_ReadNext"]
        core.attach({name: ctypes.cast(loaded[name], ctypes.c_void_p).value for name in called})
    if "TARNSQL_TRACE" not in os.environ:  # if set, the library's lines go there
        loaded.TRNX_SetTrace(_log_line, None)
        atexit.register(loaded.TRNX_SetTrace, None, None)
    return loaded


@functools.lru_cache(maxsize=None)
def row_calls() -> Tuple[Callable[..., int], Callable[..., int]]:
    """TRN_ReadNext and TRN_GetData for the calls made for every row and value.

    They keep the interpreter's lock, which is dearer to give up than to hold meanwhile, and have no declared arguments:
    ctypes passes an int as int32_t, byref(...), buffers and None as addresses, faster than where it has to check.
    """
    loaded = library()
    keeping_the_lock = ctypes.PyDLL(loaded._name, handle=loaded._handle)
    return keeping_the_lock["TRN_ReadNext"], keeping_the_lock["TRN_GetData"]


def error_text(lib: ctypes.CDLL, handle: ctypes.c_void_p) -> str:
    """The error text of a handle; empty when there is none."""
    length = ctypes.c_int32(lib.TRN_GetErrorLen(ctypes.byref(handle)))
    if length.value <= 0:
        return ""
    buffer = ctypes.create_string_buffer(length.value)
    lib.TRN_GetError(ctypes.byref(handle), buffer, ctypes.byref(length))
    return buffer.raw[: length.value].decode("utf-8", "replace").strip()


def c_text(text: str, what: str = "the statement") -> bytes:
    """A text encoded for the library."""
    try:
        encoded = text.encode("utf-8")
    except (UnicodeEncodeError, AttributeError) as error:
        raise InterfaceError(f"{what} is not a valid text: {error}") from None
    if b"\0" in encoded:
        raise InterfaceError(f"{what} holds a zero byte")
    return encoded
