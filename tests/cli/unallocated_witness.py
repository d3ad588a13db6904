#!/usr/bin/env python3
"""Records in free clusters, planted and found.

planted: copies of a volume's own records, whole and damaged, in its free clusters: the rows of the original, or none.
volumes: every slot that a plain search over the free clusters, as another toolkit delivers them, finds in real volumes.
"""
import itertools
import re
import struct
import subprocess

import support
from made_volumes import format_volume
from support import equal
from toolkit import output

SHAPES = [(512, 512), (512, 1024), (512, 4096), (512, 65536), (4096, 4096)]  # bytes of a sector, of a cluster


def rows_of(test, image, *words):
    """Rows, keyed by their record's number and sequence, in runs of the same key."""
    rows = test.rows("-image", test.host(image), *words)[1:]
    key = lambda row: (int(row[0], 16), int(row[1], 0))
    return [(key, list(group)) for key, group in itertools.groupby(rows, key)]


def spoiled(record, *changes):
    record = bytearray(record)
    for at, data in changes:
        record[at:at + len(data)] = data
    return bytes(record)


def plants(records):
    """What is planted, and whether its rows are those of the original."""
    for number, record in records.items():
        yield number, record, True
        yield number, spoiled(record, (0, b"BAAD")), True
        yield number, spoiled(record, (510, b"\0\0"), (len(record) - 2, b"\xff\xee")), True  # not compared: put right
        for damage in [(0, b"INDX"), (0, b"file"), (0, b"FIL\0"), (4, b"\x31\0"), (6, b"\x0a\0"), (20, b"\xff\xff")]:
            yield number, spoiled(record, damage), False
        yield number, bytes(512) + record[:-512], False  # away from a multiple of the record size


def make_volume(path, sector, cluster):
    format_volume(path, sector, cluster, max(16 << 20, 400 * cluster))
    for name, size in [("a note.txt", 40), ("b-\u00e4\u6587.bin", 50_000), ("none", 0)]:
        content = path.with_name("content")
        content.write_bytes(bytes(range(1, 256)) * (size // 255) + b"x" * (size % 255))
        output("ntfscp", path, content, name)


def free_clusters(bitmap, first):
    return (index for index in range(first, 8 * len(bitmap)) if not bitmap[index >> 3] >> (index & 7) & 1)


def plant_and_compare(test, sector, cluster):
    image = test.work / "planted.dd"
    make_volume(image, sector, cluster)
    mft, bitmap = output("icat", image, 0), output("icat", image, 6)
    size = max(1024, sector)
    records = {number: mft[number * size:][:size] for number in [0, 3, 5, 9, 11, 24, 64, 65, 66]}
    equal(f"{sector}/{cluster} before", rows_of(test, image, "-csv", "-filter_unalloc_clusters"), [])
    slots, free, expected = max(cluster // size, 1), free_clusters(bitmap, 1000 if cluster < 65536 else 300), []
    with open(image, "r+b") as file:
        for place, (number, record, found) in enumerate(plants(records)):
            if place % slots == 0:
                at = next(free) * cluster
            file.seek(at + place % slots * size)
            file.write(record)
            expected += [number] if found and cluster >= size else []
    for shape in ["-csv", "-csvperpath"]:
        column = 4 if shape == "-csv" else None
        of_mft = {key[0]: rows for key, rows in rows_of(test, image, shape)}
        found = rows_of(test, image, shape, "-filter_unalloc_clusters")
        without_type = lambda cell: re.sub("unalloc(-deleted)?|file|dir|del", "T", cell.strip())
        is_type = lambda index: column in (None, index)
        plain_row = lambda row: [without_type(cell) if is_type(index) else cell for index, cell in enumerate(row)]
        plain = lambda rows: list(map(plain_row, rows))
        # Copies that lie behind each other are one run of rows.
        runs = [(number, len(list(group))) for number, group in itertools.groupby(expected)]
        wanted = [plain(of_mft[number]) * count for number, count in runs]
        equal(f"{sector}/{cluster} {shape}", [plain(rows) for key, rows in found], wanted)
        equal(f"{sector}/{cluster} {shape} has some", len(found) > 8, cluster >= size)
        says_so = all("unalloc" in "".join(row) for key, rows in found for row in rows)
        equal(f"{sector}/{cluster} {shape} says so", says_so, True)


def slots_of(image, size):
    search = subprocess.Popen(["blkls", image], stdout=subprocess.PIPE)
    while free := search.stdout.read(support.BLOCK):
        for at in range(0, len(free), size) if free.strip(b"\0") else ():
            record = free[at:at + size]
            offset, count, sequence = struct.unpack_from("<HH8xH", record, 4)
            last_offset, most = {b"FILE": (48, 9), b"BAAD": (64, 10)}.get(record[:4], (-1, -1))
            if offset <= last_offset and count <= most:
                yield struct.unpack_from("<I", record, 44)[0] if offset == 48 else 2**64 - 1, sequence
    equal("blkls", search.wait(), 0)


def search_real_volumes(test):
    """Nothing survives in the free space of the real volumes: each is searched a second time with copies in it."""
    for packed in sorted(support.require_data().glob("ntfs-si*.raw.gz")):
        image = support.unpack(packed, test.work / "volume.dd", behind=65536)  # where the volume lies in these disks
        mft, bitmap = output("icat", image, 0), output("icat", image, 6)
        keys_of = lambda: [key for key, rows in rows_of(test, image, "-csv", "-filter_unalloc_clusters")]
        equal(f"slots of {packed.name}", keys_of(), list(slots_of(image, 1024)))
        with open(image, "r+b") as file:
            for count, cluster in enumerate(itertools.islice(free_clusters(bitmap, 100), 0, None, 997)):
                number = [0, 3, 5, 9, 11, 24, 25, 26, 27, 38, 39][count % 11]
                file.seek(cluster * 4096 + count % 4 * 1024)
                file.write(spoiled(mft[number * 1024:][:1024], (4, b"*\0") if count % 5 == 4 else (16, b"\x07")))
        planted = list(slots_of(image, 1024))
        equal(f"slots of {packed.name} with copies", keys_of(), planted)
        equal("enough of them", len(planted) > 100, True)
        image.unlink()


def main():
    test = support.Test(__doc__, "planted", "volumes")
    support.require("mkntfs", "ntfscp", "blkls", "icat")
    if test.part == "planted":
        for shape in SHAPES:
            plant_and_compare(test, *shape)
    else:
        search_real_volumes(test)
    support.finish(3)


if __name__ == "__main__":
    main()
