"""Type names for programs: the type objects that compare equal to type codes, constructors, and the classes for values
that Python has none for.
"""

from __future__ import annotations

import datetime
import time
from dataclasses import dataclass
from typing import Any, FrozenSet

from . import _library as codes


class TypeObject:
    """Equal to the type code of every column of its group."""

    def __init__(self, name: str, *members: int) -> None:
        self.name = name
        self.members: FrozenSet[int] = frozenset(members)

    def __eq__(self, other: object) -> bool:
        if isinstance(other, TypeObject):
            return self.members == other.members
        return other in self.members

    def __hash__(self) -> int:
        return hash(self.members)

    def __repr__(self) -> str:
        return f"tarnsql.{self.name}"


STRING = TypeObject("STRING", codes.TEXT, codes.CLOB)
BINARY = TypeObject("BINARY", codes.BYTES, codes.BLOB, codes.OPAQUE)
NUMBER = TypeObject(
    "NUMBER",
    codes.BOOLEAN,
    codes.TINYINT,
    codes.SMALLINT,
    codes.INTEGER,
    codes.BIGINT,
    codes.FLOAT,
    codes.DOUBLE,
    codes.NUMERIC,
)
DATETIME = TypeObject("DATETIME", codes.DATE, codes.TIME, codes.TIME_TZ, codes.DATETIME, codes.DATETIME_TZ)
INTERVAL = TypeObject("INTERVAL", codes.INTERVAL, codes.YEAR_TO_MONTH, codes.DAY_TO_SECOND)
LOB = TypeObject("LOB", codes.CLOB, codes.BLOB)
ROWID = TypeObject("ROWID")  # no column has this type

Date = datetime.date
Time = datetime.time
Timestamp = datetime.datetime
Binary = bytes


def DateFromTicks(ticks: float) -> datetime.date:
    """The local date of a number of seconds since 1970."""
    return datetime.date(*time.localtime(ticks)[:3])


def TimeFromTicks(ticks: float) -> datetime.time:
    """The local time of day of a number of seconds since 1970."""
    return datetime.time(*time.localtime(ticks)[3:6])


def TimestampFromTicks(ticks: float) -> datetime.datetime:
    """The local date and time of a number of seconds since 1970."""
    return datetime.datetime(*time.localtime(ticks)[:6])


@dataclass(frozen=True, order=True)
class YearToMonth:
    """An interval of years and months, kept as months: YearToMonth(14) is one year and two months."""

    months: int

    @classmethod
    def of(cls, years: int, months: int = 0) -> YearToMonth:
        return cls(12 * years + months)

    def __str__(self) -> str:
        years, months = divmod(abs(self.months), 12)
        return f"{'-' if self.months < 0 else ''}{years}-{months:02}"


class CURSOR:
    """The type of an output with the name of an open cursor: Out(tarnsql.CURSOR)."""


@dataclass
class Out:
    """An output of a procedure.

    type  the type that the value is wanted in: str, bytes, int, float, bool, Decimal, date, time, datetime, or CURSOR
    size  the room for a str, bytes, int or Decimal, in bytes; a longer value is a DataError
    """

    type: Any = str
    size: int = 32768


class InOut(Out):
    """A value that a procedure takes and may change; it keeps the type of the value."""

    def __init__(self, value: Any, type: Any = None, size: int = 32768) -> None:
        super().__init__(type or (value.__class__ if value is not None else str), size)
        self.value = value
