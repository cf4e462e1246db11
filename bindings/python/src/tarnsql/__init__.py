"""tarnsql: the TARNDBMS database server from Python, with the interface of PEP 249, over the library libtarnsql.so or tarnsql.dll."""

from ._errors import (
    DatabaseError,
    DataError,
    Error,
    IntegrityError,
    InterfaceError,
    InternalError,
    NotSupportedError,
    OperationalError,
    ProgrammingError,
    Warning,
)
from ._implementation import implementation
from ._rows import dict_row, namedtuple_row
from ._types import (
    BINARY,
    CURSOR,
    DATETIME,
    INTERVAL,
    LOB,
    NUMBER,
    ROWID,
    STRING,
    Binary,
    Date,
    DateFromTicks,
    InOut,
    Out,
    Time,
    TimeFromTicks,
    Timestamp,
    TimestampFromTicks,
    YearToMonth,
)
from .connection import Connection, connect
from .cursor import Cursor
from .lob import Blob, Clob, Lob
from .server_cursor import ServerCursor

__version__ = "1.1.0"

apilevel = "2.0"
threadsafety = 2  # threads may share the module and connections
paramstyle = "qmark"  # with a mapping instead of a sequence: "named"

__all__ = [
    "BINARY",
    "Binary",
    "Blob",
    "CURSOR",
    "Clob",
    "Connection",
    "Cursor",
    "DATETIME",
    "DataError",
    "DatabaseError",
    "Date",
    "DateFromTicks",
    "Error",
    "INTERVAL",
    "InOut",
    "IntegrityError",
    "InterfaceError",
    "InternalError",
    "LOB",
    "Lob",
    "NUMBER",
    "NotSupportedError",
    "OperationalError",
    "Out",
    "ProgrammingError",
    "ROWID",
    "STRING",
    "ServerCursor",
    "Time",
    "TimeFromTicks",
    "Timestamp",
    "TimestampFromTicks",
    "Warning",
    "YearToMonth",
    "apilevel",
    "connect",
    "dict_row",
    "implementation",
    "namedtuple_row",
    "paramstyle",
    "threadsafety",
]
