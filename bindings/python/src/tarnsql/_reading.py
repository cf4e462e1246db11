"""Values of result rows as Python objects.

For every column a reader is made once: a function that asks the library for the column's value of the current row, in the
form that suits its type, through buffers that it keeps. So a value costs one call of the library and one conversion.
"""

from __future__ import annotations

import contextlib
import ctypes
import datetime
import functools
import struct
from decimal import Decimal, InvalidOperation
from typing import Any, Callable, ContextManager, Dict, List, Optional, Tuple

from . import _library as codes
from ._errors import DataError, failure
from ._types import YearToMonth
from .lob import Lob, empty_lob

Reader = Callable[[], Any]
InSession = Callable[[], ContextManager[Any]]
Column = Tuple[str, int, None, Optional[int], Optional[int], Optional[int], Optional[bool]]

# Raised by conversions for a value that Python's type cannot hold, such as the year 0.
CONVERSION_ERRORS = (ValueError, OverflowError, InvalidOperation)

_EPOCH = datetime.datetime(1970, 1, 1)
_EPOCH_DAY = _EPOCH.toordinal()
_MILLISECOND = datetime.timedelta(milliseconds=1)
_MICROSECOND = datetime.timedelta(microseconds=1)
_TRUE = (ord("T"), ord("t"), 1)
_LONGEST_TEXT = 63  # the library cuts the text of a number or an interval here
_COMMON_SIZE = 1024  # of the buffer into which byte runs are first read

_NAME_SIZE = 1025
_NOT_NULL = 1  # among a column's flags


def _date(days: int) -> datetime.date:
    return datetime.date.fromordinal(_EPOCH_DAY + days)


