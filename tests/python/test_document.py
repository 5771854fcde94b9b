# SPDX-License-Identifier: Apache-2.0
"""The programs in docs/python.md, as a reader saves them."""
import ast
import os
import re
import signal
import sys

import hb_client
import pytest
from document import DOCUMENT, programs
from harness import GENEROUS, Child, wait_until


@pytest.fixture
def start(wispd, directory):
    """Starts a program of the document."""
    children = []

    def started(program, *arguments):
        path = directory.file("program.py")
        with open(path, "w", encoding="utf-8") as file:
            file.write(program)
        children.append(Child([sys.executable, path, *arguments], directory.file("program.log"),
                              {"HB_SERVER_SOCKET": wispd.socket}))
        return children[-1]

    yield started
    for child in children:
        child.end(signal.SIGKILL)


def is_watching(child, wispd):
    """Makes something happen, because the program prints nothing when it has opened the cluster."""
    wispd.command("adapter-down", adapter=3)
    wispd.command("adapter-up", adapter=3)
    return "adapter 3 (alpha/net_b) joined" in child.text()


def test_deaths_and_joins_need_at_most_ten_lines():
    program = programs()[0]
    assert len(program.splitlines()) <= 10
    ast.parse(program)


def test_the_first_program_prints_deaths_and_joins_and_ends_with_ctrl_c(start, wispd):
    # A shell that starts this in the background makes it ignore SIGINT.
    child = start("import signal; signal.signal(signal.SIGINT, signal.default_int_handler)\n" + programs()[0])
    wait_until(lambda: is_watching(child, wispd), "the program watches")
    wispd.command("node-down", node=3)
    wispd.command("node-up", node=3)
    child.wait_for_text("node 3 (gamma) joined")
    lines = [re.sub(r"^\d\d:\d\d:\d\d ", "", line) for line in child.text().splitlines()]
    assert [line for line in lines if "alpha" not in line] == [
        "adapter 6 (gamma/net_a) died",
        "adapter 7 (gamma/net_b) died",
        "node 3 (gamma) died",
        "adapter 6 (gamma/net_a) joined",
        "adapter 7 (gamma/net_b) joined",
        "node 3 (gamma) joined",
    ]
    child.send(signal.SIGINT)
    assert child.process.wait(GENEROUS) == 0
    assert "Traceback" not in child.text()


def test_the_service_runs_a_command_for_each_death_and_ends_with_sigterm(start, wispd):
    child = start(programs()[1], "echo", "reacting to")
    child.wait_for_text("in contact with the daemon")
    assert "node 3 (gamma) is up" in child.text()
    assert "reacting" not in child.text()
    wispd.command("node-down", node=3)
    child.wait_for_text("reacting to gamma")
    child.wait_for_text("gamma: the command ended with 0")
    wispd.stop()
    child.wait_for_text("the daemon is unreachable")
    after = len(child.text())
    wispd.start()
    child.wait_for_text("in contact with the daemon", after)
    child.send(signal.SIGTERM)
    assert child.process.wait(GENEROUS) == 0
    assert child.text().splitlines()[-1] == "ended"
    assert child.text().count("reacting") == 1


def test_the_service_ends_its_commands_with_itself(start, wispd, directory):
    child = start(programs()[1], "sh", "-c", f"echo $$ >{directory.file('number')}; exec sleep 600")
    child.wait_for_text("in contact with the daemon")
    wispd.command("node-down", node=3)
    wait_until(lambda: os.path.exists(directory.file("number")) and os.path.getsize(directory.file("number")),
               "the command runs")
    with open(directory.file("number"), encoding="utf-8") as file:
        command = int(file.read())
    child.send(signal.SIGTERM)
    assert child.process.wait(GENEROUS) == 0
    assert not os.path.exists(f"/proc/{command}")


def test_the_document_has_every_name_of_the_package():
    with open(DOCUMENT, encoding="utf-8") as file:
        text = file.read()
    # Classes that a program does not name itself.
    quiet = {"Adapter", "Event", "Network", "Node", "Watch"}
    assert [name for name in hb_client.__all__ if name not in quiet and not re.search(rf"\b{name}\b", text)] == []


def test_every_name_of_the_package_has_its_manual():
    for name in hb_client.__all__:
        manual = getattr(hb_client, name).__doc__
        # A dataclass without one gets its signature.
        assert manual and not manual.startswith(f"{name}("), name
    for name, member in vars(hb_client.Cluster).items():
        if not name.startswith("_"):
            assert member.__doc__, name
