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

_getsignal = importlib.import_module("_signal").getsignal  # signal.getsignal makes an enumeration of it, which takes longer
_SIGINT = int(signal.SIGINT)
_RETRY_SECONDS = 0.01  # a signal can come when the call has not quite begun


class _Watcher:
    """The thread, and the call that a signal would cancel."""

    def __init__(self) -> None:
        self.running = 0  # the address of a handle variable
        self._woken, waker = socket.socketpair()
        waker.setblocking(False)
        self._waker = waker
        self.descriptor = waker.fileno()
        threading.Thread(target=self._watch, name="tarnsql Ctrl-C", daemon=True).start()

    def _watch(self) -> None:
        lib, pause = codes.library(), threading.Event()
        while signals := self._woken.recv(64):
            while _SIGINT in signals and self.running:
                if lib.TRNX_Cancel(ctypes.c_void_p(self.running)) == 1:
                    break
                pause.wait(_RETRY_SECONDS)


_watcher: Optional[_Watcher] = None


def _forget_watcher() -> None:
    global _watcher
    _watcher = None


if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_forget_watcher)  # the thread is the parent's


class Interruptible:
    """Around a call on the connection in a handle variable that may wait. It is not entered twice."""

    def __init__(self, address: int) -> None:
        self._address = address
        self._watcher: Optional[_Watcher] = None

    def __enter__(self) -> None:
        global _watcher
        if threading.get_ident() != threading.main_thread().ident:
            return
        if _getsignal(_SIGINT) is not signal.default_int_handler:
            return
        if _watcher is None:
            _watcher = _Watcher()
        before = signal.set_wakeup_fd(_watcher.descriptor, warn_on_full_buffer=False)
        if before != -1:  # somebody else's, who waits for it
            signal.set_wakeup_fd(before)
            return
        self._watcher = _watcher
        _watcher.running = self._address

    def __exit__(self, *exception: Any) -> None:
        if self._watcher:
            self._watcher.running = 0
            self._watcher = None
            signal.set_wakeup_fd(-1)