def _time(milliseconds: int, zone: Optional[datetime.timezone] = None) -> datetime.time:
    seconds, millisecond = divmod(milliseconds, 1000)
    return datetime.time(seconds // 3600, seconds // 60 % 60, seconds % 60, millisecond * 1000, zone)


def _zone(minutes: int) -> datetime.timezone:
    return datetime.timezone(datetime.timedelta(minutes=minutes))


def time_with_zone(stored: bytes) -> datetime.time:
    """From milliseconds in UTC and the zone's minutes, in network order."""
    milliseconds, minutes = struct.unpack(">ih", stored)
    return _time((milliseconds + minutes * 60_000) % 86_400_000, _zone(minutes))


def datetime_with_zone(stored: bytes) -> datetime.datetime:
    """From microseconds in UTC and the zone's minutes, in network order."""
    microseconds, minutes = struct.unpack(">qh", stored)
    local = _EPOCH + datetime.timedelta(minutes=minutes, microseconds=microseconds)
    return local.replace(tzinfo=_zone(minutes))


def datetime_of(milliseconds: int) -> datetime.datetime:
    return _EPOCH + milliseconds * _MILLISECOND


class RowReader:
    """Reads the rows of the result in a handle variable; made anew for every result item.

    descriptors  large objects come as Blob and Clob
    in_session   holds the connection, open, while a large object is fetched from the server
    """

    def __init__(self, address: int, descriptors: bool, in_session: InSession) -> None:
        step, get = codes.row_calls()
        self._variable = ctypes.c_void_p.from_address(address)
        # Its own handle: once it holds null the library refuses, whatever another thread does with the variable.
        self._result = ctypes.c_void_p(self._variable.value)
        self._step = functools.partial(step, ctypes.byref(self._result))
        self.rows_read = 0
        values = _Values(codes.library(), get, self._result, in_session)
        self._readers = [
            values.reader(number, column[1], descriptors) for number, column in enumerate(describe(address), 1)
        ]

    def next(self) -> Optional[Tuple[Any, ...]]:
        """The next row; None when there is none."""
        if self._step():
            return None
        self.rows_read += 1
        try:
            return tuple([read() for read in self._readers])
        except CONVERSION_ERRORS as error:
            failed = conversion_failure(error)
        # Not from the other one: its frames would hold the cursor of a postponed failure.
        raise failed

    def fill(self, rows: List[Any], limit: int) -> bool:
        """Appends up to that many rows to a list; returns whether there were that many."""
        for _ in range(limit):
            row = self.next()
            if row is None:
                return False
            rows.append(row)
        return True

    def close(self) -> None:
        """Ends reading, even in another thread."""
        self._result.value = None

    def open(self) -> None:
        """Continues with the current content of the handle variable."""
        self._result.value = self._variable.value


def conversion_failure(error: Exception) -> DataError:
    return DataError(f"a value has no Python form: {error}")


class _Values:
    """Makes the readers of a result's columns, which share it. It does not know them: a cycle would outlive the cursor."""

    def __init__(
        self,
        lib: ctypes.CDLL,
        get: Callable[..., int],
        result: ctypes.c_void_p,
        in_session: InSession,
    ) -> None:
        self._lib = lib
        self._get = get
        self._result = result
        self._in_session = in_session
        self._handle = ctypes.byref(result)
        self._length = ctypes.c_int32()
        self._length_ref = ctypes.byref(self._length)

    def reader(self, column: int, code: int, descriptors: bool) -> Reader:
        if descriptors and code in (codes.CLOB, codes.BLOB):
            return self._lob(column, code)
        plain = _PLAIN.get(code)
        if plain:
            return self._fixed(column, *plain)
        if code == codes.TIME_TZ:
            return self._zoned(column, 6, time_with_zone)
        if code == codes.DATETIME_TZ:
            return self._zoned(column, 10, datetime_with_zone)
        if code in (codes.BYTES, codes.BLOB):
            return self._bytes(column, bytes)
        if code in (codes.TEXT, codes.CLOB):
            return self._bytes(column, _decode)
        if code == codes.OPAQUE:
            return lambda: self._stored(column)
        if code == codes.NUMERIC:
            return self._numeric(column)
        return self._text(column, str)

    def _failure(self, status: int) -> Any:
        """Null for the status of a null; raises for any other."""
        if status == codes.NULL_VALUE:
            return None
        raise failure(status, codes.error_text(self._lib, self._result))

    def _fixed(self, column: int, target: int, kind: Any, convert: Optional[Callable[[Any], Any]]) -> Reader:
        get, handle, failed = self._get, self._handle, self._failure
        cell = kind()
        cell_ref = ctypes.byref(cell)
        if convert is None:

            def read() -> Any:
                status = get(handle, column, target, cell_ref, 0, None)
                return failed(status) if status else cell.value

            return read
        to_python = convert

        def read_converted() -> Any:
            status = get(handle, column, target, cell_ref, 0, None)
            return failed(status) if status else to_python(cell.value)

        return read_converted

    def _bytes(self, column: int, convert: Callable[[bytes], Any]) -> Reader:
        get, handle, failed = self._get, self._handle, self._failure
        length, length_ref = self._length, self._length_ref
        buffer: Any = ctypes.create_string_buffer(_COMMON_SIZE)  # whose slices are bytes

        def read() -> Any:
            status = get(handle, column, codes.BYTES, buffer, _COMMON_SIZE, length_ref)
            if not status:
                return convert(buffer[: length.value])
            if status != codes.TRUNCATED:
                return failed(status)
            size = _COMMON_SIZE + length.value
            whole = ctypes.create_string_buffer(size)
            status = get(handle, column, codes.BYTES, whole, size, length_ref)
            return failed(status) if status else convert(whole.raw)

        return read

    def _text(self, column: int, convert: Callable[[str], Any]) -> Reader:
        get, handle, failed = self._get, self._handle, self._failure
        buffer = ctypes.create_string_buffer(128)

        def read() -> Any:
            status = get(handle, column, codes.TEXT, buffer, 128, None)
            return failed(status) if status else convert(buffer.value.decode("ascii"))

        return read

    def _numeric(self, column: int) -> Reader:
        def convert(text: str) -> Decimal:
            return self.long_number(column) if len(text) == _LONGEST_TEXT else Decimal(text)

        return self._text(column, convert)

    def long_number(self, column: int) -> Decimal:
        """A NUMERIC of the current row whose text the library cuts."""
        return Decimal((self._stored(column) or b"").decode("ascii"))

    def _zoned(self, column: int, size: int, convert: Callable[[bytes], Any]) -> Reader:
        get, handle, failed = self._get, self._handle, self._failure
        length, length_ref = self._length, self._length_ref
        buffer = ctypes.create_string_buffer(size)

        def read() -> Any:
            # The library copies stored bytes without checking the buffer size, so first verify their number. A piece read from
            # the end of a value succeeds, from anywhere else it does not.
            length.value = size
            status = get(handle, column, codes.PIECE, buffer, size, length_ref)
            if status in (codes.ERR_CONVERSION, codes.ERR_OFFSET):
                raise DataError("a value with a time zone has the wrong length", status)
            if status:
                return failed(status)
            status = get(handle, column, codes.AS_STORED, buffer, 0, None)
            return failed(status) if status else convert(buffer.raw)

        return read

    def _stored(self, column: int) -> Optional[bytes]:
        """The stored bytes of a value, whose number the library does not report."""
        low, high = 0, 64
        while (status := self._piece_at(column, high)) == codes.ERR_CONVERSION:
            low, high = high, high * 2
        if status not in (0, codes.ERR_OFFSET):
            self._failure(status)
            return None
        while status:
            middle = (low + high) // 2
            status = self._piece_at(column, middle)
            low, high = (middle, high) if status == codes.ERR_CONVERSION else (low, middle)
        buffer = ctypes.create_string_buffer(high)
        status = self._get(self._handle, column, codes.AS_STORED, buffer, 0, None)
        if status:
            self._failure(status)
        return buffer.raw

    def _piece_at(self, column: int, offset: int) -> int:
        """0 when the value ends at the offset, ERR_OFFSET when before it, ERR_CONVERSION when after it."""
        self._length.value = offset
        room = ctypes.byref(ctypes.c_char())
        return self._get(self._handle, column, codes.PIECE, room, 1, self._length_ref)

    def _lob(self, column: int, code: int) -> Reader:
        def read() -> Optional[Lob]:
            lob = empty_lob(code)
            self._length.value = 0
            with self._in_session():
                status = self._lib.TRN_GetData(self._handle, column, code, lob.variable, 0, self._length_ref)
            if not status:
                return lob.filled(self._length.value)
            lob.close()
            self._failure(status)
            return None

        return read


def _decode(text: bytes) -> str:
    return str(text, "utf-8")


# Types of fixed size: the target, the C type that it is delivered as, and the conversion.
_PLAIN: Dict[int, Tuple[int, Any, Optional[Callable[[Any], Any]]]] = {
    codes.BOOLEAN: (codes.BOOLEAN, ctypes.c_int32, _TRUE.__contains__),
    codes.TINYINT: (codes.INTEGER, ctypes.c_int32, None),
    codes.SMALLINT: (codes.INTEGER, ctypes.c_int32, None),
    codes.INTEGER: (codes.INTEGER, ctypes.c_int32, None),
    codes.BIGINT: (codes.BIGINT, ctypes.c_int64, None),
    codes.FLOAT: (codes.FLOAT, ctypes.c_float, None),
    codes.DOUBLE: (codes.DOUBLE, ctypes.c_double, None),
    codes.DATE: (codes.AS_STORED, ctypes.c_int32, _date),
    codes.TIME: (codes.AS_STORED, ctypes.c_int32, _time),
    codes.DATETIME: (codes.MILLISECONDS, ctypes.c_int64, datetime_of),
    codes.YEAR_TO_MONTH: (codes.YEAR_TO_MONTH, ctypes.c_int32, YearToMonth),
    codes.DAY_TO_SECOND: (codes.DAY_TO_SECOND, ctypes.c_int64, _MICROSECOND.__mul__),
}


def describe(address: int) -> List[Column]:
    """The columns of a result item, in the form of a cursor's description."""
    lib, result = codes.library(), ctypes.c_void_p(address)
    name, label = (ctypes.create_string_buffer(_NAME_SIZE) for _ in range(2))
    code, modifier, flags = ctypes.c_int32(), ctypes.c_int32(), ctypes.c_int32()
    outputs = (name, label, *map(ctypes.byref, (code, modifier, flags)))
    columns: List[Column] = []
    while True:
        name.value = label.value = bytes(_NAME_SIZE)
        if lib.TRN_getResultColInfo(result, len(columns) + 1, None, *outputs):
            return columns
        size = precision = scale = None
        if code.value == codes.NUMERIC and modifier.value > 0:
            precision, scale = divmod(modifier.value, 65536)
        elif modifier.value > 0:
            size = modifier.value
        text = (label.value or name.value).decode("utf-8", "replace")
        columns.append((text, code.value, None, size, precision, scale, not flags.value & _NOT_NULL))


def value_reader(address: int, column: int, code: int, descriptors: bool, in_session: InSession) -> Reader:
    """For the core: a reader for columns of a type that it does not read itself."""
    variable = ctypes.c_void_p.from_address(address)
    return _Values(codes.library(), codes.row_calls()[1], variable, in_session).reader(
        column, code, descriptors
    )


def read_long_number(address: int, column: int) -> Decimal:
    """For the core: a NUMERIC of the current row whose text the library cuts."""
    variable = ctypes.c_void_p.from_address(address)
    return _Values(codes.library(), codes.row_calls()[1], variable, contextlib.nullcontext).long_number(column)
