# SPDX-License-Identifier: Apache-2.0
import enum
from dataclasses import dataclass
from ipaddress import IPv4Address, IPv6Address


def printable(text: str) -> str:
    """Escapes what could steer a terminal: names come from files and from the daemon."""
    return "".join(c if c.isprintable() else c.encode("unicode_escape").decode() for c in text)


def described(kind: str, number: int, *details: str) -> str:
    """Returns "node 3 (gamma)", or "node 3" if there are no details."""
    known = " ".join(printable(detail) for detail in details if detail)
    return f"{kind} {number} ({known})" if known else f"{kind} {number}"


class State(enum.Enum):
    """UNKNOWN: nothing is known yet, it is not watched, or it is not configured any more."""

    UP = "up"
    DOWN = "down"
    UNKNOWN = "unknown"

    def __str__(self) -> str:
        return self.value


@dataclass(frozen=True, slots=True, kw_only=True)
class Network:
    """A configured network.

    number, name, type  as configured; type for instance "ether"
    """

    number: int
    name: str
    type: str

    def __str__(self) -> str:
        return described("network", self.number, self.name)


@dataclass(frozen=True, slots=True, kw_only=True)
class Adapter:
    """A configured adapter: the interface of one node on one network.

    number                   the adapter's number
    node, node_name          the node's number and name; the name is empty if none is known
    network, network_name    the network's number and name
    address                  None for an adapter that has no IP address
    type                     for instance "eth0"
    state                    whether it is up
    """

    number: int
    node: int
    node_name: str
    network: int
    network_name: str
    address: IPv4Address | IPv6Address | None
    type: str
    state: State

    @property
    def name(self) -> str:
        """The names of node and network, for instance "gamma/net_a"."""
        return adapter_name(self.node, self.node_name, self.network, self.network_name)

    def __str__(self) -> str:
        return described("adapter", self.number, self.name, str(self.address or ""), self.type)


@dataclass(frozen=True, slots=True, kw_only=True)
class Node:
    """A configured node.

    number    the node's number
    name      its name; empty if none is known
    state     whether it is up
    local     whether it is the node that this program runs on
    adapters  its adapters, by number
    """

    number: int
    name: str
    state: State
    local: bool
    adapters: tuple[Adapter, ...]

    def __str__(self) -> str:
        return described("node", self.number, self.name)


def adapter_name(node: int, node_name: str, network: int, network_name: str) -> str:
    return f"{node_name or f'node{node}'}/{network_name or f'network{network}'}"
