# SPDX-License-Identifier: Apache-2.0
"""The same events for tasks of asyncio, which do not hold up each other."""
import asyncio
import contextlib
import signal
import time

import hb_client
import pytest
from expectations import has_no_event, next_events, texts
from harness import GENEROUS
from hb_client import State


class Ticker:
    """Counts the turns of another task."""

    async def __aenter__(self):
        self.turns = 0
        self.task = asyncio.create_task(self.tick())
        return self

    async def tick(self):
        while True:
            await asyncio.sleep(0.001)
            self.turns += 1

    async def __aexit__(self, *_):
        self.task.cancel()


async def cancelled(task):
    """Cancels the task, and returns the seconds until it has ended."""
    started = time.monotonic()
    task.cancel()
    with contextlib.suppress(asyncio.CancelledError):
        await task
    assert task.cancelled()
    return time.monotonic() - started


async def is_waiting(task, ticker):
    """Returns when the other tasks have had many turns, and the task has not ended."""
    turns = ticker.turns
    while ticker.turns < turns + 20:
        await asyncio.sleep(0.001)
    assert not task.done()


def test_events_arrive_while_other_tasks_run(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster, Ticker() as ticker:
            assert [node.name for node in cluster.nodes] == ["alpha", "beta", "gamma", "delta"]
            received = []

            async def watch():
                async for event in cluster.watch(timeout=GENEROUS):
                    received.append(event)
                    if isinstance(event, hb_client.NodeDied):
                        return

            task = asyncio.create_task(watch())
            await is_waiting(task, ticker)
            wispd.command("node-down", node=3)
            await task
            assert texts(received) == [
                "adapter 6 (gamma/net_a) died", "adapter 7 (gamma/net_b) died", "node 3 (gamma) died"]
            assert cluster.node("gamma").state is State.DOWN

    asyncio.run(main())


def test_a_cancelled_watch_loses_nothing(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster, Ticker() as ticker:

            async def watch():
                async for _ in cluster.watch():
                    raise AssertionError("nothing happens")

            task = asyncio.create_task(watch())
            await is_waiting(task, ticker)
            taken = await cancelled(task)
            print(f"a waiting task was cancelled within {1000 * taken:.1f} ms")
            assert taken < GENEROUS / 2
            wispd.command("node-down", node=3)
            received = []
            async for event in cluster.watch(timeout=GENEROUS):
                received.append(event)
                if len(received) == 3:
                    break
            assert texts(received)[2] == "node 3 (gamma) died"
            assert has_no_event(cluster)

    asyncio.run(main())


def test_an_opening_that_waits_for_a_stopped_daemon_holds_nothing_up_and_is_cancelled(wispd):
    async def main():
        wispd.child.send(signal.SIGSTOP)
        async with Ticker() as ticker:
            cluster = hb_client.Cluster(wispd.socket, timeout=None)
            task = asyncio.create_task(cluster.open_async())
            await is_waiting(task, ticker)
            assert await cancelled(task) < GENEROUS / 2
            with pytest.raises(RuntimeError, match="closed"):
                cluster.nodes  # noqa: B018
            with pytest.raises(hb_client.NoAnswerError):
                await hb_client.Cluster(wispd.socket, timeout=0.2).open_async()

    asyncio.run(main())


def test_the_time_out_of_asyncio_ends_a_watch(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster:
            with pytest.raises(TimeoutError):
                async with asyncio.timeout(0.1):
                    async for _ in cluster.watch():
                        raise AssertionError("nothing happens")

    asyncio.run(main())


def test_an_iteration_ends_with_its_time_out(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster:
            for timeout in (0, 0.2):
                started = time.monotonic()
                assert [event async for event in cluster.watch(timeout=timeout)] == []
                assert timeout <= time.monotonic() - started < timeout + GENEROUS

    asyncio.run(main())


def test_only_one_task_can_wait(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster, Ticker() as ticker:

            async def watch():
                return [event async for event in cluster.watch(timeout=GENEROUS)]

            first = asyncio.create_task(watch())
            await is_waiting(first, ticker)
            with pytest.raises(RuntimeError, match="another task"):
                await watch()
            await cancelled(first)

    asyncio.run(main())


def test_closing_ends_the_watch_of_another_task(wispd):
    async def main():
        async with Ticker() as ticker:
            cluster = await hb_client.Cluster(wispd.socket).open_async()

            async def watch():
                return [event async for event in cluster.watch()]

            task = asyncio.create_task(watch())
            await is_waiting(task, ticker)
            cluster.close()
            assert await asyncio.wait_for(task, GENEROUS) == []

    asyncio.run(main())


def test_a_burst_of_events_leaves_turns_to_other_tasks(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster:
            for _ in range(300):
                wispd.command("adapter-down", adapter=5)
                wispd.command("adapter-up", adapter=5)
            turns = []

            async def other():
                while True:
                    turns.append(count)
                    await asyncio.sleep(0)

            count = 0
            task = asyncio.create_task(other())
            async for _ in cluster.watch(timeout=GENEROUS):
                count += 1
                if count == 600:
                    break
            await cancelled(task)
            # It never waited for more than a hundred events.
            gaps = [later - earlier for earlier, later in zip([0] + turns, turns + [600])]
            print(f"the other task had {len(turns)} turns, with at most {max(gaps)} events between two")
            assert max(gaps) <= 100

    asyncio.run(main())


def test_a_restart_of_the_daemon_is_reported(wispd):
    async def watch(opened):
        async with hb_client.Cluster(wispd.socket) as cluster:
            opened.set()
            kinds = []
            async for event in cluster.watch(timeout=GENEROUS):
                kinds.append(type(event))
                if kinds == [hb_client.Unreachable]:
                    await asyncio.to_thread(wispd.start)
                if kinds[-1] is hb_client.Current:
                    break
            return kinds

    async def stop_and_watch():
        opened = asyncio.Event()
        task = asyncio.create_task(watch(opened))
        await opened.wait()
        await asyncio.to_thread(wispd.stop)
        return await task

    kinds = asyncio.run(stop_and_watch())
    assert kinds[0] is hb_client.Unreachable
    assert set(kinds[1:]) <= {hb_client.ConfigurationChanged, hb_client.Current}


def test_one_program_uses_both_forms(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:

        async def first():
            async for event in cluster.watch(timeout=GENEROUS):
                return event

        wispd.command("adapter-down", adapter=5)
        wispd.command("adapter-up", adapter=5)
        assert str(asyncio.run(first())) == "adapter 5 (beta/net_b) died"
        assert texts(next_events(cluster, 1)) == ["adapter 5 (beta/net_b) joined"]
