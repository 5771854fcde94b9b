# SPDX-License-Identifier: Apache-2.0
"""The names of the nodes, which the daemon writes into a small file beside its socket."""
import json
import os
import stat

FORMAT = 1
FILE_LONGEST = 4 << 20  # bytes
NAME_LONGEST = 255  # bytes
NODES_MOST = 2049


def is_trusted(file: os.stat_result, socket_path: bytes) -> bool:
    """In a directory that every user can write to, anyone can create the file."""
    if file.st_uid in (0, os.geteuid()):
        return True
    try:
        socket = os.lstat(socket_path)
    except OSError:
        return False
    return stat.S_ISSOCK(socket.st_mode) and socket.st_uid == file.st_uid


def read_bounded(path: bytes, socket_path: bytes) -> bytes | None:
    # Does not follow a link, and does not wait for the writer of a pipe.
    file = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_NOCTTY)
    with open(file, "rb") as opened:
        facts = os.fstat(file)
        if not stat.S_ISREG(facts.st_mode) or not is_trusted(facts, socket_path):
            return None
        text = opened.read(FILE_LONGEST + 1)
    return text if len(text) <= FILE_LONGEST else None


def is_text(value: object) -> bool:
    return isinstance(value, str) and len(value.encode(errors="surrogatepass")) <= NAME_LONGEST


def parsed(text: bytes) -> tuple[str, dict[int, str]] | None:
    """Returns the cluster's name and those of its nodes; None unless the file is complete and within its bounds."""
    content = json.loads(text)
    if not isinstance(content, dict) or content.get("format") != FORMAT:
        return None
    cluster = content.get("cluster")
    nodes = content.get("nodes")
    if not is_text(cluster) or not isinstance(nodes, dict):
        return None
    names: dict[int, str] = {}
    for digits, name in nodes.items():
        if not (digits.isascii() and digits.isdigit() and int(digits) < NODES_MOST and is_text(name) and name):
            return None
        names[int(digits)] = name
    return str(cluster), names


class Names:
    """What the file says, and the names of nodes that it does not list any more: their deaths may not be reported yet."""

    def __init__(self, socket_path: bytes) -> None:
        self._socket_path = socket_path
        self._path = socket_path + b".cluster"
        self._seen: tuple[int, ...] | None = None
        self._usable = False
        self._nodes: dict[int, str] = {}
        self._former: dict[int, str] = {}
        self.cluster = ""

    def refresh(self) -> None:
        """Reads the file again if it is another one. The daemon replaces it before it reports a change. It removes it
        when it ends; the last known names then stay in use."""
        try:
            facts = os.lstat(self._path)
        except OSError:
            self._seen, self._usable = None, False
            return
        seen = (facts.st_dev, facts.st_ino, facts.st_size, facts.st_mtime_ns, facts.st_mode, facts.st_uid)
        if seen == self._seen:
            return
        try:
            text = read_bounded(self._path, self._socket_path)
            content = None if text is None else parsed(text)
        except (OSError, ValueError, RecursionError):
            content = None
        self._seen, self._usable = seen, content is not None
        if content is not None:
            self._former.update(self._nodes)
            self.cluster, self._nodes = content

    def settle(self) -> None:
        """Forgets what the file does not say. All that the earlier configuration had has been reported by now."""
        self.refresh()
        self._former = {}
        if not self._usable:
            self.cluster, self._nodes = "", {}

    def of(self, node: int) -> str:
        """Returns the node's name, or an empty text."""
        return self._nodes.get(node, self._former.get(node, ""))

    def number_of(self, name: str) -> int | None:
        """Returns the lowest number of a node that has this name now."""
        return min((number for number, other in self._nodes.items() if other == name), default=None)
