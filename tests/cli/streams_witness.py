#!/usr/bin/env python3
"""Every $DATA stream of a volume, read by the program's own reader, against an independent toolkit.

facts:   volumes made by Windows, beside the checkout, against stored facts (sizes, runs, digests).
sample:  the sample volume, against istat and icat.
volumes: volumes made on the spot by mkntfs and ntfs-3g, against istat and icat; wants root and /dev/fuse.
Ends with 77, "skipped", where what it needs is not there.
"""
import contextlib
import hashlib
import json
import lzma
import os
import random
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import support

LARGE = 64 * 1024 * 1024  # streams above it are not read by either side


def expand(runs, count):
    """The first `count` clusters of a run list, holes as 0."""
    clusters = []
    for first, length in runs:
        length = min(length, count - len(clusters))
        clusters += [0] * length if first is None else range(first, first + length)
    return clusters


def own_streams(tool, image, offset):
    """(record, name) to (declared size, runs, bytes or None)."""
    listed = image.with_suffix(".streams")
    subprocess.run([*tool, image, str(offset), listed], check=True)
    out = listed.read_bytes()
    listed.unlink()
    streams, at = {}, 0
    while at < len(out):
        end = out.index(b"\n", at)
        number, name, size, runs, count, _ = out[at:end].decode().split("\t")
        at = end + 1 + int(count)
        pairs = [run.split("+") for run in runs.split(",") if run]
        runs = [(None if first == "hole" else int(first), int(length)) for first, length in pairs]
        data = None if int(size) > LARGE else out[end + 1:at]
        streams[int(number), name] = (int(size), runs, data)
    return streams


