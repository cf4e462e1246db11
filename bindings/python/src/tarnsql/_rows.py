"""Forms of rows: what a row_factory can be, on a connection for its new cursors or on a cursor.

A row factory is called with the cursor for every result; what it returns makes a row out of the tuple of its values.
"""

from __future__ import annotations

import collections
import functools
from typing import Any, Callable, Dict, Tuple

RowMaker = Callable[[Tuple[Any, ...]], Any]
RowFactory = Callable[[Any], RowMaker]


def _names(cursor: Any) -> Tuple[str, ...]:
    return tuple([column[0] for column in cursor.description])


def dict_row(cursor: Any) -> RowMaker:
    """Rows as dicts by the names of the columns. Of columns with the same name the last one counts."""
    names = _names(cursor)

    def make(row: Tuple[Any, ...]) -> Dict[str, Any]:
        return dict(zip(names, row))

    return make


@functools.lru_cache(maxsize=512)
def _class_of(names: Tuple[str, ...]) -> RowMaker:
    row: Any = collections.namedtuple("Row", names, rename=True)  # type: ignore[misc]
    maker: RowMaker = row._make
    return maker


def namedtuple_row(cursor: Any) -> RowMaker:
    """Rows as named tuples. A name that is no identifier, or comes again, becomes the column's number behind "_"."""
    return _class_of(_names(cursor))
