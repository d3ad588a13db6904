#!/usr/bin/env python3
"""Partition tables as the program lists them against an independent toolkit, and block devices against their files.

tables:  disks made by sgdisk and parted and, beside the checkout, disks of other makers: the list against mmls.
devices: loop devices with small and large sectors, and a partition of one: bytes, size and place; wants root.
Ends with 77, "skipped", where what it needs is not there.
"""
import contextlib
import os
import re
import subprocess
import sys
from pathlib import Path

import support

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
faults = []


def equal(what, ours, theirs):
    if ours != theirs:
        faults.append(f"{what}:\n  ours    {ours}\n  witness {theirs}")


def quiet(*command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode


def run_over(program, image, *arguments):
    # Under a launcher the program sees this host's root as a drive.
    path = ("Z:" if len(program) > 1 else "") + str(image)
    return subprocess.run([*program, "-image", path, "-quiet", *map(str, arguments)], capture_output=True)


def run_program(program, image, *arguments):
    done = run_over(program, image, *arguments)
    return done.returncode, done.stderr.decode().replace("\r", "")


def compare_list(program, image, corrections):
    """In a GPT every type is "gpt" until a boot sector says more, and gaps are entries."""
    out = subprocess.run(["mmls", image], check=True, stdout=subprocess.PIPE).stdout.decode()
    theirs = {}
    for slot, start, words in re.findall(r"^\d+: +(\S+) +(\d+) +\d+ +\d+ +(.*)$", out, re.M):
        kind = re.search(r"\(0x(..)\)", words)
        if "GUID" in out and slot != "Meta":
            theirs[int(start) * 512] = "empty" if slot == "-------" else "gpt"
        elif kind:
            theirs[int(start) * 512] = NAMES[int(kind[1], 16)]
    theirs.update(corrections)
    text = run_program(program, image, "-offset", 1)[1]  # where no partition starts
    ours = re.findall(r"^volume offset \[ 0x([0-9a-f]+) \] : (.*)$", text, re.M)
    equal(image.name, sorted((int(start, 16), name) for start, name in ours),
          sorted((start, name) for start, name in theirs.items() if name))


def compare_made_disks(work, program):
    gpt, mbr, volume = work / "gpt.dd", work / "mbr.dd", work / "volume.dd"
    for path, size in [(gpt, 64 * MIB), (mbr, 64 * MIB), (volume, 9 * MIB)]:
        path.write_bytes(b"")
        os.truncate(path, size)
    ends = ["1:2048:20479", "2:20480:30000", "4:40001:50000", "7:60000:0"]
    quiet("sgdisk", "-a", "1", *(word for end in ends for word in ["-n", end]), gpt)
    quiet("mkntfs", "-F", "-q", "-s", "512", volume)
    with open(gpt, "r+b") as file:
        file.seek(MIB)
        file.write(volume.read_bytes())
    parts = ["primary ntfs 1 8", "primary linux-swap 8 9", "extended 10 60", "logical fat32 11 20", "logical ntfs 21 30",
             "logical ext2 31 50"]
    quiet("parted", "-s", mbr, "unit MiB mklabel msdos mkpart " + " mkpart ".join(parts))
    compare_list(program, gpt, {MIB: "ntfs"})
    compare_list(program, mbr, {})
    equal("the volume's offset", run_program(program, gpt, "-offset", MIB)[0], 0)
    equal("its neighbour's", run_program(program, gpt, "-offset", 20480 * 512)[0] != 0, True)


def compare_far_volume(work, program):
    """A volume that begins behind 2 TiB, where 32 bits of sectors end: the same rows as over the volume alone."""
    far, volume, start = work / "far.dd", work / "sample.dd", 5 << 39
    support.unpack(support.SAMPLES / "small.img.gz", volume)
    far.write_bytes(b"")
    os.truncate(far, 3 << 40)
    quiet("sgdisk", "-og", "-n", f"1:{start // 512}:+8M", far)
    with open(far, "r+b") as file:
        file.seek(start)
        file.write(volume.read_bytes())
    rows = [[line for line in run_over(program, *of).stdout.splitlines() if line.startswith(b"0x")]
            for of in [(volume,), (far, "-offset", start)]]
    equal("rows of a far volume", rows[1], rows[0])
    equal("enough of them", len(rows[0]) > 200, True)
    far.unlink()


def compare_disks_of_others(work, program, data):
    for name, corrections in DISKS_OF_OTHERS.items():
        image = work / Path(name).stem
        support.unpack(data / name, image, most=4 * MIB)
        compare_list(program, image, corrections)
    words = "volume offset 0x10000 is a NTFS partition, however image size does not encapsulate entire volume\n\n"
    code, text = run_program(program, work / "ntfs-ptrn.raw", "-offset", 0x10000)
    equal("cut image", (code != 0, text), (True, words))
    code, text = run_program(program, work / "ntfs-ptrn.raw", "-offset", 0x10000, "-ignore_image_size")
    equal("cut image, told to go on", (code, text), (0, ""))
    support.unpack(data / "negative/fat16.raw.gz", work / "fat16.raw", most=4 * MIB)  # its maker's name is not MSDOS5.0
    equal("fat16", run_program(program, work / "fat16.raw")[1], "couldn't find any partitions on disk\n\n")


@contextlib.contextmanager
def loop_device(path, sector):
    made = subprocess.run(["losetup", "-f", "--show", "-b", str(sector), path], capture_output=True)
    if made.returncode != 0:
        support.skip("no loop device to be had")
    device = made.stdout.decode().strip()
    try:
        yield device
    finally:
        quiet("losetup", "-d", device)


def compare_reads(tool, kind, device, content, sector, place):
    """Whole sectors, reads that begin or end inside one, and one over the end, which counts as whole."""
    size = len(content)
    for offset, count in [(sector, sector), (100, 512), (sector - 1, 2), (size - sector - 3, 2 * sector), (12345, 65537)]:
        out = subprocess.run([tool, kind, device, str(offset), str(count)], stdout=subprocess.PIPE).stdout
        told, _, delivered = out.partition(b"\n")
        equal(f"{kind} {device} {offset}+{count}", told.decode(), f"{size} {sector} {place}")
        equal(f"{kind} {device} {offset}+{count} bytes", delivered, content[offset:offset + count].ljust(count, b"\0"))
    equal("behind the end", quiet(tool, kind, device, str(size), "1"), 1)


def compare_devices(work, tool):
    image, content = work / "device.dd", os.urandom(4 * MIB)
    image.write_bytes(content)
    for sector in [512, 4096]:
        with loop_device(image, sector) as device:
            compare_reads(tool, "device", device, content, sector, "-1 0")
            compare_reads(tool, "volume", device, content, sector, "-1 0")
    with loop_device(image, 512) as device:
        if quiet("addpart", device, "2", "2048", "4096") != 0:
            return print("no partition of a loop device to be had")
        try:
            compare_reads(tool, "volume", device + "p2", content[MIB:3 * MIB], 512, f"2 {MIB}")
        finally:
            quiet("delpart", device, "2")


def tables(options):
    support.require("mmls", "sgdisk", "parted", "mkntfs")
    compare_made_disks(options.work, options.command)
    compare_far_volume(options.work, options.command)
    data = support.data_folder()
    compare_disks_of_others(options.work, options.command, data) if data else print("no disks beside the checkout")


def devices(options):
    support.require("losetup", "addpart")
    if os.geteuid() != 0:
        support.skip("loop devices want root")
    if not os.path.isdir("/sys/dev/block"):
        support.skip("no /sys/dev/block, where the system describes its devices")
    compare_devices(options.work, options.program)


def main():
    options = support.read_options(__doc__, "tables", "devices")
    {"tables": tables, "devices": devices}[options.part](options)
    print(*faults, f"{len(faults)} faults", sep="\n")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
