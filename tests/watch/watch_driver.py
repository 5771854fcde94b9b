#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The driver of watch_driver.c over the package hb_client: the same options and lines, and its commands except those for
requests and for the cluster service, which the package does not have."""
import os
import select
import sys
import time

import hb_client

WAIT = 0.02
STATES = {hb_client.State.UNKNOWN: 0, hb_client.State.UP: 1, hb_client.State.DOWN: 2}


def nanoseconds(moment):
    return 0 if moment is None else int(moment.timestamp() * 1_000_000) * 1000


def text_of(event):
    match event:
        case hb_client.Current():
            return "current"
        case hb_client.Unreachable():
            return f"unreachable {event.number}"
        case hb_client.ConfigurationChanged():
            return "configuration"
        case hb_client.NodeJoined() | hb_client.NodeDied():
            text = f"node {event.node}"
        case _:
            text = f"adapter {event.adapter}"
    text += " joined" if isinstance(event, (hb_client.NodeJoined, hb_client.AdapterJoined)) else " died"
    for flag in ("initial", "caught_up", "removed"):
        if getattr(event, flag, False):
            text += " " + flag.replace("_", "-")
    return text


def print_report(event):
    fields = {
        "time": nanoseconds(event.time),
        "since": nanoseconds(getattr(event, "since", event.time)),
        "node": getattr(event, "node", -1),
        "network": getattr(event, "network", -1),
        "failure": getattr(event, "failure", ""),
    }
    print("report", text_of(event), *(f"{name}={value}" for name, value in fields.items()), sep="\t", flush=True)


def answer(command, result):
    print("answer", command, result, sep="\t", flush=True)


def state_of(cluster):
    def members(all_of_them):
        return "".join(f"{member.number}:{STATES[member.state]}," for member in all_of_them)

    try:
        local = cluster.local_node.number
    except hb_client.Error:
        local = -1
    networks = "".join(f"{network.number}," for network in cluster.networks)
    return (
        f"current={int(cluster.is_current)} local={local} nodes={members(cluster.nodes)} "
        f"adapters={members(cluster.adapters)} networks={networks}"
    )


class Driver:
    def __init__(self, cluster, waits):
        self.cluster = cluster
        self.waits = waits
        self.paused = False
        self.ended = False
        self.line = ""
        self.longest_next = 0
        self.longest_excess = 0
        self.calls = 0

    def obey(self, command):
        if command == "state":
            answer(command, state_of(self.cluster))
        elif command in ("pause", "resume"):
            self.paused = command == "pause"
            answer(command, "ok")
        elif command == "times":
            answer(command, f"next={self.longest_next} excess={self.longest_excess} calls={self.calls}")
        elif command == "end":
            self.ended = True
        else:
            answer(command.split(" ")[0], "unknown")

    def read_commands(self):
        received = os.read(0, 256).decode()
        self.ended = not received
        *commands, self.line = (self.line + received).split("\n")
        for command in commands:
            self.obey(command)

    def next_reports(self):
        began = time.monotonic_ns()
        events = self.cluster.poll()
        self.longest_next = max(self.longest_next, (time.monotonic_ns() - began) // 1000)
        self.calls += 1
        for event in events:
            print_report(event)

    def wait_reports(self):
        began = time.monotonic_ns()
        event = next(self.cluster.watch(WAIT), None)
        self.longest_excess = max(self.longest_excess, (time.monotonic_ns() - began) // 1000 - int(WAIT * 1_000_000))
        self.calls += 1
        if event is not None:
            print_report(event)

    def turn(self):
        if self.waits and not self.paused:
            self.wait_reports()
        reads = not self.waits and not self.paused
        poller = select.poll()
        poller.register(0, select.POLLIN)
        if reads:
            poller.register(self.cluster.fileno(), select.POLLIN)
        ready = dict(poller.poll(0 if self.waits and not self.paused else None))
        if 0 in ready:
            self.read_commands()
        elif ready:
            self.next_reports()


def main():
    options = dict(argument[2:].split("=", 1) for argument in sys.argv[1:])
    cluster = hb_client.Cluster(
        options.get("socket"),
        wait=False,
        adapters=options.get("what", "both") != "nodes",
        check_interval=int(options.get("check", 1000)) / 1000,
        answer_timeout=int(options.get("answer", 3000)) / 1000,
        retry_min=int(options.get("min", 100)) / 1000,
        retry_max=int(options.get("max", 5000)) / 1000,
    )
    with cluster:
        answer("open", "ok")
        driver = Driver(cluster, options.get("loop") == "wait")
        while not driver.ended:
            driver.turn()
    answer("end", "ok")


main()
