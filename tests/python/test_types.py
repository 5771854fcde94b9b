# SPDX-License-Identifier: Apache-2.0
"""The type hints of the package, and of programs that use it, hold under mypy --strict."""
import os
import subprocess
import sys

import pytest
from document import programs
from harness import Temp_Dir

PACKAGE = os.path.dirname(__import__("hb_client").__file__)


@pytest.fixture(scope="module")
def cache():
    """Reading the types of Python's own library takes most of the time."""
    cache = Temp_Dir()
    yield cache
    cache.remove()


def output_of_mypy(cache, *arguments):
    environment = dict(os.environ, MYPYPATH=os.path.dirname(PACKAGE))
    return subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", cache.path, *arguments],
                          env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False).stdout


def test_the_package_is_strictly_typed(cache):
    modules = [name for name in os.listdir(PACKAGE) if name.endswith((".py", ".pyi"))]
    assert len(modules) >= 9
    assert output_of_mypy(cache, "-p", "hb_client") == (
        f"Success: no issues found in {len(modules)} source files\n")


def test_the_programs_of_the_document_are_strictly_typed(directory, cache):
    for number, program in enumerate(programs()):
        path = directory.file(f"program{number}.py")
        with open(path, "w", encoding="utf-8") as file:
            file.write(program)
        assert output_of_mypy(cache, path) == "Success: no issues found in 1 source file\n"


PROGRAM = """
from typing import assert_never
import hb_client

def described(event: hb_client.Event) -> str:
    match event:
        case hb_client.NodeDied() | hb_client.NodeJoined():
            return event.name
        case hb_client.AdapterDied() | hb_client.AdapterJoined():
            return event.name
        case hb_client.Unreachable():
            return event.text
        case hb_client.Current():
            return ""
        case %s
            return ""
        case _:
            assert_never(event)

def wrong(cluster: hb_client.Cluster) -> None:
    name: str = cluster.node(3).%s
"""


def test_mypy_checks_that_a_program_handles_every_event_and_uses_members_as_they_are(directory, cache):
    path = directory.file("program.py")

    def checked(case, member):
        with open(path, "w", encoding="utf-8") as file:
            file.write(PROGRAM % (case, member))
        return output_of_mypy(cache, path)

    assert checked("hb_client.ConfigurationChanged():", "name").startswith("Success")
    assert 'incompatible type "ConfigurationChanged"' in checked("hb_client.Current():", "name")
    assert 'expression has type "int"' in checked("hb_client.ConfigurationChanged():", "number")


EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples")


def test_the_examples_are_strictly_typed(directory):
    examples = [os.path.join(EXAMPLES, name) for name in os.listdir(EXAMPLES) if name.endswith(".py")]
    assert len(examples) >= 2
    for path in examples:
        assert output_of_mypy(directory, path) == "Success: no issues found in 1 source file\n"
