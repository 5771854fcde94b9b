# SPDX-License-Identifier: Apache-2.0
import asyncio
import os
import warnings
from collections.abc import AsyncIterator, Callable, Iterator, Sequence
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from ipaddress import IPv4Address, IPv6Address
from types import TracebackType
from typing import Self

from hb_client._errors import NoAnswerError, NotConfiguredError, UnreachableError
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
from hb_client._handle import Handle, Options, Result, checked_timeout, deadline_of, seconds_left
from hb_client._library import CData, ffi, lib
from hb_client._members import Adapter, Network, Node, State
from hb_client._names import Names

NO_ADAPTER = 0xFFFFFFFF
EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
STATES = {lib.Hb_Entity_Up: State.UP, lib.Hb_Entity_Down: State.DOWN}
# Events that a task of asyncio receives before the other tasks have their turn.
TURN = 64


def time_of(nanoseconds: int) -> datetime:
    return (EPOCH + timedelta(microseconds=nanoseconds // 1000)).astimezone()


def text_of(field: CData) -> str:
    return ffi.string(field).decode(errors="replace")


def address_of(record: CData) -> IPv4Address | IPv6Address | None:
    packed = ffi.buffer(ffi.addressof(record, "address"))[:]
    if not any(packed):
        return None
    address = IPv6Address(packed)
    return address.ipv4_mapped or address


@dataclass(frozen=True, slots=True)
class ConfiguredAdapter:
    number: int
    node: int
    network: int
    address: IPv4Address | IPv6Address | None
    type: str


class Members:
    """The configured nodes and adapters. There can be 100,000, so they are read when a program asks for them."""

    def __init__(self, watch: CData) -> None:
        self.adapters: dict[int, ConfiguredAdapter] = {}
        self.adapters_of: dict[int, list[int]] = {}
        number = lib.hb_watch_next_node(watch, -1)
        while number != -1:
            self.adapters_of[number] = []
            number = lib.hb_watch_next_node(watch, number)
        record = ffi.new("Hb_Watch_Adapter *")
        number = lib.hb_watch_next_adapter(watch, NO_ADAPTER)
        while number != NO_ADAPTER:
            if lib.hb_watch_adapter(watch, number, record) == 1:
                self.adapters[number] = ConfiguredAdapter(
                    number, record.node, record.network, address_of(record), text_of(record.type)
                )
                self.adapters_of.setdefault(record.node, []).append(number)
            number = lib.hb_watch_next_adapter(watch, number)


def networks_of(watch: CData) -> dict[int, Network]:
    networks: dict[int, Network] = {}
    record = ffi.new("Hb_Network_Entry *")
    number = lib.hb_watch_next_network(watch, -1)
    while number != -1:
        if lib.hb_watch_network(watch, number, record) == 1:
            networks[number] = Network(
                number=number, name=text_of(record.Hb_network_name), type=text_of(record.Hb_network_type)
            )
        number = lib.hb_watch_next_network(watch, number)
    return networks


class Watch(Iterator[Event], AsyncIterator[Event]):
    """The events of a cluster, for `for` and for `async for`: see `Cluster.watch`."""

    def __init__(self, cluster: "Cluster", timeout: float | None) -> None:
        self._cluster = cluster
        self._deadline = deadline_of(timeout)
        self._turn = 0

    def __iter__(self) -> Self:
        return self

    def __next__(self) -> Event:
        event = self._cluster._wait_for(self._cluster._event, self._deadline)
        if event is None:
            raise StopIteration
        return event

    def __aiter__(self) -> Self:
        return self

    async def __anext__(self) -> Event:
        self._turn += 1
        if self._turn % TURN == 0:
            await asyncio.sleep(0)
        event = await self._cluster._wait_for_async(self._cluster._event, self._deadline)
        if event is None:
            raise StopAsyncIteration
        return event


class Cluster:
    """A cluster, as the heartbeat daemon of this machine reports it.

        with Cluster() as cluster: ...
        async with Cluster() as cluster: ...
        cluster = Cluster().open()

    The constructor only checks its arguments. Opening connects, and waits for the daemon's first full report.

    socket_path     the path of the daemon's socket; by default that of the environment
    timeout         seconds that opening waits for the daemon; None waits without limit. Opening also waits while no
                    daemon runs: it may be starting
    wait            False: opening does not wait at all. The states are unknown until `watch` gives a `Current`; the
                    nodes and adapters that are up join before it, with `initial`
    adapters        False: watch the nodes only. The states of adapters stay unknown
    check_interval  seconds of silence after which the daemon is asked for a sign of life; 0: never
    answer_timeout  seconds without an answer after which the daemon is unreachable
    retry_min       seconds before the first attempt to connect again; each pause is twice the last one
    retry_max       seconds of the longest pause
    """

    def __init__(
        self,
        socket_path: str | bytes | os.PathLike[str] | os.PathLike[bytes] | None = None,
        timeout: float | None = 5.0,
        *,
        wait: bool = True,
        adapters: bool = True,
        check_interval: float = 1.0,
        answer_timeout: float = 3.0,
        retry_min: float = 0.1,
        retry_max: float = 5.0,
    ) -> None:
        self._handle: Handle | None = None
        self._options = Options(
            socket_path=None if socket_path is None else os.fsencode(socket_path),
            adapters=adapters,
            check_interval=check_interval,
            answer_timeout=answer_timeout,
            retry_min=retry_min,
            retry_max=retry_max,
        )
        self._timeout = checked_timeout(timeout)
        self._waits = wait
        self._names = Names(b"")
        self._networks: dict[int, Network] | None = None
        self._members: Members | None = None
        self._loss = lib.HB_ERROR_TIMEOUT
        self._waiter: tuple[asyncio.AbstractEventLoop, int, asyncio.Future[None]] | None = None

    # ---- Opening and closing ----

    def open(self) -> Self:
        """Opens and returns this cluster. Raises `UnreachableError` if there is no contact within the time-out, and
        OSError if the system has no memory or descriptor, or if the path is longer than 107 bytes."""
        self._begin()
        try:
            deadline = deadline_of(self._timeout)
            while self._waits:
                is_current = self._wait_for(self._is_contact, deadline)
                if is_current is None:
                    raise self._no_contact()
                if is_current:
                    break
        except BaseException:
            self.close()
            raise
        return self

    async def open_async(self) -> Self:
        """Opens and returns this cluster as `open` does, while the other tasks run."""
        self._begin()
        try:
            deadline = deadline_of(self._timeout)
            while self._waits:
                is_current = await self._wait_for_async(self._is_contact, deadline)
                if is_current is None:
                    raise self._no_contact()
                if is_current:
                    break
        except BaseException:
            self.close()
            raise
        return self

    def close(self) -> None:
        """Ends the watch. Iterations over its events end, too. Closing again does nothing. A closed cluster can be
        opened again."""
        if self._handle is None:
            return
        # A child shares the set of descriptors that its parent's loop waits on, and must not change it.
        if self._waiter is not None and self._handle.is_ours:
            loop, descriptor, ready = self._waiter
            self._waiter = None
            loop.remove_reader(descriptor)
            if not ready.done():
                ready.set_result(None)
        self._handle.close()

    def __enter__(self) -> Self:
        return self.open()

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    async def __aenter__(self) -> Self:
        return await self.open_async()

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __del__(self) -> None:
        handle = getattr(self, "_handle", None)
        if handle is not None and handle.is_open:
            warnings.warn(f"unclosed {self!r}", ResourceWarning, source=self)
            handle.close()

    def __repr__(self) -> str:
        state = "closed" if self._handle is None or not self._handle.is_open else "open"
        return f"<hb_client.Cluster {self._options.socket_path!r} {state}>"

    def _begin(self) -> None:
        if self._handle is not None and self._handle.is_open:
            raise RuntimeError("this cluster is open already")
        handle = Handle(self._options)
        self._names = Names(ffi.string(lib.hb_watch_socket_path(handle.watch)))
        self._networks = None
        self._members = None
        self._loss = lib.HB_ERROR_TIMEOUT
        self._handle = handle

    def _is_contact(self, report: CData) -> bool:
        """Reads a report while the cluster opens, when there can be 100,000 joins that nothing needs."""
        if report.kind == lib.HB_WATCH_UNREACHABLE:
            self._loss = report.error
        if report.kind != lib.HB_WATCH_CURRENT:
            return False
        self._settle()
        return True

    def _no_contact(self) -> UnreachableError:
        kind = NoAnswerError if self._loss == lib.HB_ERROR_TIMEOUT else UnreachableError
        return kind(self._loss, f"no contact with the daemon at {self.socket_path} within {self._timeout} s")

    def _opened(self) -> Handle:
        if self._handle is None:
            raise RuntimeError("this cluster is not open: write `with`, or call open()")
        return self._handle

    # ---- What is configured and up ----

    @property
    def socket_path(self) -> str:
        """The path of the daemon's socket."""
        handle = self._opened()
        with handle.lock:
            return os.fsdecode(ffi.string(lib.hb_watch_socket_path(handle.watch)))

    @property
    def name(self) -> str:
        """The cluster's name; empty if none is known."""
        self._opened().fileno()
        self._names.refresh()
        return self._names.cluster

    @property
    def is_current(self) -> bool:
        """Whether there is contact: True after `Current` and until `Unreachable`."""
        handle = self._opened()
        with handle.lock:
            return lib.hb_watch_is_current(handle.watch) == 1

    @property
    def nodes(self) -> Sequence[Node]:
        """The configured nodes, by number."""
        handle = self._opened()
        with handle.lock:
            members = self._read_members(handle.watch)
            return tuple(self._node(handle.watch, members, number) for number in members.adapters_of)

    @property
    def adapters(self) -> Sequence[Adapter]:
        """The configured adapters, by number."""
        handle = self._opened()
        with handle.lock:
            members = self._read_members(handle.watch)
            return tuple(self._adapter(handle.watch, members, number) for number in members.adapters)

    @property
    def networks(self) -> Sequence[Network]:
        """The configured networks, by number."""
        handle = self._opened()
        with handle.lock:
            return tuple(self._read_networks(handle.watch).values())

    @property
    def local_node(self) -> Node:
        """The node that this program runs on. Raises `NotConfiguredError` before the first contact."""
        handle = self._opened()
        with handle.lock:
            return self.node(lib.hb_watch_local_node(handle.watch))

    def node(self, which: int | str) -> Node:
        """Returns the node of this number or name. Text of digits is a number. Raises `NotConfiguredError`."""
        handle = self._opened()
        with handle.lock:
            members = self._read_members(handle.watch)
            number = self._node_number(which)
            if number is None or number not in members.adapters_of:
                raise NotConfiguredError(lib.HB_ERROR_NODE_NOT_CONFIGURED, f"node {which}")
            return self._node(handle.watch, members, number)

    def adapter(self, which: int | str) -> Adapter:
        """Returns the adapter of this number or name, such as "gamma/net_a" or "3/net_a". Raises
        `NotConfiguredError`."""
        handle = self._opened()
        with handle.lock:
            members = self._read_members(handle.watch)
            number = which if isinstance(which, int) else self._adapter_number(handle.watch, members, which)
            if number is None or number not in members.adapters:
                raise NotConfiguredError(lib.HB_ERROR_ADAPTER_NOT_CONFIGURED, f"adapter {which}")
            return self._adapter(handle.watch, members, number)

    def network(self, which: int | str) -> Network:
        """Returns the network of this number or name. Text of digits is a number. Raises `NotConfiguredError`."""
        handle = self._opened()
        with handle.lock:
            number = self._network_number(handle.watch, which)
            networks = self._read_networks(handle.watch)
            if number is None or number not in networks:
                raise NotConfiguredError(lib.HB_ERROR_NETWORK_NOT_CONFIGURED, f"network {which}")
            return networks[number]

    def _read_members(self, watch: CData) -> Members:
        self._names.refresh()
        if self._members is not None:
            return self._members
        members = Members(watch)
        if members.adapters_of:
            self._members = members
        return members

    def _read_networks(self, watch: CData) -> dict[int, Network]:
        if self._networks:
            return self._networks
        self._networks = networks_of(watch)
        return self._networks

    def _settle(self) -> None:
        """Reads the configuration again. The networks and names are kept until here, because the deaths before this
        event belong to the configuration before it."""
        self._names.settle()
        self._members = None
        self._networks = networks_of(self._opened().watch)

    def _network_name(self, watch: CData, number: int) -> str:
        network = self._read_networks(watch).get(number)
        return network.name if network else ""

    def _node(self, watch: CData, members: Members, number: int) -> Node:
        return Node(
            number=number,
            name=self._names.of(number),
            state=STATES.get(lib.hb_watch_node_state(watch, number), State.UNKNOWN),
            local=number == lib.hb_watch_local_node(watch),
            adapters=tuple(self._adapter(watch, members, adapter) for adapter in members.adapters_of[number]),
        )

    def _adapter(self, watch: CData, members: Members, number: int) -> Adapter:
        adapter = members.adapters[number]
        return Adapter(
            number=number,
            node=adapter.node,
            node_name=self._names.of(adapter.node),
            network=adapter.network,
            network_name=self._network_name(watch, adapter.network),
            address=adapter.address,
            type=adapter.type,
            state=STATES.get(lib.hb_watch_adapter_state(watch, number), State.UNKNOWN),
        )

    def _node_number(self, which: int | str) -> int | None:
        if isinstance(which, int):
            return which
        return int(which) if is_number(which) else self._names.number_of(which)

    def _network_number(self, watch: CData, which: int | str) -> int | None:
        if isinstance(which, int):
            return which
        if is_number(which):
            return int(which)
        networks = self._read_networks(watch).values()
        return next((network.number for network in networks if network.name == which), None)

    def _adapter_number(self, watch: CData, members: Members, which: str) -> int | None:
        if is_number(which):
            return int(which)
        # The names of a node and of a network can have a slash themselves, so every place is tried.
        for place in (i for i, c in enumerate(which) if c == "/"):
            node = self._node_number(which[:place])
            network = self._network_number(watch, which[place + 1 :])
            if node is None or network is None:
                continue
            for number in members.adapters_of.get(node, ()):
                if members.adapters[number].network == network:
                    return number
        return None

    # ---- Events ----

    def watch(self, timeout: float | None = None) -> Watch:
        """Returns the events from now on, for `for` or for `async for`.

        The iteration waits for the next event. It ends when the time-out is over, counted from this call, or when the
        cluster is closed. Without a time-out it does not end by itself, not even without a daemon. It can be ended and
        begun again: what happens in between is reported then.
        """
        self._opened().fileno()
        return Watch(self, timeout)

    def poll(self) -> list[Event]:
        """Returns the events that have arrived, without waiting. The states are then those after the last one. After
        thousands of events, the daemon may send the rest only now: they arrive with the next call."""
        handle = self._opened()
        events: list[Event] = []
        try:
            while True:
                event = handle.next(self._event)
                if event is not None:
                    events.append(event)
                elif not handle.wait(deadline_of(0)):
                    return events
        except BaseException:
            handle.give_back(events)
            raise

    def fileno(self) -> int:
        """Returns the descriptor to wait on for reading, for a program with an event loop of its own. Call `poll` when
        it is readable."""
        return self._opened().fileno()

    def _wait_for(self, convert: Callable[[CData], Result], deadline: float | None) -> Result | None:
        """Returns None when the time is over, or when the cluster has been closed."""
        handle = self._opened()
        while handle.is_open:
            result = handle.next(convert)
            if result is not None:
                return result
            if not handle.wait(deadline) or seconds_left(deadline) == 0:
                return None
        return None

    async def _wait_for_async(self, convert: Callable[[CData], Result], deadline: float | None) -> Result | None:
        handle = self._opened()
        while handle.is_open:
            result = handle.next(convert)
            if result is not None:
                return result
            if seconds_left(deadline) == 0:
                return None
            await self._readable(handle, deadline)
        return None

    async def _readable(self, handle: Handle, deadline: float | None) -> None:
        """Waits until the descriptor is readable, the time is over or the cluster is closed."""
        if self._waiter is not None:
            raise RuntimeError("another task waits for the events of this cluster")
        loop = asyncio.get_running_loop()
        ready = loop.create_future()
        waiter = (loop, handle.fileno(), ready)
        left = seconds_left(deadline)
        timer = None if left is None else loop.call_later(left, finish, ready)
        loop.add_reader(waiter[1], finish, ready)
        self._waiter = waiter
        try:
            await ready
        finally:
            if self._waiter is waiter:
                self._waiter = None
                loop.remove_reader(waiter[1])
            if timer is not None:
                timer.cancel()

    def _event(self, report: CData) -> Event:
        return self._makers[report.kind](self, report)

    def _node_joined(self, report: CData) -> Event:
        self._names.refresh()
        return NodeJoined(
            time=time_of(report.time),
            since=time_of(report.since),
            node=report.node,
            name=self._names.of(report.node),
            caught_up=bool(report.flags & lib.HB_WATCH_CAUGHT_UP),
            initial=bool(report.flags & lib.HB_WATCH_INITIAL),
            failure=text_of(report.failure),
        )

    def _node_died(self, report: CData) -> Event:
        self._names.refresh()
        return NodeDied(
            time=time_of(report.time),
            since=time_of(report.since),
            node=report.node,
            name=self._names.of(report.node),
            caught_up=bool(report.flags & lib.HB_WATCH_CAUGHT_UP),
            removed=bool(report.flags & lib.HB_WATCH_REMOVED),
            failure=text_of(report.failure),
        )

    def _adapter_joined(self, report: CData) -> Event:
        self._names.refresh()
        return AdapterJoined(
            time=time_of(report.time),
            since=time_of(report.since),
            adapter=report.adapter,
            node=report.node,
            node_name=self._names.of(report.node),
            network=report.network,
            network_name=self._network_name(self._opened().watch, report.network),
            caught_up=bool(report.flags & lib.HB_WATCH_CAUGHT_UP),
            initial=bool(report.flags & lib.HB_WATCH_INITIAL),
            failure=text_of(report.failure),
        )

    def _adapter_died(self, report: CData) -> Event:
        self._names.refresh()
        return AdapterDied(
            time=time_of(report.time),
            since=time_of(report.since),
            adapter=report.adapter,
            node=report.node,
            node_name=self._names.of(report.node),
            network=report.network,
            network_name=self._network_name(self._opened().watch, report.network),
            caught_up=bool(report.flags & lib.HB_WATCH_CAUGHT_UP),
            removed=bool(report.flags & lib.HB_WATCH_REMOVED),
            failure=text_of(report.failure),
        )

    def _configuration_changed(self, report: CData) -> Event:
        self._settle()
        return ConfigurationChanged(time=time_of(report.time))

    def _current(self, report: CData) -> Event:
        self._settle()
        return Current(time=time_of(report.time))

    def _unreachable(self, report: CData) -> Event:
        return Unreachable(
            time=time_of(report.time),
            since=time_of(report.since) if report.since else None,
            number=report.error,
        )

    _makers: dict[int, Callable[["Cluster", CData], Event]] = {
        lib.HB_WATCH_CURRENT: _current,
        lib.HB_WATCH_UNREACHABLE: _unreachable,
        lib.HB_WATCH_NODE_JOINED: _node_joined,
        lib.HB_WATCH_NODE_DIED: _node_died,
        lib.HB_WATCH_ADAPTER_JOINED: _adapter_joined,
        lib.HB_WATCH_ADAPTER_DIED: _adapter_died,
        lib.HB_WATCH_CONFIGURATION: _configuration_changed,
    }


def finish(ready: "asyncio.Future[None]") -> None:
    if not ready.done():
        ready.set_result(None)


def is_number(which: str) -> bool:
    return which.isascii() and which.isdigit()
