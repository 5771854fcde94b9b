# SPDX-License-Identifier: Apache-2.0
"""What the tests of the Python package share."""
import hb_client
from harness import GENEROUS


def next_events(cluster, count):
    """Returns the next events; fails if there are not as many within a generous time."""
    events = []
    for event in cluster.watch(timeout=GENEROUS):
        events.append(event)
        if len(events) == count:
            return events
    raise AssertionError(f"{count} events were expected, and these arrived: {texts(events)}")


def next_of(cluster, kind):
    """Returns the next event of this kind, and drops those before it."""
    for event in cluster.watch(timeout=GENEROUS):
        if isinstance(event, kind):
            return event
    raise AssertionError(f"no {kind.__name__} arrived")


def until(cluster, kind):
    """Returns the events up to and with the first one of this kind."""
    events = []
    for event in cluster.watch(timeout=GENEROUS):
        events.append(event)
        if isinstance(event, kind):
            return events
    raise AssertionError(f"no {kind.__name__} arrived, but: {texts(events)}")


def texts(events):
    return [str(event) for event in events]


def has_no_event(cluster):
    return cluster.poll() == []


def marks(cluster, wispd):
    """Returns the events that arrive before those of a node that dies and joins, which mark the end."""
    wispd.command("node-down", node=2)
    wispd.command("node-up", node=2)
    events = []
    for event in cluster.watch(timeout=GENEROUS):
        if isinstance(event, hb_client.NodeJoined) and event.node == 2:
            return [e for e in events if getattr(e, "node", None) != 2]
        events.append(event)
    raise AssertionError(f"no mark arrived, but: {texts(events)}")
