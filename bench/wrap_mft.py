#!/usr/bin/env python3
"""Lays a volume around an $MFT file: wrap_mft.py <file> <image>

A boot sector, and each run of record 0's $DATA at its cluster; between them the image is sparse. The same records thus
can be read from the file and through the volume.
"""
import struct
import sys

SECTOR, CLUSTER, RECORD = 512, 4096, 1024


def runs_of(record):
    """(first cluster, clusters) of the first non-resident $DATA."""
    at = struct.unpack_from("<H", record, 20)[0]
    while struct.unpack_from("<I", record, at)[0] != 0x80:
        at += struct.unpack_from("<I", record, at + 4)[0]
    at += struct.unpack_from("<H", record, at + 32)[0]
    lcn = 0
    while header := record[at]:
        middle, end = at + 1 + (header & 15), at + 1 + (header & 15) + (header >> 4)
        lcn += int.from_bytes(record[middle:end], "little", signed=True)
        yield lcn, int.from_bytes(record[at + 1:middle], "little")
        at = end


def main():
    source, target = sys.argv[1:]
    with open(source, "rb") as mft, open(target, "wb") as image:
        runs = list(runs_of(mft.read(RECORD)))
        mft.seek(0)
        clusters = max(lcn + count for lcn, count in runs) + 1
        boot = bytearray(SECTOR)
        boot[3:11] = b"NTFS    "
        struct.pack_into("<HB", boot, 11, SECTOR, CLUSTER // SECTOR)
        boot[21] = 0xF8
        struct.pack_into("<QQ", boot, 40, clusters * CLUSTER // SECTOR - 1, runs[0][0])
        boot[64] = 0xF6
        boot[510:] = b"\x55\xAA"
        image.write(boot)
        for lcn, count in runs:
            image.seek(lcn * CLUSTER)
            left = count * CLUSTER
            while left and (piece := mft.read(min(left, 1 << 20))):
                image.write(piece)
                left -= len(piece)
        if mft.read(1):
            sys.exit("the runs of record 0 do not hold the file")
        image.truncate(clusters * CLUSTER)


main()
