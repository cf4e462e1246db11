"""Python objects as parameters: single values, the arrays of a batch, and the outputs of procedures.

A value is encoded as the code of its type and its bytes as they lie in memory. A value of length 0 is a null on the wire, so
an empty text or bytes arrives as null.
"""

from __future__ import annotations

import ctypes
import datetime
import itertools
import math
import struct
import sys
import uuid
import warnings
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from decimal import Decimal
from typing import Any, Dict, List, Optional, Tuple, Type, Union, cast

from . import _library as codes
from ._errors import DataError, NotSupportedError, ProgrammingError, Warning, failure
from ._reading import (
    CONVERSION_ERRORS,
    datetime_of,
    datetime_with_zone,
    time_with_zone,
)
from ._types import CURSOR, InOut, Out, YearToMonth
from .lob import Blob, Clob, Lob

Parameters = Union[Sequence[Any], Mapping[str, Any]]
Keys = Sequence[Union[int, bytes]]  # of parameters: positions from 1, or names
Names = Optional[Sequence[bytes]]  # None: by position
Encoded = Tuple[int, Any]  # the type's code; the bytes, or a large object

_BATCH_ROWS = 65535  # the most that one request carries
_BATCH_BYTES = 64 << 20

# Longer texts and bytes are sent as large objects.
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
        raise DataError(f"{value} is not a number that the server accepts")
    return _text(format(value, "f"))


def _datetime(value: datetime.datetime) -> Encoded:
    if value.tzinfo:
        return _text(value.isoformat(" "))
    if value.microsecond % 1000:
        text = "a DATETIME keeps milliseconds: the microseconds of a parameter are cut (a datetime with a zone keeps them)"
        warnings.warn(text, Warning, stacklevel=2)
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


def _numpy(value: Any) -> Encoded:
    """The Python object that a numpy scalar stands for."""
    if value.dtype.kind == "M":
        value = value.astype("datetime64[us]")  # datetime has nothing finer
    elif value.dtype.kind == "m":
        value = value.astype("timedelta64[us]")
    return encode(value.item())


def _missing(value: Any) -> Encoded:
    return _NULL


def _encoder_of(kind: type) -> Callable[[Any], Encoded]:
    package = kind.__module__.partition(".")[0]
    if package == "pandas" and kind.__name__ in ("NaTType", "NAType"):
        return _missing
    for base in kind.__mro__:
        if base in _ENCODERS:
            return _ENCODERS[base]
    if package == "numpy" and hasattr(kind, "item") and not hasattr(kind, "__len__"):
        return _numpy
    raise ProgrammingError(f"a parameter cannot be of type {kind.__name__}")


def encode(value: Any) -> Encoded:
    encoder = _ENCODERS.get(type(value))
    if encoder is None:
        encoder = _encoder_of(type(value))
    try:
        return encoder(value)
    except CONVERSION_ERRORS as error:
        raise DataError(f"a parameter cannot be sent: {error}") from error


def keys_of(parameters: Parameters) -> Keys:
    """The positions or names of the parameters; raises for anything that is not parameters."""
    if isinstance(parameters, Mapping):
        return [codes.c_text(name, "a parameter's name") for name in parameters]
    if isinstance(parameters, (str, bytes)) or not isinstance(parameters, Sequence):
        raise ProgrammingError("parameters come as a sequence, or as a mapping of names")
    return range(1, len(parameters) + 1)


def split(parameters: Parameters) -> Tuple[Names, Sequence[Any]]:
    """The names of the parameters, or None, and their values."""
    keys = keys_of(parameters)
    if isinstance(parameters, Mapping):
        return cast(Sequence[bytes], keys), tuple(parameters.values())
    return None, tuple(parameters)


def bind_values(connection: int, names: Names, values: Sequence[Any], held: List[Any]) -> int:
    """Binds the values of a tuple or list to a connection; large objects join held, to live until the execution.

    The status of the first bind that fails, or 0.
    """
    keys: Keys = names or range(1, len(values) + 1)
    for key, (code, content) in zip(keys, [encode(value) for value in values]):
        status = _bind_one(ctypes.c_void_p(connection), key, code, content, held)
        if status < 0:
            return status
    return 0


def _bind_one(connection: Any, key: Union[int, bytes], code: int, content: Any, held: List[Any]) -> int:
    size = 0  # of a large object, which knows its size
    if isinstance(content, Lob):
        held.append(content)
        content = content.variable
    else:
        size = len(content)
    lib = codes.library()
    if isinstance(key, bytes):
        status: int = lib.TRN_BindParamByName(connection, key, codes.IN, code, content, size, None, None)
    else:
        status = lib.TRN_BindParamByPos(connection, key, codes.IN, code, content, size, None)
    return status


