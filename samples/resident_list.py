#!/usr/bin/env python3
"""Moves the attribute list of one record into the record: resident_list.py <image> <record number>

Windows keeps an attribute list in its record while it fits there; ntfs-3g moves it to a cluster as soon as the record
was full once. The list's content stays as the driver wrote it; its cluster becomes free in $Bitmap.
"""
import struct
import sys


class Volume:
    def __init__(self, path):
        self.path = path
        self.bytes = bytearray(open(path, "rb").read())
        sector, per_cluster = struct.unpack_from("<HB", self.bytes, 11)
        self.cluster = sector * per_cluster
        mft_cluster, = struct.unpack_from("<Q", self.bytes, 48)
        self.mft = [(mft_cluster, 1)]
        self.mft = self.runs(self.attribute(self.record(0), 0x80))

    def record_place(self, number):
        at = number * 1024
        for lcn, count in self.mft:
            if at < count * self.cluster:
                return lcn * self.cluster + at
            at -= count * self.cluster
        raise SystemExit(f"record {number} lies behind $MFT")

    def record(self, number):
        raw = bytearray(self.bytes[self.record_place(number):][:1024])
        array, count = struct.unpack_from("<HH", raw, 4)
        for i in range(1, count):
            raw[i * 512 - 2:i * 512] = raw[array + 2 * i:array + 2 * i + 2]
        return raw

    def write_record(self, number, raw):
        array, count = struct.unpack_from("<HH", raw, 4)
        for i in range(1, count):
            raw[array + 2 * i:array + 2 * i + 2] = raw[i * 512 - 2:i * 512]
            raw[i * 512 - 2:i * 512] = raw[array:array + 2]
        place = self.record_place(number)
        self.bytes[place:place + 1024] = raw

    @staticmethod
    def attribute_at(raw, wanted):
        at, = struct.unpack_from("<H", raw, 20)
        while True:
            kind, length = struct.unpack_from("<II", raw, at)
            if kind == wanted:
                return at, length
            if kind == 0xFFFFFFFF:
                raise SystemExit(f"no attribute {wanted:#x}")
            at += length

    def attribute(self, raw, wanted):
        at, length = self.attribute_at(raw, wanted)
        return raw[at:at + length]

    def runs(self, attribute):
        at, = struct.unpack_from("<H", attribute, 32)
        lcn, runs = 0, []
        while attribute[at]:
            low, high = attribute[at] & 15, attribute[at] >> 4
            count = int.from_bytes(attribute[at + 1:at + 1 + low], "little")
            lcn += int.from_bytes(attribute[at + 1 + low:at + 1 + low + high], "little", signed=True)
            runs.append((lcn, count))
            at += 1 + low + high
        return runs


def main():
    path, number = sys.argv[1], int(sys.argv[2])
    volume = Volume(path)
    raw = volume.record(number)
    at, length = volume.attribute_at(raw, 0x20)
    outside = raw[at:at + length]
    if outside[8] == 0:
        raise SystemExit("the list is resident already")
    (lcn, count), = volume.runs(outside)
    size, = struct.unpack_from("<Q", outside, 48)
    content = volume.bytes[lcn * volume.cluster:][:size]
    identifier, = struct.unpack_from("<H", outside, 14)
    inside = struct.pack("<IIBBHHHIHH", 0x20, 24 + (size + 7) // 8 * 8, 0, 0, 24, 0, identifier, size, 24, 0)
    inside += content + b"\0" * (-size % 8)

    used, = struct.unpack_from("<I", raw, 24)
    changed = raw[:at] + inside + raw[at + length:used]
    if len(changed) > 1022:
        raise SystemExit(f"no room: {len(changed)} bytes")
    struct.pack_into("<I", changed, 24, len(changed))
    volume.write_record(number, changed + bytearray(1024 - len(changed)))

    (bitmap, _), *_ = volume.runs(volume.attribute(volume.record(6), 0x80))
    for cluster in range(lcn, lcn + count):
        volume.bytes[bitmap * volume.cluster + cluster // 8] &= ~(1 << cluster % 8)
    open(path, "wb").write(volume.bytes)


main()
