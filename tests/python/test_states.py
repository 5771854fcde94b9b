# SPDX-License-Identifier: Apache-2.0
"""What is configured and up, and how a cluster is opened."""
import dataclasses
import errno
import ipaddress
import signal
import threading
import warnings

import hb_client
import pytest
from expectations import has_no_event, next_events, next_of, texts
from harness import GENEROUS, wait_until
from hb_client import State


def test_opening_gives_the_nodes_with_names_and_states(wispd):
    wispd.command("node-down", node=4)
    with hb_client.Cluster(wispd.socket) as cluster:
        assert [(node.number, node.name, node.state, node.local) for node in cluster.nodes] == [
            (1, "alpha", State.UP, True),
            (2, "beta", State.UP, False),
            (3, "gamma", State.UP, False),
            (4, "delta", State.DOWN, False),
        ]
        assert cluster.is_current
        assert cluster.name == "demo"
        assert cluster.local_node == cluster.nodes[0]
        assert cluster.socket_path == wispd.socket
        assert [str(node) for node in cluster.nodes][2] == "node 3 (gamma)"
        assert has_no_event(cluster)


def test_opening_gives_adapters_and_networks(wispd):
    wispd.command("adapter-down", adapter=7)
    with hb_client.Cluster(wispd.socket) as cluster:
        assert [adapter.number for adapter in cluster.adapters] == [2, 3, 4, 5, 6, 7, 8, 9]
        gamma = cluster.node(3)
        assert [adapter.number for adapter in gamma.adapters] == [6, 7]
        assert gamma.adapters[1] == hb_client.Adapter(
            number=7,
            node=3,
            node_name="gamma",
            network=1,
            network_name="net_b",
            address=ipaddress.IPv4Address("10.2.0.3"),
            type="eth1",
            state=State.DOWN,
        )
        assert gamma.adapters[0].state is State.UP
        assert str(gamma.adapters[1]) == "adapter 7 (gamma/net_b 10.2.0.3 eth1)"
        assert cluster.networks == (
            hb_client.Network(number=0, name="net_a", type="ether"),
            hb_client.Network(number=1, name="net_b", type="ether"),
        )


def test_addresses_are_those_of_their_family_or_none(stopped_wispd):
    with open(stopped_wispd.directory.file("cluster.toml"), "r+", encoding="utf-8") as file:
        text = file.read().replace('"10.2.0.2"', '"fd00:2::2"').replace('"10.2.0.3"', '"none"')
        file.seek(0)
        file.write(text)
        file.truncate()
    stopped_wispd.start()
    with hb_client.Cluster(stopped_wispd.socket) as cluster:
        assert cluster.adapter(5).address == ipaddress.IPv6Address("fd00:2::2")
        assert cluster.adapter(7).address is None
        assert cluster.adapter(9).address == ipaddress.IPv4Address("10.2.0.4")


