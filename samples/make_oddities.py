#!/usr/bin/env python3
"""Makes samples/oddities.img.gz, as root: what the option -thorough shows otherwise and small.img does not hold.

From Debian: ntfs-3g (mkntfs and the FUSE driver), python3. Times are those of the run; records come out the same. After
a new run, check docs/thorough.md and tests/cli/thorough_witness.py against the new file.
"""
import contextlib
import gzip
import os
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

RECORD, CLUSTER = 1024, 1024
SYMBOLIC_LINK, MOUNT_POINT = 0xA000000C, 0xA0000003


@contextlib.contextmanager
def mounted(image, folder):
    subprocess.run(["ntfs-3g", "-o", "streams_interface=windows,noatime", image, folder], check=True)
    try:
        yield folder
    finally:
        subprocess.run(["umount", folder], check=True)


def reparse(path, tag, body, folder=False):
    path.mkdir() if folder else path.touch()
    os.setxattr(path, "system.ntfs_reparse_data", struct.pack("<IHH", tag, len(body), 0) + body)


def link(path, tag, target, shown, relative=None):
    """A symbolic link has flags, a mount point has none."""
    target, shown = (name.encode("utf-16-le") for name in (target, shown))
    flags = b"" if relative is None else struct.pack("<I", relative)
    body = struct.pack("<4H", 0, len(target), len(target) + 2, len(shown)) + flags + target + b"\0\0" + shown + b"\0\0"
    reparse(path, tag, body, folder=True)


def fill(root):
    # Each extension record numbers its attributes on its own: streams and names that meet under one id.
    (root / "notes.txt").write_bytes(b"notes\n")
    for number in range(40):
        Path(f"{root}/notes.txt:page {number:02}").write_bytes(b"page %02d of the notes\n" % number * 3)
    (root / "links").mkdir()
    (root / "names.txt").write_bytes(b"names\n")
    for number in range(30):
        os.link(root / "names.txt", root / "links" / f"one of the many hard links of one file, {number:02}.txt")
    # A program that was downloaded: its last stream is the mark of its origin.
    (root / "downloads").mkdir()
    (root / "downloads" / "setup.exe").write_bytes(b"MZ" + bytes(range(1, 63)) + b"no program at all\n" * 100)
    Path(f"{root}/downloads/setup.exe:Zone.Identifier").write_bytes(b"[ZoneTransfer]\r\nZoneId=3\r\n")
    (root / "downloads" / "late.bin").write_bytes(b"written by its owner\n" * 120 + b"left by another file\n" * 120)
    # Links: relative ones, one that needs clusters, tags that are no links.
    (root / "downloads" / "old").mkdir()
    (root / "downloads" / "old" / "read me.txt").write_bytes(b"read me\n")
    link(root / "links" / "beside", SYMBOLIC_LINK, "..\\downloads", "..\\downloads", 1)
    link(root / "downloads" / "there", SYMBOLIC_LINK, "old", "old", 1)
    link(root / "links" / "unnamed", MOUNT_POINT, "\\??\\C:\\downloads", "")
    deep = "C:\\" + "\\".join(["a long way down"] * 40)
    link(root / "links" / "far", SYMBOLIC_LINK, "\\??\\" + deep, deep, 0)
    reparse(root / "downloads" / "deduplicated.bin", 0x80000013, bytes(24))
    (root / "torn.txt").write_bytes(b"torn\n")
    (root / "staff").mkdir()
    (root / "staff" / "salaries.txt").write_bytes(b"salaries\n")
    (root / "archive").mkdir()
    for number in range(20):
        (root / "archive" / f"item {number:02}.txt").write_bytes(b"behind what record 0 can name\n")


def delete(root):
    """The directory's record is taken over by the next one that is made."""
    (root / "staff" / "salaries.txt").unlink()
    (root / "staff").rmdir()
    (root / "visitors").mkdir()

