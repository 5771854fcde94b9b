# SPDX-License-Identifier: Apache-2.0
"""A wispd for each test, with a cluster of four nodes on two networks. The adapter of node 3 on network 1 is 7."""
import os
import sys

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "exporter"))
from harness import Temp_Dir, Wispd, cluster_file  # noqa: E402

NAMES = {1: "alpha", 2: "beta", 3: "gamma", 4: "delta"}
SMALL_CLUSTER = cluster_file([1, 2, 3, 4], names=NAMES)


@pytest.fixture
def directory():
    directory = Temp_Dir()
    yield directory
    directory.remove()


@pytest.fixture
def stopped_wispd(directory):
    """A wispd that a test starts, if it wants."""
    wispd = Wispd(os.environ["HB_DAEMONS"], directory, SMALL_CLUSTER)
    yield wispd
    wispd.stop()


@pytest.fixture
def wispd(stopped_wispd):
    return stopped_wispd.start()


@pytest.fixture
def other_wispd(directory):
    """A second one, with another cluster."""
    other = Temp_Dir()
    wispd = Wispd(os.environ["HB_DAEMONS"], other, cluster_file([7, 8], name="other", names={7: "eta", 8: "theta"}))
    yield wispd.start()
    wispd.stop()
    other.remove()
