# SPDX-License-Identifier: Apache-2.0
"""One watch of hb_watch.h, with the rules that C leaves to its caller: processes, threads, and use after closing."""
import math
import os
import select
import threading
import time
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any, TypeVar

from hb_client._library import CData, ffi, lib

Result = TypeVar("Result")

LONGEST = 2**31 - 1  # milliseconds, in C


def milliseconds(seconds: float) -> int:
    """Rounds up, so that a wait does not end before its time."""
    return LONGEST if seconds * 1000 >= LONGEST else math.ceil(seconds * 1000)


def checked_timeout(timeout: float | None) -> float | None:
    if timeout is not None and not timeout >= 0:
        raise ValueError(f"timeout is {timeout}: give seconds, or None to wait without limit")
    return timeout


def deadline_of(timeout: float | None) -> float | None:
    """Returns the time of time.monotonic() at which the time-out ends."""
    timeout = checked_timeout(timeout)
    return None if timeout is None else time.monotonic() + timeout


def seconds_left(deadline: float | None) -> float | None:
    return None if deadline is None else max(0.0, deadline - time.monotonic())


@dataclass(frozen=True, slots=True, kw_only=True)
class Options:
    """Times are seconds. A path of None means that of the environment."""

    socket_path: bytes | None
    adapters: bool
    check_interval: float
    answer_timeout: float
    retry_min: float
    retry_max: float

    def __post_init__(self) -> None:
        if self.socket_path is not None and b"\0" in self.socket_path:
            raise ValueError("socket_path has a null character")
        if not self.check_interval >= 0:
            raise ValueError(f"check_interval is {self.check_interval}: give seconds, or 0 for no checks")
        if not self.answer_timeout > 0:
            raise ValueError(f"answer_timeout is {self.answer_timeout}: give more than 0 seconds")
        if not 0 < self.retry_min <= self.retry_max:
            raise ValueError(
                f"retry_min is {self.retry_min} and retry_max is {self.retry_max}: give more than 0 seconds, and a "
                "retry_max that is not below retry_min"
            )


class Handle:
    def __init__(self, given: Options) -> None:
        self._process = os.getpid()
        # Reentrant, because a signal handler may use the cluster while its own thread does.
        self._lock = threading.RLock()
        self._report = ffi.new("Hb_Watch_Report *")
        self._taken: dict[int, Any] = {}
        self._given_back: list[Any] = []
        self._watch: CData | None = None
        options = ffi.new("Hb_Watch_Options *")
        lib.hb_watch_default_options(options)
        path = None if given.socket_path is None else ffi.new("char[]", given.socket_path)
        if path is not None:
            options.socket_path = path
        options.what = lib.HB_WATCH_NODES | (lib.HB_WATCH_ADAPTERS if given.adapters else 0)
        options.check_interval = milliseconds(given.check_interval)
        options.answer_timeout = milliseconds(given.answer_timeout)
        options.retry_min = milliseconds(given.retry_min)
        options.retry_max = milliseconds(given.retry_max)
        watch = lib.hb_watch_open(options)
        if watch == ffi.NULL:
            raise OSError(ffi.errno, os.strerror(ffi.errno), given.socket_path)
        self._watch = ffi.gc(watch, lib.hb_watch_close)

    @property
    def is_open(self) -> bool:
        return self._watch is not None

    @property
    def is_ours(self) -> bool:
        """Whether this process opened it, and not its parent."""
        return os.getpid() == self._process

    @property
    def lock(self) -> threading.RLock:
        """What is held while `watch` is used. A thread of the parent may have held it when this process was forked, so
        a child does not get it."""
        if not self.is_ours:
            raise RuntimeError("this cluster belongs to the parent process: open another one in this process")
        return self._lock

    @property
    def watch(self) -> CData:
        if self._watch is None:
            raise RuntimeError("this cluster is closed")
        return self._watch

    def close(self) -> None:
        if self.is_ours:
            with self._lock:
                self._release()
        else:
            self._release()

    def _release(self) -> None:
        watch, self._watch = self._watch, None
        if watch is not None:
            ffi.release(watch)

    def fileno(self) -> int:
        with self.lock:
            return lib.hb_watch_descriptor(self.watch)

    def next(self, convert: Callable[[CData], Result]) -> Result | None:
        """Returns what `convert` makes of the next report, or None if there is none now.

        Ctrl-C can end this call after each call that it makes itself. What has been read by then is not lost: it stays
        in the record until it is converted, and then in `_taken` until nothing more is called. The thread's next call
        returns it.
        """
        thread = threading.get_ident()
        with self.lock:
            if thread in self._taken:
                pass
            elif self._given_back:
                self._taken[thread] = self._given_back[0]
                del self._given_back[0]
            else:
                report = self._report
                if report.kind == 0 and lib.hb_watch_next(self.watch, report) == 0:
                    report.kind = 0
                    return None
                result = convert(report)
                self._taken[thread] = result
                report.kind = 0
        result = self._taken[thread]
        del self._taken[thread]
        return result

    def give_back(self, results: list[Any]) -> None:
        """Makes `next` return these first, and what it has taken for this thread after them."""
        thread = threading.get_ident()
        with self.lock:
            if thread in self._taken:
                results = results + [self._taken[thread]]
                del self._taken[thread]
            self._given_back[:0] = results

    def wait(self, deadline: float | None) -> bool:
        """Waits until the descriptor is readable, and returns whether it is. Signal handlers run at once."""
        poller = select.poll()
        poller.register(self.fileno(), select.POLLIN)
        while True:
            left = seconds_left(deadline)
            if poller.poll(None if left is None else milliseconds(left)):
                return True
            if left is not None and left * 1000 < LONGEST:
                return False
