#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints which nodes die and join, as it happens."""
from hb_client import Cluster, NodeDied, NodeJoined

with Cluster() as cluster:
    for event in cluster.watch():
        if isinstance(event, (NodeDied, NodeJoined)):
            print(f"{event.time:%H:%M:%S} {event}", flush=True)
