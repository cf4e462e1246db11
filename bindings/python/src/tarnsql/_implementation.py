"""Chooses the implementation of the hot functions: the compiled core, or this package's own over ctypes.

TARNSQL_PYTHON names one, "core" or "pure"; by default the core is used if it is available.
"""

from __future__ import annotations

import os
from typing import Any


def _choose() -> Any:
    wanted = os.environ.get("TARNSQL_PYTHON", "")
    if wanted not in ("", "core", "pure"):
        raise ImportError(f"TARNSQL_PYTHON must be 'core' or 'pure', not {wanted!r}")
    if wanted == "pure":
        return None
    try:
        from . import _core
    except ImportError:
        if wanted:
            raise
        return None
    return _core


core: Any = _choose()
implementation = "core" if core else "pure"