def test_members_are_found_by_number_and_by_name(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        assert cluster.node("gamma").number == cluster.node("3").number == cluster.node(3).number == 3
        assert cluster.network("net_b").number == cluster.network(1).number == 1
        for which in (7, "7", "gamma/net_b", "3/net_b", "gamma/1"):
            assert cluster.adapter(which).number == 7
        assert cluster.adapter(7).name == "gamma/net_b"


def test_what_is_not_configured_is_an_error_with_number_name_and_text(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        with pytest.raises(hb_client.NotConfiguredError) as raised:
            cluster.node("omega")
        assert raised.value.number == 9
        assert raised.value.name == "HB_ERROR_NODE_NOT_CONFIGURED"
        assert raised.value.text == "the node is not configured"
        assert str(raised.value) == "node omega: the node is not configured (HB_ERROR_NODE_NOT_CONFIGURED, 9)"
        assert isinstance(raised.value, hb_client.Error) and isinstance(raised.value, LookupError)
        for find, which, number in (
            (cluster.node, 5, 9),
            (cluster.node, -1, 9),
            (cluster.adapter, 0, 7),
            (cluster.adapter, "gamma", 7),
            (cluster.adapter, "gamma/net_c", 7),
            (cluster.network, "net_c", 8),
            (cluster.network, 2, 8),
        ):
            with pytest.raises(hb_client.NotConfiguredError) as raised:
                find(which)
            assert raised.value.number == number


def test_states_are_those_after_the_last_event(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("node-down", node=3)
        assert cluster.node(3).state is State.UP
        next_of(cluster, hb_client.NodeDied)
        assert cluster.node(3).state is State.DOWN
        assert {adapter.state for adapter in cluster.node(3).adapters} == {State.DOWN}


def test_poll_brings_the_states_up_to_date(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("node-down", node=3)
        expected = ["adapter 6 (gamma/net_a) died", "adapter 7 (gamma/net_b) died", "node 3 (gamma) died"]
        events = []

        def have_arrived():
            events.extend(texts(cluster.poll()))
            return len(events) >= len(expected)

        wait_until(have_arrived, "the deaths arrive")
        assert events == expected
        assert cluster.node(3).state is State.DOWN


def test_a_watch_of_nodes_alone_knows_no_adapter_states(wispd):
    with hb_client.Cluster(wispd.socket, adapters=False) as cluster:
        assert {adapter.state for adapter in cluster.adapters} == {State.UNKNOWN}
        assert {node.state for node in cluster.nodes} == {State.UP}
        wispd.command("node-down", node=3)
        assert texts(next_events(cluster, 1)) == ["node 3 (gamma) died"]
        assert has_no_event(cluster)


def test_the_path_comes_from_the_environment(wispd, monkeypatch):
    monkeypatch.setenv("HB_SERVER_SOCKET", wispd.socket)
    with hb_client.Cluster() as cluster:
        assert cluster.socket_path == wispd.socket
        assert cluster.node(3).name == "gamma"
    monkeypatch.setenv("HB_SERVER_SOCKET", "/absent")
    monkeypatch.setenv("HA_DOMAIN_NAME", "domain")
    with hb_client.Cluster(wait=False) as cluster:
        assert cluster.socket_path == "/absent.domain"


def test_without_a_daemon_opening_raises_unreachable(directory):
    path = directory.file("absent")
    with pytest.raises(hb_client.UnreachableError) as raised:
        hb_client.Cluster(path, timeout=0.3).open()
    assert (raised.value.number, raised.value.name) == (15, "HB_ERROR_CONNECT_FAILED")
    assert not isinstance(raised.value, TimeoutError)
    assert path in str(raised.value) and "within 0.3 s" in str(raised.value)


def test_a_stopped_daemon_makes_opening_raise_a_time_out(wispd):
    wispd.child.send(signal.SIGSTOP)
    # Before the daemon counts as unreachable, and after that.
    for answer_timeout in (GENEROUS, 0.1):
        with pytest.raises(TimeoutError) as raised:
            hb_client.Cluster(wispd.socket, timeout=0.5, answer_timeout=answer_timeout).open()
        assert isinstance(raised.value, hb_client.UnreachableError)
        assert (raised.value.number, raised.value.name) == (2, "HB_ERROR_TIMEOUT")


def test_opening_waits_for_a_daemon_that_starts(stopped_wispd):
    with hb_client.Cluster(stopped_wispd.socket, wait=False) as early:
        # It has tried to connect, so an opening would have, too.
        assert next_events(early, 1)[0].number == 15
        opened = []
        cluster = hb_client.Cluster(stopped_wispd.socket, timeout=GENEROUS)
        thread = threading.Thread(target=lambda: opened.append(cluster.open().is_current))
        thread.start()
        stopped_wispd.start()
        thread.join(GENEROUS)
        cluster.close()
        assert opened == [True]


def test_without_waiting_what_is_up_joins_first(stopped_wispd):
    with hb_client.Cluster(stopped_wispd.socket, wait=False) as cluster:
        assert cluster.nodes == () and cluster.networks == () and not cluster.is_current
        with pytest.raises(hb_client.NotConfiguredError):
            cluster.local_node  # noqa: B018
        unreachable = next_events(cluster, 1)[0]
        assert (unreachable.number, unreachable.since) == (15, None)
        assert str(unreachable).endswith("(HB_ERROR_CONNECT_FAILED, 15)")
        stopped_wispd.start()
        events = next_events(cluster, 13)
        assert all(event.initial for event in events[:-1])
        assert isinstance(events[-1], hb_client.Current)
        assert sorted(texts(events)) == sorted(
            [f"adapter {n} ({name}) is up" for n, name in enumerate(
                [f"{node}/net_{net}" for node in ("alpha", "beta", "gamma", "delta") for net in "ab"], 2)]
            + ["node 1 (alpha) is up", "node 2 (beta) is up", "node 3 (gamma) is up", "node 4 (delta) is up"]
            + ["in contact with the daemon"]
        )
        assert cluster.is_current and len(cluster.nodes) == 4


def test_wrong_arguments_are_rejected_when_the_cluster_is_made():
    for wrong in (
        {"timeout": -1},
        {"timeout": float("nan")},
        {"check_interval": -0.1},
        {"answer_timeout": 0},
        {"retry_min": 0},
        {"retry_min": 2, "retry_max": 1},
        {"socket_path": "a\0b"},
    ):
        with pytest.raises(ValueError):
            hb_client.Cluster(**wrong)


def test_a_path_that_is_too_long_is_an_error_of_the_system():
    with pytest.raises(OSError) as raised:
        hb_client.Cluster("/" + "x" * 107).open()
    assert raised.value.errno == errno.ENAMETOOLONG


def test_use_before_opening_and_after_closing_is_an_error(wispd):
    cluster = hb_client.Cluster(wispd.socket)
    for use in (lambda: cluster.nodes, lambda: cluster.watch(), lambda: cluster.poll(), lambda: cluster.is_current):
        with pytest.raises(RuntimeError, match="not open"):
            use()
    cluster.close()  # does nothing
    with cluster:
        with pytest.raises(RuntimeError, match="open already"):
            cluster.open()
    for use in (lambda: cluster.nodes, lambda: cluster.watch(), lambda: cluster.poll(), lambda: cluster.is_current):
        with pytest.raises(RuntimeError, match="closed"):
            use()
    with cluster:
        assert cluster.is_current


def test_a_cluster_that_is_not_closed_is_reported(wispd):
    cluster = hb_client.Cluster(wispd.socket).open()
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        del cluster
    assert [warning.category for warning in caught] == [ResourceWarning]
    assert "unclosed <hb_client.Cluster" in str(caught[0].message)


def test_records_cannot_be_changed(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        for record in (cluster.nodes[0], cluster.adapters[0], cluster.networks[0]):
            with pytest.raises(dataclasses.FrozenInstanceError):
                record.number = 5
