"""Python objects as parameters: single values, the arrays of a batch, and the outputs of procedures.

A value is encoded as the code of its type and its bytes as they lie in memory. A value of length 0 is a null on the wire, so
an empty text or bytes arrives as null.
"""

from __future__ import annotations

import ctypes
import datetime
import struct
import sys
import uuid
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from decimal import Decimal
from typing import Any, Dict, List, Optional, Tuple, Union

from . import _library as codes
from ._errors import DataError, NotSupportedError, ProgrammingError, failure
from ._reading import CONVERSION_ERRORS, datetime_of, datetime_with_zone, time_with_zone
from ._types import CURSOR, InOut, Out, YearToMonth
from .lob import Blob, Clob, Lob

Parameters = Union[Sequence[Any], Mapping[str, Any]]
Keys = Sequence[Union[int, bytes]]  # of parameters: positions from 1, or names
Encoded = Tuple[int, Any]  # the type's code; the bytes, or a large object

_BATCH_ROWS = 65535  # as many travel in one request
_BATCH_BYTES = 64 << 20

# Longer texts and bytes travel as large objects.
_LONGEST = 65535

_EPOCH = datetime.datetime(1970, 1, 1)
_NULL: Encoded = (codes.NO_TYPE, b"")
_int64, _double, _size_in_front = (struct.Struct(form).pack for form in ("=q", "=d", "=i"))


def _text(value: Any) -> Encoded:
    return codes.TEXT, str(value).encode("utf-8")


def _str(value: str) -> Encoded:
    encoded = value.encode("utf-8")
    return (codes.TEXT, encoded) if len(encoded) <= _LONGEST else (codes.CLOB, Clob(encoded))


def _bytes(value: Any) -> Encoded:
    encoded = bytes(value)
    return (codes.BYTES, encoded) if len(encoded) <= _LONGEST else (codes.BLOB, Blob(encoded))


def _lob(value: Lob) -> Encoded:
    value.require_open()
    return value.code, value


def _int(value: int) -> Encoded:
    try:
        return codes.BIGINT, _int64(value)
    except struct.error:
        return _text(int(value))


def _decimal(value: Decimal) -> Encoded:
    if not value.is_finite():
        raise DataError(f"{value} is no number that the server knows")
    return _text(format(value, "f"))


