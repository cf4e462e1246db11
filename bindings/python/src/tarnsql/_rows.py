"""Row factories, for the row_factory of a cursor, or of a connection for its new cursors.

A row factory is called with the cursor for every result, and returns a function from the tuple of values to a row.
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
    """Rows as dicts by the names of the columns. Of columns with the same name the last one wins."""
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
    """Rows as named tuples. A name that is not an identifier, or is repeated, becomes "_" and the column's number."""
    return _class_of(_names(cursor))
