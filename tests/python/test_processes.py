# SPDX-License-Identifier: Apache-2.0
"""Forked children, and programs started by exec."""
import asyncio
import os
import pickle
import traceback

import hb_client
import pytest
from expectations import next_events, texts
from harness import GENEROUS


def exit_code_in_child(function):
    """Runs the function in a forked child, which ends with 0 if it raises nothing."""
    child = os.fork()
    if child == 0:
        try:
            function()
            os._exit(0)
        except BaseException:
            traceback.print_exc()
            os._exit(1)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def test_a_forked_child_can_only_close_and_its_parent_goes_on(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:

        def child():
            for use in (lambda: cluster.nodes, lambda: cluster.poll(), lambda: cluster.watch(), cluster.fileno):
                with pytest.raises(RuntimeError, match="belongs to the parent process"):
                    use()
            cluster.close()

        assert exit_code_in_child(child) == 0
        wispd.command("adapter-down", adapter=5)
        assert texts(next_events(cluster, 1)) == ["adapter 5 (beta/net_b) died"]


def test_a_forked_child_that_ends_without_closing_disturbs_nothing(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:
        assert exit_code_in_child(lambda: None) == 0
        wispd.command("adapter-down", adapter=5)
        assert texts(next_events(cluster, 1)) == ["adapter 5 (beta/net_b) died"]


def test_a_forked_child_opens_its_own_cluster(wispd):
    with hb_client.Cluster(wispd.socket) as cluster:

        def child():
            with hb_client.Cluster(wispd.socket) as own:
                wispd.command("adapter-down", adapter=5)
                assert texts(next_events(own, 1)) == ["adapter 5 (beta/net_b) died"]

        assert exit_code_in_child(child) == 0
        assert texts(next_events(cluster, 1)) == ["adapter 5 (beta/net_b) died"]


def test_a_forked_child_that_closes_leaves_the_waiting_task_of_its_parent_alone(wispd):
    async def main():
        async with hb_client.Cluster(wispd.socket) as cluster:

            async def watch():
                async for event in cluster.watch(timeout=GENEROUS):
                    return str(event)

            task = asyncio.create_task(watch())
            await asyncio.sleep(0)
            assert not task.done()
            assert exit_code_in_child(cluster.close) == 0
            wispd.command("adapter-down", adapter=5)
            assert await task == "adapter 5 (beta/net_b) died"

    asyncio.run(main())


def descriptors():
    return {int(name) for name in os.listdir("/proc/self/fd")}


def test_closing_leaves_no_descriptor_and_exec_inherits_none(wispd):
    before = descriptors()
    with hb_client.Cluster(wispd.socket):
        new = {number for number in descriptors() - before if os.path.exists(f"/proc/self/fd/{number}")
               or os.path.islink(f"/proc/self/fd/{number}")}
        assert len(new) >= 2
        assert [number for number in new if os.get_inheritable(number)] == []
    assert descriptors() - before == set()


def test_errors_cross_processes():
    error = hb_client.NotConfiguredError(9, "node omega")
    again = pickle.loads(pickle.dumps(error))
    assert (type(again), str(again), again.number) == (type(error), str(error), 9)