def _datetime(value: datetime.datetime) -> Encoded:
    if value.tzinfo:
        return _text(value.isoformat(" "))
    since = value - _EPOCH
    return codes.MILLISECONDS, _int64((since.days * 86400 + since.seconds) * 1000 + since.microseconds // 1000)


def _timedelta(value: datetime.timedelta) -> Encoded:
    sign, size = ("-", -value) if value < datetime.timedelta() else ("", value)
    hours, rest = divmod(size.seconds, 3600)
    minutes, seconds = divmod(rest, 60)
    return _text(f"{sign}{size.days} {hours:02}:{minutes:02}:{seconds:02}.{size.microseconds:06}")


_ENCODERS: Dict[type, Callable[[Any], Encoded]] = {
    type(None): lambda value: _NULL,
    bool: lambda value: (codes.BOOLEAN, b"\1" if value else b"\0"),
    int: _int,
    float: lambda value: (codes.DOUBLE, _double(value)),
    str: _str,
    bytes: _bytes,
    bytearray: _bytes,
    memoryview: _bytes,
    Decimal: _decimal,
    datetime.datetime: _datetime,
    datetime.date: lambda value: _text(value.isoformat()),
    datetime.time: lambda value: _text(value.isoformat()),
    datetime.timedelta: _timedelta,
    YearToMonth: _text,
    uuid.UUID: _text,
    Lob: _lob,
}


def encode(value: Any) -> Encoded:
    encoder = _ENCODERS.get(type(value))
    if encoder is None:
        base = next((base for base in type(value).__mro__ if base in _ENCODERS), None)
        if base is None:
            raise ProgrammingError(f"a parameter cannot be of type {type(value).__name__}")
        encoder = _ENCODERS[base]
    try:
        return encoder(value)
    except CONVERSION_ERRORS as error:
        raise DataError(f"a parameter cannot be sent: {error}") from error


def keys_of(parameters: Parameters) -> Keys:
    """The positions or the names of the parameters; raises for what are no parameters."""
    if not isinstance(parameters, (tuple, list)):  # which most are
        if isinstance(parameters, Mapping):
            return [codes.c_text(name, "a parameter's name") for name in parameters]
        if isinstance(parameters, (str, bytes)) or not isinstance(parameters, Sequence):
            raise ProgrammingError("parameters come as a sequence, or as a mapping of names")
    return range(1, len(parameters) + 1)


class Binder:
    """Binds values to a connection for its next execution.

    The caller holds the connection's lock until that is done, and then has all forgotten, also behind a failure.
    """

    def __init__(self, lib: ctypes.CDLL, connection: ctypes.c_void_p) -> None:
        self._lib = lib
        self._handle = connection
        self._connection = ctypes.byref(connection)
        self._held: List[Any] = []  # what must live until the execution

    def forget(self) -> None:
        """Takes back what has been bound."""
        self._lib.TRN_ResetParams(self._connection)
        self._held.clear()

    def _check(self, status: int) -> None:
        if status < 0:
            raise failure(status, codes.error_text(self._lib, self._handle))

    def bind(self, parameters: Parameters) -> None:
        """Single values, by position or by name."""
        keys = keys_of(parameters)
        values = parameters.values() if isinstance(parameters, Mapping) else parameters
        self.bind_encoded(keys, [encode(value) for value in values])

    def bind_encoded(self, keys: Keys, row: Sequence[Encoded]) -> None:
        for key, (code, content) in zip(keys, row):
            self._bind_one(key, code, content)

    def _bind_one(self, key: Union[int, bytes], code: int, content: Any) -> None:
        size = 0  # of a large object, which knows its own
        if isinstance(content, Lob):
            self._held.append(content)
            content = content.variable
        else:
            size = len(content)
        if isinstance(key, bytes):
            status = self._lib.TRN_BindParamByName(
                self._connection, key, codes.IN, code, content, size, None, None
            )
        else:
            status = self._lib.TRN_BindParamByPos(self._connection, key, codes.IN, code, content, size, None)
        self._check(status)

    def bind_arrays(self, keys: Keys, rows: Sequence[Sequence[Encoded]]) -> None:
        """One array for each parameter; fit_for_arrays has agreed to the rows."""
        for index, key in enumerate(keys):
            column = [row[index] for row in rows]
            code = next((code for code, _ in column if code != codes.NO_TYPE), codes.TEXT)
            values = b"".join(_elements(code, [content for _, content in column]))
            lengths = struct.pack(f"={len(column)}i", *[len(content) for _, content in column])
            bind = self._lib.TRN_BindParamArrayByPos
            if isinstance(key, bytes):
                bind = self._lib.TRN_BindParamArrayByName
            self._check(
                bind(self._connection, key, len(keys), codes.IN, code, len(rows), values, len(values), lengths)
            )

    def bind_call(self, arguments: Sequence[Any], returns: Optional[Out]) -> List[Optional[Output]]:
        """The arguments of a procedure, and the room for its outputs; the last one is the returned value's."""
        outputs: List[Optional[Output]] = []
        for position, argument in enumerate([*arguments, *([returns] if returns else [])], 1):
            if not isinstance(argument, Out):
                self._bind_one(position, *encode(argument))
                outputs.append(None)
                continue
            output = Output(argument)
            direction = codes.IN_OUT if isinstance(argument, InOut) else codes.OUT
            if position > len(arguments):
                direction = codes.RETURN
            size = len(output.buffer)
            self._check(
                self._lib.TRN_BindParamByPos(
                    self._connection, position, direction, output.code, output.buffer, size, output.length_ref
                )
            )
            outputs.append(output)
        return outputs


# How many bytes an element of these types has.
_WIDTHS = {codes.BOOLEAN: 1, codes.BIGINT: 8, codes.DOUBLE: 8, codes.MILLISECONDS: 8}


def _elements(code: int, column: Sequence[bytes]) -> List[bytes]:
    if code in _WIDTHS:
        null = bytes(_WIDTHS[code])
        return [content or null for content in column]
    return [part for content in column for part in (_size_in_front(len(content)), content)]


def fit_for_arrays(keys: Keys, rows: Sequence[Sequence[Encoded]]) -> bool:
    """Whether the rows can travel as arrays: there is one type a column, and arrays of it."""
    without_arrays = {codes.CLOB, codes.BLOB}
    if keys and isinstance(keys[0], bytes):
        without_arrays.add(codes.BYTES)
    for column in zip(*rows):
        kinds = {code for code, _ in column} - {codes.NO_TYPE}
        if len(kinds) > 1 or kinds & without_arrays:
            return False
    return bool(keys)


def batches(rows: Iterable[Parameters]) -> Iterator[Tuple[Keys, List[List[Encoded]]]]:
    """The rows, encoded, in pieces that a request can take, each with the names or positions of its parameters."""
    keys: Keys = ()
    batch: List[List[Encoded]] = []
    size = 0
    for row in rows:
        keys_of_row = keys_of(row)
        if not batch:
            keys, names = keys_of_row, list(row)
        elif keys_of_row != keys and set(keys_of_row) != set(keys):
            raise ProgrammingError("the sets of parameters have different names or lengths")
        values = [row[name] for name in names] if isinstance(row, Mapping) else row
        encoded = [encode(value) for value in values]
        batch.append(encoded)
        size += sum([len(content) for _, content in encoded])
        if len(batch) == _BATCH_ROWS or size >= _BATCH_BYTES:
            yield keys, batch
            batch, size = [], 0
    if batch:
        yield keys, batch


def _time_of(content: bytes) -> datetime.time:
    if len(content) == 6:
        return time_with_zone(content)
    hour, minute, second, millisecond = struct.unpack("=4i", content)
    return datetime.time(hour, minute, second, millisecond * 1000)


def _datetime_of(content: bytes) -> datetime.datetime:
    if len(content) == 10:
        return datetime_with_zone(content)
    return datetime_of(struct.unpack("=q", content)[0])


def _float_of(content: bytes) -> float:
    return float(struct.unpack("=f" if len(content) == 4 else "=d", content)[0])


def _string_of(content: bytes) -> str:
    return content.decode("utf-8")


# For each wanted type: the code to bind, the room (0: as much as asked for) and the conversion of what was written.
_OUTPUTS: Dict[Any, Tuple[int, int, Callable[[bytes], Any]]] = {
    str: (codes.TEXT, 0, _string_of),
    bytes: (codes.BYTES, 0, bytes),
    Decimal: (codes.TEXT, 0, lambda content: Decimal(content.decode("ascii"))),
    int: (codes.TEXT, 0, int),  # a NUMERIC comes as text anyway: it would be taken for the bytes of an integer
    float: (codes.DOUBLE, 8, _float_of),
    bool: (codes.BOOLEAN, 1, lambda content: content in (b"T", b"t", b"\1")),
    datetime.date: (codes.DATE, 12, lambda content: datetime.date(*struct.unpack("=3i", content))),
    datetime.time: (codes.TIME, 16, _time_of),
    datetime.datetime: (codes.MILLISECONDS, 10, _datetime_of),
    CURSOR: (codes.TEXT, 256, _string_of),
}
_INT_BOTH_WAYS = (codes.BIGINT, 8, lambda content: int.from_bytes(content, sys.byteorder, signed=True))


class Output:
    """The room for one output value."""

    def __init__(self, argument: Out) -> None:
        if argument.type not in _OUTPUTS:
            raise NotSupportedError(f"outputs cannot be of type {argument.type!r}")
        self.type = argument.type
        self.code, size, self._convert = _OUTPUTS[argument.type]
        content = b""
        if isinstance(argument, InOut):
            if argument.type is int:
                self.code, size, self._convert = _INT_BOTH_WAYS
            content = self._input(argument.value)
        self.buffer = ctypes.create_string_buffer(content, max(size or argument.size, len(content)))
        self.length = ctypes.c_int32(len(content))
        self.length_ref = ctypes.byref(self.length)

    def _input(self, value: Any) -> bytes:
        code, content = encode(value)
        dates_as_text = code == codes.TEXT and self.code in (codes.DATE, codes.TIME)
        if code not in (self.code, codes.NO_TYPE) and not dates_as_text:
            raise NotSupportedError(f"a procedure cannot change {value!r} into a {self.type.__name__}")
        return bytes(content)

    def value(self) -> Any:
        length = self.length.value
        if length <= 0:
            return None
        if length > len(self.buffer):
            raise DataError(f"an output of {length} bytes does not fit into {len(self.buffer)}")
        try:
            return self._convert(self.buffer.raw[:length])
        except (struct.error, *CONVERSION_ERRORS) as error:
            raise DataError(f"an output is no {self.type.__name__}: {error}") from error