class Binder:
    """The bindings on a connection for its next execution.

    The caller holds the connection's lock until the execution is done, and then clears the bindings, even after a failure.
    """

    def __init__(self, lib: ctypes.CDLL, connection: ctypes.c_void_p) -> None:
        self._lib = lib
        self._handle = connection
        self._connection = ctypes.byref(connection)
        self.held: List[Any] = []  # kept alive until the execution

    def forget(self) -> None:
        """Clears the bindings."""
        self._lib.TRN_ResetParams(self._connection)
        del self.held[:]

    def _check(self, status: int) -> None:
        if status < 0:
            raise failure(status, codes.error_text(self._lib, self._handle))

    def bind_batch(self, names: Names, batch: Any) -> None:
        """One array for each parameter."""
        self.held.append(batch)
        self._check(batch.bind(ctypes.addressof(self._handle), names))

    def bind_call(self, arguments: Sequence[Any], returns: Optional[Out]) -> List[Optional[Output]]:
        """The arguments of a procedure, and buffers for its outputs; the last one is for the return value."""
        outputs: List[Optional[Output]] = []
        for position, argument in enumerate([*arguments, *([returns] if returns else [])], 1):
            if not isinstance(argument, Out):
                self._check(_bind_one(self._connection, position, *encode(argument), self.held))
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


# The element size of these types.
_WIDTHS = {codes.BOOLEAN: 1, codes.BIGINT: 8, codes.DOUBLE: 8, codes.MILLISECONDS: 8}


def common_type(one: int, other: int) -> int:
    """The type in which values of both can be sent in one array; NO_TYPE: none."""
    both = {one, other}
    if both == {codes.BIGINT, codes.DOUBLE}:
        return codes.DOUBLE
    if codes.TEXT in both and both <= {codes.TEXT, codes.BIGINT, codes.DOUBLE, codes.MILLISECONDS}:
        return codes.TEXT
    return codes.NO_TYPE


def convert(source: int, target: int, content: bytes) -> Optional[bytes]:
    """An encoded value converted to a common type; None when there is no exact conversion."""
    if source == target:
        return content
    value: Any = struct.unpack("=d" if source == codes.DOUBLE else "=q", content)[0]
    if target == codes.DOUBLE:
        return _double(value) if int(float(value)) == value else None
    if source == codes.MILLISECONDS:
        return datetime_of(value).isoformat(" ", "milliseconds").encode("ascii")
    if source == codes.DOUBLE and not math.isfinite(value):
        return None
    return repr(value).encode("ascii")


class Batch:
    """Collects rows into arrays, one for each parameter.

    A column has the type of its first non-null value, or a common type of it and later values.
    """

    def __init__(self, columns: int, named: bool) -> None:
        self.rows = 0
        self._codes = [codes.NO_TYPE] * columns
        self._columns: List[List[bytes]] = [[] for _ in range(columns)]
        self._size = 0
        # Bytes bound by name would be sent 4 bytes late.
        self._without_arrays = {codes.CLOB, codes.BLOB, *([codes.BYTES] if named else [])}
        self._bound: List[Any] = []

    def fill(self, rows: Iterator[Any], row_limit: int, size_limit: int) -> Any:
        """Takes tuples and lists of the right length from an iterator until there are that many rows or bytes.

        Returns a row of another kind or that does not fit, in a tuple; None when the batch is full or the rows have ended.
        """
        while self.rows < row_limit and self._size < size_limit:
            row = next(rows, _END)
            if row is _END:
                return None
            if type(row) not in (tuple, list) or len(row) != len(self._codes):
                return (row,)
            if not self._take([encode(value) for value in row]):
                return (row,)
        return None

    def _take(self, row: List[Encoded]) -> bool:
        wider: Dict[int, int] = {}
        for column, (code, content) in enumerate(row):
            if code in self._without_arrays:
                return False
            present = self._codes[column]
            if code in (present, codes.NO_TYPE):
                continue
            target = code if present == codes.NO_TYPE else common_type(present, code)
            sent = convert(code, target, content) if target else None
            if sent is None or not self._can_be(column, target):
                return False
            wider[column] = target
            row[column] = (target, sent)
        for column, target in wider.items():
            present, contents = self._codes[column], self._columns[column]
            if present != target:
                self._columns[column] = [_converted(present, target, content) for content in contents]
                self._codes[column] = target
        for contents, (_, content) in zip(self._columns, row):
            contents.append(content)
            self._size += len(content)
        self.rows += 1
        return True

    def _can_be(self, column: int, target: int) -> bool:
        present = self._codes[column]
        if present in (target, codes.NO_TYPE):
            return True
        return None not in [convert(present, target, content) for content in self._columns[column] if content]

    def bind(self, connection: int, names: Names) -> int:
        """The status of the first bind that fails, or 0. The batch must live until the execution."""
        lib, handle = codes.library(), ctypes.c_void_p(connection)
        call = lib.TRN_BindParamArrayByName if names else lib.TRN_BindParamArrayByPos
        for index, contents in enumerate(self._columns):
            code = self._codes[index] or codes.TEXT
            values = b"".join(_elements(code, contents))
            lengths = struct.pack(f"={self.rows}i", *[len(content) for content in contents])
            self._bound += [values, lengths]
            key = names[index] if names else index + 1
            status: int = call(
                handle, key, len(self._codes), codes.IN, code, self.rows, values, len(values), lengths
            )
            if status < 0:
                return status
        return 0


