"""Ctrl-C during a call of the library.

Python's signal handlers run in the main thread between its instructions, not while it waits inside the library. So while the main
thread is in a call the signal also wakes a thread of this module, which cancels the call; its end lets KeyboardInterrupt be
raised. A program with a handler of its own for the signal is left to it: that handler runs when the call is over.
"""

from __future__ import annotations

import ctypes
import importlib
import os
import signal
import socket
import threading
from typing import Any, Optional

from . import _library as codes

_getsignal = importlib.import_module(
    "_signal"
).getsignal  # signal.getsignal makes an enumeration of it, which takes longer
_SIGINT = int(signal.SIGINT)
_RETRY_SECONDS = 0.01  # a signal can arrive just before the call begins


class _Watcher:
    """The thread, and the call that a signal would cancel."""

    def __init__(self) -> None:
        self.running: Optional[
            ctypes.c_void_p
        ] = None  # the handle variable, kept alive while it is needed here
        self._woken, waker = socket.socketpair()
        waker.setblocking(False)
        self._waker = waker
        self.descriptor = waker.fileno()
        threading.Thread(target=self._watch, name="tarnsql Ctrl-C", daemon=True).start()

    def _watch(self) -> None:
        lib, pause = codes.library(), threading.Event()
        while signals := self._woken.recv(64):
            while _SIGINT in signals and (variable := self.running) is not None:
                if lib.TRNX_Cancel(ctypes.byref(variable)) == 1:
                    break
                pause.wait(_RETRY_SECONDS)


_watcher: Optional[_Watcher] = None
_main_thread = threading.main_thread().ident


def _begin_again() -> None:
    """In a child of fork: the watching thread is the parent's, and another thread may be the main one now."""
    global _watcher, _main_thread
    _watcher, _main_thread = None, threading.main_thread().ident


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_begin_again)


class Interruptible:
    """Wraps a call that may wait, on the connection in a handle variable. Not reentrant."""

    def __init__(self, variable: ctypes.c_void_p) -> None:
        self._variable = variable
        self._watcher: Optional[_Watcher] = None

    def __enter__(self) -> None:
        global _watcher
        if threading.get_ident() != _main_thread or _getsignal(_SIGINT) is not signal.default_int_handler:
            return
        if _watcher is None:
            _watcher = _Watcher()
        before = signal.set_wakeup_fd(_watcher.descriptor, warn_on_full_buffer=False)
        if before != -1:  # set by someone else, who waits for it
            signal.set_wakeup_fd(before)
            return
        self._watcher = _watcher
        _watcher.running = self._variable

    def __exit__(self, *exception: Any) -> None:
        if self._watcher:
            self._watcher.running = None
            self._watcher = None
            signal.set_wakeup_fd(-1)