class Comparison:
    def __init__(self, title):
        self.title, self.faults, self.seen = title, [], {}

    def count(self, what):
        self.seen[what] = self.seen.get(what, 0) + 1

    def stream(self, own, key, size, initialised, clusters, cluster_size, digest):
        """`clusters`: None if resident. `digest`: None if it is not known."""
        if key not in own:
            return self.faults.append(f"{key}: missing")
        own_size, own_runs, data = own[key]
        if own_size != size:
            self.faults.append(f"{key}: size {own_size}, witness {size}")
        if clusters is not None and clusters:
            wanted = min(len(clusters), -(-size // cluster_size))
            if expand(own_runs, wanted) != clusters[:wanted]:
                self.faults.append(f"{key}: runs {own_runs[:8]}, witness {clusters[:8]}")
        if digest is None or data is None:
            return self.count("not read")
        # By design the reader takes the larger of real and initialised size and does not blank what lies between the
        # initialised size and the end; the toolkit does.
        if clusters is not None and initialised < size:
            data = data[:initialised] + bytes(size - initialised)
            self.count("compared up to the initialised size")
        if hashlib.md5(data).hexdigest() != digest:
            return self.faults.append(f"{key}: digest differs, {len(data)} bytes")
        self.count("equal")

    def verdict(self, least):
        print(f"{self.title}: {self.seen}, faults {len(self.faults)}")
        for fault in self.faults[:20]:
            print("  ", fault)
        if self.seen.get("equal", 0) < least:
            print(f"   fewer than {least} streams compared")
            return False
        return not self.faults


# --- volumes made by Windows -----------------------------------------------------------------------------------------


def facts(tool, work):
    data = support.require_data()
    good = True
    for name, least in (("ntfs-ptrn", 20), ("ntfs-ramslack", 20), ("ntfs-si-vs-fn", 20)):
        image = work / f"{name}.raw"
        support.unpack(data / f"{name}.raw.gz", image)
        known = json.loads(lzma.open(data / "facts" / f"{name}.json.xz").read())
        cluster_size = int(known["fsstat"]["Cluster Size"])
        own = own_streams(tool, image, known["offset"])
        comparison = Comparison(name)
        for entry in known["entries"]:
            for attribute in entry.get("attributes", []):
                if attribute["type"] != 128:
                    continue
                resident = attribute["resident"]
                clusters = None if resident else expand(attribute["runs"], 1 << 20)
                comparison.stream(own, (entry["inode"], attribute["name"] or ""), attribute["size"],
                                  attribute.get("init_size", 0), clusters, cluster_size, attribute.get("md5"))
        good &= comparison.verdict(least)
        image.unlink()
    return good


# --- volumes made by tests -------------------------------------------------------------------------------------------

ATTRIBUTE = re.compile(r"^Type: \$DATA \(128-(\d+)\)   Name: (.*?)   (Non-Resident|Resident)(.*?)   size: (\d+)"
                       r"(?:  init_size: (\d+))?$")


def icat_streams(image):
    """What istat lists and icat reads: (record, name), size, initialised size, clusters, digest."""
    listing = subprocess.run(["ils", "-f", "ntfs", "-e", image], check=True, stdout=subprocess.PIPE, text=True).stdout
    rows = [line.split("|") for line in listing.splitlines()[3:]]
    free = [row[0] for row in rows if row[1] == "f"]
    # Of the crowd that was deleted a few will do.
    for number in [row[0] for row in rows if row[1] == "a"] + free[:20]:
        shown = subprocess.run(["istat", "-f", "ntfs", image, number], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               text=True, errors="replace")
        if shown.returncode != 0 or re.search(r"^Base File Record:", shown.stdout, re.M):
            continue
        lines = shown.stdout.splitlines()
        for index, line in enumerate(lines):
            match = ATTRIBUTE.match(line)
            if not match:
                continue
            ident, name, residence, _, size, initialised = match.groups()
            name = "" if name == "N/A" else name
            clusters = None
            if residence == "Non-Resident":
                clusters = []
                for row in lines[index + 1:]:
                    if not re.fullmatch(r"[\d ]+", row):
                        break
                    clusters += map(int, row.split())
            digest = None
            if int(size) <= LARGE:
                read = subprocess.run(["icat", "-f", "ntfs", image, f"{number}-128-{ident}"], stdout=subprocess.PIPE,
                                      stderr=subprocess.DEVNULL)
                digest = hashlib.md5(read.stdout).hexdigest()
            yield (int(number), name), int(size), int(initialised or 0), clusters, digest


def text(size, words):
    return (words.encode() + b"\n") * (size // (len(words) + 1) + 1) if size else b""


def write(path, *pieces):
    """Pieces of (offset, bytes); what lies between is a hole."""
    with open(path, "wb") as file:
        for offset, data in pieces:
            file.seek(offset)
            file.write(data)


def scatter(root, cluster_size, pieces):
    """A file in many pieces: the volume is filled up, and what then is free are clusters with used ones between."""
    size = max(cluster_size, 1024)  # beyond what a record holds
    (root / "crowd").mkdir()
    for number in range(2 * pieces):
        write(root / "crowd" / str(number), (0, bytes(size)))
    with contextlib.suppress(OSError), open(root / "filler", "wb", buffering=0) as file:
        while file.write(bytes(1 << 20)):
            pass
    for number in range(0, 2 * pieces, 2):
        (root / "crowd" / str(number)).unlink()
    noise = random.Random(pieces).randbytes
    with contextlib.suppress(OSError), open(root / "scattered.bin", "wb", buffering=0) as file:
        for _ in range(pieces * 3 // 4):
            file.write(noise(size))
    for name in ["filler", *(f"crowd/{number}" for number in range(1, 2 * pieces, 2))]:
        (root / name).unlink()


def fill(root, cluster_size):
    noise = random.Random(cluster_size).randbytes
    size = 3 * cluster_size + 77
    write(root / "empty")
    write(root / "resident.txt", (0, b"some words"))
    write(root / "plain.bin", (0, noise(size)))
    write(root / "whole.bin", (0, noise(4 * cluster_size)))
    write(root / "with streams.txt", (0, b"main"))
    write(root / "with streams.txt:small", (0, b"resident stream"))
    write(root / "with streams.txt:large", (0, noise(size)))
    write(root / "sparse.bin", (5 * cluster_size, noise(100)), (40 * cluster_size + 9, noise(cluster_size)))
    os.truncate(root / "sparse.bin", 90 * cluster_size + 5)
    write(root / "deleted.bin", (0, noise(size)))
    if cluster_size > 4096:
        return  # no compression
    (root / "compressed").mkdir()
    os.setxattr(root / "compressed", "system.ntfs_attrib_be", bytes.fromhex("00000810"))
    unit = 16 * cluster_size
    contents = {
        "words": text(5 * unit + 100, "the same words over and over again"),
        "noise": noise(3 * unit + 1),  # units that do not shrink
        "mixed": noise(unit) + text(unit, "words") + noise(unit // 2) + text(2 * unit, "more") + noise(9),
        "zeros inside": text(unit, "ahead") + bytes(4 * unit) + text(unit, "behind"),
        "small": text(3 * cluster_size, "short"),
        "one unit": text(unit, "exactly")[:unit],
    }
    for name, data in contents.items():
        write(root / "compressed" / name, (0, data))


def format_volume(image, sector_size, cluster_size, size):
    with open(image, "wb") as file:
        file.truncate(size)
    subprocess.run(["mkntfs", "-F", "-f", "-q", "-s", str(sector_size), "-c", str(cluster_size), "-p", "0", "-H", "255",
                    "-S", "63", image], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


@contextlib.contextmanager
def mounted(image, work):
    root = work / "mounted"
    root.mkdir(exist_ok=True)
    made = subprocess.run(["ntfs-3g", "-o", "streams_interface=windows,compression", image, root], stderr=subprocess.PIPE)
    if made.returncode != 0:
        # /dev/fuse may be there and out of reach, as in a container.
        support.skip("ntfs-3g cannot mount here: " + made.stderr.decode(errors="replace").strip())
    try:
        yield root
    finally:
        subprocess.run(["umount", root], check=True)


# Sector size, cluster size, megabytes, pieces of the scattered file, how many runs it has at least.
SHAPES = [(512, 512, 16, 2000, 200), (512, 1024, 24, 400, 20), (512, 4096, 32, 400, 20), (512, 65536, 64, 60, 5),
          (4096, 4096, 32, 60, 5), (4096, 524288, 256, 20, 2)]


def want_what_makes_volumes():
    support.require("mkntfs", "ntfs-3g", "istat", "icat", "ils")
    if os.geteuid() != 0 or not os.path.exists("/dev/fuse"):
        support.skip("mounting wants root and /dev/fuse")


def make_volume(work, shape):
    sector_size, cluster_size, megabytes, pieces, _ = shape
    image = work / f"{sector_size}-{cluster_size}.img"
    format_volume(image, sector_size, cluster_size, megabytes << 20)
    with mounted(image, work) as root:
        fill(root, cluster_size)
        scatter(root, cluster_size, pieces)
    with mounted(image, work) as root:
        (root / "deleted.bin").unlink()
    return image


def volumes(tool, work):
    want_what_makes_volumes()
    good = True
    for shape in SHAPES:
        sector_size, cluster_size, _, _, least_runs = shape
        image = make_volume(work, shape)
        own = own_streams(tool, image, 0)
        comparison = Comparison(image.stem)
        for key, size, initialised, clusters, digest in icat_streams(image):
            if key == (8, "$Bad"):
                continue  # one hole as large as the volume: the toolkit delivers nothing for it
            if sector_size > 512 and (size > 400 if clusters is None else len(own.get(key, (0, ()))[1]) > 20):
                # By design words are put back at the ends of the boot sector's sectors. A record written in steps of
                # 512 bytes keeps its check words in between: in a long resident stream, or in a long list of runs.
                comparison.count("over sector ends")
                continue
            comparison.stream(own, key, size, initialised, clusters, cluster_size, digest)
        comparison.seen["most runs"] = most = max(len(runs) for _, runs, _ in own.values())
        good &= comparison.verdict(20) and most >= least_runs
        image.unlink()
    return good


def sample(tool, work):
    support.require("istat", "icat", "ils")
    image = work / "small.img"
    support.unpack(support.SAMPLES / "small.img.gz", image)
    own = own_streams(tool, image, 0)
    comparison = Comparison("sample")
    for key, size, initialised, clusters, digest in icat_streams(image):
        if key != (8, "$Bad"):
            comparison.stream(own, key, size, initialised, clusters, 1024, digest)
    return comparison.verdict(80)


def main():
    options = support.read_options(__doc__, "facts", "sample", "volumes")
    with tempfile.TemporaryDirectory(dir=options.work) as work:
        good = {"facts": facts, "sample": sample, "volumes": volumes}[options.part](options.command, Path(work))
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
