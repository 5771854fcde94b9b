# SPDX-License-Identifier: Apache-2.0
"""The file with the names of the nodes: only a complete file of a trusted user counts."""
import json
import os

import pytest
from hb_client._names import Names

GOOD = {"format": 1, "cluster": "demo", "version": "1.0.0", "started": 1, "engine": "none", "nodes": {"3": "gamma"}}


@pytest.fixture
def path(directory):
    return directory.file("s.cluster")


def write(path, content):
    """Replaces the file, as wispd does."""
    text = content if isinstance(content, bytes) else json.dumps(content).encode()
    with open(path + ".new", "wb") as file:
        file.write(text)
    os.rename(path + ".new", path)


def names_of(path):
    names = Names(os.fsencode(path.removesuffix(".cluster")))
    names.refresh()
    return names


def test_a_good_file_has_the_names(path):
    write(path, dict(GOOD, unknown=[1]))
    names = names_of(path)
    assert (names.cluster, names.of(3), names.of(4)) == ("demo", "gamma", "")
    assert (names.number_of("gamma"), names.number_of("delta")) == (3, None)


@pytest.mark.parametrize("content", [
    b"",
    b"{",
    b"[]",
    b"\xff",
    b"[" * 100000,
    dict(GOOD, format=2),
    dict(GOOD, cluster=1),
    dict(GOOD, cluster="x" * 256),
    dict(GOOD, nodes=[]),
    dict(GOOD, nodes={"3": ""}),
    dict(GOOD, nodes={"3": 3}),
    dict(GOOD, nodes={"3": "x" * 256}),
    dict(GOOD, nodes={"-1": "x"}),
    dict(GOOD, nodes={"2049": "x"}),
    dict(GOOD, nodes={"9" * 5000: "x"}),
    dict(GOOD, nodes={"\u00b3": "x"}),
    json.dumps(GOOD).encode() + b" " * (4 << 20),
], ids=range(17))
def test_a_malformed_file_has_none(path, content):
    write(path, content)
    assert names_of(path).of(3) == ""


def test_a_file_that_is_not_a_regular_one_has_none_and_nothing_waits_for_it(path):
    os.mkfifo(path)
    assert names_of(path).of(3) == ""
    os.unlink(path)
    write(path + ".aside", GOOD)
    os.symlink(path + ".aside", path)
    assert names_of(path).of(3) == ""
    os.unlink(path)
    os.mkdir(path)
    assert names_of(path).of(3) == ""


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can give a file to another user")
def test_a_file_of_another_user_counts_if_the_socket_is_its_own(path):
    import socket

    write(path, GOOD)
    os.chown(path, 12345, -1)
    assert names_of(path).of(3) == ""
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(path.removesuffix(".cluster"))
        assert names_of(path).of(3) == ""
        os.chown(path.removesuffix(".cluster"), 12345, -1)
        assert names_of(path).of(3) == "gamma"


def test_names_of_removed_nodes_stay_until_the_change_has_been_reported(path):
    write(path, GOOD)
    names = names_of(path)
    write(path, dict(GOOD, nodes={"4": "delta"}))
    names.refresh()
    assert (names.of(3), names.of(4)) == ("gamma", "delta")
    assert names.number_of("gamma") is None
    names.settle()
    assert (names.of(3), names.of(4)) == ("", "delta")


def test_names_stay_while_the_daemon_is_away_and_not_longer(path):
    write(path, GOOD)
    names = names_of(path)
    os.unlink(path)
    names.refresh()
    assert (names.cluster, names.of(3)) == ("demo", "gamma")
    names.settle()
    assert (names.cluster, names.of(3)) == ("", "")
    write(path, dict(GOOD, nodes={"3": "gimel"}))
    names.refresh()
    assert names.of(3) == "gimel"


def test_a_file_that_stays_is_read_once(path, monkeypatch):
    from hb_client import _names

    write(path, b"{")
    count = []
    monkeypatch.setattr(_names, "parsed", lambda text: count.append(text))
    names = names_of(path)
    names.refresh()
    assert count == [b"{"]
