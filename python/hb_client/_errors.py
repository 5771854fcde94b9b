# SPDX-License-Identifier: Apache-2.0
from typing import Self

from hb_client._library import ffi, lib


def error_name(number: int) -> str:
    return ffi.string(lib.hb_error_name(number)).decode()


def error_text(number: int) -> str:
    return ffi.string(lib.hb_error_text(number)).decode()


class Error(Exception):
    """An error of the cluster, with the numbers, names and texts of hb_error.h.

    number  the error number, for instance 15
    name    its name, for instance "HB_ERROR_CONNECT_FAILED"
    text    what it means, for a person to read
    """

    number: int
    name: str
    text: str

    def __init__(self, number: int, what: str) -> None:
        self.number = number
        self.name = error_name(number)
        self.text = error_text(number)
        self._what = what
        super().__init__(f"{what}: {self.text} ({self.name}, {number})")

    def __reduce__(self) -> tuple[type[Self], tuple[int, str]]:
        return type(self), (self.number, self._what)


class UnreachableError(Error):
    """Opening found no daemon within its time-out. The number says why, as in the event `Unreachable`."""


class NoAnswerError(UnreachableError, TimeoutError):
    """The daemon listens, but did not answer within the time-out. It may be stopped or overloaded."""


class NotConfiguredError(Error, LookupError):
    """The configuration has no node, adapter or network of this number or name."""