def _converted(source: int, target: int, content: bytes) -> bytes:
    return (convert(source, target, content) or b"") if content else b""


def _elements(code: int, column: Sequence[bytes]) -> List[bytes]:
    if code in _WIDTHS:
        null = bytes(_WIDTHS[code])
        return [content or null for content in column]
    return [part for content in column for part in (_size_in_front(len(content)), content)]


_END: Any = object()  # of an iterator

# The content of one request: the names of the parameters, or None, and their batch; or one row that fits no batch.
Request = Tuple[Names, Any, Sequence[Any]]


def requests(rows: Iterable[Parameters], new_batch: Type[Any]) -> Iterator[Request]:
    """The rows in pieces that fit a request; new_batch is a class of batches."""
    rest = iter(rows)
    first = next(rest, _END)
    if first is _END:
        return
    keys = keys_of(cast(Parameters, first))
    names: Names = None
    order = None
    if isinstance(first, Mapping):
        names, order = cast(Sequence[bytes], keys), list(first)
    if names or not keys:
        rest = (_values_of(row, keys, order) for row in rest)
    ahead: Any = _values_of(first, keys, order)
    while ahead is not _END:
        batch = new_batch(len(keys), names is not None)
        left = _fill(batch, ahead, rest, keys, order)
        if batch.rows:
            yield names, batch, ()
        elif left is not _END:
            yield names, None, left
            left = _END
        ahead = next(rest, _END) if left is _END else left


def _fill(batch: Any, ahead: Any, rest: Iterator[Any], keys: Keys, order: Optional[List[str]]) -> Any:
    """Fills a batch; returns the row that begins the next one, or _END when there is none yet."""
    while keys:
        odd = batch.fill(itertools.chain((ahead,), rest), _BATCH_ROWS, _BATCH_BYTES)
        if odd is None:
            return _END
        ahead = odd[0] if order else _values_of(odd[0], keys, order)
        if ahead is odd[0]:  # it already was a row of values: their types do not fit
            break
    return ahead


def _values_of(row: Any, keys: Keys, order: Optional[List[str]]) -> Sequence[Any]:
    """A row's values as a tuple or a list; raises when its names or their number differ from those of the first row."""
    if type(row) in (tuple, list) and not order and len(row) == len(keys):
        return cast(Sequence[Any], row)
    if set(keys_of(row)) != set(keys):
        raise ProgrammingError("the sets of parameters have different names or lengths")
    return tuple([row[name] for name in order] if order else row)


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


# For each requested type: the code to bind, the buffer size (0: as requested) and the conversion of what was written.
_OUTPUTS: Dict[Any, Tuple[int, int, Callable[[bytes], Any]]] = {
    str: (codes.TEXT, 0, _string_of),
    bytes: (codes.BYTES, 0, bytes),
    Decimal: (codes.TEXT, 0, lambda content: Decimal(content.decode("ascii"))),
    int: (codes.TEXT, 0, int),  # a NUMERIC arrives as text anyway and would be mistaken for the bytes of an integer
    float: (codes.DOUBLE, 8, _float_of),
    bool: (codes.BOOLEAN, 1, lambda content: content in (b"T", b"t", b"\1")),
    datetime.date: (codes.DATE, 12, lambda content: datetime.date(*struct.unpack("=3i", content))),
    datetime.time: (codes.TIME, 16, _time_of),
    datetime.datetime: (codes.MILLISECONDS, 10, _datetime_of),
    CURSOR: (codes.TEXT, 256, _string_of),
}
_INT_BOTH_WAYS = (codes.BIGINT, 8, lambda content: int.from_bytes(content, sys.byteorder, signed=True))


class Output:
    """The buffer for one output value."""

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
            raise DataError(f"an output is not a {self.type.__name__}: {error}") from error
