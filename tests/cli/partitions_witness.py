#!/usr/bin/env python3
"""Partition tables as the program lists them against an independent toolkit, and block devices against their files.

tables:  disks made by sgdisk and parted and, beside the checkout, disks of other makers: the list against mmls.
devices: loop devices with small and large sectors, and a partition of one: bytes, size and place; wants root.
Ends with 77, "skipped", where what it needs is not there.
"""
import os
import re
import subprocess
from pathlib import Path

import support
from support import equal
from toolkit import output

MIB = 1024 * 1024
NAMES = {0x05: "exten", 0x0F: "exten", 0x07: "ntfs", 0x0C: "fat32", 0x82: "linux swap", 0x83: "linux"}
# Names by byte offset where a boot sector says more than the table, which is all that mmls reads; None: left out.
DISKS_OF_OTHERS = {
    "negative/gpt-512-3p.raw.gz": {},
    "negative/tsk_volume_system.raw.xz": {},
    "negative/mbr-512-p1e2.bin.gz": {1025 * 512: None},  # slots behind the extended one are not looked at
    "negative/exfat_lin_part.raw.gz": {2048 * 512: "exfat"},
    "ntfs-ptrn.raw.gz": {},
}


def quiet(*command):
    return subprocess.run(list(map(str, command)), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode


def empty_file(path, size):
    path.write_bytes(b"")
    os.truncate(path, size)
    return path


def put(path, offset, content):
    with open(path, "r+b") as file:
        file.seek(offset)
        file.write(content)


def run(test, image, *words):
    done = test.run("-image", test.host(image), *words)
    return done.returncode, done.stderr


def compare_list(test, image, corrections):
    """In a GPT every type is "gpt" until a boot sector says more, and gaps are entries."""
    out, theirs = output("mmls", image).decode(), {}
    for slot, start, words in re.findall(r"^\d+: +(\S+) +(\d+) +\d+ +\d+ +(.*)$", out, re.M):
        kind = re.search(r"\(0x(..)\)", words)
        if "GUID" in out and slot != "Meta":
            theirs[int(start) * 512] = "empty" if slot == "-------" else "gpt"
        elif kind:
            theirs[int(start) * 512] = NAMES[int(kind[1], 16)]
    theirs.update(corrections)
    text = run(test, image, "-offset", 1)[1]  # where no partition starts
    ours = re.findall(r"^volume offset \[ 0x([0-9a-f]+) \] : (.*)$", text, re.M)
    equal(f"list of {image.name}", sorted((int(start, 16), name) for start, name in ours),
          sorted((start, name) for start, name in theirs.items() if name))


def compare_made_disks(test):
    gpt, mbr = (empty_file(test.work / name, 64 * MIB) for name in ("gpt.dd", "mbr.dd"))
    volume = empty_file(test.work / "volume.dd", 9 * MIB)
    ends = ["1:2048:20479", "2:20480:30000", "4:40001:50000", "7:60000:0"]
    quiet("sgdisk", "-a", "1", *(word for end in ends for word in ["-n", end]), gpt)
    quiet("mkntfs", "-F", "-q", "-s", "512", volume)
    put(gpt, MIB, volume.read_bytes())
    parts = ["primary ntfs 1 8", "primary linux-swap 8 9", "extended 10 60", "logical fat32 11 20",
             "logical ntfs 21 30", "logical ext2 31 50"]
    quiet("parted", "-s", mbr, "unit MiB mklabel msdos mkpart " + " mkpart ".join(parts))
    compare_list(test, gpt, {MIB: "ntfs"})
    compare_list(test, mbr, {})
    equal("the volume's offset", run(test, gpt, "-offset", MIB)[0], 0)
    equal("its neighbour's", run(test, gpt, "-offset", 20480 * 512)[0] != 0, True)


def compare_far_volume(test):
    """A volume that begins behind 2 TiB, where 32 bits of sectors end: the same rows as over the volume alone."""
    far, volume, start = empty_file(test.work / "far.dd", 3 << 40), test.sample(), 5 << 39
    quiet("sgdisk", "-og", "-n", f"1:{start // 512}:+8M", far)
    put(far, start, volume.read_bytes())
    rows = test.rows("-image", test.host(volume))
    equal("enough rows of a volume", len(rows) > 200, True)
    equal("rows of a far volume", test.rows("-image", test.host(far), "-offset", start), rows)
    far.unlink()


def compare_disks_of_others(test, data):
    work = test.work
    for name, corrections in DISKS_OF_OTHERS.items():
        image = work / Path(name).stem
        support.unpack(data / name, image, most=4 * MIB)
        compare_list(test, image, corrections)
    words = "volume offset 0x10000 is a NTFS partition, however image size does not encapsulate entire volume\n\n"
    code, text = run(test, work / "ntfs-ptrn.raw", "-offset", 0x10000)
    equal("cut image", (code != 0, text), (True, words))
    code, text = run(test, work / "ntfs-ptrn.raw", "-offset", 0x10000, "-ignore_image_size")
    equal("cut image, told to go on", (code, text), (0, ""))
    support.unpack(data / "negative/fat16.raw.gz", work / "fat16.raw", most=4 * MIB)  # its maker's name is not MSDOS5.0
    equal("fat16", run(test, work / "fat16.raw")[1], "couldn't find any partitions on disk\n\n")


def compare_reads(tool, kind, device, content, sector, place):
    """Whole sectors, reads that begin or end inside one, and one over the end, which counts as whole."""
    size = len(content)
    over_the_end = size - sector - 3
    for offset, count in [(sector, sector), (100, 512), (sector - 1, 2), (over_the_end, 2 * sector), (12345, 65537)]:
        told, _, delivered = output(tool, kind, device, offset, count).partition(b"\n")
        equal(f"{kind} {device} {offset}+{count}", told.decode(), f"{size} {sector} {place}")
        equal(f"{kind} {device} {offset}+{count} bytes", delivered, content[offset:offset + count].ljust(count, b"\0"))
    equal("behind the end", quiet(tool, kind, device, str(size), "1"), 1)


def compare_devices(test):
    image, content = test.work / "device.dd", os.urandom(4 * MIB)
    image.write_bytes(content)
    for sector in [512, 4096]:
        with support.loop_device(image, sector) as device:
            for kind in ["device", "volume"]:
                compare_reads(test.program, kind, device, content, sector, "-1 0")
            if sector != 512 or quiet("addpart", device, "2", "2048", "4096") != 0:
                continue
            try:
                compare_reads(test.program, "volume", device + "p2", content[MIB:3 * MIB], 512, f"2 {MIB}")
            finally:
                quiet("delpart", device, "2")


def main():
    test = support.Test(__doc__, "tables", "devices")
    if test.part == "tables":
        support.require("mmls", "sgdisk", "parted", "mkntfs")
        compare_made_disks(test)
        compare_far_volume(test)
        data = support.data_folder()
        compare_disks_of_others(test, data) if data else print("no disks beside the checkout")
    else:
        support.require("losetup", "addpart", root=True)
        if not os.path.isdir("/sys/dev/block"):
            support.skip("no /sys/dev/block, where the system describes its devices")
        compare_devices(test)
    support.finish(5)


if __name__ == "__main__":
    main()
