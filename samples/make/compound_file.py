"""Writes compound files, [MS-CFB] version 3: storages and streams in one file."""

import struct

SECTOR = 512
SMALL_SECTOR = 64
SMALL_END = 4096
FREE, END, TABLE = 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD


class Storage:
    """A storage as a dictionary of names to bytes or storages."""

    def __init__(self, entries=None):
        self.entries = dict(entries or {})


def padded(data, unit):
    return data + b"\0" * (-len(data) % unit)


def chain(table, size, unit):
    """Adds the chain of `size` bytes to a table and returns its first sector."""
    count = -(-size // unit)
    if count == 0:
        return END
    first = len(table)
    table.extend(range(first + 1, first + count))
    table.append(END)
    return first


def compound_file(root):
    nodes = [("Root Entry", root)]
    children = []
    for _, node in nodes:  # grows while it is walked
        entries = node.entries if isinstance(node, Storage) else {}
        # The order of names is by length, then by their capitals.
        names = sorted(entries, key=lambda name: (len(name), name.upper()))
        children.append(list(range(len(nodes), len(nodes) + len(names))))
        nodes.extend((name, entries[name]) for name in names)

    small, small_table, large, table = b"", [], b"", []
    starts = []
    for _, node in nodes:
        if isinstance(node, Storage):
            starts.append((0, 0))
        elif len(node) < SMALL_END:
            starts.append((chain(small_table, len(node), SMALL_SECTOR), len(node)))
            small += padded(node, SMALL_SECTOR)
        else:
            starts.append((chain(table, len(node), SECTOR), len(node)))
            large += padded(node, SECTOR)
    starts[0] = (chain(table, len(small), SECTOR), len(small))
    large += padded(small, SECTOR)
    small_links = b"".join(struct.pack("<I", entry) for entry in small_table)
    small_links += b"\xFF" * (-len(small_links) % SECTOR)
    first_small = chain(table, len(small_links), SECTOR)
    large += small_links

    links = [[FREE, FREE, FREE] for _ in nodes]

    def tree(numbers):
        if not numbers:
            return FREE
        middle = len(numbers) // 2
        links[numbers[middle]][:2] = tree(numbers[:middle]), tree(numbers[middle + 1:])
        return numbers[middle]

    for number, inner in enumerate(children):
        links[number][2] = tree(inner)
    directory = b""
    for number, (name, node) in enumerate(nodes):
        units = name.encode("utf-16-le") + b"\0\0"
        kind = 5 if number == 0 else 1 if isinstance(node, Storage) else 2
        directory += units.ljust(64, b"\0") + struct.pack("<HBB3I", len(units), kind, 1, *links[number])
        directory += bytes(36) + struct.pack("<IQ", *starts[number])
    while len(directory) % SECTOR:
        directory += bytes(68) + struct.pack("<3I", FREE, FREE, FREE) + bytes(48)
    first_directory = chain(table, len(directory), SECTOR)
    large += directory

    sectors = 1
    while (len(table) + sectors) * 4 > sectors * SECTOR:
        sectors += 1
    first_table = len(table)
    table += [TABLE] * sectors
    allocation = b"".join(struct.pack("<I", entry) for entry in table)
    allocation += b"\xFF" * (-len(allocation) % SECTOR)
    header = b"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1" + bytes(16) + struct.pack("<5H", 0x3E, 3, 0xFFFE, 9, 6) + bytes(6)
    header += struct.pack("<9I", 0, sectors, first_directory, 0, SMALL_END, first_small, len(small_links) // SECTOR, END, 0)
    header += b"".join(struct.pack("<I", first_table + i) for i in range(sectors))
    return header.ljust(SECTOR, b"\xFF") + large + allocation
