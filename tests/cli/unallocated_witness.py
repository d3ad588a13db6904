#!/usr/bin/env python3
"""Records in free clusters, planted and found.

planted: copies of a volume's own records, whole and damaged, in its free clusters: the rows of the original, or none.
volumes: every slot that a plain search over the free clusters, as another toolkit delivers them, finds in real volumes.
"""
import itertools
import os
import re
import struct
import subprocess
import sys

import support

SHAPES = [(512, 512), (512, 1024), (512, 4096), (512, 65536), (4096, 4096)]  # bytes of a sector, of a cluster
options = support.read_options(__doc__, "planted", "volumes")
work, faults = options.work, []


def equal(what, ours, theirs):
    if ours != theirs:
        faults.append(f"{what}:\n  ours    {str(ours)[:900]}\n  witness {str(theirs)[:900]}")


def output(*words):
    return subprocess.run(list(map(str, words)), check=True, capture_output=True).stdout


def rows_of(image, *words):
    """Rows, keyed by their record's number and sequence, in runs of the same key."""
    path = f"Z:{image}" if options.launcher else image
    out = output(*options.command, "-image", path, *words, "-quiet").decode().replace("\r", "").split("\n\n", 1)[1]
    rows = [line.split("," if "-csv" in words else " | ") for line in out.splitlines()[1:]]
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
    path.unlink(missing_ok=True)
    path.touch()
    os.truncate(path, max(16 << 20, 400 * cluster))
    output("mkntfs", "-F", "-q", "-s", sector, "-c", cluster, path)
    for name, size in [("a note.txt", 40), ("b-\u00e4\u6587.bin", 50_000), ("none", 0)]:
        (work / "content").write_bytes(bytes(range(1, 256)) * (size // 255) + b"x" * (size % 255))
        output("ntfscp", path, work / "content", name)


def free_clusters(bitmap, first):
    return (index for index in range(first, 8 * len(bitmap)) if not bitmap[index >> 3] >> (index & 7) & 1)


def plant_and_compare(sector, cluster):
    image = work / "planted.dd"
    make_volume(image, sector, cluster)
    mft, bitmap = output("icat", image, 0), output("icat", image, 6)
    size = max(1024, sector)
    records = {number: mft[number * size:][:size] for number in [0, 3, 5, 9, 11, 24, 64, 65, 66]}
    equal(f"{sector}/{cluster} before", rows_of(image, "-csv", "-filter_unalloc_clusters"), [])
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
        of_mft = {key[0]: rows for key, rows in rows_of(image, shape)}
        found = rows_of(image, shape, "-filter_unalloc_clusters")
        plain = lambda rows: [[re.sub("unalloc(-deleted)?|file|dir|del", "T", cell.strip()) if column in (None, index) else cell
                               for index, cell in enumerate(row)] for row in rows]
        # Copies that lie behind each other are one run of rows.
        runs = [(number, len(list(group))) for number, group in itertools.groupby(expected)]
        equal(f"{sector}/{cluster} {shape}", [plain(rows) for key, rows in found], [plain(of_mft[number]) * count for number, count in runs])
        equal(f"{sector}/{cluster} {shape} has some", len(found) > 8, cluster >= size)
        equal(f"{sector}/{cluster} {shape} says so", all("unalloc" in "".join(row) for key, rows in found for row in rows), True)


def planted():
    support.require("mkntfs", "ntfscp", "icat")
    for shape in SHAPES:
        plant_and_compare(*shape)


def slots_of(image, size):
    search = subprocess.Popen(["blkls", image], stdout=subprocess.PIPE)
    while free := search.stdout.read(support.BLOCK):
        for at in range(0, len(free), size) if free.strip(b"\0") else ():
            record = free[at:at + size]
            offset, count, sequence = struct.unpack_from("<HH8xH", record, 4)
            if (record[:4] == b"FILE" and offset < 49 and count <= 9) or (record[:4] == b"BAAD" and offset <= 64 and count <= 10):
                yield struct.unpack_from("<I", record, 44)[0] if offset == 48 else 2**64 - 1, sequence
    equal("blkls", search.wait(), 0)


def unpack_volume(packed, image):
    """The volume that lies at 65536 in these disks."""
    with support.OPENERS[packed.suffix](packed) as source, open(image, "wb") as target:
        source.read(65536)
        while block := source.read(support.BLOCK):
            target.write(block) if block.strip(b"\0") else target.seek(len(block), os.SEEK_CUR)
        target.truncate()


def volumes():
    """Nothing survives in the free space of the real volumes, so that each is searched a second time with copies in it."""
    support.require("blkls", "icat")
    for packed in sorted(support.require_data().glob("ntfs-si*.raw.gz")):
        image = work / "volume.dd"
        unpack_volume(packed, image)
        mft, bitmap = output("icat", image, 0), output("icat", image, 6)
        found = [rows_of(image, "-csv", "-filter_unalloc_clusters")]
        equal(packed.name, [key for key, rows in found[0]], list(slots_of(image, 1024)))
        with open(image, "r+b") as file:
            for count, cluster in enumerate(itertools.islice(free_clusters(bitmap, 100), 0, None, 997)):
                number = [0, 3, 5, 9, 11, 24, 25, 26, 27, 38, 39][count % 11]
                file.seek(cluster * 4096 + count % 4 * 1024)
                file.write(spoiled(mft[number * 1024:][:1024], (4, b"*\0") if count % 5 == 4 else (16, b"\x07")))
        ours = [key for key, rows in rows_of(image, "-csv", "-filter_unalloc_clusters")]
        equal(f"{packed.name} with copies", (ours, len(ours) > 100), (list(slots_of(image, 1024)), True))
        image.unlink()


{"planted": planted, "volumes": volumes}[options.part]()
print(*faults, f"{len(faults)} faults", sep="\n")
sys.exit(1 if faults else 0)
