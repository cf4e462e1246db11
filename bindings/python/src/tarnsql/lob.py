"""Large objects: contents held by the library, read like a seekable file.

A Clob's bytes are UTF-8. One thread at a time may use a large object.
"""

from __future__ import annotations

import ctypes
import io
from typing import Any, Union

from . import _library as codes
from ._errors import DataError, OperationalError

_CHUNK = 1 << 20
_PEEKED = 4096
_LARGEST = (1 << 31) - 1


class Lob(io.RawIOBase):
    """A binary (Blob) or character (Clob) large object, complete and read-only.

    data  bytes, a text (as UTF-8), or an open file whose rest is read
    """

    code = codes.BLOB

    def __init__(self, data: Any = b"") -> None:
        super().__init__()
        self._handle = ctypes.c_void_p()
        self._lib = codes.library()
        self.variable = ctypes.byref(self._handle)  # the large object, as the library expects it
        self.address = ctypes.addressof(self._handle)
        self.size = 0
        self._position = 0
        if self._lib.TRN_Create_Lob(self.variable):
            raise OperationalError("no memory for a large object")
        if hasattr(data, "read"):
            while piece := data.read(_CHUNK):
                self._append(piece)
        else:
            self._append(data)
        self._lib.TRN_Put_Lob_data(self.variable, None, codes.LOB_COMPLETE)

    def _append(self, data: Union[bytes, str]) -> None:
        content = memoryview(data.encode("utf-8") if isinstance(data, str) else data).cast("B")
        if self.size + len(content) > _LARGEST:
            raise DataError(f"a large object has {_LARGEST} bytes at most")
        for start in range(0, len(content), _CHUNK):
            piece = bytes(content[start : start + _CHUNK])
            if self._lib.TRN_Put_Lob_data(self.variable, piece, len(piece)):
                raise OperationalError("no memory for a large object")
        self.size += len(content)

    def filled(self, size: int) -> Lob:
        """Returns the object, whose content the library has just received."""
        self.size = size
        return self

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def __len__(self) -> int:
        return self.size

    def __bool__(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        """Fills the buffer as far as there is content; returns the number of bytes."""
        self.require_open()
        view = memoryview(buffer).cast("B")
        wanted = min(len(view), self.size - self._position)
        if wanted <= 0:
            return 0
        room = (ctypes.c_char * wanted).from_buffer(view)
        self._lib.TRN_LobRead_SetPos(self.variable, self._position)
        count = int(self._lib.TRN_Get_Lob_data(self.variable, room, wanted))
        if count < 0:
            raise OperationalError("the large object cannot be read", count)
        self._position += count
        return count

    def readall(self) -> bytes:
        content = bytearray(max(0, self.size - self._position))
        return bytes(content[: self.readinto(content)])

    def peek(self, size: int = 0) -> bytes:
        """The next bytes, without moving; lets readline read pieces instead of single bytes."""
        position = self._position
        piece = bytearray(max(size, _PEEKED))
        del piece[self.readinto(piece) :]
        self._position = position
        return bytes(piece)

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        self.require_open()
        base = {io.SEEK_SET: 0, io.SEEK_CUR: self._position, io.SEEK_END: self.size}.get(whence)
        if base is None or base + offset < 0:
            raise ValueError(f"no position: offset {offset}, whence {whence}")
        self._position = base + offset
        return self._position

    def tell(self) -> int:
        self.require_open()
        return self._position

    def text(self) -> str:
        """The whole content as a text."""
        self.seek(0)
        return self.readall().decode("utf-8")

    def close(self) -> None:
        """Releases the content; do not close a large object bound to a statement before it has run."""
        if not self.closed and self._handle:
            self._lib.TRN_Distroy_Lob(self.variable)
        super().close()

    def require_open(self) -> None:
        """Raises for a large object that has been closed."""
        if self.closed:
            raise ValueError("the large object is closed")


class Blob(Lob):
    """A binary large object."""


class Clob(Lob):
    """A character large object; Clob(...).text() is its text."""

    code = codes.CLOB


def empty_lob(code: int) -> Lob:
    return Clob() if code == codes.CLOB else Blob()
