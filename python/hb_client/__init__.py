# SPDX-License-Identifier: Apache-2.0
"""Watches a cluster: which nodes and network adapters are up, and which die and join.

    import hb_client

    with hb_client.Cluster() as cluster:
        for node in cluster.nodes:
            print(node, node.state)
        for event in cluster.watch():
            print(event.time, event)

Opening connects to the heartbeat daemon of this machine and waits until it has reported the cluster. The watch then
reports each death and each join once, whatever happens in between. After a restart of the daemon or a lost connection
it reports what has changed in the meantime. Without contact it reports that (`Unreachable`), and does not guess.

A program of asyncio writes `async with` and `async for`:

    async with hb_client.Cluster() as cluster:
        async for event in cluster.watch():
            match event:
                case hb_client.NodeDied(node=number, name=name):
                    ...

Conventions

1. No call blocks beyond its time-out, and Ctrl-C ends each of them at once, also while the daemon is suspended.
   Time-outs and intervals are seconds. None waits without limit.
2. Nodes, adapters, networks and events are frozen dataclasses. What they say does not change later: ask the cluster
   again. Times are aware datetimes in the local time zone.
3. The states are those after the last event that the program has received from `Cluster.watch` or `Cluster.poll`. A
   program that only asks for states calls `Cluster.poll` first.
4. A `Cluster` has its own connection. Several of them, also to different daemons, are independent.
5. Threads: several threads may use one `Cluster`; each event reaches one of them. Close it after the other threads have
   ended their watches. Only one task of asyncio at a time can wait for its events.
6. Processes: a forked child can only close its copy of the `Cluster`. Anything else raises RuntimeError there, and the
   parent's copy continues. A child that wants to watch opens its own. A program started by exec inherits nothing.
7. Errors of the cluster are `Error` and its subclasses. A wrong argument raises ValueError or TypeError, and use before
   opening or after closing raises RuntimeError.

The path of the daemon's socket is, in this order: the argument of `Cluster`; the environment variable
HB_SERVER_SOCKET; /var/ha/soc/wisp/server_socket. HA_DOMAIN_NAME and HA_SYSPAR_NAME extend the last two.
"""
import sys

if sys.version_info < (3, 11):
    raise ImportError(f"hb_client needs Python 3.11 or later; {sys.executable} is {sys.version.split()[0]}")

from hb_client._cluster import Cluster, Watch
from hb_client._errors import Error, NoAnswerError, NotConfiguredError, UnreachableError
from hb_client._events import (
    AdapterDied,
    AdapterJoined,
    ConfigurationChanged,
    Current,
    Event,
    NodeDied,
    NodeJoined,
    Unreachable,
)
from hb_client._members import Adapter, Network, Node, State

__all__ = [
    "Adapter",
    "AdapterDied",
    "AdapterJoined",
    "Cluster",
    "ConfigurationChanged",
    "Current",
    "Error",
    "Event",
    "Network",
    "NoAnswerError",
    "Node",
    "NodeDied",
    "NodeJoined",
    "NotConfiguredError",
    "State",
    "Unreachable",
    "UnreachableError",
    "Watch",
]