class Volume:
    """A volume's bytes, and its records where the runs of $MFT lie in one piece."""

    def __init__(self, data):
        self.data = data
        self.mft = struct.unpack_from("<Q", data, 48)[0] * CLUSTER

    def read(self, number):
        record = bytearray(self.data[self.mft + number * RECORD:][:RECORD])
        count = struct.unpack_from("<H", record, 6)[0]
        for sector in range(1, count):
            record[512 * sector - 2:512 * sector] = record[48 + 2 * sector:50 + 2 * sector]
        return record

    def write(self, number, record):
        for sector in range(1, RECORD // 512 + 1):
            record[48 + 2 * sector:50 + 2 * sector] = record[512 * sector - 2:512 * sector]
            record[512 * sector - 2:512 * sector] = record[48:50]
        self.data[self.mft + number * RECORD:self.mft + (number + 1) * RECORD] = record

    def attributes(self, record):
        at = struct.unpack_from("<H", record, 20)[0]
        while (kind := struct.unpack_from("<I", record, at)[0]) != 0xFFFFFFFF:
            length = struct.unpack_from("<I", record, at + 4)[0]
            yield kind, at, bytes(record[at:at + length])
            at += length

    def number_of(self, name):
        wanted = name.encode("utf-16-le")
        for number in range(24, (len(self.data) - self.mft) // RECORD):
            record = self.data[self.mft + number * RECORD:][:RECORD]
            if record[:4] == b"FILE" and record[22] & 1 and wanted in record:
                return number
        raise KeyError(name)

    def mirror(self):
        at = struct.unpack_from("<Q", self.data, 56)[0] * CLUSTER
        self.data[at:at + 4 * RECORD] = self.data[self.mft:self.mft + 4 * RECORD]

    def tear(self, number):
        at = self.mft + number * RECORD + RECORD - 2
        self.data[at:at + 2] = b"\xEE\xEE"

    def end_early(self, number, size):
        """The stream's initialised size."""
        record = self.read(number)
        at = next(at for kind, at, _ in self.attributes(record) if kind == 0x80)
        struct.pack_into("<Q", record, at + 56, size)
        self.write(number, record)

    def split_mft(self, spare, known):
        """$MFT as it is when record 0 cannot name all its runs: `known` clusters stay, the rest goes into `spare`."""
        record = self.read(0)
        parts = {kind: part for kind, _, part in self.attributes(record)}
        data = parts[0x80]
        pairs = data[struct.unpack_from("<H", data, 32)[0]:]
        width, offsets = pairs[0] & 15, pairs[0] >> 4
        clusters = int.from_bytes(pairs[1:1 + width], "little")
        first = int.from_bytes(pairs[1 + width:1 + width + offsets], "little")
        assert pairs[1 + width + offsets] == 0, "$MFT has more runs than one"
        run = lambda count, lcn: b"\x44" + struct.pack("<II", count, lcn) + bytes(7)
        stays = data[:24] + struct.pack("<Q", known - 1) + data[32:64] + run(known, first)
        stays = stays[:16] + bytes(8) + struct.pack("<Q", known - 1) + stays[32:]
        moved = struct.pack("<IIBBHHHQQHHI", 0x80, 80, 1, 0, 64, 0, 0, known, clusters - 1, 64, 0, 0) + bytes(24) + \
            run(clusters - known, first + known)
        entry = lambda kind, vcn, number, ident: struct.pack("<IHBBQQHHI", kind, 32, 0, 26, vcn, 1 << 48 | number, ident, 0, 0)
        ident = lambda kind: struct.unpack_from("<H", parts[kind], 14)[0]
        own = [(kind, 0, 0, ident(kind)) for kind in sorted(parts)]
        own.insert(1 + [kind for kind, *_ in own].index(0x80), (0x80, known, spare, 0))
        entries = b"".join(entry(*each) for each in own)
        listed = struct.pack("<IIBBHHHIHH", 0x20, 24 + len(entries), 0, 0, 24, 0, 31, len(entries), 24, 0) + entries
        stays = stays[:4] + struct.pack("<I", len(stays)) + stays[8:]
        body = {**parts, 0x20: listed, 0x80: stays}
        self.write(0, build(record, b"".join(body[kind] for kind in sorted(body))))
        extension = bytearray(self.read(spare))
        struct.pack_into("<HHHH", extension, 16, 1, 0, 56, 1)  # sequence, links, first attribute, in use
        struct.pack_into("<Q", extension, 32, 1 << 48)
        self.write(spare, build(extension, moved))


def build(record, attributes):
    """The record with other attributes."""
    first = struct.unpack_from("<H", record, 20)[0]
    out = bytes(record[:first]) + attributes + b"\xff\xff\xff\xff" + bytes(4)
    assert len(out) <= RECORD
    out = bytearray(out.ljust(RECORD, b"\0"))
    struct.pack_into("<I", out, 24, first + len(attributes) + 8)
    return out


def make(image, folder):
    image.touch()
    os.truncate(image, 2 << 20)
    subprocess.run(["mkntfs", "-F", "-f", "-q", "-I", "-s", "512", "-c", str(CLUSTER), "-p", "0", "-H", "255", "-S", "63",
                    "-L", "oddities", image], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    with mounted(image, folder) as root:
        fill(root)
    with mounted(image, folder) as root:
        delete(root)
    volume = Volume(bytearray(image.read_bytes()))
    volume.tear(volume.number_of("torn.txt"))
    volume.end_early(volume.number_of("late.bin"), 21 * 120)
    volume.split_mft(16, volume.number_of("item 05.txt"))
    volume.mirror()
    image.write_bytes(volume.data)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as work:
        made = Path(work) / "oddities.img"
        folder = Path(work) / "volume"
        folder.mkdir()
        make(made, folder)
        target = Path(__file__).parent / "oddities.img.gz"
        target.write_bytes(gzip.compress(made.read_bytes(), 9, mtime=0))
        print(target, target.stat().st_size)
