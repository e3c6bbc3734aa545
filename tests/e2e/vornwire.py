"""Message trees and their frames, written without the program's own coder.

A message is a text (str or bytes) or a Box, a named container. A dict stands for a Box without a
name whose children travel in key order.
"""
import os
import struct
from dataclasses import dataclass, field

HEADER = 140
LARGEST = 5 * 1024 * 1024


@dataclass
class Box:
    """A container; its children are (key, message) pairs and travel as they stand."""
    name: bytes | str = b""
    children: list = field(default_factory=list)


def raw(text):
    return text if isinstance(text, bytes) else os.fsencode(text)


def box(name, children):
    return Box(name, sorted(children.items(), key=lambda child: raw(child[0])))


def ub4(number):
    return struct.pack("<I", number)


def string(text):
    return ub4(len(raw(text))) + raw(text)


def tag(message):
    return b"Container" if isinstance(message, (Box, dict)) else b"TextMessage"


def body(message):
    if isinstance(message, dict):
        message = box(b"", message)
    if not isinstance(message, Box):
        return string(message)
    parts = [ub4(len(message.children)), string(message.name)]
    for key, child in message.children:
        parts += [string(key), string(tag(child)), body(child)]
    return b"".join(parts)


def envelope(content, root=b"Container", total=None, claimed=None):
    """A frame around a body; the lengths it states may be other than the true ones."""
    total = HEADER + len(content) if total is None else total
    claimed = len(content) if claimed is None else claimed
    return (struct.pack("<IHHBBH", total, 0x4350, 0, 12, 1, 0) + bytes(36) + ub4(0)
            + ub4(len(root)) + root.ljust(72, b"\0") + bytes(8) + ub4(claimed) + content)


def frame(message):
    return envelope(body(message), tag(message))
