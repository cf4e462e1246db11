"""The functions that run for every statement and row: those of the compiled core if it is available, else the ones here.

Handle variables are passed as addresses.
"""

from __future__ import annotations

import ctypes
import datetime
from decimal import Decimal
from typing import Any, Callable, List, Optional, Sequence, Tuple, Type

from . import _binding, _reading
from . import _library as codes
from ._binding import Names
from ._errors import failure
from ._implementation import core

_ID_SIZE = 33  # with a terminator, which the library does not write

# What a call returned, and the result item: its kind, the rows affected, the identifier of the inserted row, the number of rows.
Outcome = Tuple[int, int, int, bytes, int]


def _item(result: int, status: int = 0) -> Outcome:
    lib, variable = codes.library(), ctypes.c_void_p(result)
    kind, affected, rows = ctypes.c_int32(), ctypes.c_int32(), ctypes.c_int64()
    identifier = ctypes.create_string_buffer(_ID_SIZE)
    lib.TRN_getResultRet(variable, ctypes.byref(kind), None, None, ctypes.byref(affected), identifier)
    if kind.value == codes.ITEM_QUERY:
        lib.TRN_GetAttr(variable, codes.ROWS, ctypes.byref(rows), 8, None, None)
    return status, kind.value, affected.value, identifier.value, rows.value


def _run(
    connection: int, statement: str, result: int, names: Names, values: Optional[Sequence[Any]], held: List[Any]
) -> Outcome:
    """Runs a statement with its parameters; the connection is left without them."""
    lib, sql = codes.library(), codes.c_text(statement)
    status = 0
    try:
        if values is not None:
            status = _binding.bind_values(connection, names, values, held)
        if not status:
            status = lib.TRN_ExecwithDataReader(
                ctypes.c_void_p(connection), sql, ctypes.c_void_p(result), None, None, None
            )
    finally:
        lib.TRN_ResetParams(ctypes.c_void_p(connection))
    return _item(result, status)


def _release(result: int) -> None:
    lib, variable = codes.library(), ctypes.c_void_p(result)
    while lib.TRN_NextResult(variable) == 0 and ctypes.c_void_p.from_address(result):
        pass  # an item is released as it is left
    lib.TRN_FreeRowset(variable)


def _execute_batch(connection: int, sql: bytes, rows: int) -> int:
    status: int = codes.library().TRN_ExecBatch(ctypes.c_void_p(connection), sql, rows)
    return status


def _failure(status: int, address: int) -> Exception:
    return failure(status, codes.error_text(codes.library(), ctypes.c_void_p.from_address(address)))


run: Callable[..., Outcome] = _run
item: Callable[[int], Outcome] = _item
release: Callable[[int], None] = _release
execute_batch: Callable[[int, bytes, int], int] = _execute_batch
describe: Callable[[int], List[_reading.Column]] = _reading.describe
RowReader: Type[Any] = _reading.RowReader
Batch: Type[Any] = _binding.Batch

if core:
    run, item, release, execute_batch, describe = (
        core.run,
        core.item,
        core.release,
        core.execute_batch,
        core.describe,
    )
    RowReader, Batch = core.RowReader, core.Batch
    core.configure(
        {
            "failure": _failure,
            "conversion": _reading.conversion_failure,
            "conversion_errors": _reading.CONVERSION_ERRORS,
            "value_reader": _reading.value_reader,
            "long_number": _reading.read_long_number,
            "statement": codes.c_text,
            "encode": _binding.encode,
            "common_type": _binding.common_type,
            "convert": _binding.convert,
            "Decimal": Decimal,
            "date": datetime.date,
            "time": datetime.time,
            "datetime": datetime.datetime,
        }
    )
