#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Serves the nodes that are up, on a UNIX socket: service.py PATH. Each client receives one line of JSON at once, and one
line after each change: {"in_contact": true, "up": [1, 2]}. Ctrl-C or SIGTERM ends it.
"""
import asyncio
import json
import signal
import sys

from hb_client import Cluster, Current, NodeDied, NodeJoined, State, Unreachable


class Service:
    def __init__(self, cluster: Cluster) -> None:
        self.up = {node.number for node in cluster.nodes if node.state is State.UP}
        self.in_contact = True
        self.clients: set[asyncio.StreamWriter] = set()

    def line(self) -> bytes:
        return json.dumps({"in_contact": self.in_contact, "up": sorted(self.up)}).encode() + b"\n"

    async def follow(self, cluster: Cluster) -> None:
        async for event in cluster.watch():
            match event:
                case NodeJoined(node=number):
                    self.up.add(number)
                case NodeDied(node=number):
                    self.up.discard(number)
                case Current() | Unreachable():
                    self.in_contact = isinstance(event, Current)
                case _:
                    continue
            for client in self.clients:
                client.write(self.line())

    async def serve(self, reader: asyncio.StreamReader, client: asyncio.StreamWriter) -> None:
        client.write(self.line())
        self.clients.add(client)
        await reader.read()  # a client sends nothing: this ends when it disconnects
        self.clients.discard(client)
        client.close()


async def main(path: str) -> None:
    async with Cluster() as cluster:
        service = Service(cluster)
        server = await asyncio.start_unix_server(service.serve, path)
        follow = asyncio.create_task(service.follow(cluster))
        asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, follow.cancel)
        async with server:
            await follow


try:
    asyncio.run(main(sys.argv[1]))
except (KeyboardInterrupt, asyncio.CancelledError):
    pass
