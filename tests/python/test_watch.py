# SPDX-License-Identifier: Apache-2.0
"""The events of a cluster, through failures of its members and of the daemon."""
import copy
import dataclasses
import datetime
import select
import signal
import threading
import time

import hb_client
import pytest
from conftest import NAMES
from expectations import has_no_event, marks, next_events, texts, until
from harness import GENEROUS, cluster_file
from hb_client import State

UTC = datetime.timezone.utc


def test_a_death_and_a_join_arrive_in_order_with_names(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        before = datetime.datetime.now(UTC)
        wispd.command("node-down", node=3)
        wispd.command("node-up", node=3)
        events = next_events(cluster, 6)
        assert texts(events) == [
            "adapter 6 (gamma/net_a) died",
            "adapter 7 (gamma/net_b) died",
            "node 3 (gamma) died",
            "adapter 6 (gamma/net_a) joined",
            "adapter 7 (gamma/net_b) joined",
            "node 3 (gamma) joined",
        ]
        died = events[2]
        assert (died.node, died.name, died.caught_up, died.removed) == (3, "gamma", False, False)
        assert before <= died.time <= datetime.datetime.now(UTC)
        assert died.time.utcoffset() is not None
        assert died.since == died.time
        # One failure has one identifier, which names the day.
        assert died.failure and {event.failure for event in events[:3]} == {died.failure}
        first = events[0]
        assert (first.adapter, first.node, first.node_name, first.network, first.network_name) == (
            6, 3, "gamma", 0, "net_a")
        assert has_no_event(cluster)


def test_one_adapter_dies_and_joins(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("adapter-down", adapter=5)
        wispd.command("adapter-up", adapter=5)
        died, joined = next_events(cluster, 2)
        assert isinstance(died, hb_client.AdapterDied) and died.name == "beta/net_b"
        assert isinstance(joined, hb_client.AdapterJoined) and not joined.initial
        assert cluster.node(2).state is State.UP


def test_a_restart_of_the_daemon_is_reported_and_nothing_twice(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.stop()
        lost = next_events(cluster, 1)[0]
        assert isinstance(lost, hb_client.Unreachable)
        assert (lost.number, lost.error_name) == (16, "HB_ERROR_DISCONNECTED")
        assert lost.text == "the daemon closed the connection"
        assert lost.since is not None and lost.since <= lost.time
        assert not cluster.is_current
        # The last known states, and names although the file disappeared with the daemon.
        assert [(node.name, node.state) for node in cluster.nodes] == [(name, State.UP) for name in NAMES.values()]
        wispd.start()
        events = until(cluster, hb_client.Current)
        assert [e for e in events if not isinstance(e, (hb_client.ConfigurationChanged, hb_client.Current))] == []
        assert cluster.is_current
        assert marks(cluster, wispd) == []


def test_what_happened_without_contact_is_reported_afterwards(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.kill()
        lost = next_events(cluster, 1)[0]
        path = wispd.directory.file("cluster.toml")
        with open(path, encoding="utf-8") as file:
            text = file.read()
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace('name = "gamma"', 'name = "gamma"\nstate = "down"'))
        wispd.start()
        events = until(cluster, hb_client.Current)
        deaths = [event for event in events if isinstance(event, (hb_client.NodeDied, hb_client.AdapterDied))]
        assert texts(deaths) == [
            "adapter 6 (gamma/net_a) died",
            "adapter 7 (gamma/net_b) died",
            "node 3 (gamma) died",
        ]
        for death in deaths:
            assert death.caught_up and death.since <= lost.time <= death.time
        assert not [event for event in events if isinstance(event, (hb_client.NodeJoined, hb_client.AdapterJoined))]
        assert cluster.node("gamma").state is State.DOWN
        assert marks(cluster, wispd) == []


def test_a_stopped_daemon_is_unreachable_within_its_time_out_and_returns(wispd):
    with hb_client.Cluster(wispd.socket, check_interval=0.2, answer_timeout=0.5) as cluster:
        wispd.child.send(signal.SIGSTOP)
        started = time.monotonic()
        lost = next_events(cluster, 1)[0]
        taken = time.monotonic() - started
        assert isinstance(lost, hb_client.Unreachable) and lost.number == 2
        print(f"a stopped daemon was unreachable after {taken:.3f} s; check interval and time-out are 0.7 s together")
        assert 0.4 < taken < 0.7 + GENEROUS / 2
        wispd.child.send(signal.SIGCONT)
        assert [e for e in until(cluster, hb_client.Current) if not isinstance(e, hb_client.Current)] == []
        assert marks(cluster, wispd) == []


def test_a_removed_node_dies_with_its_name_and_the_configuration_changes(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("node-leave", node=4)
        events = next_events(cluster, 4)
        assert texts(events[:2]) == ["adapter 8 (delta/net_a) was removed", "adapter 9 (delta/net_b) was removed"]
        assert events[0].removed and events[1].removed
        # The daemon's event of a node does not say why.
        assert isinstance(events[2], hb_client.NodeDied) and (events[2].node, events[2].name) == (4, "delta")
        assert isinstance(events[3], hb_client.ConfigurationChanged)
        assert [node.number for node in cluster.nodes] == [1, 2, 3]
        with pytest.raises(hb_client.NotConfiguredError):
            cluster.node("delta")
        wispd.command("node-join", node=4)
        assert texts(next_events(cluster, 4)) == [
            "the configuration changed",
            "adapter 8 (delta/net_a) joined",
            "adapter 9 (delta/net_b) joined",
            "node 4 (delta) joined",
        ]
        assert cluster.node("delta").number == 4


def test_names_follow_a_reload(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        assert cluster.name == "demo"
        text = cluster_file([1, 2, 3, 4, 5], names=NAMES | {3: "gimel", 5: "epsilon"}, name="renamed")
        with open(wispd.directory.file("cluster.toml"), "w", encoding="utf-8") as file:
            file.write(text.replace("net_b", "net_z"))
        wispd.command("reconfigure")
        assert texts(next_events(cluster, 4)) == [
            "the configuration changed",
            "adapter 10 (epsilon/net_a) joined",
            "adapter 11 (epsilon/net_z) joined",
            "node 5 (epsilon) joined",
        ]
        assert cluster.name == "renamed"
        assert cluster.node("gimel").number == 3
        assert cluster.adapter("gimel/net_z").number == 7


def test_names_that_steer_a_terminal_are_escaped_in_texts():
    now = datetime.datetime.now(UTC)
    event = hb_client.NodeDied(time=now, since=now, node=3, name="a\x1b[2Jb\u202e")
    assert str(event) == "node 3 (a\\x1b[2Jb\\u202e) died"
    assert event.name == "a\x1b[2Jb\u202e"


def test_two_clusters_at_once_are_independent(wispd, other_wispd):
    with hb_client.Cluster(wispd.socket) as one, hb_client.Cluster(other_wispd.socket) as other:
        assert [node.name for node in other.nodes] == ["eta", "theta"]
        other_wispd.command("node-down", node=8)
        assert texts(next_events(other, 3))[-1] == "node 8 (theta) died"
        other_wispd.stop()
        assert isinstance(next_events(other, 1)[0], hb_client.Unreachable)
        assert one.is_current and has_no_event(one)
        wispd.command("node-down", node=3)
        assert texts(next_events(one, 3))[-1] == "node 3 (gamma) died"


def test_two_watches_of_one_daemon_receive_everything(wispd):
    with hb_client.Cluster(wispd.socket) as one, hb_client.Cluster(wispd.socket) as other:
        wispd.command("adapter-down", adapter=5)
        assert texts(next_events(one, 1)) == texts(next_events(other, 1)) == ["adapter 5 (beta/net_b) died"]


def test_an_iteration_ends_with_its_time_out(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        for timeout in (0, 0.2):
            started = time.monotonic()
            assert list(cluster.watch(timeout=timeout)) == []
            assert timeout <= time.monotonic() - started < timeout + GENEROUS
        wispd.command("adapter-down", adapter=5)
        assert texts(cluster.watch(timeout=0.2)) == ["adapter 5 (beta/net_b) died"]
        for wrong in (-1, float("nan")):
            with pytest.raises(ValueError):
                cluster.watch(timeout=wrong)


def test_an_iteration_goes_on_where_another_one_ended(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("node-down", node=3)
        received = []
        while len(received) < 3:
            for event in cluster.watch(timeout=GENEROUS):
                received.append(str(event))
                break
        assert received == [
            "adapter 6 (gamma/net_a) died", "adapter 7 (gamma/net_b) died", "node 3 (gamma) died"]


def test_closing_ends_an_iteration(wispd):
    cluster = hb_client.Cluster(wispd.socket).open()
    wispd.command("node-down", node=3)
    received = []
    for event in cluster.watch(timeout=GENEROUS):
        received.append(event)
        cluster.close()
    assert len(received) == 1


def test_a_program_with_its_own_loop_polls_the_descriptor(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        poller = select.poll()
        poller.register(cluster, select.POLLIN)
        wispd.command("adapter-down", adapter=5)
        received = []
        end = time.monotonic() + GENEROUS
        while not received and time.monotonic() < end:
            poller.poll(1000 * GENEROUS)
            received += cluster.poll()
        assert texts(received) == ["adapter 5 (beta/net_b) died"]


def test_threads_share_the_events_of_one_cluster(wispd):
    received = []
    enough = threading.Event()
    with hb_client.Cluster(wispd.socket) as cluster:

        def watch():
            while not enough.is_set():
                for event in cluster.watch(timeout=0.1):
                    received.append(str(event))

        threads = [threading.Thread(target=watch) for _ in range(3)]
        for thread in threads:
            thread.start()
        try:
            for _ in range(20):
                wispd.command("adapter-down", adapter=5)
                wispd.command("adapter-up", adapter=5)
            end = time.monotonic() + GENEROUS
            while len(received) < 40 and time.monotonic() < end:
                enough.wait(0.01)
        finally:
            enough.set()
            for thread in threads:
                thread.join()
    assert sorted(received) == ["adapter 5 (beta/net_b) died"] * 20 + ["adapter 5 (beta/net_b) joined"] * 20


def test_events_are_values(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        wispd.command("adapter-down", adapter=5)
        event = next_events(cluster, 1)[0]
    assert event == copy.deepcopy(event) and hash(event) == hash(copy.copy(event))
    with pytest.raises(dataclasses.FrozenInstanceError):
        event.node = 4
    match event:
        case hb_client.AdapterDied(adapter=5, node_name="beta"):
            pass
        case _:
            raise AssertionError(event)
