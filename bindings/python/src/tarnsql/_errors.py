"""The exceptions, and which of them a failure becomes.

The library tells failures apart by status and by codes such as "[EC011]". The server sends texts only: their class is taken
from their words, and a text without known words is a DatabaseError.
"""

from __future__ import annotations

import builtins
import re
from typing import Optional, Type


class Warning(builtins.Warning):
    """Important warnings: of the server among a cursor's messages, of this module by warnings.warn."""


class Error(Exception):
    """The base of all other exceptions of this module.

    code    the code in front of the text, such as "EC011"; None when it has none
    status  what the library's call returned; None when no call failed
    """

    def __init__(self, message: str = "", status: Optional[int] = None) -> None:
        super().__init__(message)
        code = re.match(r"\[(\w+)\]", message)
        self.code: Optional[str] = code.group(1) if code else None
        self.status = status


class InterfaceError(Error):
    """The module or the library was used wrongly, or could not be used."""


class DatabaseError(Error):
    """The server refused."""


class DataError(DatabaseError):
    """A value does not fit."""


class OperationalError(DatabaseError):
    """Lost links, refused logins, locks: not a mistake of the program."""


class IntegrityError(DatabaseError):
    """A constraint was violated."""


class InternalError(DatabaseError):
    """The server or the library is in a state that it should not be in."""


class ProgrammingError(DatabaseError):
    """A statement that cannot be run: its syntax, its names, its parameters."""


class NotSupportedError(DatabaseError):
    """Something that the server or the library does not support."""


_BY_STATUS = {
    -3: InterfaceError,
    -4: OperationalError,
    -5: OperationalError,
    -8: OperationalError,
    -9: OperationalError,
    -12: DataError,
    -13: NotSupportedError,
    -15: InterfaceError,
    -18: InterfaceError,
    -51: ProgrammingError,
    -52: ProgrammingError,
    -53: ProgrammingError,
    -54: ProgrammingError,
    -55: ProgrammingError,
    -56: ProgrammingError,
    -58: NotSupportedError,
    -59: ProgrammingError,
}

# After these the handle still has the text of an earlier failure.
_WITHOUT_TEXT = {
    -3: "the library refused an argument",
    -4: "the link to the server is lost",
    -5: "out of memory",
    -12: "a value is longer than the room for it",
}

_BY_CODE = {"EC080": OperationalError, "EC053": ProgrammingError, "EC057": InternalError}

# In this order: "NOT NULL constraint failed" is not a syntax error, nor "no such table: locked" a lock.
_BY_WORDS = [
    (r"constraint|duplicate|foreign key|not unique", IntegrityError),
    (
        r"syntax|no such|there is no|does not exist|doesn't exist|already exists|not found|undefined|ambiguous|unrecognized|incomplete"
        r"|parameter|has no column|values for|number of arguments|not authorized|permission|privilege",
        ProgrammingError,
    ),
    (r"not supported|unsupported|not implemented", NotSupportedError),
    (
        r"out of range|overflow|mismatch|division by zero|divided by zero|too (big|long|large)|valid|cannot be converted|does not fit",
        DataError,
    ),
    (
        r"locked|busy|deadlock|time-?out|timed out|interrupted|disk|out of memory|shutting down",
        OperationalError,
    ),
    (r"internal|corrupt|malformed", InternalError),
]


def _class_of(status: int, text: str) -> Type[Error]:
    known = _BY_STATUS.get(status)
    if known:
        return known
    code = re.match(r"\[(EC\w+)\]", text)
    if code:
        return _BY_CODE.get(code.group(1), ProgrammingError)
    for words, error in _BY_WORDS:
        if re.search(words, text, re.IGNORECASE):
            return error
    return DatabaseError


def failure(status: int, text: str) -> Error:
    """The exception for a status and the handle's error text."""
    text = _WITHOUT_TEXT.get(status) or text or f"the call failed with status {status}"
    return _class_of(status, text)(text, status)
