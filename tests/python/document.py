# SPDX-License-Identifier: Apache-2.0
"""The programs in docs/python.md."""
import os

DOCUMENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "python.md")


def programs():
    with open(DOCUMENT, encoding="utf-8") as file:
        blocks = file.read().split("\n```python\n")[1:]
    return [block.split("\n```\n")[0] + "\n" for block in blocks]
