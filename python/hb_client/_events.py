# SPDX-License-Identifier: Apache-2.0
from dataclasses import dataclass
from datetime import datetime
from typing import TypeAlias

from hb_client._errors import error_name, error_text
from hb_client._members import adapter_name, described


@dataclass(frozen=True, slots=True, kw_only=True)
class NodeJoined:
    """A node is up.

    time       when this program learned it
    since      until when the earlier state is known; equal to time unless caught_up
    node, name the node's number and name; the name is empty if none is known
    caught_up  found by comparison after a loss of contact: it happened between since and time
    initial    it was up when the watch found it first. Only after opening without waiting
    failure    the failure's identifier, to find it in logs; empty if the event has none
    """

    time: datetime
    since: datetime
    node: int
    name: str
    caught_up: bool = False
    initial: bool = False
    failure: str = ""

    def __str__(self) -> str:
        return f"{described('node', self.node, self.name)} {'is up' if self.initial else 'joined'}"


@dataclass(frozen=True, slots=True, kw_only=True)
class NodeDied:
    """A node is not up any more. The members are those of `NodeJoined`, and:

    removed  it was removed from the configuration. False if that is not known yet: `ConfigurationChanged` follows then
    """

    time: datetime
    since: datetime
    node: int
    name: str
    caught_up: bool = False
    removed: bool = False
    failure: str = ""

    def __str__(self) -> str:
        return f"{described('node', self.node, self.name)} {'was removed' if self.removed else 'died'}"


@dataclass(frozen=True, slots=True, kw_only=True)
class AdapterJoined:
    """An adapter is up. The members are those of `NodeJoined`, and:

    adapter                the adapter's number
    node, node_name        its node
    network, network_name  its network
    """

    time: datetime
    since: datetime
    adapter: int
    node: int
    node_name: str
    network: int
    network_name: str
    caught_up: bool = False
    initial: bool = False
    failure: str = ""

    @property
    def name(self) -> str:
        """The names of node and network, for instance "gamma/net_a"."""
        return adapter_name(self.node, self.node_name, self.network, self.network_name)

    def __str__(self) -> str:
        return f"{described('adapter', self.adapter, self.name)} {'is up' if self.initial else 'joined'}"


@dataclass(frozen=True, slots=True, kw_only=True)
class AdapterDied:
    """An adapter is not up any more. The members are those of `AdapterJoined`, and:

    removed  it was removed from the configuration
    """

    time: datetime
    since: datetime
    adapter: int
    node: int
    node_name: str
    network: int
    network_name: str
    caught_up: bool = False
    removed: bool = False
    failure: str = ""

    @property
    def name(self) -> str:
        """The names of node and network, for instance "gamma/net_a"."""
        return adapter_name(self.node, self.node_name, self.network, self.network_name)

    def __str__(self) -> str:
        return f"{described('adapter', self.adapter, self.name)} {'was removed' if self.removed else 'died'}"


@dataclass(frozen=True, slots=True, kw_only=True)
class ConfigurationChanged:
    """The configuration changed: ask the cluster again for nodes, adapters and networks."""

    time: datetime

    def __str__(self) -> str:
        return "the configuration changed"


@dataclass(frozen=True, slots=True, kw_only=True)
class Current:
    """Contact: everything that is up has been reported, and the states are true."""

    time: datetime

    def __str__(self) -> str:
        return "in contact with the daemon"


@dataclass(frozen=True, slots=True, kw_only=True)
class Unreachable:
    """No contact: the states are the last known ones. `Current` follows when contact returns.

    time    when this program learned it
    since   the last sign of life of the daemon; None if there was none
    number  why: an error number of hb_error.h
    """

    time: datetime
    since: datetime | None
    number: int

    @property
    def error_name(self) -> str:
        """The error's name, for instance "HB_ERROR_DISCONNECTED"."""
        return error_name(self.number)

    @property
    def text(self) -> str:
        """What the error means, for a person to read."""
        return error_text(self.number)

    def __str__(self) -> str:
        return f"the daemon is unreachable: {self.text} ({self.error_name}, {self.number})"


Event: TypeAlias = (
    NodeJoined | NodeDied | AdapterJoined | AdapterDied | ConfigurationChanged | Current | Unreachable
)
